// Signed 64-bit arithmetic that wraps: times and ticks are computed from what a file says, and whatever it says, a
// result that does not fit is taken modulo 2^64 instead of being undefined.
//
//   constexpr std::int64_t kStop = WrappingAdd(INT64_MAX, 1);  // INT64_MIN
#pragma once

#include <cstdint>

namespace vantor {

constexpr std::int64_t WrappingAdd(std::int64_t left, std::int64_t right) noexcept {
  return static_cast<std::int64_t>(static_cast<std::uint64_t>(left) + static_cast<std::uint64_t>(right));
}

constexpr std::int64_t WrappingSubtract(std::int64_t left, std::int64_t right) noexcept {
  return static_cast<std::int64_t>(static_cast<std::uint64_t>(left) - static_cast<std::uint64_t>(right));
}

constexpr std::int64_t WrappingMultiply(std::int64_t left, std::int64_t right) noexcept {
  return static_cast<std::int64_t>(static_cast<std::uint64_t>(left) * static_cast<std::uint64_t>(right));
}

// Truncates toward zero. The divisor is not zero. One quotient does not fit, that of the smallest number and -1, at
// which processors trap.
constexpr std::int64_t WrappingDivide(std::int64_t value, std::int64_t divisor) noexcept {
  return divisor == -1 ? WrappingSubtract(0, value) : value / divisor;
}

}  // namespace vantor
