#include "streaming/sample_marks.h"

#include <algorithm>
#include <cstring>

#include "streaming/start_codes_to_lengths.h"

namespace vantor {

HRESULT FillSample(IMediaSample& sample, const std::uint8_t* bytes, std::size_t size, const SampleMarks& marks,
                   std::span<const std::uint8_t> header) {
  BYTE* data = nullptr;
  const HRESULT result = sample.GetPointer(&data);
  if (FAILED(result)) return result;
  if (data == nullptr) return E_POINTER;
  if (!header.empty()) std::memcpy(data, header.data(), header.size());
  if (size != 0) std::memcpy(data + header.size(), bytes, size);
  // From here on results are dropped: what a neighbour's sample will not note does not keep the frame from going out.
  sample.SetActualDataLength(static_cast<LONG>(header.size() + size));
  sample.SetDiscontinuity(marks.isDiscontinuity);
  sample.SetMediaTime(nullptr, nullptr);
  sample.SetMediaType(nullptr);
  sample.SetSyncPoint(marks.isSyncPoint);
  sample.SetPreroll(marks.isPreroll);
  REFERENCE_TIME start = marks.start;
  REFERENCE_TIME stop = marks.stop;
  sample.SetTime(&start, &stop);
  return S_OK;
}

void ConvertSample(IMediaSample& sample) {
  BYTE* data = nullptr;
  if (FAILED(sample.GetPointer(&data)) || data == nullptr) return;
  const LONG size = std::min(sample.GetActualDataLength(), sample.GetSize());
  if (size > 0) ConvertStartCodesToLengths(data, static_cast<std::size_t>(size));
}

}  // namespace vantor
