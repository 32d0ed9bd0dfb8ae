#include "streaming/codec_headers.h"

#include <cstring>

#include "published/format_blocks.h"
#include "published/media_guids.h"

namespace vantor {

namespace {

constexpr std::size_t kSizesOffset = offsetof(VorbisFormat, headerSizes);
constexpr std::size_t kHeadersOffset = sizeof(VorbisFormat);

}  // namespace

bool FindCodecHeaders(const CMediaType& connection, const CMediaType& own, CodecHeaders& headers) {
  if (!SameGuid(*connection.Subtype(), kSubtypeVorbis)) return false;
  if (!SameGuid(*own.FormatType(), kFormatVorbis) && !SameGuid(*own.FormatType(), kFormatVorbis2)) return false;
  const std::uint8_t* const block = own.Format();
  const std::size_t length = own.FormatLength();
  std::size_t offset = kHeadersOffset;
  if (block == nullptr || length < offset) return false;
  for (std::size_t i = 0; i < headers.size(); ++i) {
    std::uint32_t size = 0;
    std::memcpy(&size, block + kSizesOffset + i * sizeof(size), sizeof(size));
    if (size > length - offset) return false;
    headers[i] = {block + offset, size};
    offset += size;
  }
  return true;
}

}  // namespace vantor
