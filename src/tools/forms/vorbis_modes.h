// VorbisModes: how many sounds a packet of Vorbis brings, from its first bits and what the headers say.
//
//   std::optional<VorbisModes> modes = VorbisModes::Read(sequenceHeader, payload);
//   modes->Sounds(payload);   // 0 for the first, which only begins the overlap
#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <span>
#include <utility>
#include <vector>

namespace vantor::tools {

class VorbisModes {
 public:
  // Nothing when the setup does not end in modes.
  static std::optional<VorbisModes> Read(std::span<const std::uint8_t> identification,
                                         std::span<const std::uint8_t> setup);

  // Of the packet behind the one asked for before.
  std::int64_t Sounds(std::span<const std::uint8_t> packet);

 private:
  VorbisModes(std::array<std::int64_t, 2> blockSizes, std::vector<bool> isLong)
      : blockSizes_(blockSizes), isLong_(std::move(isLong)) {}

  std::array<std::int64_t, 2> blockSizes_;
  std::vector<bool> isLong_;  // by mode
  std::int64_t before_ = 0;   // the size of the block before; 0 when there was none
};

}  // namespace vantor::tools
