// BlockFrames: how a Block's payload divides into frames, and which of them the file holds. Reads the Block's header
// and the head of its lace, no frame.
//
//   BlockFrames frames;
//   ReadBlockFrames(element, frames);
//   total += frames.whole;
#pragma once

#include <cstddef>
#include <cstdint>

#include "parser/element.h"
#include "parser/lacing.h"

namespace vantor::tools {

struct BlockFrames {
  std::uint64_t start = 0;  // of the element
  std::uint64_t track = 0;
  std::int64_t relativeTime = 0;  // ticks
  std::uint8_t flags = 0;
  // As the format has them; 0 for a Block that ends within its header, or whose lace cannot be told.
  std::size_t count = 0;
  std::size_t whole = 0;         // of these, from the first on, those that end within the file
  bool isReadByFilter = false;   // false: the filter passes over it, be there frames or not
  std::uint64_t firstFrame = 0;  // position
  std::uint64_t bytes = 0;       // of the whole frames
  LaceSizes sizes;               // as many as count

  bool IsKey() const { return (flags & 0x80) != 0; }
};

// The element is a SimpleBlock or a Block.
void ReadBlockFrames(const MkvElement& element, BlockFrames& frames);

}  // namespace vantor::tools
