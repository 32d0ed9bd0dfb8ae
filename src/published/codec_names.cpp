#include "published/codec_names.h"

#include <cstdint>
#include <optional>

#include "published/media_guids.h"
#include "published/subtype_codes.h"

namespace vantor {
namespace {

struct CodeName {
  std::uint32_t code;
  const char* name;
};

// Codes of subtypes that follow from one.
constexpr CodeName kCodes[] = {
    {FourCc("AVC1"), "AVC (H.264)"},
    {FourCc("avc1"), "AVC (H.264)"},
    {FourCc("H264"), "AVC (H.264)"},
    {FourCc("h264"), "AVC (H.264)"},
    {FourCc("X264"), "AVC (H.264)"},
    {FourCc("hev1"), "HEVC (H.265)"},
    {FourCc("hvc1"), "HEVC (H.265)"},
    {FourCc("HEVC"), "HEVC (H.265)"},
    {FourCc("VP80"), "VP8"},
    {FourCc("VP90"), "VP9"},
    {FourCc("AV01"), "AV1"},
    {FourCc("apco"), "ProRes 422 Proxy"},
    {FourCc("apcs"), "ProRes 422 LT"},
    {FourCc("apcn"), "ProRes 422"},
    {FourCc("apch"), "ProRes 422 HQ"},
    {FourCc("ap4h"), "ProRes 4444"},
    {FourCc("ap4x"), "ProRes 4444 XQ"},
    {FourCc("MP4V"), "MPEG-4 Visual"},
    {FourCc("XVID"), "MPEG-4 Visual (Xvid)"},
    {FourCc("DIVX"), "MPEG-4 Visual (DivX)"},
    {FourCc("DX50"), "MPEG-4 Visual (DivX 5)"},
    {FourCc("FMP4"), "MPEG-4 Visual"},
    {FourCc("THEO"), "Theora"},
    {FourCc("SNOW"), "Snow"},
    {FourCc("FFV1"), "FFV1"},
    {FourCc("FFVH"), "FFVHuff"},
    {FourCc("HFYU"), "HuffYUV"},
    {FourCc("MJPG"), "Motion JPEG"},
    {FourCc("mjp2"), "JPEG 2000"},
    {FourCc("WMV1"), "Windows Media Video 7"},
    {FourCc("WMV2"), "Windows Media Video 8"},
    {FourCc("WMV3"), "Windows Media Video 9"},
    {FourCc("WVC1"), "VC-1"},
    {FourCc("RV10"), "RealVideo 1"},
    {FourCc("RV20"), "RealVideo 2"},
    {FourCc("RV30"), "RealVideo 3"},
    {FourCc("RV40"), "RealVideo 4"},
    {FourCc("COOK"), "RealAudio Cook"},
    {FourCc("SIPR"), "RealAudio Sipro"},
    {FourCc("ATRC"), "RealAudio ATRAC3"},
    {FourCc("14_4"), "RealAudio 14.4"},
    {FourCc("28_8"), "RealAudio 28.8"},
    {format_tags::kPcm, "PCM"},
    {0x0002, "Microsoft ADPCM"},
    {format_tags::kFloat, "PCM, floating point"},
    {0x0006, "A-law"},
    {0x0007, "mu-law"},
    {0x0011, "IMA ADPCM"},
    {format_tags::kMpeg, "MPEG audio"},
    {format_tags::kMpegLayer3, "MP3"},
    {format_tags::kAac, "AAC"},
    {0x0160, "Windows Media Audio 1"},
    {0x0161, "Windows Media Audio 2"},
    {0x0162, "Windows Media Audio Pro"},
    {format_tags::kAc3, "AC-3"},
    {format_tags::kDts, "DTS"},
    {format_tags::kWavPack, "WavPack"},
    {format_tags::kOpus, "Opus"},
    {format_tags::kTta, "TTA"},
    {format_tags::kAlac, "ALAC"},
    {FourCc("twos"), "PCM, big-endian"},
    {FourCc("in24"), "PCM, big-endian"},
    {FourCc("in32"), "PCM, big-endian"},
    {format_tags::kFlac, "FLAC"},
};

struct SubtypeName {
  const GUID& subtype;
  const char* name;
};

const SubtypeName kSubtypes[] = {
    {MEDIASUBTYPE_MPEG1Payload, "MPEG-1 video"},
    {MEDIASUBTYPE_MPEG2_VIDEO, "MPEG-2 video"},
    {MEDIASUBTYPE_RGB24, "RGB, 24 bits"},
    {MEDIASUBTYPE_RGB565, "RGB, 16 bits"},
    {MEDIASUBTYPE_ARGB32, "RGB, 32 bits"},
    {kSubtypeFlac, "FLAC"},
    {kSubtypeEac3, "E-AC-3"},
    {kSubtypeVorbis, "Vorbis"},
    {kSubtypeVorbis2, "Vorbis"},
    {kSubtypeUtf8, "SubRip text"},
    {kSubtypeSsa, "SubStation Alpha"},
    {kSubtypeAss, "Advanced SubStation Alpha"},
    {kSubtypeSsf, "Structured Subtitle Format"},
    {kSubtypeUsf, "Universal Subtitle Format"},
    {kSubtypeVobSub, "VobSub"},
    {kSubtypeWebVtt, "WebVTT"},
    {kSubtypePgs, "PGS"},
    {kSubtypeDvbSubtitles, "DVB subtitles"},
};

}  // namespace

const char* CodecNameOf(const GUID& subtype) {
  for (const SubtypeName& row : kSubtypes) {
    if (SameGuid(row.subtype, subtype)) return row.name;
  }
  const std::optional<std::uint32_t> code = CodeOf(subtype);
  for (const CodeName& row : kCodes) {
    if (code == row.code) return row.name;
  }
  return nullptr;
}

}  // namespace vantor
