#include "published/subtype_codes.h"

#include <gtest/gtest.h>

#include "published/media_guids.h"

namespace vantor::test {
namespace {

TEST(SubtypeCodes, ACodeIsReadInTheOrderInWhichItLiesInMemory) {
  static_assert(FourCc("AVC1") == 0x31435641);
  static_assert(FourCc('\xFF', '\0', '\x80', '\x01') == 0x018000FF);
  EXPECT_TRUE(SameGuid(SubtypeOf(FourCc("AVC1")), {0x31435641, 0, 0x10, {0x80, 0, 0, 0xAA, 0, 0x38, 0x9B, 0x71}}));
}

TEST(SubtypeCodes, TheCodeComesBackFromItsSubtypeAndFromNoOther) {
  EXPECT_EQ(CodeOf(SubtypeOf(format_tags::kFlac)), 0xF1ACu);
  EXPECT_EQ(CodeOf(SubtypeOf(0)), 0u);
  EXPECT_EQ(CodeOf(MEDIATYPE_Video), FourCc("vids"));
  EXPECT_EQ(CodeOf(kSubtypeFlac), std::nullopt);
  EXPECT_EQ(CodeOf(GUID{}), std::nullopt);
}

}  // namespace
}  // namespace vantor::test
