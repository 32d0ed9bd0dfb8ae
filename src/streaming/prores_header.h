// The first 8 bytes of a ProRes frame: its size, these included, and a mark. Matroska leaves them out, since the size
// is told anyway; decoders look for them.
//
//   ProResHeader header{};
//   if (!HasProResHeader({}, frame)) header = MakeProResHeader(frame.size());
#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <span>

namespace vantor {

using ProResHeader = std::array<std::uint8_t, 8>;

// Whether the frame has it after all: not every writer leaves it out. The frame is what was stripped off all frames of
// the track and what is left of this one.
inline bool HasProResHeader(std::span<const std::uint8_t> stripped, std::span<const std::uint8_t> frame) {
  ProResHeader first{};
  const std::size_t before = std::min(stripped.size(), first.size());
  const std::size_t behind = std::min(frame.size(), first.size() - before);
  if (before != 0) std::memcpy(first.data(), stripped.data(), before);
  if (behind != 0) std::memcpy(first.data() + before, frame.data(), behind);
  return before + behind == first.size() && std::memcmp(first.data() + 4, "icpf", 4) == 0;
}

inline ProResHeader MakeProResHeader(std::size_t size) {
  const auto whole = static_cast<std::uint32_t>(size + sizeof(ProResHeader));
  const auto byte = [&](int shift) { return static_cast<std::uint8_t>(whole >> shift); };
  return {byte(24), byte(16), byte(8), byte(0), 'i', 'c', 'p', 'f'};
}

}  // namespace vantor
