#include "published/format_blocks.h"

#include <gtest/gtest.h>

#include <cstddef>

namespace vantor::test {
namespace {

// Other programs read these blocks by offsets.
TEST(FormatBlocks, FieldsLieWhereOthersLookForThem) {
  EXPECT_EQ(offsetof(SubtitleInfo, dwOffset), 0u);
  EXPECT_EQ(offsetof(SubtitleInfo, IsoLang), 4u);
  EXPECT_EQ(offsetof(SubtitleInfo, TrackName), 8u);
  EXPECT_EQ(offsetof(VorbisFormat, samplesPerSecond), 4u);
  EXPECT_EQ(offsetof(VorbisFormat, bitsPerSample), 8u);
  EXPECT_EQ(offsetof(VorbisFormat, headerSizes), 12u);
  EXPECT_EQ(offsetof(OldVorbisFormat, averageBitRate), 12u);
  EXPECT_EQ(offsetof(OldVorbisFormat, quality), 20u);
}

}  // namespace
}  // namespace vantor::test
