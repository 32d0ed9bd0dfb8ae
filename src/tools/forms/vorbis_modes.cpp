// The modes are the last thing in the setup header, behind fields of so many shapes that only a decoder can walk them.
// So they are read from the end: before the framing bit lie the modes, each 41 bits of which 32 are always 0, and
// before the first of them their number, in 6 bits. The number must be that of the modes passed on the way to it. Where
// more than one would do, the furthest is taken: what lies before the modes seldom looks like one.
#include "tools/forms/vorbis_modes.h"

#include <bit>
#include <cstddef>

namespace vantor::tools {
namespace {

constexpr std::size_t kMostModes = 64;

// The bits of a header from its last to its first. A field whose first bit is its lowest is thus read from its highest.
class BackwardBits {
 public:
  explicit BackwardBits(std::span<const std::uint8_t> bytes) : bytes_(bytes), left_(bytes.size() * 8) {}

  std::size_t Left() const { return left_; }
  std::uint32_t Take(std::size_t count) {
    std::uint32_t value = 0;
    for (; count > 0 && left_ > 0; --count) {
      --left_;
      value = value << 1 | (bytes_[left_ / 8] >> left_ % 8 & 1U);
    }
    return value;
  }

 private:
  std::span<const std::uint8_t> bytes_;
  std::size_t left_;
};

// Whether each mode has the long block; empty when no modes were found.
std::vector<bool> ReadModes(std::span<const std::uint8_t> setup) {
  constexpr std::size_t kModeAndCount = 41 + 6;
  BackwardBits bits(setup);
  while (bits.Left() > 0 && bits.Take(1) == 0) {
  }
  std::vector<bool> backwards;
  std::size_t found = 0;
  while (bits.Left() >= kModeAndCount && backwards.size() < kMostModes) {
    const bool isMode = bits.Take(8) < kMostModes && bits.Take(16) == 0 && bits.Take(16) == 0;
    if (!isMode) break;
    backwards.push_back(bits.Take(1) != 0);
    if (BackwardBits(bits).Take(6) + 1 == backwards.size()) found = backwards.size();
  }
  backwards.resize(found);
  return {backwards.rbegin(), backwards.rend()};
}

}  // namespace

std::optional<VorbisModes> VorbisModes::Read(std::span<const std::uint8_t> identification,
                                             std::span<const std::uint8_t> setup) {
  constexpr std::size_t kBlockSizesAt = 28;
  if (identification.size() <= kBlockSizesAt) return std::nullopt;
  const unsigned shortSize = identification[kBlockSizesAt] % 16;
  const unsigned longSize = identification[kBlockSizesAt] / 16;
  std::vector<bool> isLong = ReadModes(setup);
  if (shortSize < 6 || longSize < shortSize || longSize > 13 || isLong.empty()) return std::nullopt;
  return VorbisModes({std::int64_t{1} << shortSize, std::int64_t{1} << longSize}, std::move(isLong));
}

// A block overlaps the one before by half of the smaller: what is finished is a quarter of each.
std::int64_t VorbisModes::Sounds(std::span<const std::uint8_t> packet) {
  if (packet.empty()) return 0;
  const unsigned modeBits = std::bit_width(isLong_.size() - 1);
  const std::size_t mode = packet[0] >> 1 & ((1U << modeBits) - 1);
  if (mode >= isLong_.size()) return 0;
  const std::int64_t size = blockSizes_[isLong_[mode] ? 1 : 0];
  const std::int64_t sounds = before_ == 0 ? 0 : before_ / 4 + size / 4;
  before_ = size;
  return sounds;
}

}  // namespace vantor::tools
