#include "fuzz/element_tree.h"

#include <gtest/gtest.h>

#include "fuzz/random.h"
#include "support/mkv_builder.h"

namespace vantor::fuzz {
namespace {

using namespace vantor::test;
using vantor::fuzz::Raw;

Raw PlainFile() {
  return MkvFile({Info(), Tracks({Track(1, 2, "A_AC3")}), Cluster(0, {SimpleBlock(1, 0, kKey, Ramp(40))})});
}

Raw WrittenAgain(const Raw& bytes) { return WriteElements(ParseElements(bytes)); }

TEST(ElementTree, HoldsMastersWithTheirChildrenAndTheRestWithItsBytes) {
  const std::vector<ElementNode> file = ParseElements(PlainFile());
  ASSERT_EQ(file.size(), 2u);
  const ElementNode& segment = file[1];
  ASSERT_EQ(segment.children.size(), 3u);
  EXPECT_EQ(IdOf(segment), 0x18538067u);
  const ElementNode& cluster = segment.children[2];
  ASSERT_EQ(cluster.children.size(), 2u);
  EXPECT_EQ(IdOf(cluster.children[1]), 0xA3u);
  EXPECT_EQ(cluster.children[1].payload.size(), 44u);
}

TEST(ElementTree, WritesWhatItReadAsItWas) {
  EXPECT_EQ(WrittenAgain(PlainFile()), PlainFile());
  EXPECT_EQ(WrittenAgain({}), Raw());
}

TEST(ElementTree, KeepsASizeThatClaimsMoreThanIsThere) {
  const Raw bytes = Join({EbmlHeader(), EbmlWithSize(0x18538067, 5000, Info(), 8)});
  const std::vector<ElementNode> file = ParseElements(bytes);
  EXPECT_EQ(file[1].claimed, 5000u);
  EXPECT_EQ(file[1].children.size(), 1u);
  EXPECT_EQ(WriteElements(file), bytes);
}

TEST(ElementTree, EndsAClusterOfUnknownSizeAtTheNext) {
  const Raw bytes = UnknownSizeSegment({UnknownSize(0x1F43B675, {UInt(0xE7, 0)}), UnknownSize(0x1F43B675, {}), Info()});
  const std::vector<ElementNode> file = ParseElements(bytes);
  ASSERT_EQ(file.size(), 1u);
  ASSERT_EQ(file[0].children.size(), 3u);
  EXPECT_EQ(file[0].children[0].children.size(), 1u);
  EXPECT_EQ(WriteElements(file), bytes);
}

TEST(ElementTree, PassesDamageUpToTheNextOfASegmentsChildren) {
  const Raw bytes = Master(0x18538067, {Raw{0, 1, 2, 3}, Info(), Raw{0x08}});
  const std::vector<ElementNode> file = ParseElements(bytes);
  ASSERT_EQ(file[0].children.size(), 3u);
  EXPECT_EQ(file[0].children[0].payload, (Raw{0, 1, 2, 3}));
  EXPECT_EQ(IdOf(file[0].children[0]), 0u);
  EXPECT_EQ(IdOf(file[0].children[1]), 0x1549A966u);
  EXPECT_EQ(WriteElements(file), bytes);
}

TEST(ElementTree, FitsTheSizesAboveAChange) {
  std::vector<ElementNode> file = ParseElements(PlainFile());
  ElementNode& cluster = file[1].children[2];
  cluster.children.insert(cluster.children.end(), 40, cluster.children[1]);
  const Raw bytes = WriteElements(file);
  const std::vector<ElementNode> again = ParseElements(bytes);
  ASSERT_EQ(again.size(), 2u);
  EXPECT_FALSE(again[1].claimed.has_value());
  EXPECT_EQ(again[1].children[2].children.size(), 42u);
  EXPECT_EQ(WrittenSize(file[0]) + WrittenSize(file[1]), bytes.size());
}

TEST(ElementTree, WritesAnyBytesAsTheyWere) {
  for (std::uint32_t seed = 0; seed < 300; ++seed) {
    Random random(seed);
    Raw bytes = PlainFile();
    for (int i = 0; i < 6; ++i) bytes[random.Below(bytes.size())] = random.Byte();
    bytes.resize(random.Below(bytes.size() + 1));
    EXPECT_EQ(WrittenAgain(bytes), bytes) << "seed " << seed;
  }
}

TEST(ElementTree, NestsWithoutBoundOnlyInBytes) {
  Raw bytes;
  for (int i = 0; i < 2000; ++i) bytes = Join({bytes, {0x18, 0x53, 0x80, 0x67, 0xFF}});
  EXPECT_EQ(WrittenAgain(bytes), bytes);
}

}  // namespace
}  // namespace vantor::fuzz
