// What is kept of a file, in all: payloads, records, frames.
#include <gtest/gtest.h>

#include "fixture.h"
#include "parser/block.h"
#include "parser/cue_synthesis.h"
#include "parser/element_ids.h"
#include "parser/frame_memory.h"

namespace vantor::test {
namespace {

constexpr std::uint64_t kMebibyte = std::uint64_t{1} << 20;

Raw Copies(std::size_t count, const Raw& element) {
  Raw all;
  for (std::size_t i = 0; i < count; ++i) all.insert(all.end(), element.begin(), element.end());
  return all;
}

// Tracks that each claim all that follows them for the element.
Raw ClaimingFile(std::size_t count, std::uint32_t id, std::size_t following) {
  const Raw claim = Join({IdBytes(id), UnknownVint()});
  return MkvFile({Ebml(ids::kTracks, Copies(count, Ebml(0xAE, claim))), Fill(following, 'x')});
}

TEST(Keeping, PayloadsTogetherAreNoLongerThanTheFileAndAMebibyte) {
  constexpr std::size_t kSize = 3 << 20;
  const Opened file(ClaimingFile(20, 0x63A2, kSize));
  std::uint64_t kept = 0;
  std::size_t empty = 0;
  for (const auto& track : file.root.segment.tracks.at(0)) {
    kept += track->CodecPrivate.size();
    if (track->CodecPrivate.empty()) ++empty;
  }
  EXPECT_GT(kept, kSize);
  EXPECT_LE(kept, file.root.length + kMebibyte);
  EXPECT_EQ(empty, 19u);
}

TEST(Keeping, TextsCountLikePayloads) {
  constexpr std::size_t kSize = 3 << 20;
  const Opened file(ClaimingFile(20, 0x536E, kSize));
  std::size_t named = 0;
  for (const auto& track : file.root.segment.tracks.at(0)) named += track->Name.empty() ? 0 : 1;
  EXPECT_EQ(named, 1u);
}

TEST(Keeping, PayloadsBesideEachOtherAreAllKept) {
  const Raw track = Ebml(0xAE, Ebml(0x63A2, Fill(100000, 1)));
  const Opened file(MkvFile({Ebml(ids::kTracks, Copies(100, track))}));
  ASSERT_EQ(file.root.segment.tracks.at(0).size(), 100u);
  for (const auto& each : file.root.segment.tracks[0]) EXPECT_EQ(each->CodecPrivate.size(), 100000u);
}

TEST(Keeping, RecordsOfAllKindsShareTheirRoom) {
  const Raw seeks = Ebml(ids::kSeekHead, Copies(30000, Ebml(0x4DBB, {})));
  const Raw cues = Ebml(ids::kCues, Copies(100000, Ebml(0xBB, {})));
  const auto cuesKept = [&](const std::vector<Part>& parts) {
    return Opened(MkvFile(parts)).root.segment.cues.at(0).size();
  };
  EXPECT_LT(cuesKept({seeks, cues}), cuesKept({Void(seeks.size()), cues}) - 10000);
}

TEST(Keeping, ManyEmptyCuesElementsAreNotAllListed) {
  const Raw bytes = MkvFile({[](const Positions& at) { return SeekHead({SeekEntry(ids::kCues, at["cues"])}); },
                             Info(),
                             Tracks({}),
                             {"cues", Copies(200000, Ebml(ids::kCues, {}))}});
  const Opened file(bytes);
  EXPECT_GT(file.root.segment.cues.size(), 1000u);
  EXPECT_LE(file.root.segment.cues.size() * sizeof(MkvCueList),
            bytes.size() * CMkvFileRoot::kTimesForRecords + CMkvFileRoot::kSlackForKeeping);
}

TEST(Keeping, IndexThatIsMadeUpStopsGrowingAndTheDurationIsToldAllTheSame) {
  const Raw bytes = MkvFile({Copies(200000, Ebml(ids::kCluster, {})), Cluster(5000, {})});
  Opened file(bytes);
  ASSERT_EQ(SynthesiseCues(file.root), S_OK);
  const std::size_t kept = file.root.segment.cues.at(0).size();
  EXPECT_GT(kept, 10000u);
  EXPECT_LE(kept * (sizeof(MkvCuePoint) + sizeof(MkvCueTrackPosition)),
            bytes.size() * CMkvFileRoot::kTimesForRecords + CMkvFileRoot::kSlackForKeeping);
  EXPECT_EQ(file.root.segment.info.Duration.value, 5000.0);
}

// ---- Frames ----

TEST(ByteBudget, GivesWhatItHasAndTakesItBack) {
  ByteBudget budget(100);
  EXPECT_TRUE(budget.Take(60));
  EXPECT_FALSE(budget.Take(41));
  EXPECT_TRUE(budget.Take(40));
  EXPECT_FALSE(budget.Take(1));
  EXPECT_TRUE(budget.Take(0));
  budget.Give(70);
  EXPECT_EQ(budget.Taken(), 30u);
  EXPECT_FALSE(budget.Take(~std::uint64_t{0}));
}

TEST(FrameMemory, IsTheFilesLengthAndAllowsNoMoreThanAGibibyte) {
  FrameMemory ofSmall(100);
  EXPECT_TRUE(ofSmall.records.Take(100 + 32 * kMebibyte));
  EXPECT_FALSE(ofSmall.records.Take(1));
  FrameMemory ofLarge(~std::uint64_t{0});
  EXPECT_TRUE(ofLarge.records.Take(1024 * kMebibyte));
  EXPECT_FALSE(ofLarge.records.Take(1));
}

TEST(FrameMemory, AllKindsTogetherAreNoMoreThanAGibibyte) {
  FrameMemory memory(~std::uint64_t{0});
  EXPECT_TRUE(memory.records.Take(600 * kMebibyte));
  EXPECT_TRUE(memory.kept.Take(100 * kMebibyte));
  EXPECT_FALSE(memory.samples.Take(325 * kMebibyte));
  EXPECT_EQ(memory.samples.Taken(), 0u) << "what is refused is not taken";
  EXPECT_TRUE(memory.samples.Take(324 * kMebibyte));
  EXPECT_FALSE(memory.records.Take(1));
  EXPECT_FALSE(memory.kept.Take(1));
  memory.kept.Give(1);
  EXPECT_TRUE(memory.records.Take(1));
  EXPECT_EQ(memory.all.Taken(), 1024 * kMebibyte);
}

TEST(FrameMemory, AFrameOfTheWholeFileHasRoomInItsSampleToo) {
  constexpr std::uint64_t kLength = 200 * kMebibyte;
  FrameMemory memory(kLength);
  EXPECT_TRUE(memory.records.Take(kLength));
  EXPECT_TRUE(memory.samples.Take(kLength));
}

constexpr std::uint64_t kLimit = MkvBlock::kLargestFrame;

TEST(FrameList, CountsLargeRecordsUntilTheyAreCleared) {
  const auto memory = std::make_shared<FrameMemory>(0);
  FrameList frames;
  EXPECT_TRUE(frames.Take(FrameMemory::kUncounted, kLimit, memory));
  EXPECT_EQ(memory->records.Taken(), 0u);
  EXPECT_TRUE(frames.Take(1, kLimit, memory));
  EXPECT_EQ(memory->records.Taken(), FrameMemory::kUncounted + 1);
  FrameList other;
  EXPECT_TRUE(other.Take(32 * kMebibyte - FrameMemory::kUncounted - 1, kLimit, memory));
  EXPECT_FALSE(frames.Take(1, kLimit, memory));
  other.Clear();
  EXPECT_TRUE(frames.Take(1, kLimit, memory));
  frames.Clear();
  EXPECT_EQ(memory->records.Taken(), 0u);
}

TEST(FrameList, MovesWithItsFramesAndWhichAreLost) {
  FrameList from;
  from.Append(1)[0] = 7;
  from.AppendLost();
  FrameList to(std::move(from));
  ASSERT_EQ(to.size(), 2u);
  EXPECT_EQ(to[0], (FrameBytes{7}));
  EXPECT_FALSE(to.IsLost(0));
  EXPECT_TRUE(to.IsLost(1));
  FrameList last;
  last.AppendLost();
  last = std::move(to);
  ASSERT_EQ(last.size(), 2u);
  EXPECT_EQ(last[0], (FrameBytes{7}));
  EXPECT_FALSE(last.IsLost(0));
}

TEST(FrameList, KeepsBuffersOfNoMoreThan16MiB) {
  FrameList frames;
  frames.Append(16 * kMebibyte);
  frames.Clear();
  EXPECT_EQ(frames.Capacity(), 16 * kMebibyte);
  frames.Append(16 * kMebibyte + 1);
  frames.Clear();
  EXPECT_EQ(frames.Capacity(), 0u);
}

TEST(FrameList, BuffersThatAreKeptCountUntilTheListEnds) {
  const auto memory = std::make_shared<FrameMemory>(0);
  {
    FrameList frames;
    ASSERT_TRUE(frames.Take(kMebibyte, kLimit, memory));
    frames.Append(kMebibyte);
    frames.Clear();
    EXPECT_EQ(frames.Capacity(), kMebibyte);
    EXPECT_EQ(memory->kept.Taken(), kMebibyte);
    ASSERT_TRUE(frames.Take(kMebibyte, kLimit, memory));
    frames.Append(kMebibyte);
    frames.Clear();
    EXPECT_EQ(memory->kept.Taken(), kMebibyte);
  }
  EXPECT_EQ(memory->kept.Taken(), 0u);
}

TEST(FrameList, LetsBuffersGoThatThereIsNoRoomToKeep) {
  const auto memory = std::make_shared<FrameMemory>(0);
  ASSERT_TRUE(memory->kept.Take(8 * kMebibyte));
  FrameList frames;
  ASSERT_TRUE(frames.Take(kMebibyte, kLimit, memory));
  frames.Append(kMebibyte);
  frames.Clear();
  EXPECT_EQ(frames.Capacity(), 0u);
  // Nor do many small ones add up that no record ever held at once.
  for (int i = 0; i < 100; ++i) {
    for (int j = 0; j < i; ++j) frames.Append();
    ASSERT_TRUE(frames.Take(1000, kLimit, memory));
    frames.Append(1000);
    frames.Clear();
    ASSERT_LE(frames.Capacity(), FrameMemory::kUncounted);
  }
}

TEST(FrameList, TakesItsCountAlongWhenItIsMoved) {
  const auto memory = std::make_shared<FrameMemory>(0);
  FrameList frames;
  ASSERT_TRUE(frames.Take(kMebibyte, kLimit, memory));
  frames.Append(kMebibyte);
  FrameList other(std::move(frames));
  EXPECT_EQ(other.size(), 1u);
  EXPECT_EQ(memory->records.Taken(), kMebibyte);
  other = FrameList();
  EXPECT_EQ(memory->records.Taken(), 0u);
}

// A file with one large block, read by sources of their own.
struct LargeBlock : Opened {
  explicit LargeBlock(const Raw& block) : Opened(MkvFile({Cluster(0, {block})})) {}

