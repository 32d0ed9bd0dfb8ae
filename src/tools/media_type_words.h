// Media types in words: what a stream is, told from the media type alone.
//
//   StreamWords words = DescribeMediaType(pin.types[0]);
//   words.kind;       // "video"
//   words.codec;      // "AVC (H.264)"
//   words.Details();  // "1920x1080, 23.976 fps"
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "platform/com.h"

namespace vantor::tools {

// Fields that the type says nothing about are 0 or empty.
struct StreamWords {
  std::string kind;  // "video", "audio", "subtitle", "text", "captions", "other"
  std::string codec;
  std::int32_t width = 0;
  std::int32_t height = 0;
  std::uint32_t aspectX = 0;
  std::uint32_t aspectY = 0;
  std::int64_t frameDuration = 0;  // 100 ns
  std::uint32_t sampleRate = 0;
  std::uint32_t channels = 0;
  std::uint32_t bitsPerSample = 0;
  std::uint32_t bitRate = 0;  // bits a second
  std::string language;
  std::string title;

  // The known fields behind kind and codec in one line, without the bit rate, which few types tell: "1920x1080, 16:9,
  // 25 fps", "48000 Hz, 2 channels, 16 bits", "eng, \"Forced\"".
  std::string Details() const;
};

// The codec identifier of the track, if it is known, tells the codec where the type leaves it open.
StreamWords DescribeMediaType(const AM_MEDIA_TYPE& type, std::string_view codecId = {});

}  // namespace vantor::tools
