#include "fuzz/payload_maker.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cmath>
#include <limits>
#include <numeric>
#include <string_view>

namespace vantor::fuzz {

namespace {

enum Lacing : std::uint8_t { kNone, kXiph, kFixed, kEbml };

void Append(Raw& to, const Raw& more) { to.insert(to.end(), more.begin(), more.end()); }

Raw BigEndian(std::uint64_t value, std::size_t width) {
  Raw bytes;
  for (std::size_t i = width; i-- > 0;) bytes.push_back(static_cast<std::uint8_t>(value >> (8 * i)));
  return bytes;
}

// A size or track number in the fewest bytes, or in more.
Raw Vint(Random& random, std::uint64_t value) {
  std::size_t width = 1;
  while (width < 8 && value >= (std::uint64_t{1} << (7 * width)) - 1) ++width;
  if (random.OneIn(16)) width += random.Below(9 - width);
  return BigEndian(value | std::uint64_t{1} << (7 * width), width);
}

// The difference between two sizes, biased as EBML lacing has it.
Raw SignedVint(Random& random, std::int64_t value) {
  std::size_t width = 1;
  const auto fits = [&] { return std::abs(value) < std::int64_t{1} << (7 * width - 1); };
  while (width < 7 && !fits()) ++width;
  if (random.OneIn(16)) width += random.Below(8 - width);
  const std::int64_t biased = value + (std::int64_t{1} << (7 * width - 1)) - 1;
  return BigEndian(static_cast<std::uint64_t>(biased) | std::uint64_t{1} << (7 * width), width);
}

Raw XiphSizes(const std::vector<std::size_t>& sizes) {
  Raw head;
  for (std::size_t i = 0; i + 1 < sizes.size(); ++i) {
    head.insert(head.end(), sizes[i] / 255, 255);
    head.push_back(static_cast<std::uint8_t>(sizes[i] % 255));
  }
  return head;
}

Raw EbmlSizes(Random& random, const std::vector<std::size_t>& sizes) {
  Raw head = sizes.size() > 1 ? Vint(random, sizes[0]) : Raw();
  for (std::size_t i = 1; i + 1 < sizes.size(); ++i) {
    Append(head, SignedVint(random, static_cast<std::int64_t>(sizes[i]) - static_cast<std::int64_t>(sizes[i - 1])));
  }
  return head;
}

std::vector<std::size_t> FrameSizes(Random& random, Lacing lacing, std::size_t most) {
  std::size_t count = 1;
  if (lacing != kNone) count = random.OneIn(4) ? 1 + random.Below(256) : 1 + random.Below(8);
  const std::size_t largest = random.OneIn(4) ? 0 : most / count;
  std::vector<std::size_t> sizes(count, random.Below(largest + 1));
  if (lacing == kXiph || lacing == kEbml) {
    for (std::size_t& size : sizes) size = random.Below(largest + 1);
  }
  return sizes;
}

}  // namespace

Raw MakeNumber(Random& random) {
  if (random.OneIn(8)) return MakeBytes(random, 10);
  std::uint64_t value = random.Below(4);
  switch (random.Below(5)) {
    case 0:  // next to a power of two
      value = (std::uint64_t{1} << random.Below(64)) + random.Below(3) - 1;
      break;
    case 1:
      value = random.Below(32);
      break;
    case 2:
      value = random.Below(4096);
      break;
    case 3:
      value = random.Bits64();
      break;
    default:
      break;
  }
  std::size_t width = 1;
  while (width < 8 && value >> (8 * width) != 0) ++width;
  return BigEndian(value, random.OneIn(4) ? 8 : width);
}

Raw MakeFloat(Random& random) {
  static constexpr std::array kValues = {0.0,
                                         -0.0,
                                         1.0,
                                         -1.0,
                                         0.5,
                                         25.0,
                                         1e-9,
                                         48000.0,
                                         1e300,
                                         -1e300,
                                         9.3e18,
                                         1e10,
                                         std::numeric_limits<double>::infinity(),
                                         std::numeric_limits<double>::quiet_NaN(),
                                         std::numeric_limits<double>::denorm_min()};
  if (random.OneIn(8)) return MakeBytes(random, 12);
  const double value = random.OneIn(3) ? random.Bits() / 1000.0 : random.Of(kValues);
  // A value that no float holds would be an overflow, the same as infinity.
  if (random.OneIn(2) && std::abs(value) < 1e30) {
    return BigEndian(std::bit_cast<std::uint32_t>(static_cast<float>(value)), 4);
  }
  return BigEndian(std::bit_cast<std::uint64_t>(value), 8);
}

Raw MakeText(Random& random) {
  const std::string_view known = random.Of(KnownTexts());
  Raw text(known.begin(), known.end());
  if (random.OneIn(8) && !text.empty()) random.OneIn(2) ? text.pop_back() : text.push_back(random.Byte());
  if (random.OneIn(16)) text.resize(random.Below(200), 'a');
  return text;
}

Raw MakeBytes(Random& random, std::size_t most) {
  Raw bytes(random.Below(most + 1), random.Byte());
  if (random.OneIn(2)) std::generate(bytes.begin(), bytes.end(), [&] { return random.Byte(); });
  return bytes;
}

Raw MakeBlock(Random& random, const std::vector<std::uint64_t>& tracks, std::size_t most) {
  const auto lacing = static_cast<Lacing>(random.OneIn(2) ? 0 : random.Below(4));
  const std::vector<std::size_t> sizes = FrameSizes(random, lacing, std::min<std::size_t>(most, 600));
  Raw block = Vint(random, random.Of(tracks));
  Append(block, BigEndian(random.OneIn(8) ? random.Bits() : random.Below(500), 2));
  block.push_back(static_cast<std::uint8_t>(lacing << 1 | (random.OneIn(2) ? 0x80 : random.Byte() & 0xF9)));
  if (lacing != kNone) block.push_back(static_cast<std::uint8_t>(sizes.size() - 1));
  if (lacing == kXiph) Append(block, XiphSizes(sizes));
  if (lacing == kEbml) Append(block, EbmlSizes(random, sizes));
  const std::size_t whole = std::accumulate(sizes.begin(), sizes.end(), std::size_t{0});
  block.resize(block.size() + whole, random.Byte());
  if (random.OneIn(16)) block.resize(random.Below(block.size() + 1));
  return block;
}

}  // namespace vantor::fuzz