  HRESULT Read(MkvBlock& block) {
    CMkvFileClone clone(root);
    const MkvElement file = MkvElement::WholeFile(clone);
    const MkvElement segment = file.FirstChild(ids::kSegment);
    const MkvElement cluster = segment.FirstChild(ids::kCluster);
    const MkvElement element = FirstBlock(cluster);
    return element.id.value == ids::kBlockGroup ? block.ReadGroupOfTrack(element, 1) : block.Read(element, true);
  }
};

TEST(FramesInFlight, ThatPassTheFilesLengthAndSlackAreLost) {
  constexpr std::size_t kSize = 12 << 20;
  LargeBlock file(SimpleBlock(1, 0, kKey, Fill(kSize, 7)));
  MkvBlock blocks[5];
  for (MkvBlock& block : blocks) {
    EXPECT_EQ(file.Read(block), S_OK);
    ASSERT_EQ(block.frames.size(), 1u);
  }
  // 44 MiB: three of them.
  for (int i = 0; i < 3; ++i) EXPECT_EQ(blocks[i].frames[0].size(), kSize);
  for (int i = 3; i < 5; ++i) EXPECT_TRUE(blocks[i].frames.IsLost(0) && blocks[i].frames[0].empty());
  blocks[0].Reset();
  blocks[4].Reset();
  EXPECT_EQ(file.Read(blocks[4]), S_OK);
  EXPECT_EQ(blocks[4].frames[0].size(), kSize);
}

TEST(FramesInFlight, OfAGroupThatIsRejectedGiveTheirRoomBackAtOnce) {
  constexpr std::size_t kSize = 20 << 20;
  LargeBlock file(BlockGroup({Block(1, 0, 0, Fill(kSize, 7)), Block(1, 0, kFixed, {255})}));
  MkvBlock blocks[3];
  for (MkvBlock& block : blocks) EXPECT_EQ(file.Read(block), E_FAIL);
  EXPECT_EQ(file.root.frameMemory->records.Taken(), 0u);
  for (MkvBlock& block : blocks) EXPECT_EQ(block.frames.Capacity(), 0u);
}

TEST(FramesInFlight, CountACodecStateAsWell) {
  constexpr std::size_t kSize = 20 << 20;
  LargeBlock file(BlockGroup({Block(1, 0, 0, {1}), Ebml(0xA4, Fill(kSize, 7))}));
  MkvBlock blocks[3];
  for (MkvBlock& block : blocks) EXPECT_EQ(file.Read(block), S_OK);
  EXPECT_EQ(blocks[0].CodecState.size(), kSize);
  EXPECT_EQ(blocks[1].CodecState.size(), kSize);
  EXPECT_TRUE(blocks[2].CodecState.empty());
  EXPECT_EQ(blocks[2].frames[0].size(), 1u);
}

}  // namespace
}  // namespace vantor::test
