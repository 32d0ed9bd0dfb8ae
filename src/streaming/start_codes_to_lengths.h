// Rewriting start codes as lengths, for AVC streams whose configuration declares 4-byte NAL lengths.
#pragma once

#include <cstddef>
#include <cstdint>

namespace vantor {

// Replaces every start code 00 00 00 01 by the big-endian length of what follows it up to the next one or the end.
// In place, the size stays. A start code of three bytes is data.
void ConvertStartCodesToLengths(std::uint8_t* data, std::size_t size);

}  // namespace vantor
