#include "tools/sample_log.h"

#include <zlib.h>

#include "platform/result.h"

namespace vantor::tools {

void SampleLog::OnNewSegment(REFERENCE_TIME start, REFERENCE_TIME stop, double rate) noexcept {
  LogRecord record;
  record.kind = LogKind::kSegment;
  record.start = start;
  record.stop = stop;
  record.rate = rate;
  Keep(record);
}

HRESULT SampleLog::OnSample(IMediaSample* sample) noexcept {
  LogRecord record;
  REFERENCE_TIME start = 0;
  REFERENCE_TIME stop = 0;
  record.timed = SUCCEEDED(sample->GetTime(&start, &stop));
  record.start = start;
  record.stop = stop;
  record.sync = sample->IsSyncPoint() == S_OK;
  record.discontinuity = sample->IsDiscontinuity() == S_OK;
  record.preroll = sample->IsPreroll() == S_OK;
  record.size = static_cast<std::uint32_t>(sample->GetActualDataLength());
  BYTE* bytes = nullptr;
  const HRESULT hr = sample->GetPointer(&bytes);
  if (FAILED(hr)) {
    return hr;
  }
  record.crc32 = static_cast<std::uint32_t>(crc32_z(0, bytes, record.size));
  return Keep(record);
}

void SampleLog::OnEndOfStream() noexcept {
  LogRecord record;
  record.kind = LogKind::kEndOfStream;
  Keep(record);
}

HRESULT SampleLog::Keep(const LogRecord& record) noexcept {
  if (SUCCEEDED(failure_)) {
    failure_ = Guarded([&] {
      const HRESULT hr = MakeRoom();
      if (SUCCEEDED(hr)) {
        used_ = static_cast<std::size_t>(packer_.Pack(record, piece_.data() + used_) - piece_.data());
      }
      return hr;
    });
  }
  return failure_;
}

HRESULT SampleLog::MakeRoom() {
  if (piece_.empty()) {
    piece_.resize(pieceSize_);
  }
  if (piece_.size() - used_ >= kLargestPackedRecord) {
    return S_OK;
  }
  const std::int64_t place = spill_->Append(piece_.data(), used_);
  if (place < 0) {
    return STG_E_WRITEFAULT;
  }
  spilled_.push_back({place, used_});
  used_ = 0;
  return S_OK;
}

}  // namespace vantor::tools
