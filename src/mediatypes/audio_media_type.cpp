// The audio codecs: one row each, the first that matches wins.
#include "mediatypes/audio_builders.h"
#include "mediatypes/track_media_type.h"

namespace vantor {

namespace {

constexpr std::uint32_t kSampleSize = 256000;

constexpr AudioCodec kAudioCodecs[] = {
    {"A_AC3", Match::kExact, OLESTR("AC3"), 0x2000, BuildWaveFormat},
    {"A_MPEG/L3", Match::kExact, OLESTR("MP3"), 0x0055, BuildWaveFormat},
    {"A_MPEG/L2", Match::kExact, OLESTR("MPEG"), 0x0050, BuildMpegLayer},
    {"A_MPEG/L1", Match::kExact, OLESTR("MPEG"), 0x0050, BuildMpegLayer},
    {"A_DTS", Match::kExact, OLESTR("DTS"), 0x2001, BuildWaveFormat},
    {"A_PCM/INT/LIT", Match::kExact, OLESTR("PCM"), 0x0001, BuildWaveFormat},
    {"A_PCM/FLOAT/IEEE", Match::kExact, OLESTR("PCM"), 0x0003, BuildWaveFormat},
    {"A_TTA1", Match::kExact, OLESTR("TTA"), 0x77A1, BuildWaveFormatWithPrivate},
    {"A_WAVPACK4", Match::kExact, OLESTR("WAVPACK"), 0x5756, BuildWaveFormatWithPrivate},
    {"A_FLAC", Match::kExact, OLESTR("FLAC"), 0xF1AC, BuildFlac},
    {"A_OPUS", Match::kExact, OLESTR("OPUS"), 0x704F, BuildWaveFormatWithPrivate},
    {"A_AAC", Match::kExact, OLESTR("AAC"), 0x00FF, BuildWaveFormatWithPrivate},
    {"A_VORBIS", Match::kExact, OLESTR("VORBIS"), 0, BuildVorbis},
    {"A_VORBIS2", Match::kExact, OLESTR("VORBIS2"), 0, BuildVorbis2},
    {"A_MS/ACM", Match::kExact, OLESTR("ACM"), 0, BuildStoredWaveFormat},
    {"A_REAL/", Match::kPrefix, OLESTR("REAL"), 0, BuildRealAudio},
    {"A_AAC/", Match::kPrefix, OLESTR("AAC"), 0x00FF, BuildAacProfile},
};

}  // namespace

HRESULT BuildAudioMediaType(const MkvTrackEntry& track, TrackMediaType& result) {
  const AudioCodec* codec = FindCodec(kAudioCodecs, track.CodecID);
  if (codec == nullptr) return S_FALSE;
  const GUID subtype = codec->formatTag != 0 ? SubtypeOf(codec->formatTag) : GUID_NULL;
  result.mediaType.SetType(&MEDIATYPE_Audio);
  result.mediaType.SetSubtype(&subtype);
  result.mediaType.SetSampleSize(kSampleSize);
  result.mediaType.SetTemporalCompression(FALSE);
  result.codecLabel = codec->label;
  result.bufferSize = kSampleSize;
  result.convertStartCodes = false;
  return codec->build(*codec, track, result);
}

}  // namespace vantor
