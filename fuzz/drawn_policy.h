// The switches of a filter as the input's last bytes say, so that the fuzzer decides which are on.
//
//   CMkvFileRoot root(&reader, true, DrawPolicy(input));
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

#include "parser/playback_policy.h"

namespace vantor::fuzz {

inline PlaybackPolicy DrawPolicy(std::span<const std::uint8_t> input) {
  constexpr std::size_t kPlace = 9;  // from the end, in front of what says seeks and faults
  if (input.size() < kPlace) return {};
  const std::uint8_t bits = input[input.size() - kPlace];
  const auto isOn = [bits](int bit) { return (bits >> bit & 1) != 0; };
  return {.playToEnd = isOn(0),
          .audioKeyFrames = isOn(1),
          .trimCodecIds = isOn(2),
          .distrustSeekIndex = isOn(3),
          .moreCodecs = isOn(4),
          .bufferReads = isOn(5)};
}

}  // namespace vantor::fuzz
