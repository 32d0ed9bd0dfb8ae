// The video codecs: one row each, the first that matches wins.
#include "mediatypes/skip_track.h"
#include "mediatypes/track_media_type.h"
#include "mediatypes/video_builders.h"
#include "published/subtype_codes.h"

namespace vantor {

namespace {

constexpr VideoCodec kVideoCodecs[] = {
    {"V_MS/VFW/FOURCC", Match::kExact, OLESTR("FOURCC"), 0, BuildStoredBitmapHeader},
    {"V_REAL/RV", Match::kPrefix, OLESTR("REAL"), 0, BuildRealVideo},
    {"V_SNOW", Match::kExact, OLESTR("SNOW"), FourCc("SNOW"), BuildSnow},
    {"V_VP8", Match::kExact, OLESTR("VP8"), FourCc("VP80"), BuildVpx},
    {"V_VP9", Match::kExact, OLESTR("VP9"), FourCc("VP90"), BuildVpx},
    {"V_MPEG1", Match::kExact, OLESTR("MPEG1"), 0, BuildMpegVideo},
    {"V_MPEG2", Match::kExact, OLESTR("MPEG2"), 0, BuildMpegVideo},
    {"V_THEORA", Match::kExact, OLESTR("THEORA"), FourCc("THEO"), BuildTheora},
    {"V_MPEG4/ISO/ASP", Match::kExact, OLESTR("MPEG4"), FourCc("MP4V"), BuildMpeg4},
    {kCodecAvc, Match::kExact, OLESTR("AVC"), FourCc("AVC1"), BuildAvc},
    {"V_MPEGH/ISO/HEVC", Match::kExact, OLESTR("HEVC"), FourCc("hev1"), BuildHevc},
};

// Those of MoreCodecs. AV1 by its code point MFVideoFormat_AV1 of mfapi.h; ProRes by the four letters that its maker
// gives each kind, which the private data holds.
constexpr VideoCodec kMoreVideoCodecs[] = {
    {"V_AV1", Match::kExact, OLESTR("AV1"), FourCc("AV01"), BuildHevc},
    {"V_PRORES", Match::kExact, OLESTR("PRORES"), 0, BuildProRes},
};

}  // namespace

HRESULT BuildVideoMediaType(const MkvTrackEntry& track, const ResolvedPrivate& resolved, TrackMediaType& result,
                            const PlaybackPolicy& policy) {
  const VideoCodec* codec = FindCodec(kVideoCodecs, track.CodecID);
  if (codec == nullptr && policy.moreCodecs) codec = FindCodec(kMoreVideoCodecs, track.CodecID);
  if (codec == nullptr) return SkipTrack(NoPinReason::kCodec, result);
  const GUID subtype = codec->fourCc != 0 ? SubtypeOf(codec->fourCc) : GUID_NULL;
  result.mediaType.SetType(&MEDIATYPE_Video);
  result.mediaType.SetSubtype(&subtype);
  result.mediaType.SetVariableSize();
  result.mediaType.SetTemporalCompression(TRUE);
  result.codecLabel = codec->label;
  result.convertStartCodes = resolved.convertStartCodes;
  return codec->build(*codec, track, resolved.data, result);
}

}  // namespace vantor
