// How many sounds a frame of True Audio holds, from its bits alone.
//
//   const TtaFrameLength length = CountTtaFrame(payload, 2, 46'080);
//   length.most;   // at least `least`: a frame that ends in silence may have filling bits that look like more of it
#pragma once

#include <cstdint>
#include <span>

namespace vantor::tools {

struct TtaFrameLength {
  std::uint32_t least = 0;
  std::uint32_t most = 0;
};

// No more than the longest; none when the frame is none.
TtaFrameLength CountTtaFrame(std::span<const std::uint8_t> frame, std::uint16_t channels, std::uint32_t longest);

}  // namespace vantor::tools
