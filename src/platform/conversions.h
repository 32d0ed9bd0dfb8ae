// Number conversions whose out-of-range cases are part of the behaviour.
#pragma once

#include <cstdint>

namespace vantor {

// The value truncated toward zero. What does not fit, not-a-number included, gives 0x8000000000000000.
inline std::int64_t TruncateToInt64(double value) {
  constexpr double kLimit = 9223372036854775808.0;  // 2^63
  if (value >= -kLimit && value < kLimit) return static_cast<std::int64_t>(value);
  return INT64_MIN;
}

// For rates: the low 32 bits of the same.
inline std::uint32_t TruncateToUInt32(double value) { return static_cast<std::uint32_t>(TruncateToInt64(value)); }

}  // namespace vantor
