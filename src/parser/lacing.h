// Lacing: how a block's payload divides into frames.
//
//   MkvBlock block;
//   block.ReadHeader(element);
//   LaceSizes sizes;
//   if (ReadLaceSizes(element, block.flags.value, sizes) == S_OK) Use(sizes.size[0]);
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

#include "parser/element.h"

namespace vantor {

// The sizes of a block's frames, in order. A value of its own so that reading a block needs no heap.
struct LaceSizes {
  static constexpr std::size_t kMaxFrames = 256;

  std::array<std::uint64_t, kMaxFrames> size;
  std::size_t count = 0;
};

// Works out the frame sizes of the Block or SimpleBlock with these flags; the cursor is behind the flags, and is left
// on the first frame. S_OK; E_FAIL when a size cannot be read, is negative, or the sizes exceed the payload.
[[nodiscard]] HRESULT ReadLaceSizes(const MkvElement& element, std::uint8_t flags, LaceSizes& sizes);

}  // namespace vantor
