// Random numbers that are the same everywhere for the same seed.
//
//   Random random(7);
//   if (random.OneIn(4)) Use(random.Below(10));  // 0 to 9
#pragma once

#include <cstddef>
#include <cstdint>

namespace vantor::fuzz {

class Random {
 public:
  explicit Random(std::uint32_t seed) : state_(seed) {}

  std::uint32_t Bits() { return static_cast<std::uint32_t>(Bits64() >> 32); }
  std::uint8_t Byte() { return static_cast<std::uint8_t>(Bits()); }
  // SplitMix64: a counter whose bits are well mixed, so that seeds side by side give numbers that have nothing in
  // common.
  std::uint64_t Bits64() {
    state_ += 0x9E3779B97F4A7C15;
    std::uint64_t bits = (state_ ^ state_ >> 30) * 0xBF58476D1CE4E5B9;
    bits = (bits ^ bits >> 27) * 0x94D049BB133111EB;
    return bits ^ bits >> 31;
  }
  // 0 to limit - 1; the limit is at least 1.
  std::size_t Below(std::size_t limit) { return static_cast<std::size_t>(Bits64() % limit); }
  bool OneIn(std::size_t count) { return Below(count) == 0; }
  template <typename List>
  const auto& Of(const List& list) {
    return list[Below(list.size())];
  }

 private:
  std::uint64_t state_;
};

}  // namespace vantor::fuzz
