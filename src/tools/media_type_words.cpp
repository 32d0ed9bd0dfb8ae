#include "tools/media_type_words.h"

#include <fmt/format.h>

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <iterator>
#include <numeric>
#include <string_view>
#include <vector>

#include "platform/text.h"

namespace vantor::tools {
namespace {

struct TagName {
  std::uint32_t tag;
  const char* name;
};

constexpr std::uint32_t FourCc(const char (&text)[5]) {
  return static_cast<std::uint32_t>(static_cast<unsigned char>(text[0])) |
         static_cast<std::uint32_t>(static_cast<unsigned char>(text[1])) << 8 |
         static_cast<std::uint32_t>(static_cast<unsigned char>(text[2])) << 16 |
         static_cast<std::uint32_t>(static_cast<unsigned char>(text[3])) << 24;
}

// First fields of subtypes of the form XXXXXXXX-0000-0010-8000-00AA00389B71.
constexpr TagName kTags[] = {
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
    {0x0001, "PCM"},
    {0x0002, "Microsoft ADPCM"},
    {0x0003, "PCM, floating point"},
    {0x0006, "A-law"},
    {0x0007, "mu-law"},
    {0x0011, "IMA ADPCM"},
    {0x0050, "MPEG audio"},
    {0x0055, "MP3"},
    {0x00FF, "AAC"},
    {0x0160, "Windows Media Audio 1"},
    {0x0161, "Windows Media Audio 2"},
    {0x0162, "Windows Media Audio Pro"},
    {0x2000, "AC-3"},
    {0x2001, "DTS"},
    {0x5756, "WavPack"},
    {0x704F, "Opus"},
    {0x77A1, "TTA"},
    {0xF1AC, "FLAC"},
};

struct SubtypeName {
  GUID subtype;
  const char* name;
};

constexpr SubtypeName kSubtypes[] = {
    {{0xE436EB81, 0x524F, 0x11CE, {0x9F, 0x53, 0x00, 0x20, 0xAF, 0x0B, 0xA7, 0x70}}, "MPEG-1 video"},
    {{0xE06D8026, 0xDB46, 0x11CF, {0xB4, 0xD1, 0x00, 0x80, 0x5F, 0x6C, 0xBB, 0xEA}}, "MPEG-2 video"},
    {{0xE436EB7D, 0x524F, 0x11CE, {0x9F, 0x53, 0x00, 0x20, 0xAF, 0x0B, 0xA7, 0x70}}, "RGB, 24 bits"},
    {{0xE436EB7B, 0x524F, 0x11CE, {0x9F, 0x53, 0x00, 0x20, 0xAF, 0x0B, 0xA7, 0x70}}, "RGB, 16 bits"},
    {{0x773C9AC0, 0x3274, 0x11D0, {0xB7, 0x24, 0x00, 0xAA, 0x00, 0x6C, 0x1A, 0x01}}, "RGB, 32 bits"},
    {{0x1541C5C0, 0xCDDF, 0x477D, {0xBC, 0x0A, 0x86, 0xF8, 0xAE, 0x7F, 0x83, 0x54}}, "FLAC"},
    {{0xCDDCA2D5, 0x6D75, 0x4F98, {0x84, 0x0E, 0x73, 0x7B, 0xED, 0xD5, 0xC6, 0x3B}}, "Vorbis"},
    {{0x8D2FD10B, 0x5841, 0x4A6B, {0x89, 0x05, 0x58, 0x8F, 0xEC, 0x1A, 0xDE, 0xD9}}, "Vorbis"},
    {{0x87C0B230, 0x03A8, 0x4FDF, {0x80, 0x10, 0xB2, 0x7A, 0x58, 0x48, 0x20, 0x0D}}, "SubRip text"},
    {{0x3020560F, 0x255A, 0x4DDC, {0x80, 0x6E, 0x6C, 0x5C, 0xC6, 0xDC, 0xD7, 0x0A}}, "SubStation Alpha"},
    {{0x326444F7, 0x686F, 0x47FF, {0xA4, 0xB2, 0xC8, 0xC9, 0x63, 0x07, 0xB4, 0xC2}}, "Advanced SubStation Alpha"},
    {{0x76C421C4, 0xDB89, 0x42EC, {0x93, 0x6E, 0xA9, 0xFB, 0xC1, 0x79, 0x47, 0x14}}, "Structured Subtitle Format"},
    {{0xB753B29A, 0x0A96, 0x45BE, {0x98, 0x5F, 0x68, 0x35, 0x1D, 0x9C, 0xAB, 0x90}}, "Universal Subtitle Format"},
    {{0xF7239E31, 0x9599, 0x4E43, {0x8D, 0xD5, 0xFB, 0xAF, 0x75, 0xCF, 0x37, 0xF1}}, "VobSub"},
};

constexpr GUID kSubtitleMajorType = {0xE487EB08, 0x6B26, 0x4BE9, {0x9D, 0xD3, 0x99, 0x34, 0x34, 0xD3, 0x13, 0xFD}};
constexpr GUID kSubtitleFormat = {0xA33D2F7D, 0x96BC, 0x4337, {0xB2, 0x3B, 0xA8, 0xB9, 0xFB, 0xC2, 0x95, 0xE9}};
constexpr GUID kVorbisFormat = {0x6BDDFA7E, 0x9F22, 0x46A9, {0xAB, 0x5E, 0x88, 0x4E, 0xFF, 0x29, 0x4D, 0x9F}};
constexpr GUID kVorbis2Format = {0xB36E107F, 0xA938, 0x4387, {0x93, 0xC7, 0x55, 0xE9, 0x66, 0x75, 0x74, 0x73}};

// Fixed parts of format blocks that no header declares.
struct SubtitleInfo {
  std::uint32_t offset;
  char language[4];
  WCHAR track_name[256];
};
struct VorbisInfo {
  std::uint32_t channels;
  std::uint32_t sample_rate;
  std::uint32_t bits_per_sample;
};

// The structure at the front of the format block; false when the block is shorter.
template <typename Structure>
bool ReadBlock(const AM_MEDIA_TYPE& type, Structure& structure) {
  if (type.pbFormat == nullptr || type.cbFormat < sizeof structure) {
    return false;
  }
  std::memcpy(&structure, type.pbFormat, sizeof structure);
  return true;
}

void SetBitmap(StreamWords& words, const BITMAPINFOHEADER& bitmap) {
  words.width = bitmap.biWidth;
  words.height = bitmap.biHeight;
}

void ReadVideo(const AM_MEDIA_TYPE& type, StreamWords& words) {
  VIDEOINFOHEADER plain;
  VIDEOINFOHEADER2 with_aspect;
  if (SameGuid(type.formattype, FORMAT_VideoInfo2) || SameGuid(type.formattype, FORMAT_MPEG2Video)) {
    if (ReadBlock(type, with_aspect)) {
      SetBitmap(words, with_aspect.bmiHeader);
      words.aspect_x = with_aspect.dwPictAspectRatioX;
      words.aspect_y = with_aspect.dwPictAspectRatioY;
      words.frame_duration = with_aspect.AvgTimePerFrame;
      words.bit_rate = with_aspect.dwBitRate;
    }
  } else if (SameGuid(type.formattype, FORMAT_VideoInfo) || SameGuid(type.formattype, FORMAT_MPEGVideo)) {
    if (ReadBlock(type, plain)) {
      SetBitmap(words, plain.bmiHeader);
      words.frame_duration = plain.AvgTimePerFrame;
      words.bit_rate = plain.dwBitRate;
    }
  }
}

void ReadAudio(const AM_MEDIA_TYPE& type, StreamWords& words) {
  if (SameGuid(type.formattype, FORMAT_WaveFormatEx)) {
    WAVEFORMATEX wave;
    if (ReadBlock(type, wave)) {
      words.sample_rate = wave.nSamplesPerSec;
      words.channels = wave.nChannels;
      words.bits_per_sample = wave.wBitsPerSample;
    }
  } else if (SameGuid(type.formattype, kVorbisFormat) || SameGuid(type.formattype, kVorbis2Format)) {
    VorbisInfo vorbis;
    if (ReadBlock(type, vorbis)) {
      words.sample_rate = vorbis.sample_rate;
      words.channels = vorbis.channels;
      words.bits_per_sample = vorbis.bits_per_sample;
    }
  }
}

void ReadSubtitle(const AM_MEDIA_TYPE& type, StreamWords& words) {
  SubtitleInfo info;
  if (!SameGuid(type.formattype, kSubtitleFormat) || !ReadBlock(type, info)) {
    return;
  }
  words.language.assign(info.language, std::find(info.language, std::end(info.language), '\0'));
  const WCHAR* const end = std::find(info.track_name, std::end(info.track_name), WCHAR{0});
  words.title = WideToUtf8(WideString(static_cast<const WCHAR*>(info.track_name), end));
}

std::string TagText(std::uint32_t tag) {
  std::string text;
  for (int shift = 0; shift < 32; shift += 8) {
    const char c = static_cast<char>(tag >> shift & 0xFF);
    if (c < 0x20 || c > 0x7E) {
      return fmt::format("format 0x{:04X}", tag);
    }
    text.push_back(c);
  }
  return fmt::format("\"{}\"", text);
}

std::string CodecName(const GUID& subtype) {
  for (const SubtypeName& row : kSubtypes) {
    if (SameGuid(row.subtype, subtype)) {
      return row.name;
    }
  }
  static constexpr unsigned char kTagTail[12] = {0, 0, 0x10, 0, 0x80, 0, 0, 0xAA, 0, 0x38, 0x9B, 0x71};
  if (std::memcmp(&subtype.Data2, kTagTail, sizeof kTagTail) != 0) {
    return SameGuid(subtype, GUID{}) ? "unnamed" : "unknown";
  }
  for (const TagName& row : kTags) {
    if (row.tag == subtype.Data1) {
      return row.name;
    }
  }
  return TagText(subtype.Data1);
}

std::string FrameRate(std::int64_t frame_duration) {
  std::string text = fmt::format("{:.3f}", 1e7 / static_cast<double>(frame_duration));
  text.erase(text.find_last_not_of('0') + 1);
  if (text.back() == '.') {
    text.pop_back();
  }
  return text + " fps";
}

}  // namespace

std::string StreamWords::Details() const {
  std::vector<std::string> parts;
  if (width != 0 || height != 0) {
    parts.push_back(fmt::format("{}x{}", width, height));
  }
  if (const std::uint32_t divisor = std::gcd(aspect_x, aspect_y); divisor != 0 && aspect_x != 0 && aspect_y != 0) {
    parts.push_back(fmt::format("{}:{}", aspect_x / divisor, aspect_y / divisor));
  }
  if (frame_duration > 0) {
    parts.push_back(FrameRate(frame_duration));
  }
  if (sample_rate != 0) {
    parts.push_back(fmt::format("{} Hz", sample_rate));
  }
  if (channels != 0) {
    parts.push_back(fmt::format("{} channel{}", channels, channels == 1 ? "" : "s"));
  }
  if (bits_per_sample != 0) {
    parts.push_back(fmt::format("{} bits", bits_per_sample));
  }
  if (!language.empty()) {
    parts.push_back(language);
  }
  if (!title.empty()) {
    parts.push_back(fmt::format("\"{}\"", title));
  }
  return fmt::format("{}", fmt::join(parts, ", "));
}

StreamWords DescribeMediaType(const AM_MEDIA_TYPE& type) {
  StreamWords words;
  words.codec = CodecName(type.subtype);
  if (SameGuid(type.majortype, MEDIATYPE_Video)) {
    words.kind = "video";
    ReadVideo(type, words);
  } else if (SameGuid(type.majortype, MEDIATYPE_Audio)) {
    words.kind = "audio";
    ReadAudio(type, words);
  } else if (SameGuid(type.majortype, kSubtitleMajorType)) {
    words.kind = "subtitle";
    ReadSubtitle(type, words);
  } else if (SameGuid(type.majortype, MEDIATYPE_Text)) {
    words.kind = "text";
    words.codec = "plain text";
  } else if (SameGuid(type.majortype, MEDIATYPE_AUXLine21Data)) {
    words.kind = "captions";
    words.codec = "line 21";
  } else {
    words.kind = "other";
  }
  return words;
}

}  // namespace vantor::tools
