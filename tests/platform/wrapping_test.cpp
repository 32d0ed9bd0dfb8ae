#include "platform/wrapping.h"

#include <gtest/gtest.h>

#include <limits>

namespace vantor::test {
namespace {

constexpr std::int64_t kSmallest = std::numeric_limits<std::int64_t>::min();
constexpr std::int64_t kLargest = std::numeric_limits<std::int64_t>::max();

TEST(Wrapping, WhatFitsIsThePlainResult) {
  EXPECT_EQ(WrappingAdd(40, 2), 42);
  EXPECT_EQ(WrappingSubtract(40, 42), -2);
  EXPECT_EQ(WrappingMultiply(-6, 7), -42);
  EXPECT_EQ(WrappingDivide(43, 2), 21);
}

TEST(Wrapping, SumsAndDifferencesGoOnFromTheOtherEnd) {
  EXPECT_EQ(WrappingAdd(kLargest, 1), kSmallest);
  EXPECT_EQ(WrappingAdd(kSmallest, -1), kLargest);
  EXPECT_EQ(WrappingSubtract(kSmallest, 1), kLargest);
  EXPECT_EQ(WrappingSubtract(kLargest, -1), kSmallest);
}

TEST(Wrapping, ProductsKeepTheirLow64Bits) {
  EXPECT_EQ(WrappingMultiply(kLargest, 2), -2);
  EXPECT_EQ(WrappingMultiply(kSmallest, -1), kSmallest);
  EXPECT_EQ(WrappingMultiply(std::int64_t{1} << 32, std::int64_t{1} << 32), 0);
}

TEST(Wrapping, QuotientsAreTruncatedTowardZero) {
  EXPECT_EQ(WrappingDivide(-7, 2), -3);
  EXPECT_EQ(WrappingDivide(7, -2), -3);
  EXPECT_EQ(WrappingDivide(kLargest, -1), -kLargest);
}

TEST(Wrapping, TheOneQuotientThatDoesNotFitWrapsToItself) { EXPECT_EQ(WrappingDivide(kSmallest, -1), kSmallest); }

TEST(Wrapping, ResultsAreThereAtCompileTime) {
  static_assert(WrappingAdd(INT64_MAX, 1) == INT64_MIN);
  static_assert(WrappingSubtract(INT64_MIN, 1) == INT64_MAX);
  static_assert(WrappingMultiply(INT64_MIN, -1) == INT64_MIN);
  static_assert(WrappingDivide(INT64_MIN, -1) == INT64_MIN);
}

}  // namespace
}  // namespace vantor::test
