// What the format block of a media type says, read with care: blocks are made of what a file says.
//
//   if (const auto picture = PictureFieldsOf(type)) Use(picture->bitmap.biWidth, picture->codecData);
//   if (const auto sound = SoundFieldsOf(type)) Use(sound->header.nChannels, sound->codecData);
#pragma once

#include <cstdint>
#include <optional>
#include <span>

#include "platform/com.h"

namespace vantor::tools {

struct PictureFields {
  BITMAPINFOHEADER bitmap = {};
  std::span<const std::uint8_t> codecData;  // sequence header, or bytes behind the bitmap header that it counts
  unsigned lengthSize = 0;                  // of an MPEG2VIDEOINFO: its flags, bytes of the lengths of units
};

struct SoundFields {
  WAVEFORMATEX header = {};
  std::span<const std::uint8_t> codecData;  // behind the header, as far as it counts them
};

// Nothing for a block of another kind, or one that ends too early. The data is the media type's own.
std::optional<PictureFields> PictureFieldsOf(const AM_MEDIA_TYPE& type);
std::optional<SoundFields> SoundFieldsOf(const AM_MEDIA_TYPE& type);

}  // namespace vantor::tools
