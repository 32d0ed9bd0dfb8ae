#include "platform/big_endian.h"

#include <gtest/gtest.h>

#include <array>

namespace vantor::test {
namespace {

constexpr std::uint8_t kBytes[] = {0x81, 0x02, 0x03, 0x04, 0x05, 0x06, 0x07, 0x08};

static_assert(BigEndian(kBytes, 0) == 0);
static_assert(BigEndian(kBytes, 1) == 0x81);
static_assert(BigEndian(kBytes, 3) == 0x810203);
static_assert(BigEndian(kBytes, 8) == 0x8102030405060708);

TEST(BigEndian, NumbersOfEverySizeComeBackAsTheyWereStored) {
  for (std::size_t count = 0; count <= 8; ++count) {
    std::array<std::uint8_t, 9> bytes;
    bytes.fill(0xEE);
    const std::uint64_t value = BigEndian(kBytes, count);
    StoreBigEndian(bytes.data(), count, value);
    EXPECT_EQ(BigEndian(bytes.data(), count), value) << count;
    EXPECT_EQ(bytes[count], 0xEE) << count;
  }
}

TEST(BigEndian, BitsBeyondTheRoomFallOff) {
  EXPECT_EQ(BigEndian<std::uint16_t>(kBytes, 4), 0x0304);
  EXPECT_EQ(BigEndian<std::int16_t>(kBytes, 2), -0x7EFE);
  std::uint8_t bytes[2] = {};
  StoreBigEndian(bytes, 2, 0xABCDEF);
  EXPECT_EQ(BigEndian(bytes, 2), 0xCDEFu);
}

}  // namespace
}  // namespace vantor::test
