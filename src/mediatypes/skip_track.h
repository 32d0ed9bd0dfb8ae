// How a builder skips a track: with a reason.
//
//   if (track.CodecPrivate.size() < 33) return SkipTrackFor(track.CodecPrivate, type);
#pragma once

#include "mediatypes/no_pin_reason.h"
#include "mediatypes/track_media_type.h"
#include "platform/com.h"

namespace vantor {

// S_FALSE, with the reason in the result.
inline HRESULT SkipTrack(NoPinReason reason, TrackMediaType& result) {
  result.noPin = reason;
  return S_FALSE;
}
// The same for private data that is missing or not what the codec needs.
inline HRESULT SkipTrackFor(const Bytes& codecPrivate, TrackMediaType& result) {
  return SkipTrack(codecPrivate.empty() ? NoPinReason::kPrivateMissing : NoPinReason::kPrivateUnusable, result);
}

}  // namespace vantor
