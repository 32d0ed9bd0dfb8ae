// Media types of tracks: what an output pin offers for a track entry, by the track's CodecID and CodecPrivate.
//
//   TrackMediaType type;
//   HRESULT hr = BuildAudioMediaType(track, type);
//   if (hr == S_OK) MakePin(type); else if (FAILED(hr)) return hr;   // S_FALSE: the track gets no pin
//
// Every builder answers S_OK (make a pin), S_FALSE (skip the track) or a failure that ends the whole connection, such
// as E_OUTOFMEMORY for a format block. It raises ResultError with E_INVALIDARG where private data points past its own
// end. The content encodings of the track's CodecPrivate have been undone before.
#pragma once

#include <cstdint>
#include <functional>

#include "baseclasses/media_type.h"
#include "parser/byte_source.h"
#include "parser/track_entry.h"
#include "platform/com.h"

namespace vantor {

struct TrackMediaType {
  CMediaType mediaType;
  WideString codecLabel;           // for the pin's name, at most 7 characters
  std::uint32_t bufferSize = 0;    // bytes of one sample
  bool convertStartCodes = false;  // frames come with 4-byte start codes where the type promises 4-byte lengths
};

// Where an AVC track without CodecPrivate may find its configuration, in this order: its own first frame in `file`
// (read through a clone that shares its allowance; null: not tried), then `streamDescription`, which fills the record
// and tells whether it did (empty: not tried).
struct AvcConfigSources {
  CMkvFile* file = nullptr;
  std::function<bool(const MkvTrackEntry& track, Bytes& codecPrivate)> streamDescription;
};

// An AVC configuration found elsewhere becomes the track's CodecPrivate.
HRESULT BuildVideoMediaType(MkvTrackEntry& track, const AvcConfigSources& sources, TrackMediaType& result);
HRESULT BuildAudioMediaType(const MkvTrackEntry& track, TrackMediaType& result);
// Never skips: an unknown codec has a null subtype.
HRESULT BuildSubtitleMediaType(const MkvTrackEntry& track, TrackMediaType& result);

}  // namespace vantor
