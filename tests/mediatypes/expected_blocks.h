// Tracks for the builders, and the format blocks that are expected of them, written byte by byte and independently of
// the code under test.
#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <cstdio>
#include <string>
#include <string_view>

#include "mediatypes/track_media_type.h"
#include "support/mkv_builder.h"

namespace vantor::test {

// Bytes in little-endian order: Le().U32(40).U16(1).Zeros(6).bytes
struct Le {
  Raw bytes;

  Le& Number(std::uint64_t value, int width) {
    for (int i = 0; i < width; ++i) bytes.push_back(static_cast<std::uint8_t>(value >> (8 * i)));
    return *this;
  }
  Le& U16(std::uint64_t value) { return Number(value, 2); }
  Le& U32(std::uint64_t value) { return Number(value, 4); }
  Le& U64(std::uint64_t value) { return Number(value, 8); }
  Le& Zeros(std::size_t count) {
    bytes.insert(bytes.end(), count, 0);
    return *this;
  }
  Le& Add(const Raw& more) {
    bytes.insert(bytes.end(), more.begin(), more.end());
    return *this;
  }
  Le& Add(std::string_view text) {
    bytes.insert(bytes.end(), text.begin(), text.end());
    return *this;
  }
};

struct ExpectedBitmap {
  std::uint32_t size = 40;
  std::uint32_t width = 0;
  std::uint32_t height = 0;
  std::uint16_t planes = 0;
  std::uint16_t bitCount = 0;
  std::string_view compression = {"\0\0\0\0", 4};
  std::uint32_t horizontalDensity = 0;
  std::uint32_t verticalDensity = 0;
};

inline Raw Write(const ExpectedBitmap& bitmap) {
  return Le()
      .U32(bitmap.size)
      .U32(bitmap.width)
      .U32(bitmap.height)
      .U16(bitmap.planes)
      .U16(bitmap.bitCount)
      .Add(bitmap.compression)
      .U32(0)
      .U32(bitmap.horizontalDensity)
      .U32(bitmap.verticalDensity)
      .Zeros(8)
      .bytes;
}

struct ExpectedHeader {
  std::uint32_t rectangleWidth = 0;  // of both rectangles, which start at 0, 0
  std::uint32_t rectangleHeight = 0;
  std::uint32_t bitRate = 0;
  std::uint64_t frameTime = 0;
  std::uint32_t aspectX = 0;
  std::uint32_t aspectY = 0;
};

inline Raw WriteCommon(const ExpectedHeader& header) {
  Le le;
  for (int i = 0; i < 2; ++i) le.U32(0).U32(0).U32(header.rectangleWidth).U32(header.rectangleHeight);
  return le.U32(header.bitRate).U32(0).U64(header.frameTime).bytes;
}

// The 88 bytes of a VIDEOINFOHEADER.
inline Raw VideoInfoBlock(const ExpectedHeader& header, const ExpectedBitmap& bitmap) {
  return Le().Add(WriteCommon(header)).Add(Write(bitmap)).bytes;
}

// The 112 bytes of a VIDEOINFOHEADER2.
inline Raw VideoInfo2Block(const ExpectedHeader& header, const ExpectedBitmap& bitmap) {
  return Le()
      .Add(WriteCommon(header))
      .Zeros(8)
      .U32(header.aspectX)
      .U32(header.aspectY)
      .Zeros(8)
      .Add(Write(bitmap))
      .bytes;
}

// The 132 bytes of an MPEG2VIDEOINFO up to its sequence header, and that.
inline Raw Mpeg2Block(const ExpectedHeader& header, const ExpectedBitmap& bitmap, const Raw& sequenceHeader,
                      std::uint32_t profile = 0, std::uint32_t level = 0, std::uint32_t flags = 0) {
  return Le()
      .Add(VideoInfo2Block(header, bitmap))
      .U32(0)
      .U32(sequenceHeader.size())
      .U32(profile)
      .U32(level)
      .U32(flags)
      .Add(sequenceHeader)
      .bytes;
}

struct ExpectedWave {
  std::uint16_t tag = 0;
  std::uint16_t channels = 0;
  std::uint32_t rate = 0;
  std::uint32_t bytesPerSecond = 0;
  std::uint16_t blockAlign = 0;
  std::uint16_t bits = 0;
  std::uint16_t extraSize = 0;
};

// The 18 bytes of a WAVEFORMATEX.
inline Raw WaveBlock(const ExpectedWave& wave) {
  return Le()
      .U16(wave.tag)
      .U16(wave.channels)
      .U32(wave.rate)
      .U32(wave.bytesPerSecond)
      .U16(wave.blockAlign)
      .U16(wave.bits)
      .U16(wave.extraSize)
      .bytes;
}

inline Raw BlockOf(const CMediaType& type) { return Raw(type.Format(), type.Format() + type.FormatLength()); }

inline std::string LabelOf(const TrackMediaType& type) { return {type.codecLabel.begin(), type.codecLabel.end()}; }

// In registry form without braces, upper case.
inline std::string GuidText(const GUID& guid) {
  char text[40];
  std::snprintf(text, sizeof(text), "%08X-%04X-%04X-%02X%02X-%02X%02X%02X%02X%02X%02X",
                static_cast<unsigned>(guid.Data1), guid.Data2, guid.Data3, guid.Data4[0], guid.Data4[1], guid.Data4[2],
                guid.Data4[3], guid.Data4[4], guid.Data4[5], guid.Data4[6], guid.Data4[7]);
  return text;
}

// The subtype of a four-character code, as text.
inline std::string FourCcText(std::string_view code) {
  char text[40];
  std::snprintf(text, sizeof(text), "%02X%02X%02X%02X-0000-0010-8000-00AA00389B71", static_cast<unsigned char>(code[3]),
                static_cast<unsigned char>(code[2]), static_cast<unsigned char>(code[1]),
                static_cast<unsigned char>(code[0]));
  return text;
}

inline constexpr std::string_view kNullGuid = "00000000-0000-0000-0000-000000000000";
inline constexpr std::string_view kVideoInfoText = "05589F80-C356-11CE-BF01-00AA0055595A";
inline constexpr std::string_view kMpegVideoText = "05589F82-C356-11CE-BF01-00AA0055595A";
inline constexpr std::string_view kWaveFormatText = "05589F81-C356-11CE-BF01-00AA0055595A";
inline constexpr std::string_view kVideoInfo2Text = "F72A76A0-EB0A-11D0-ACE4-0000C0CC16BA";
inline constexpr std::string_view kMpeg2VideoText = "E06D80E3-DB46-11CF-B4D1-00805F6CBBEA";

inline MkvTrackEntry MakeTrack(std::string_view codecId, const Raw& codecPrivate) {
  MkvTrackEntry track;
  track.TrackNumber = CMkvUInt(1);
  track.CodecID.assign(codecId.begin(), codecId.end());
  track.CodecPrivate = codecPrivate;
  return track;
}

inline MkvTrackEntry VideoTrack(std::string_view codecId, std::uint64_t width, std::uint64_t height,
                                const Raw& codecPrivate = {}) {
  MkvTrackEntry track = MakeTrack(codecId, codecPrivate);
  track.TrackType = CMkvUInt(MkvTrackEntry::kTypeVideo);
  track.video.PixelWidth = CMkvUInt(width);
  track.video.PixelHeight = CMkvUInt(height);
  return track;
}

inline MkvTrackEntry AudioTrack(std::string_view codecId, double rate, std::uint64_t channels, std::uint64_t bits,
                                const Raw& codecPrivate = {}) {
  MkvTrackEntry track = MakeTrack(codecId, codecPrivate);
  track.TrackType = CMkvUInt(MkvTrackEntry::kTypeAudio);
  track.audio.SamplingFrequency = CMkvFloat(rate);
  track.audio.Channels = CMkvUInt(channels);
  if (bits != 0) track.audio.BitDepth = CMkvUInt(bits);
  return track;
}

inline void SetDisplay(MkvTrackEntry& track, std::uint64_t width, std::uint64_t height) {
  track.video.DisplayWidth = CMkvUInt(width);
  track.video.DisplayHeight = CMkvUInt(height);
}

// Build a type without anywhere to look for AVC configurations.
inline HRESULT BuildVideo(const MkvTrackEntry& track, TrackMediaType& result) {
  return BuildVideoMediaType(track, ResolveCodecPrivate(track, {}), result);
}
inline HRESULT BuildAudio(const MkvTrackEntry& track, TrackMediaType& result) {
  return BuildAudioMediaType(track, ResolveCodecPrivate(track, {}), result);
}
inline HRESULT BuildSubtitle(const MkvTrackEntry& track, TrackMediaType& result) {
  return BuildSubtitleMediaType(track, ResolveCodecPrivate(track, {}), result);
}

}  // namespace vantor::test
