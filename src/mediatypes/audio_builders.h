// What the audio builders share: one row of the codec table and the common fill of a WAVEFORMATEX.
#pragma once

#include <cstdint>
#include <string_view>

#include "mediatypes/codec_id.h"
#include "mediatypes/track_media_type.h"

namespace vantor {

struct AudioCodec;
// Fills the format; everything else, the subtype of the format tag included, is set already. Results as of
// BuildAudioMediaType.
using AudioBuilder = HRESULT (*)(const AudioCodec& codec, const MkvTrackEntry& track, const Bytes& codecPrivate,
                                 TrackMediaType& result);

struct AudioCodec {
  std::string_view id;
  Match match;
  const WCHAR* label;
  std::uint16_t formatTag;  // 0 where the builder sets the subtype
  AudioBuilder build;
};

// A WAVEFORMATEX alone, or with the private data behind it, or that in a block of at least 40 bytes.
HRESULT BuildWaveFormat(const AudioCodec&, const MkvTrackEntry&, const Bytes&, TrackMediaType&);
HRESULT BuildWaveFormatWithPrivate(const AudioCodec&, const MkvTrackEntry&, const Bytes&, TrackMediaType&);
HRESULT BuildMpegLayer(const AudioCodec&, const MkvTrackEntry&, const Bytes&, TrackMediaType&);
HRESULT BuildFlac(const AudioCodec&, const MkvTrackEntry&, const Bytes&, TrackMediaType&);
HRESULT BuildStoredWaveFormat(const AudioCodec&, const MkvTrackEntry&, const Bytes&, TrackMediaType&);
HRESULT BuildEac3(const AudioCodec&, const MkvTrackEntry&, const Bytes&, TrackMediaType&);
HRESULT BuildBigEndianPcm(const AudioCodec&, const MkvTrackEntry&, const Bytes&, TrackMediaType&);
HRESULT BuildVorbis(const AudioCodec&, const MkvTrackEntry&, const Bytes&, TrackMediaType&);
HRESULT BuildVorbis2(const AudioCodec&, const MkvTrackEntry&, const Bytes&, TrackMediaType&);
HRESULT BuildRealAudio(const AudioCodec&, const MkvTrackEntry&, const Bytes&, TrackMediaType&);
HRESULT BuildAacProfile(const AudioCodec&, const MkvTrackEntry&, const Bytes&, TrackMediaType&);

static_assert(sizeof(WAVEFORMATEX) == 18, "the published structure is packed");

std::uint32_t SamplesPerSecond(const MkvTrackEntry& track);

// The header by the track's audio settings; a block alignment of 0 becomes 1. cbSize is 0.
WAVEFORMATEX CommonWaveFormat(const MkvTrackEntry& track, std::uint16_t formatTag);
// The same with the block alignment as it comes out.
WAVEFORMATEX UncorrectedWaveFormat(const MkvTrackEntry& track, std::uint16_t formatTag);

}  // namespace vantor
