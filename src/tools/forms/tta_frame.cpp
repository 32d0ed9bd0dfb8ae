// A sound's value is a count of one bits ended by a zero, then so many bits as the channel's two adaptive parameters
// say, which follow from the values before: no filter has to run to know where each sound ends. Behind the last stand
// bits that fill its byte, and a checksum of 4 bytes.
#include "tools/forms/tta_frame.h"

#include <algorithm>
#include <cstddef>
#include <optional>
#include <vector>

namespace vantor::tools {
namespace {

constexpr std::size_t kFrameChecksum = 4;

// Bits, the lowest of a byte first. Past the end there is none.
class TtaBits {
 public:
  explicit TtaBits(std::span<const std::uint8_t> bytes) : bytes_(bytes) {}

  std::size_t Left() const { return bytes_.size() * 8 - at_; }
  std::uint32_t One() {
    const std::uint32_t bit = bytes_[at_ / 8] >> at_ % 8 & 1U;
    ++at_;
    return bit;
  }

 private:
  std::span<const std::uint8_t> bytes_;
  std::size_t at_ = 0;
};

// One of the two parameters: a number of bits, and the sum that moves it.
struct RiceParameter {
  std::uint32_t bits = 10;
  std::uint32_t sum = 1U << 14;

  static std::uint32_t Limit(std::uint32_t bits) { return bits < 28 ? 1U << (bits + 4) : 0xFFFFFFFF; }

  void Adapt(std::uint32_t value) {
    sum += value - (sum >> 4);
    if (bits > 0 && sum < Limit(bits)) {
      --bits;
    } else if (sum > Limit(bits + 1)) {
      ++bits;
    }
  }
};

struct TtaChannel {
  RiceParameter low;
  RiceParameter high;  // of values that the low bits do not hold
};

// Passes over one value; false when the bits end first.
bool PassValue(TtaBits& bits, TtaChannel& channel) {
  std::uint32_t ones = 0;
  while (bits.Left() > 0 && bits.One() == 1) ++ones;
  const bool isHigh = ones != 0;
  const std::uint32_t count = isHigh ? channel.high.bits : channel.low.bits;
  if (bits.Left() < count) return false;
  std::uint32_t value = 0;
  for (std::uint32_t i = 0; i < count; ++i) value |= bits.One() << i;
  value += (isHigh ? ones - 1 : 0) << count;
  if (isHigh) {
    channel.high.Adapt(value);
    value += 1U << channel.low.bits;
  }
  channel.low.Adapt(value);
  return true;
}

}  // namespace

TtaFrameLength CountTtaFrame(std::span<const std::uint8_t> frame, std::uint16_t channels, std::uint32_t longest) {
  TtaFrameLength length;
  if (frame.size() <= kFrameChecksum || channels == 0) return length;
  TtaBits bits(frame.first(frame.size() - kFrameChecksum));
  std::vector<TtaChannel> state(channels);
  while (length.most < longest && bits.Left() > 0) {
    const bool isWhole =
        std::ranges::all_of(state, [&](TtaChannel& channel) { return bits.Left() > 0 && PassValue(bits, channel); });
    if (!isWhole) break;
    ++length.most;
    if (bits.Left() >= 8) length.least = length.most + 1;
  }
  length.least = std::min(length.least, length.most);
  return length;
}

}  // namespace vantor::tools
