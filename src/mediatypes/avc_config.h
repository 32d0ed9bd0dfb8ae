// AVC configurations from raw data: a stored configuration box, a frame with start codes, or 2-byte length-prefixed
// units, whichever the data turns out to be.
#pragma once

#include <cstddef>
#include <cstdint>

#include "parser/ebml_value.h"

namespace vantor {

// Bytes of the box in front of its record: its size, big-endian, and "avcC".
inline constexpr std::size_t kAvcBoxHeaderSize = 8;

// Writes an avcC box whose record declares 4-byte lengths and holds the first sequence and the first picture parameter
// set of the data. False, with `box` unchanged, when the data (null allowed) has under 9 bytes, no known framing, or
// lacks one of the sets.
bool BuildAvcConfig(const std::uint8_t* data, std::size_t size, Bytes& box);

}  // namespace vantor
