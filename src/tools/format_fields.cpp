#include "tools/format_fields.h"

#include <algorithm>
#include <cstddef>
#include <cstring>

namespace vantor::tools {
namespace {

std::span<const std::uint8_t> BlockOf(const AM_MEDIA_TYPE& type) {
  if (type.pbFormat == nullptr) return {};
  return {type.pbFormat, type.cbFormat};
}

// The structure's first bytes, which the block must have.
template <typename Structure>
bool Take(std::span<const std::uint8_t> block, Structure& structure, std::size_t size = sizeof(Structure)) {
  if (block.size() < size) return false;
  std::memcpy(&structure, block.data(), size);
  return true;
}

std::span<const std::uint8_t> AtMost(std::span<const std::uint8_t> bytes, std::size_t size) {
  return bytes.first(std::min(bytes.size(), size));
}

// For VIDEOINFOHEADER and VIDEOINFOHEADER2, whose bitmap header stands last.
template <typename Header>
std::optional<PictureFields> BehindBitmapHeader(std::span<const std::uint8_t> block) {
  Header header;
  if (!Take(block, header)) return std::nullopt;
  PictureFields fields;
  fields.bitmap = header.bmiHeader;
  const std::size_t counted = std::max<std::size_t>(fields.bitmap.biSize, sizeof fields.bitmap) - sizeof fields.bitmap;
  fields.codecData = AtMost(block.subspan(sizeof header), counted);
  return fields;
}

}  // namespace

std::optional<PictureFields> PictureFieldsOf(const AM_MEDIA_TYPE& type) {
  const std::span<const std::uint8_t> block = BlockOf(type);
  if (SameGuid(type.formattype, FORMAT_VideoInfo)) return BehindBitmapHeader<VIDEOINFOHEADER>(block);
  if (SameGuid(type.formattype, FORMAT_VideoInfo2)) return BehindBitmapHeader<VIDEOINFOHEADER2>(block);
  PictureFields fields;
  if (SameGuid(type.formattype, FORMAT_MPEG2Video)) {
    constexpr std::size_t kFixedPart = offsetof(MPEG2VIDEOINFO, dwSequenceHeader);
    MPEG2VIDEOINFO header;
    if (!Take(block, header, kFixedPart)) return std::nullopt;
    fields.bitmap = header.hdr.bmiHeader;
    fields.codecData = AtMost(block.subspan(kFixedPart), header.cbSequenceHeader);
    fields.lengthSize = header.dwFlags;
    return fields;
  }
  if (SameGuid(type.formattype, FORMAT_MPEGVideo)) {
    constexpr std::size_t kFixedPart = offsetof(MPEG1VIDEOINFO, bSequenceHeader);
    MPEG1VIDEOINFO header;
    if (!Take(block, header, kFixedPart)) return std::nullopt;
    fields.bitmap = header.hdr.bmiHeader;
    fields.codecData = AtMost(block.subspan(kFixedPart), header.cbSequenceHeader);
    return fields;
  }
  return std::nullopt;
}

std::optional<SoundFields> SoundFieldsOf(const AM_MEDIA_TYPE& type) {
  const std::span<const std::uint8_t> block = BlockOf(type);
  SoundFields fields;
  if (!SameGuid(type.formattype, FORMAT_WaveFormatEx) || !Take(block, fields.header)) return std::nullopt;
  fields.codecData = AtMost(block.subspan(sizeof fields.header), fields.header.cbSize);
  return fields;
}

}  // namespace vantor::tools
