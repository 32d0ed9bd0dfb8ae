#include "fuzz/element_mutator.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <set>

#include "fuzz/index_repair.h"
#include "fuzz/payload_maker.h"
#include "support/mkv_builder.h"

namespace vantor::fuzz {
namespace {

using namespace vantor::test;
using vantor::fuzz::Raw;

constexpr std::uint32_t kSeeds = 400;
constexpr std::uint32_t kClusterId = 0x1F43B675;

Raw SampleFile() {
  return MkvFile({{"index", [](const Positions& at) { return SeekHead({SeekEntry(0x1C53BB6B, at["cues"])}); }},
                  Info(1000000, 60.0),
                  Tracks({Track(1, 1, "V_VP8", {Video(64, 64)}), Track(2, 2, "A_AC3")}),
                  {"first", Cluster(0, {SimpleBlock(1, 0, kKey, Ramp(20)), SimpleBlock(2, 0, kKey, Ramp(9))})},
                  {"second", Cluster(40, {SimpleBlock(1, 0, kKey, Ramp(20))})},
                  {"cues", [](const Positions& at) {
                     return Cues({CuePoint(0, 1, at["first"]), CuePoint(40, 1, at["second"])});
                   }}});
}

// In libFuzzer's place: turns every byte over.
std::size_t Invert(std::uint8_t* bytes, std::size_t size, std::size_t) {
  std::transform(bytes, bytes + size, bytes, [](std::uint8_t byte) { return static_cast<std::uint8_t>(~byte); });
  return size;
}

Raw Mutated(std::uint32_t seed, const Raw& bytes, std::size_t most) {
  return ElementMutator(seed, Invert).Mutate(bytes, most);
}

// Whether every element's size is that of its content.
bool AllSizesHold(const std::vector<ElementNode>& elements) {
  return std::all_of(elements.begin(), elements.end(), [](const ElementNode& element) {
    return !element.id.empty() && !element.claimed && !element.hasUnknownSize && AllSizesHold(element.children);
  });
}

std::size_t CountElements(const std::vector<ElementNode>& elements) {
  std::size_t count = elements.size();
  for (const ElementNode& element : elements) count += CountElements(element.children);
  return count;
}

TEST(ElementMutatorTest, TheSameSeedMakesTheSameBytes) {
  for (std::uint32_t seed = 0; seed < 100; ++seed) {
    EXPECT_EQ(Mutated(seed, SampleFile(), 2000), Mutated(seed, SampleFile(), 2000));
  }
}

TEST(ElementMutatorTest, StaysWithinTheLengthAskedFor) {
  const std::size_t length = SampleFile().size();
  for (std::uint32_t seed = 0; seed < kSeeds; ++seed) {
    for (const std::size_t most : {length / 2, length, 4 * length}) {
      EXPECT_LE(Mutated(seed, SampleFile(), most).size(), most) << "seed " << seed;
    }
  }
}

TEST(ElementMutatorTest, MakesAnotherFileNearlyAlways) {
  std::set<Raw> made;
  for (std::uint32_t seed = 0; seed < kSeeds; ++seed) made.insert(Mutated(seed, SampleFile(), 2000));
  EXPECT_GT(made.size(), kSeeds / 2);
}

TEST(ElementMutatorTest, KeepsTheSizesOfTheParentsRightMostly) {
  std::size_t held = 0;
  for (std::uint32_t seed = 0; seed < kSeeds; ++seed)
    held += AllSizesHold(ParseElements(Mutated(seed, SampleFile(), 2000)));
  EXPECT_GT(held, kSeeds / 2);
  EXPECT_LT(held, kSeeds * 95 / 100);
}

TEST(ElementMutatorTest, MakesFilesBothOfMoreElementsAndOfFewer) {
  const std::size_t before = CountElements(ParseElements(SampleFile()));
  std::size_t more = 0;
  std::size_t fewer = 0;
  for (std::uint32_t seed = 0; seed < kSeeds; ++seed) {
    const std::size_t now = CountElements(ParseElements(Mutated(seed, SampleFile(), 2000)));
    more += now > before;
    fewer += now < before;
  }
  EXPECT_GT(more, kSeeds / 5);
  EXPECT_GT(fewer, kSeeds / 20);
}

TEST(ElementMutatorTest, TakesAnyBytes) {
  Random random(1);
  for (std::uint32_t seed = 0; seed < kSeeds; ++seed) {
    const Raw bytes = MakeBytes(random, 80);
    EXPECT_LE(Mutated(seed, bytes, 100).size(), 100u);
    EXPECT_LE(ElementMutator(seed, Invert).Cross(bytes, SampleFile(), 100).size(), 100u);
  }
}

TEST(ElementMutatorTest, CrossesInAnElementOfTheOtherFile) {
  const Raw marked = MkvFile({Info(), Cluster(0, {SimpleBlock(9, 7, 0, Text("the other file"))})});
  std::size_t found = 0;
  for (std::uint32_t seed = 0; seed < 300; ++seed) {
    const Raw crossed = ElementMutator(seed, Invert).Cross(SampleFile(), marked, 4000);
    const Raw text = Text("the other file");
    found += std::search(crossed.begin(), crossed.end(), text.begin(), text.end()) != crossed.end();
  }
  EXPECT_GT(found, 60u);
  EXPECT_LT(found, 300u);
}

TEST(IndexRepair, PointsIndexAndCuesAtWhatTheyName) {
  std::vector<ElementNode> file = ParseElements(SampleFile());
  ElementNode& segment = file[1];
  ElementNode filler;
  filler.id = {0xEC};
  filler.payload = Fill(100);
  segment.children.insert(segment.children.begin() + 1, filler);
  RepairIndexes(file);
  std::size_t position = 0;
  std::vector<std::size_t> clusters;
  std::size_t cues = 0;
  for (const ElementNode& child : segment.children) {
    if (IdOf(child) == kClusterId) clusters.push_back(position);
    if (IdOf(child) == 0x1C53BB6B) cues = position;
    position += WrittenSize(child);
  }
  const Raw seek = segment.children[0].children[0].children[1].payload;
  EXPECT_EQ(Raw(seek.end() - 2, seek.end()), BigEndian(cues, 2));
  const ElementNode& points = segment.children.back();
  for (std::size_t i = 0; i < 2; ++i) {
    const ElementNode& positions = points.children[i].children[1];
    const Raw& at = positions.children[1].payload;
    EXPECT_EQ(Raw(at.end() - 2, at.end()), BigEndian(clusters[i], 2)) << "cue " << i;
  }
}

TEST(PayloadMaker, MakesBlocksOfTheTracksWithEveryKindOfLace) {
  Random random(5);
  std::set<int> lacings;
  for (int i = 0; i < 400; ++i) {
    const Raw block = MakeBlock(random, {3}, 300);
    if (block.size() < 4 || block[0] != 0x83) continue;
    lacings.insert(block[3] >> 1 & 3);
  }
  EXPECT_EQ(lacings, (std::set<int>{0, 1, 2, 3}));
}

}  // namespace
}  // namespace vantor::fuzz
