// The codec header packets that some decoders expect as the first samples of a stream.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

#include "baseclasses/media_type.h"

namespace vantor {

struct CodecHeader {
  const std::uint8_t* data;
  std::size_t size;
};
using CodecHeaders = std::array<CodecHeader, 3>;

// The three Vorbis headers in the pin's own format block, when the connection's type asks for them as samples. True and
// pointers into `own`'s block; false when there is nothing to send.
bool FindCodecHeaders(const CMediaType& connection, const CMediaType& own, CodecHeaders& headers);

}  // namespace vantor
