// Little-endian numbers in bytes, whatever the machine's own order.
//
//   const std::uint64_t size = LittleEndian(payload.first(4));
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

namespace vantor::tools {

// Of as many bytes as there are; what is above 64 bits falls off.
constexpr std::uint64_t LittleEndian(std::span<const std::uint8_t> bytes) {
  std::uint64_t value = 0;
  for (std::size_t i = bytes.size(); i-- > 0;) value = value << 8 | bytes[i];
  return value;
}

}  // namespace vantor::tools
