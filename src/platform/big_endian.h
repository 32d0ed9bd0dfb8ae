// Big-endian numbers in bytes, whatever the machine's own order.
//
//   const auto size = BigEndian<std::uint32_t>(bytes, 3);   // 24 bits
//   StoreBigEndian(bytes, 4, size);
#pragma once

#include <cstddef>
#include <cstdint>

namespace vantor {

// The number in the first `count` bytes; bits above the type's width fall off.
template <typename Number = std::uint64_t>
constexpr Number BigEndian(const std::uint8_t* bytes, std::size_t count) {
  std::uint64_t value = 0;
  for (std::size_t i = 0; i < count; ++i) value = value << 8 | bytes[i];
  return static_cast<Number>(value);
}

// Writes the number's low `count` bytes.
constexpr void StoreBigEndian(std::uint8_t* bytes, std::size_t count, std::uint64_t value) {
  for (std::size_t i = count; i-- > 0; value >>= 8) bytes[i] = static_cast<std::uint8_t>(value);
}

}  // namespace vantor
