// The first 8 bytes of a ProRes frame: its size, these included, and a mark. Matroska leaves them out, since the size
// is told anyway; decoders look for them.
//
//   ProResHeader header{};
//   if (!HasProResHeader(frame.data(), frame.size())) header = MakeProResHeader(frame.size());
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>

namespace vantor {

using ProResHeader = std::array<std::uint8_t, 8>;

// Whether the frame has it after all: not every writer leaves it out.
inline bool HasProResHeader(const std::uint8_t* frame, std::size_t size) {
  return size >= 8 && std::memcmp(frame + 4, "icpf", 4) == 0;
}

inline ProResHeader MakeProResHeader(std::size_t size) {
  const auto whole = static_cast<std::uint32_t>(size + sizeof(ProResHeader));
  const auto byte = [&](int shift) { return static_cast<std::uint8_t>(whole >> shift); };
  return {byte(24), byte(16), byte(8), byte(0), 'i', 'c', 'p', 'f'};
}

}  // namespace vantor
