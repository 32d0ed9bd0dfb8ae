// Layouts of format blocks that no header of the platform declares. All fields are little-endian; what the codec brings
// of its own follows the structure.
//
//   VorbisFormat block;
//   std::memcpy(&block, type.pbFormat, sizeof block);   // the three header packets follow
#pragma once

#include <cstdint>

#include "platform/com.h"

namespace vantor {

// kFormatSubtitle: language and name of the track; its private data follows.
struct SubtitleInfo {
  std::uint32_t dwOffset;  // of the private data, from the block's start
  char IsoLang[4];         // NOLINT(readability-identifier-naming): three letters and a zero
  WCHAR TrackName[256];    // NOLINT(readability-identifier-naming): zero-terminated
};
static_assert(sizeof(SubtitleInfo) == 520);

// kFormatVorbis and kFormatVorbis2, as this component's own types carry them: the three header packets follow.
struct VorbisFormat {
  std::uint32_t channels;
  std::uint32_t samplesPerSecond;
  std::uint32_t bitsPerSample;
  std::uint32_t headerSizes[3];
};
static_assert(sizeof(VorbisFormat) == 24);

// kFormatVorbis of the alternative type, for decoders that take the headers as samples: nothing follows.
struct OldVorbisFormat {
  std::uint32_t channels;
  std::uint32_t samplesPerSecond;
  std::uint32_t minimumBitRate;
  std::uint32_t averageBitRate;
  std::uint32_t maximumBitRate;
  std::uint32_t quality;
};
static_assert(sizeof(OldVorbisFormat) == 24);

}  // namespace vantor
