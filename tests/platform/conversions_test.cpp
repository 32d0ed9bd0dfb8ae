#include "platform/conversions.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

namespace vantor::test {
namespace {

constexpr std::int64_t kDoesNotFit = std::numeric_limits<std::int64_t>::min();
constexpr double kTwoTo63 = 9223372036854775808.0;

TEST(Conversions, DoublesAreTruncatedTowardZero) {
  EXPECT_EQ(TruncateToInt64(0.0), 0);
  EXPECT_EQ(TruncateToInt64(-0.0), 0);
  EXPECT_EQ(TruncateToInt64(2.9), 2);
  EXPECT_EQ(TruncateToInt64(-2.9), -2);
  EXPECT_EQ(TruncateToInt64(1e18), 1000000000000000000);
}

TEST(Conversions, LimitsOfInt64AreExact) {
  EXPECT_EQ(TruncateToInt64(std::nextafter(kTwoTo63, 0)), 9223372036854774784);
  EXPECT_EQ(TruncateToInt64(kTwoTo63), kDoesNotFit);
  EXPECT_EQ(TruncateToInt64(-kTwoTo63), kDoesNotFit);  // the number itself
  EXPECT_EQ(TruncateToInt64(std::nextafter(-kTwoTo63, 0)), -9223372036854774784);
  EXPECT_EQ(TruncateToInt64(std::nextafter(-kTwoTo63, -INFINITY)), kDoesNotFit);
}

TEST(Conversions, WhatDoesNotFitGivesTheSmallestNumber) {
  for (const double value : {1e300, -1e300, HUGE_VAL, -HUGE_VAL, std::nan(""), -std::nan("")}) {
    EXPECT_EQ(TruncateToInt64(value), kDoesNotFit) << value;
    EXPECT_EQ(TruncateToUInt32(value), 0U) << value;
  }
}

TEST(Conversions, RatesKeepTheLow32Bits) {
  EXPECT_EQ(TruncateToUInt32(44100.9), 44100U);
  EXPECT_EQ(TruncateToUInt32(-1.0), 0xFFFFFFFFU);
  EXPECT_EQ(TruncateToUInt32(4294967295.0), 0xFFFFFFFFU);
  EXPECT_EQ(TruncateToUInt32(4294967298.0), 2U);
}

}  // namespace
}  // namespace vantor::test
