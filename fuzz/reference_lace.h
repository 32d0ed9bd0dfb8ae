// Lacing once more, read straight from bytes, to compare the parser's with.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <vector>

namespace vantor::fuzz {

// The sizes of the frames of the block whose payload is the bytes from `begin` to `end` of the file, header included;
// nothing when its lace is damaged or the file ends before the header does. The payload may end beyond the file.
std::optional<std::vector<std::uint64_t>> ReferenceFrameSizes(std::span<const std::uint8_t> file, std::uint64_t begin,
                                                              std::uint64_t end);

}  // namespace vantor::fuzz
