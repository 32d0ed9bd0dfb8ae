#include "tools/media_type_words.h"

#include <fmt/format.h>

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <iterator>
#include <numeric>
#include <optional>
#include <vector>

#include "platform/text.h"
#include "published/codec_names.h"
#include "published/format_blocks.h"
#include "published/media_guids.h"
#include "published/subtype_codes.h"
#include "tools/track_words.h"

namespace vantor::tools {
namespace {

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
  VIDEOINFOHEADER2 withAspect;
  if (SameGuid(type.formattype, FORMAT_VideoInfo2) || SameGuid(type.formattype, FORMAT_MPEG2Video)) {
    if (ReadBlock(type, withAspect)) {
      SetBitmap(words, withAspect.bmiHeader);
      words.aspectX = withAspect.dwPictAspectRatioX;
      words.aspectY = withAspect.dwPictAspectRatioY;
      words.frameDuration = withAspect.AvgTimePerFrame;
      words.bitRate = withAspect.dwBitRate;
    }
  } else if (SameGuid(type.formattype, FORMAT_VideoInfo) || SameGuid(type.formattype, FORMAT_MPEGVideo)) {
    if (ReadBlock(type, plain)) {
      SetBitmap(words, plain.bmiHeader);
      words.frameDuration = plain.AvgTimePerFrame;
      words.bitRate = plain.dwBitRate;
    }
  }
}

// Of packets that stand for any number of samples, the field says nothing; writers fill it in all the same.
bool HasSampleBits(const AM_MEDIA_TYPE& type) {
  constexpr std::uint32_t kWithBits[] = {format_tags::kPcm,  format_tags::kFloat, format_tags::kTta,
                                         format_tags::kFlac, format_tags::kAlac,  format_tags::kWavPack,
                                         FourCc("twos"),     FourCc("in24"),      FourCc("in32")};
  const std::optional<std::uint32_t> code = CodeOf(type.subtype);
  return SameGuid(type.subtype, kSubtypeFlac) ||
         (code && std::find(std::begin(kWithBits), std::end(kWithBits), *code) != std::end(kWithBits));
}

void ReadAudio(const AM_MEDIA_TYPE& type, StreamWords& words) {
  if (SameGuid(type.formattype, FORMAT_WaveFormatEx)) {
    WAVEFORMATEX wave;
    if (ReadBlock(type, wave)) {
      words.sampleRate = wave.nSamplesPerSec;
      words.channels = wave.nChannels;
      if (HasSampleBits(type)) words.bitsPerSample = wave.wBitsPerSample;
    }
  } else if (SameGuid(type.formattype, kFormatVorbis) || SameGuid(type.formattype, kFormatVorbis2)) {
    VorbisFormat vorbis;
    if (ReadBlock(type, vorbis)) {
      words.sampleRate = vorbis.samplesPerSecond;
      words.channels = vorbis.channels;
    }
  }
}

void ReadSubtitle(const AM_MEDIA_TYPE& type, StreamWords& words) {
  SubtitleInfo info;
  if (!SameGuid(type.formattype, kFormatSubtitle) || !ReadBlock(type, info)) {
    return;
  }
  words.language.assign(info.IsoLang, std::find(info.IsoLang, std::end(info.IsoLang), '\0'));
  const WCHAR* const end = std::find(info.TrackName, std::end(info.TrackName), WCHAR{0});
  words.title = WideToUtf8(WideString(static_cast<const WCHAR*>(info.TrackName), end));
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

struct IdName {
  std::string_view id;
  const char* name;
};
constexpr IdName kOpenIds[] = {
    {"A_MPEG/L1", "MPEG audio layer I"},      {"A_MPEG/L2", "MPEG audio layer II"}, {"S_HDMV/PGS", "PGS"},
    {"S_HDMV/TEXTST", "HDMV text subtitles"}, {"S_DVBSUB", "DVB subtitles"},        {"S_TEXT/WEBVTT", "WebVTT"},
    {"D_WEBVTT/SUBTITLES", "WebVTT"},         {"D_WEBVTT/CAPTIONS", "WebVTT"},      {"S_KATE", "Kate"},
    {"S_ARIBSUB", "ARIB subtitles"},
};

// Subtypes that several codecs share, and the one that stands for none.
bool IsOpen(const GUID& subtype) {
  return SameGuid(subtype, GUID{}) || SameGuid(subtype, SubtypeOf(format_tags::kMpeg));
}

std::string CodecName(const GUID& subtype, std::string_view codecId) {
  for (const IdName& row : kOpenIds) {
    if (row.id == codecId && IsOpen(subtype)) return row.name;
  }
  if (const char* const name = CodecNameOf(subtype); name != nullptr) {
    return name;
  }
  if (const std::optional<std::uint32_t> code = CodeOf(subtype)) {
    return TagText(*code);
  }
  return SameGuid(subtype, GUID{}) ? "unnamed" : "unknown";
}

}  // namespace

std::string StreamWords::Details() const {
  std::vector<std::string> parts;
  if (width != 0 || height != 0) {
    parts.push_back(fmt::format("{}x{}", width, height));
  }
  if (const std::uint32_t divisor = std::gcd(aspectX, aspectY); divisor != 0 && aspectX != 0 && aspectY != 0) {
    parts.push_back(fmt::format("{}:{}", aspectX / divisor, aspectY / divisor));
  }
  if (frameDuration > 0) {
    parts.push_back(FrameRateText(1e7 / static_cast<double>(frameDuration), 3));
  }
  if (sampleRate != 0) {
    parts.push_back(fmt::format("{} Hz", sampleRate));
  }
  if (channels != 0) {
    parts.push_back(fmt::format("{} channel{}", channels, channels == 1 ? "" : "s"));
  }
  if (bitsPerSample != 0) {
    parts.push_back(fmt::format("{} bits", bitsPerSample));
  }
  if (!language.empty()) {
    parts.push_back(language);
  }
  if (!title.empty()) {
    parts.push_back(fmt::format("\"{}\"", title));
  }
  return fmt::format("{}", fmt::join(parts, ", "));
}

StreamWords DescribeMediaType(const AM_MEDIA_TYPE& type, std::string_view codecId) {
  StreamWords words;
  words.codec = CodecName(type.subtype, codecId);
  if (SameGuid(type.majortype, MEDIATYPE_Video)) {
    words.kind = "video";
    ReadVideo(type, words);
  } else if (SameGuid(type.majortype, MEDIATYPE_Audio)) {
    words.kind = "audio";
    ReadAudio(type, words);
  } else if (SameGuid(type.majortype, kTypeSubtitle)) {
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
