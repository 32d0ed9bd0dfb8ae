// The audio codecs: one row each, the first that matches wins.
#include "mediatypes/audio_builders.h"
#include "mediatypes/skip_track.h"
#include "mediatypes/track_media_type.h"
#include "published/subtype_codes.h"

namespace vantor {

namespace {

constexpr std::uint32_t kSampleSize = 256000;

constexpr AudioCodec kAudioCodecs[] = {
    {"A_AC3", Match::kExact, OLESTR("AC3"), format_tags::kAc3, BuildWaveFormat},
    {"A_MPEG/L3", Match::kExact, OLESTR("MP3"), format_tags::kMpegLayer3, BuildWaveFormat},
    {"A_MPEG/L2", Match::kExact, OLESTR("MPEG"), format_tags::kMpeg, BuildMpegLayer},
    {"A_MPEG/L1", Match::kExact, OLESTR("MPEG"), format_tags::kMpeg, BuildMpegLayer},
    {kCodecDts, Match::kExact, OLESTR("DTS"), format_tags::kDts, BuildWaveFormat},
    {"A_PCM/INT/LIT", Match::kExact, OLESTR("PCM"), format_tags::kPcm, BuildWaveFormat},
    {"A_PCM/FLOAT/IEEE", Match::kExact, OLESTR("PCM"), format_tags::kFloat, BuildWaveFormat},
    {"A_TTA1", Match::kExact, OLESTR("TTA"), format_tags::kTta, BuildWaveFormatWithPrivate},
    {"A_WAVPACK4", Match::kExact, OLESTR("WAVPACK"), format_tags::kWavPack, BuildWaveFormatWithPrivate},
    {"A_FLAC", Match::kExact, OLESTR("FLAC"), format_tags::kFlac, BuildFlac},
    {"A_OPUS", Match::kExact, OLESTR("OPUS"), format_tags::kOpus, BuildWaveFormatWithPrivate},
    {"A_AAC", Match::kExact, OLESTR("AAC"), format_tags::kAac, BuildWaveFormatWithPrivate},
    {"A_VORBIS", Match::kExact, OLESTR("VORBIS"), 0, BuildVorbis},
    {"A_VORBIS2", Match::kExact, OLESTR("VORBIS2"), 0, BuildVorbis2},
    {"A_MS/ACM", Match::kExact, OLESTR("ACM"), 0, BuildStoredWaveFormat},
    {"A_REAL/", Match::kPrefix, OLESTR("REAL"), 0, BuildRealAudio},
    {"A_AAC/", Match::kPrefix, OLESTR("AAC"), format_tags::kAac, BuildAacProfile},
};

// Those of MoreCodecs. The variants of AC-3 are AC-3 at lower rates.
constexpr AudioCodec kMoreAudioCodecs[] = {
    {"A_AC3/", Match::kPrefix, OLESTR("AC3"), format_tags::kAc3, BuildWaveFormat},
    {"A_EAC3", Match::kExact, OLESTR("EAC3"), 0, BuildEac3},
    {"A_ALAC", Match::kExact, OLESTR("ALAC"), format_tags::kAlac, BuildWaveFormatWithPrivate},
    {"A_PCM/INT/BIG", Match::kExact, OLESTR("PCM"), 0, BuildBigEndianPcm},
};

}  // namespace

HRESULT BuildAudioMediaType(const MkvTrackEntry& track, const ResolvedPrivate& resolved, TrackMediaType& result,
                            const PlaybackPolicy& policy) {
  const AudioCodec* codec = FindCodec(kAudioCodecs, track.CodecID);
  if (codec == nullptr && policy.moreCodecs) codec = FindCodec(kMoreAudioCodecs, track.CodecID);
  if (codec == nullptr) return SkipTrack(NoPinReason::kCodec, result);
  const GUID subtype = codec->formatTag != 0 ? SubtypeOf(codec->formatTag) : GUID_NULL;
  result.mediaType.SetType(&MEDIATYPE_Audio);
  result.mediaType.SetSubtype(&subtype);
  result.mediaType.SetSampleSize(kSampleSize);
  result.mediaType.SetTemporalCompression(FALSE);
  result.codecLabel = codec->label;
  result.bufferSize = kSampleSize;
  result.convertStartCodes = false;
  return codec->build(*codec, track, resolved.data, result);
}

}  // namespace vantor
