// Media types of tracks: what an output pin offers for a track entry, by the track's CodecID and CodecPrivate.
//
//   TrackMediaType type;
//   HRESULT hr = BuildTrackMediaType(track, sources, type);
//   if (hr == S_OK) MakePin(type); else if (FAILED(hr)) return hr;   // S_FALSE: no pin, and type.noPin says why
//
// Every builder answers S_OK (make a pin), S_FALSE (skip the track) or a failure that ends the whole connection, such
// as E_OUTOFMEMORY for a format block. It raises ResultError with E_INVALIDARG where private data points past its own
// end.
#pragma once

#include <cstdint>

#include "baseclasses/media_type.h"
#include "mediatypes/codec_private.h"
#include "mediatypes/no_pin_reason.h"
#include "parser/playback_policy.h"
#include "parser/track_entry.h"
#include "platform/com.h"

namespace vantor {

struct TrackMediaType {
  CMediaType mediaType;
  WideString codecLabel;           // for the pin's name, at most 7 characters
  std::uint32_t bufferSize = 0;    // bytes of one sample
  bool convertStartCodes = false;  // frames come with 4-byte start codes where the type promises 4-byte lengths
  bool addFrameHeaders = false;    // frames come without the ProRes header that decoders look for
  NoPinReason noPin = NoPinReason::kNone;
};

// The type for a track of any kind, its private data resolved by the sources. What has a type depends on the policy.
HRESULT BuildTrackMediaType(const MkvTrackEntry& track, const AvcConfigSources& sources, TrackMediaType& result,
                            const PlaybackPolicy& policy = {});

// The same for one kind, with private data that has been resolved and is within reach.
HRESULT BuildVideoMediaType(const MkvTrackEntry& track, const ResolvedPrivate& resolved, TrackMediaType& result,
                            const PlaybackPolicy& policy = {});
HRESULT BuildAudioMediaType(const MkvTrackEntry& track, const ResolvedPrivate& resolved, TrackMediaType& result,
                            const PlaybackPolicy& policy = {});
// Never skips: an unknown codec has a null subtype.
HRESULT BuildSubtitleMediaType(const MkvTrackEntry& track, const ResolvedPrivate& resolved, TrackMediaType& result,
                               const PlaybackPolicy& policy = {});

}  // namespace vantor
