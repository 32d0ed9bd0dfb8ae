#include "tools/extract_sink.h"

#include <exception>
#include <new>

#include "platform/wrapping.h"

namespace vantor::tools {

template <typename Call>
bool ExtractSink::Guard(Call&& call) noexcept {
  if (HasFailed()) return false;
  bool isDone = false;
  try {
    try {
      call();
      isDone = !haveFilesFailed_();
    } catch (const std::bad_alloc&) {
      trouble_ = "out of memory";
    } catch (const std::exception& error) {
      trouble_ = error.what();
    }
  } catch (...) {
    // There is no memory to say so either.
  }
  if (!isDone) hasFailed_.store(true, std::memory_order_relaxed);
  return isDone;
}

void ExtractSink::OnNewSegment(REFERENCE_TIME start, REFERENCE_TIME, double) noexcept { segmentStart_ = start; }

HRESULT ExtractSink::OnSample(IMediaSample* sample) noexcept {
  BYTE* bytes = nullptr;
  const HRESULT hr = sample->GetPointer(&bytes);
  if (FAILED(hr)) return hr;
  TrackSample given;
  given.payload = {bytes, static_cast<std::size_t>(sample->GetActualDataLength())};
  REFERENCE_TIME start = 0;
  REFERENCE_TIME stop = 0;
  const HRESULT timed = sample->GetTime(&start, &stop);
  if (SUCCEEDED(timed)) {
    given.start = WrappingAdd(segmentStart_, start);
    if (timed != VFW_S_NO_STOP_TIME) given.stop = WrappingAdd(segmentStart_, stop);
    position_.store(*given.start, std::memory_order_relaxed);
  }
  given.sync = sample->IsSyncPoint() == S_OK;
  given.discontinuity = sample->IsDiscontinuity() == S_OK;
  given.preroll = sample->IsPreroll() == S_OK;
  if (!Guard([&] { writer_->Write(given); })) return STG_E_WRITEFAULT;
  ++samples_;
  return S_OK;
}

void ExtractSink::TellEnd(const SoundEnd& end) noexcept {
  static_cast<void>(Guard([&] { writer_->TellEnd(end); }));
}

bool ExtractSink::Finish() noexcept {
  return Guard([&] { writer_->Finish(); });
}

}  // namespace vantor::tools
