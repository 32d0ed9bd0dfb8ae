// IMediaSeeking: positions and durations in both time formats, and the seek itself.
#include "filter/mkv_filter.h"

#include <algorithm>

#include "platform/result.h"

namespace vantor {

namespace {

constexpr DWORD kCapabilities = AM_SEEKING_CanSeekAbsolute | AM_SEEKING_CanSeekForwards | AM_SEEKING_CanSeekBackwards |
                                AM_SEEKING_CanGetStopPos | AM_SEEKING_CanGetDuration;

std::int64_t WrappingAdd(std::int64_t left, std::int64_t right) {
  return static_cast<std::int64_t>(static_cast<std::uint64_t>(left) + static_cast<std::uint64_t>(right));
}

std::int64_t WrappingMultiply(std::int64_t left, std::int64_t right) {
  return static_cast<std::int64_t>(static_cast<std::uint64_t>(left) * static_cast<std::uint64_t>(right));
}

// The one quotient that does not fit wraps like every other tick arithmetic.
std::int64_t WrappingDivide(std::int64_t value, std::int64_t divisor) {
  return divisor == -1 ? WrappingMultiply(value, -1) : value / divisor;
}

bool IsMediaTime(const GUID& format) { return SameGuid(format, TIME_FORMAT_MEDIA_TIME); }
bool IsFrame(const GUID& format) { return SameGuid(format, TIME_FORMAT_FRAME); }

}  // namespace

std::int64_t CVXMkvDmx::ToFrames(std::int64_t time) const {
  return frameFormatInUse_ ? WrappingDivide(time, frameDuration_) : time;
}

std::int64_t CVXMkvDmx::ToFramesCeiling(std::int64_t time) const {
  if (!frameFormatInUse_) return time;
  return WrappingDivide(WrappingAdd(WrappingAdd(time, -1), frameDuration_), frameDuration_);
}

std::int64_t CVXMkvDmx::FromCallersFormat(std::int64_t value) const {
  return frameFormatInUse_ ? WrappingMultiply(value, frameDuration_) : value;
}

HRESULT CVXMkvDmx::GetCapabilities(DWORD* capabilities) {
  if (capabilities == nullptr) return E_POINTER;
  *capabilities = kCapabilities;
  return S_OK;
}

HRESULT CVXMkvDmx::CheckCapabilities(DWORD* capabilities) {
  if (capabilities == nullptr) return E_POINTER;
  if (*capabilities == 0) return S_OK;
  if ((*capabilities & kCapabilities) == 0) return E_FAIL;
  return *capabilities == kCapabilities ? S_OK : S_FALSE;
}

HRESULT CVXMkvDmx::IsFormatSupported(const GUID* format) {
  if (format == nullptr) return E_POINTER;
  return IsMediaTime(*format) || (IsFrame(*format) && frameFormatAvailable_) ? S_OK : S_FALSE;
}

HRESULT CVXMkvDmx::QueryPreferredFormat(GUID* format) {
  if (format == nullptr) return E_POINTER;
  *format = TIME_FORMAT_MEDIA_TIME;
  return S_OK;
}

HRESULT CVXMkvDmx::GetTimeFormat(GUID* format) {
  if (format == nullptr) return E_POINTER;
  *format = frameFormatInUse_ ? TIME_FORMAT_FRAME : TIME_FORMAT_MEDIA_TIME;
  return S_OK;
}

HRESULT CVXMkvDmx::IsUsingTimeFormat(const GUID* format) {
  if (format == nullptr) return E_POINTER;
  return SameGuid(*format, frameFormatInUse_ ? TIME_FORMAT_FRAME : TIME_FORMAT_MEDIA_TIME) ? S_OK : S_FALSE;
}

HRESULT CVXMkvDmx::SetTimeFormat(const GUID* format) {
  if (format == nullptr) return E_POINTER;
  if (IsMediaTime(*format)) {
    frameFormatInUse_ = false;
    return S_OK;
  }
  // Frames may become unavailable at any time; nobody shall divide by the frame time they left.
  CAutoLock lock(&positionLock_);
  if (!IsFrame(*format) || !frameFormatAvailable_) return E_INVALIDARG;
  frameFormatInUse_ = true;
  return S_OK;
}

HRESULT CVXMkvDmx::GetDuration(LONGLONG* duration) {
  if (duration == nullptr) return E_POINTER;
  CAutoLock lock(&positionLock_);
  *duration = ToFramesCeiling(duration_);
  return S_OK;
}

HRESULT CVXMkvDmx::GetStopPosition(LONGLONG* stop) {
  if (stop == nullptr) return E_POINTER;
  return GetPositions(nullptr, stop);
}

HRESULT CVXMkvDmx::GetCurrentPosition(LONGLONG* current) {
  if (current == nullptr) return E_POINTER;
  return GetPositions(current, nullptr);
}

HRESULT CVXMkvDmx::GetPositions(LONGLONG* current, LONGLONG* stop) {
  CAutoLock lock(&positionLock_);
  if (current != nullptr) *current = ToFrames(currentPosition_);
  if (stop != nullptr) *stop = ToFramesCeiling(stopPosition_);
  return S_OK;
}

HRESULT CVXMkvDmx::GetAvailable(LONGLONG* earliest, LONGLONG* latest) {
  CAutoLock lock(&positionLock_);
  if (earliest != nullptr) *earliest = 0;
  if (latest != nullptr) *latest = ToFramesCeiling(duration_);
  return S_OK;
}

HRESULT CVXMkvDmx::ConvertTimeFormat(LONGLONG* target, const GUID* targetFormat, LONGLONG source,
                                     const GUID* sourceFormat) {
  if (target == nullptr) return E_POINTER;
  CAutoLock lock(&positionLock_);
  const GUID& inUse = frameFormatInUse_ ? TIME_FORMAT_FRAME : TIME_FORMAT_MEDIA_TIME;
  const GUID& to = targetFormat != nullptr ? *targetFormat : inUse;
  const GUID& from = sourceFormat != nullptr ? *sourceFormat : inUse;
  if (!(IsMediaTime(to) || IsFrame(to)) || !(IsMediaTime(from) || IsFrame(from))) return E_INVALIDARG;
  if ((IsFrame(to) || IsFrame(from)) && !frameFormatAvailable_) return E_INVALIDARG;
  if (SameGuid(to, from)) {
    *target = source;
  } else {
    *target = IsFrame(to) ? WrappingDivide(source, frameDuration_) : WrappingMultiply(source, frameDuration_);
  }
  return S_OK;
}

HRESULT CVXMkvDmx::SetRate(double rate) {
  if (!(rate > 0.0)) return E_INVALIDARG;
  rate_ = rate;
  return S_OK;
}

HRESULT CVXMkvDmx::GetRate(double* rate) {
  if (rate == nullptr) return E_POINTER;
  *rate = rate_;
  return S_OK;
}

HRESULT CVXMkvDmx::GetPreroll(LONGLONG* preroll) {
  if (preroll == nullptr) return E_POINTER;
  *preroll = 0;
  return S_OK;
}

HRESULT CVXMkvDmx::NewPositions(const LONGLONG* current, DWORD currentFlags, const LONGLONG* stop, DWORD stopFlags,
                                std::int64_t& newCurrent, std::int64_t& newStop) const {
  const DWORD currentMode = currentFlags & AM_SEEKING_PositioningBitsMask;
  if (currentMode != AM_SEEKING_NoPositioning) {
    if (current == nullptr) return E_POINTER;
    const std::int64_t value = FromCallersFormat(*current);
    newCurrent = currentMode == AM_SEEKING_AbsolutePositioning ? value : WrappingAdd(newCurrent, value);
  }
  const DWORD stopMode = stopFlags & AM_SEEKING_PositioningBitsMask;
  if (stopMode != AM_SEEKING_NoPositioning) {
    if (stop == nullptr) return E_POINTER;
    const std::int64_t value = FromCallersFormat(*stop);
    if (stopMode == AM_SEEKING_AbsolutePositioning) {
      newStop = value;
    } else {
      newStop = WrappingAdd(stopMode == AM_SEEKING_RelativePositioning ? newStop : newCurrent, value);
    }
  }
  return S_OK;
}

HRESULT CVXMkvDmx::SetPositions(LONGLONG* current, DWORD currentFlags, LONGLONG* stop, DWORD stopFlags) {
  CAutoLock seek(&seekLock_);
  std::int64_t newCurrent = 0;
  std::int64_t newStop = 0;
  bool unchanged = false;
  {
    CAutoLock lock(&positionLock_);
    newCurrent = currentPosition_;
    newStop = stopPosition_;
    const HRESULT result = NewPositions(current, currentFlags, stop, stopFlags, newCurrent, newStop);
    if (FAILED(result)) return result;
    unchanged = newCurrent == currentPosition_ && newStop == stopPosition_;
  }
  if (!unchanged) Reposition(newCurrent, newStop);

  // Times go back in 100 ns, also while frames are in use.
  CAutoLock lock(&positionLock_);
  if ((currentFlags & AM_SEEKING_ReturnTime) != 0 && current != nullptr) *current = currentPosition_;
  if ((stopFlags & AM_SEEKING_ReturnTime) != 0 && stop != nullptr) *stop = stopPosition_;
  return S_OK;
}

void CVXMkvDmx::Reposition(std::int64_t current, std::int64_t stop) {
  CAutoLock lock(&filterLock_);
  if (!IsStopped()) {
    for (CVXMkvDmxOutputPin* pin : outputPins_) pin->DeliverBeginFlush();
    for (CVXMkvDmxOutputPin* pin : outputPins_) pin->SendCommand(CMD_STOP);
  } else {
    for (CVXMkvDmxOutputPin* pin : outputPins_) pin->EndStrayWorker();
  }

  current = current < 0 ? 0 : std::min<std::int64_t>(current, duration_);
  stop = stop < current ? current : std::min<std::int64_t>(stop, duration_);
  const auto positioned = [&](CVXMkvDmxOutputPin* pin) {
    return Guarded([&] { return pin->SeekCursor(current, stop) ? S_OK : S_FALSE; }) == S_OK;
  };
  if (!std::all_of(outputPins_.begin(), outputPins_.end(), positioned)) {
    current = 0;
    std::for_each(outputPins_.begin(), outputPins_.end(), positioned);
  }
  {
    CAutoLock positions(&positionLock_);
    currentPosition_ = current;
    segmentStart_ = current;
    stopPosition_ = stop;
  }

  if (IsStopped()) return;
  for (CVXMkvDmxOutputPin* pin : outputPins_) pin->DeliverEndFlush();
  // Downstream may have stopped the filter meanwhile.
  if (IsStopped()) return;
  for (CVXMkvDmxOutputPin* pin : outputPins_) pin->SendCommand(CMD_RUN);
}

}  // namespace vantor
