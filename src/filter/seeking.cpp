#include "filter/seeking.h"

#include "platform/wrapping.h"

namespace vantor {

namespace {

// That the current position can be got is not claimed, although it can: it is the stop time of what was sent last,
// ahead of what a viewer sees, and a graph that asks a renderer instead knows better.
constexpr DWORD kCapabilities = AM_SEEKING_CanSeekAbsolute | AM_SEEKING_CanSeekForwards | AM_SEEKING_CanSeekBackwards |
                                AM_SEEKING_CanGetStopPos | AM_SEEKING_CanGetDuration;

bool IsMediaTime(const GUID& format) { return SameGuid(format, TIME_FORMAT_MEDIA_TIME); }
bool IsFrame(const GUID& format) { return SameGuid(format, TIME_FORMAT_FRAME); }

const GUID& FormatInUse(const MediaPositions& now) {
  return now.usesFrames ? TIME_FORMAT_FRAME : TIME_FORMAT_MEDIA_TIME;
}

// The start of the range by the caller's flags; an incremental start counts from the old one, like a relative one.
HRESULT NewCurrent(const MediaPositions& now, const LONGLONG* current, DWORD flags, SeekRange& range) {
  const DWORD mode = flags & AM_SEEKING_PositioningBitsMask;
  if (mode == AM_SEEKING_NoPositioning) return S_OK;
  if (current == nullptr) return E_POINTER;
  const std::int64_t value = now.FromFormat(*current);
  range.current = mode == AM_SEEKING_AbsolutePositioning ? value : WrappingAdd(now.current, value);
  return S_OK;
}

// The end of it; an incremental end counts from the new start.
HRESULT NewStop(const MediaPositions& now, const LONGLONG* stop, DWORD flags, SeekRange& range) {
  const DWORD mode = flags & AM_SEEKING_PositioningBitsMask;
  if (mode == AM_SEEKING_NoPositioning) return S_OK;
  if (stop == nullptr) return E_POINTER;
  const std::int64_t value = now.FromFormat(*stop);
  if (mode == AM_SEEKING_AbsolutePositioning) {
    range.stop = value;
  } else {
    range.stop = WrappingAdd(mode == AM_SEEKING_RelativePositioning ? now.stop : range.current, value);
  }
  return S_OK;
}

}  // namespace

HRESULT Seeking::GetCapabilities(DWORD* capabilities) const {
  if (capabilities == nullptr) return E_POINTER;
  *capabilities = kCapabilities;
  return S_OK;
}

// S_OK for exactly this set, S_FALSE for a part of it, although all that is asked for is there: callers compare sets.
HRESULT Seeking::CheckCapabilities(const DWORD* capabilities) const {
  if (capabilities == nullptr) return E_POINTER;
  if (*capabilities == 0) return S_OK;
  if ((*capabilities & kCapabilities) == 0) return E_FAIL;
  return *capabilities == kCapabilities ? S_OK : S_FALSE;
}

HRESULT Seeking::IsFormatSupported(const GUID* format) const {
  if (format == nullptr) return E_POINTER;
  return IsMediaTime(*format) || (IsFrame(*format) && positions_.Read().hasFrames) ? S_OK : S_FALSE;
}

HRESULT Seeking::QueryPreferredFormat(GUID* format) const {
  if (format == nullptr) return E_POINTER;
  *format = TIME_FORMAT_MEDIA_TIME;
  return S_OK;
}

HRESULT Seeking::GetTimeFormat(GUID* format) const {
  if (format == nullptr) return E_POINTER;
  *format = FormatInUse(positions_.Read());
  return S_OK;
}

HRESULT Seeking::IsUsingTimeFormat(const GUID* format) const {
  if (format == nullptr) return E_POINTER;
  return SameGuid(*format, FormatInUse(positions_.Read())) ? S_OK : S_FALSE;
}

HRESULT Seeking::SetTimeFormat(const GUID* format) {
  if (format == nullptr) return E_POINTER;
  if (IsMediaTime(*format)) {
    positions_.UseMediaTime();
    return S_OK;
  }
  return IsFrame(*format) && positions_.UseFrames() ? S_OK : E_INVALIDARG;
}

HRESULT Seeking::GetDuration(LONGLONG* duration) const {
  if (duration == nullptr) return E_POINTER;
  return GetAvailable(nullptr, duration);
}

HRESULT Seeking::GetStopPosition(LONGLONG* stop) const {
  if (stop == nullptr) return E_POINTER;
  return GetPositions(nullptr, stop);
}

HRESULT Seeking::GetCurrentPosition(LONGLONG* current) const {
  if (current == nullptr) return E_POINTER;
  return GetPositions(current, nullptr);
}

HRESULT Seeking::GetPositions(LONGLONG* current, LONGLONG* stop) const {
  const MediaPositions now = positions_.Read();
  if (current != nullptr) *current = now.ToFormat(now.current);
  if (stop != nullptr) *stop = now.EndToFormat(now.stop);
  return S_OK;
}

HRESULT Seeking::GetAvailable(LONGLONG* earliest, LONGLONG* latest) const {
  const MediaPositions now = positions_.Read();
  if (earliest != nullptr) *earliest = 0;
  if (latest != nullptr) *latest = now.EndToFormat(now.duration);
  return S_OK;
}

HRESULT Seeking::ConvertTimeFormat(LONGLONG* target, const GUID* targetFormat, LONGLONG source,
                                   const GUID* sourceFormat) const {
  if (target == nullptr) return E_POINTER;
  const MediaPositions now = positions_.Read();
  const GUID& to = targetFormat != nullptr ? *targetFormat : FormatInUse(now);
  const GUID& from = sourceFormat != nullptr ? *sourceFormat : FormatInUse(now);
  if (!(IsMediaTime(to) || IsFrame(to)) || !(IsMediaTime(from) || IsFrame(from))) return E_INVALIDARG;
  if ((IsFrame(to) || IsFrame(from)) && !now.hasFrames) return E_INVALIDARG;
  if (SameGuid(to, from)) {
    *target = source;
  } else {
    *target = IsFrame(to) ? now.ToFrames(source) : now.FromFrames(source);
  }
  return S_OK;
}

HRESULT Seeking::SetRate(double rate) {
  if (!(rate > 0.0)) return E_INVALIDARG;
  positions_.SetRate(rate);
  return S_OK;
}

HRESULT Seeking::GetRate(double* rate) const {
  if (rate == nullptr) return E_POINTER;
  *rate = positions_.Rate();
  return S_OK;
}

HRESULT Seeking::GetPreroll(LONGLONG* preroll) const {
  if (preroll == nullptr) return E_POINTER;
  *preroll = 0;
  return S_OK;
}

HRESULT Seeking::SetPositions(LONGLONG* current, DWORD currentFlags, LONGLONG* stop, DWORD stopFlags) {
  if (!repositioner_.MaySeek()) return VFW_E_WRONG_STATE;
  // A neighbour that seeks from within a control call has that call's locks. It must not wait for the seek of another
  // thread, which waits for them; that one has read its positions by now and moves the pins afterwards.
  if (repositioner_.IsInControlCall()) return Seek(current, currentFlags, stop, stopFlags);
  CAutoLock seek(&seekLock_);
  return Seek(current, currentFlags, stop, stopFlags);
}

HRESULT Seeking::Seek(LONGLONG* current, DWORD currentFlags, LONGLONG* stop, DWORD stopFlags) {
  const MediaPositions now = positions_.Read();
  SeekRange range{now.current, now.stop};
  HRESULT result = NewCurrent(now, current, currentFlags, range);
  if (SUCCEEDED(result)) result = NewStop(now, stop, stopFlags, range);
  if (FAILED(result)) return result;
  if (range.current != now.current || range.stop != now.stop) result = repositioner_.Reposition(range);

  // What the seek settled on, not what the workers have made of it since; in 100 ns, also while frames are in use.
  if ((currentFlags & AM_SEEKING_ReturnTime) != 0 && current != nullptr) *current = range.current;
  if ((stopFlags & AM_SEEKING_ReturnTime) != 0 && stop != nullptr) *stop = range.stop;
  return result;
}

}  // namespace vantor
