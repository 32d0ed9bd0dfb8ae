// Codec identifiers that are padded with zero bytes.
#include <gtest/gtest.h>

#include <string_view>

#include "fixture.h"

namespace vantor::test {
namespace {
namespace trim_codec_ids {

constexpr PlaybackPolicy kTrims = {.trimCodecIds = true};

std::string CodecIdOf(std::string_view written, const PlaybackPolicy& policy) {
  Opened file(MkvFile({Info(), Tracks({Track(1, 2, written)})}), true, policy);
  EXPECT_EQ(file.result, S_OK);
  const Bytes& id = file.root.GetSegment()->tracks.at(0).at(0)->CodecID;
  return std::string(id.begin(), id.end());
}

TEST(TrimCodecIds, ZeroBytesAtTheEndAreNoPartOfTheIdentifier) {
  EXPECT_EQ(CodecIdOf(std::string_view("A_AC3\0", 6), kTrims), "A_AC3");
  EXPECT_EQ(CodecIdOf(std::string_view("A_AC3\0\0\0", 8), kTrims), "A_AC3");
  EXPECT_EQ(CodecIdOf("A_AC3", kTrims), "A_AC3");
}

TEST(TrimCodecIds, ZeroBytesBeforeTheEndStay) {
  EXPECT_EQ(CodecIdOf(std::string_view("A_\0AC3\0", 7), kTrims), std::string("A_\0AC3", 6));
}

TEST(TrimCodecIds, AnIdentifierOfZeroBytesIsEmpty) { EXPECT_EQ(CodecIdOf(std::string_view("\0\0", 2), kTrims), ""); }

TEST(TrimCodecIds, WithoutTheSwitchEveryByteCounts) {
  EXPECT_EQ(CodecIdOf(std::string_view("A_AC3\0", 6), {}), std::string("A_AC3\0", 6));
}

}  // namespace trim_codec_ids
}  // namespace
}  // namespace vantor::test
