#include "parser/block.h"

#include <gtest/gtest.h>

#include <vector>

#include "fixture.h"
#include "support/allocation_monitor.h"

namespace vantor::test {
namespace {

std::vector<Raw> Frames(MkvBlock& block) {
  std::vector<Raw> frames;
  for (const FrameBytes& frame : block.frames) frames.emplace_back(frame.begin(), frame.end());
  return frames;
}

struct Read {
  explicit Read(const Raw& bytes, bool wantFrames = true) : source(bytes), element(source.First()) {
    source.reader.ResetCounters();
    result = block.Read(element, wantFrames);
  }
  std::vector<Raw> frames() { return Frames(block); }

  Source source;
  MkvElement element;
  MkvBlock block;
  HRESULT result = E_UNEXPECTED;
};

struct ReadGroup {
  explicit ReadGroup(const Raw& bytes, bool wantFrames = true) : source(bytes), element(source.First()) {
    source.reader.ResetCounters();
    result = block.ReadGroup(element, wantFrames);
  }
  std::vector<Raw> frames() { return Frames(block); }

  Source source;
  MkvElement element;
  MkvBlock block;
  HRESULT result = E_UNEXPECTED;
};

// ---- Header ----

TEST(Block, HeaderHoldsTrackTimeAndFlags) {
  const Read read(SimpleBlock(300, 1234, 0x8A, {1, 2}), false);
  EXPECT_EQ(read.result, S_OK);
  EXPECT_EQ(read.block.trackNumber.value, 300u);
  EXPECT_EQ(read.block.timecode.value, 1234);
  EXPECT_TRUE(read.block.timecode.present);
  EXPECT_EQ(read.block.flags.value, 0x8A);
  EXPECT_TRUE(read.block.frames.empty());
}

TEST(Block, RelativeTimecodeIsSigned) {
  EXPECT_EQ(Read(SimpleBlock(1, 0xFFFE, 0, {}), false).block.timecode.value, -2);
  EXPECT_EQ(Read(SimpleBlock(1, 0x8000, 0, {}), false).block.timecode.value, -32768);
  EXPECT_EQ(Read(SimpleBlock(1, 0x7FFF, 0, {}), false).block.timecode.value, 32767);
}

TEST(Block, HeaderAloneNeverTouchesThePayload) {
  const Read read(SimpleBlock(1, 0, kXiph, XiphLace({Fill(500), Fill(500)})), false);
  EXPECT_EQ(read.source.reader.Reads(), 3u) << "track number, time and flags";
  EXPECT_EQ(read.source.reader.BytesRead(), 4u);
}

TEST(Block, TimecodeIsPresentEvenWhenItCannotBeRead) {
  const Read read(EbmlWithSize(0xA3, 4, {0x81}), false);
  EXPECT_EQ(read.result, S_OK);
  EXPECT_EQ(read.block.trackNumber.value, 1u);
  EXPECT_TRUE(read.block.timecode.present);
  EXPECT_EQ(read.block.timecode.value, 0);
}

TEST(Block, HeaderThatCannotBeReadDoesNotKeepTheOneBefore) {
  Source source(EbmlWithSize(0xA3, 4, {0x00}));
  MkvBlock block;
  block.trackNumber = CMkvLength();
  block.trackNumber.value = 77;
  block.flags = CMkvByte(std::uint8_t{9});
  EXPECT_EQ(block.Read(source.First(), false), S_OK);
  EXPECT_EQ(block.trackNumber.value, 0u);
  EXPECT_FALSE(block.trackNumber.present);
  EXPECT_EQ(block.flags.value, 0);
}

TEST(Block, WithoutAnElementIsEPointer) {
  MkvBlock block;
  EXPECT_EQ(block.Read(MkvElement(), true), E_POINTER);
  EXPECT_EQ(block.ReadGroup(MkvElement(), true), E_POINTER);
  EXPECT_EQ(block.ReadGroupOfTrack(MkvElement(), 1), E_POINTER);
}

// ---- Frames ----

TEST(Block, WithoutLacingTheRestOfThePayloadIsOneFrame) {
  Read read(Join({SimpleBlock(1, 0, kKey, Ramp(100)), Fill(50)}));
  EXPECT_EQ(read.result, S_OK);
  EXPECT_EQ(read.frames(), (std::vector<Raw>{Ramp(100)}));
  EXPECT_EQ(read.source.reader.Reads(), 4u) << "three for the header, one for the frame";
  EXPECT_EQ(read.source.reader.LargestRead(), 100u);
}

TEST(Block, WithoutPayloadThereIsOneEmptyFrame) {
  Read read(SimpleBlock(1, 0, kKey, {}));
  EXPECT_EQ(read.result, S_OK);
  EXPECT_EQ(read.frames(), std::vector<Raw>{Raw{}});
}

TEST(Block, PayloadShorterThanTheHeaderIsRejected) {
  Read read(Join({Ebml(0xA3, {0x81, 0x00, 0x00}), Fill(9)}));
  EXPECT_EQ(read.result, E_FAIL);
  EXPECT_TRUE(read.block.frames.empty());
}

TEST(Block, FrameCutOffByTheEndOfTheSourceKeepsTheBytesThatWereThere) {
  Read read(EbmlWithSize(0xA3, 1004, BlockPayload(1, 0, kKey, Ramp(10)), 2));
  EXPECT_EQ(read.result, S_OK);
  EXPECT_EQ(read.frames(), std::vector<Raw>{Ramp(10)});
  EXPECT_EQ(read.source.reader.LargestRead(), 10u);
}

TEST(Block, FramesCutOffByTheEndOfTheSourceKeepWhatWasThereAndTheRestOfTheBlock) {
  const Raw lace = FixedLace({Ramp(8), Ramp(8), Ramp(8)});
  Read read(EbmlWithSize(0xA3, 4 + lace.size(), BlockPayload(1, 0, kFixed, Raw(lace.begin(), lace.begin() + 12))));
  EXPECT_EQ(read.result, S_OK);
  EXPECT_EQ(read.frames(), (std::vector<Raw>{Ramp(8), Ramp(3), Raw{}}));
}

TEST(Block, FrameOfHugeClaimedSizeTakesOnlyWhatTheSourceHolds) {
  ResetPeakBytes();
  const std::size_t before = PeakBytes();
  Read read(EbmlWithSize(0xA3, (std::uint64_t{1} << 56) - 2, BlockPayload(1, 0, kKey, Ramp(10)), 8));
  EXPECT_EQ(read.frames(), std::vector<Raw>{Ramp(10)});
  EXPECT_LT(PeakBytes() - before, 10000u);
}

TEST(Block, FrameOverTheLimitIsCountedAsLostAndNotRead) {
  const std::uint64_t large = MkvBlock::kLargestFrame + 1;
  const Raw start = BlockPayload(1, 0, kXiph, Join({{1, 5}, Ramp(5)}));
  Source source(EbmlWithSize(0xA3, start.size() + large, start, 8));
  source.file.length = large * 2;
  MkvBlock block;
  EXPECT_EQ(block.Read(source.First(), true), S_OK);
  EXPECT_EQ(Frames(block), (std::vector<Raw>{Ramp(5), Raw{}}));
  EXPECT_FALSE(block.frames.IsLost(0));
  EXPECT_TRUE(block.frames.IsLost(1));
  EXPECT_EQ(source.reader.LargestRead(), 5u);
}

TEST(Block, FramesOfARecordShareTheLimit) {
  FrameList frames;
  EXPECT_TRUE(frames.Take(60, 100));
  EXPECT_FALSE(frames.Take(41, 100));
  EXPECT_TRUE(frames.Take(40, 100));
  EXPECT_FALSE(frames.Take(1, 100));
  EXPECT_TRUE(frames.Take(0, 100));
  EXPECT_FALSE(frames.Take(0, 99));
  frames.Clear();
  EXPECT_TRUE(frames.Take(100, 100));
}

TEST(Block, LaceThatTogetherExceedsTheLimitLosesWhatDoesNotFit) {
  // Three frames; the second alone is as large as all may be together.
  const std::uint64_t limit = MkvBlock::kLargestFrame;
  const std::uint64_t growth = (std::uint64_t{1} << 34) - 1 + (limit - 1);  // from the first to the second, in 5 bytes
  Raw start = BlockPayload(1, 0, kEbml, {2, 0x81, 0x08});
  start.back() |= static_cast<std::uint8_t>(growth >> 32);
  for (const int shift : {24, 16, 8, 0}) start.push_back(static_cast<std::uint8_t>(growth >> shift));
  start.push_back(7);
  Source source(EbmlWithSize(0xA3, start.size() + limit + 5, start, 8));
  source.file.length = limit * 2;
  MkvBlock block;
  ASSERT_EQ(block.Read(source.First(), true), S_OK);
  EXPECT_EQ(block.frames.size(), 3u);
  EXPECT_FALSE(block.frames.IsLost(0));
  EXPECT_TRUE(block.frames.IsLost(1));
  EXPECT_FALSE(block.frames.IsLost(2));
}

TEST(Block, RecycledFrameIsNoLongerLost) {
  FrameList frames;
  frames.AppendLost();
  frames.Clear();
  frames.Append();
  EXPECT_FALSE(frames.IsLost(0));
}

TEST(Block, FrameWhoseReadFailsIsEmptyAndTheOthersAreWhole) {
  for (const HRESULT code : {E_ABORT, S_FALSE}) {
    Source source(SimpleBlock(1, 0, kFixed, FixedLace({Fill(4, 1), Fill(4, 2), Fill(4, 3)})));
    const MkvElement element = source.First();
    source.reader.FailRead(6, code);  // three header reads, the frame count, the first frame
    MkvBlock block;
    EXPECT_EQ(block.Read(element, true), S_OK);
    EXPECT_EQ(Frames(block), (std::vector<Raw>{Fill(4, 1), Raw{}, Fill(4, 3)}));
  }
}

TEST(Block, ResetGivesBackTheStateAfterConstruction) {
  ReadGroup read(BlockGroup(
      {Block(5, 7, 0, {1}), BlockDuration(2), UInt(0xFA, 3), ReferenceBlock(-4), SInt(0xFD, 5), Bin(0xA4, {6})}));
  read.block.Reset();
  EXPECT_FALSE(read.block.trackNumber.present);
  EXPECT_EQ(read.block.trackNumber.value, 0u);
  EXPECT_FALSE(read.block.timecode.present);
  EXPECT_FALSE(read.block.flags.present);
  EXPECT_FALSE(read.block.BlockDuration.present);
  EXPECT_FALSE(read.block.ReferencePriority.present);
  EXPECT_FALSE(read.block.ReferenceBlock.present);
  EXPECT_FALSE(read.block.ReferenceVirtual.present);
  EXPECT_TRUE(read.block.CodecState.empty());
  EXPECT_TRUE(read.block.frames.empty());
}

TEST(Block, ReadingIntoARecycledRecordAllocatesNothing) {
  if (!WatchesAllocations()) GTEST_SKIP() << "allocations are not watched in this build";
  Source source(
      Cluster(0, {SimpleBlock(1, 0, kKey, Ramp(5000)), SimpleBlock(1, 1, kXiph, XiphLace({Ramp(700), Ramp(9)})),
                  SimpleBlock(1, 2, kEbml, EbmlLace({Ramp(70), Ramp(90), Ramp(400)})),
                  BlockGroup({Block(1, 3, 0, Ramp(300)), BlockDuration(4), ReferenceBlock(-1)})}));
  const MkvElement cluster = source.First();
  MkvBlock record;
  const auto readAll = [&] {
    int count = 0;
    for (MkvElement block = FirstBlock(cluster); block; NextBlock(block)) {
      record.Reset();
      const bool isGroup = block.id.value == 0xA0;
      EXPECT_EQ(isGroup ? record.ReadGroupOfTrack(block, 1) : record.Read(block, true), S_OK);
      ++count;
    }
    return count;
  };
  EXPECT_EQ(readAll(), 4);
  const std::uint64_t before = Allocations();
  EXPECT_EQ(readAll(), 4);
  EXPECT_EQ(Allocations(), before);
}

// ---- Block groups ----

TEST(BlockGroup, EveryChildGoesToItsField) {
  ReadGroup read(BlockGroup({BlockDuration(40), UInt(0xFA, 3), Block(2, -5, 0, {1, 2, 3}), ReferenceBlock(-33),
                             SInt(0xFD, -6), Bin(0xA4, {7, 8}), Master(0xE8, {Void(4)})}));
  EXPECT_EQ(read.result, S_OK);
  EXPECT_EQ(read.block.trackNumber.value, 2u);
  EXPECT_EQ(read.block.timecode.value, -5);
  EXPECT_EQ(read.block.BlockDuration.value, 40u);
  EXPECT_TRUE(read.block.BlockDuration.present);
  EXPECT_EQ(read.block.ReferencePriority.value, 3u);
  EXPECT_EQ(read.block.ReferenceBlock.value, -33);
  EXPECT_EQ(read.block.ReferenceVirtual.value, -6);
  EXPECT_EQ(read.block.CodecState, (Bytes{7, 8}));
  EXPECT_EQ(read.frames(), (std::vector<Raw>{{1, 2, 3}}));
  EXPECT_FALSE(read.block.IsKeyFrame());
}

TEST(BlockGroup, WithoutReferenceIsAKeyFrame) {
  EXPECT_TRUE(ReadGroup(BlockGroup({Block(1, 0, 0, {})})).block.IsKeyFrame());
}

TEST(BlockGroup, LaterReferenceOverwritesTheEarlierOne) {
  EXPECT_EQ(
      ReadGroup(BlockGroup({ReferenceBlock(-1), ReferenceBlock(5), Block(1, 0, 0, {})})).block.ReferenceBlock.value, 5);
}

TEST(BlockGroup, WithoutFramesWantedOnlyTheHeaderIsRead) {
  ReadGroup read(BlockGroup({Block(2, 0, 0, Fill(1000))}), false);
  EXPECT_EQ(read.result, S_OK);
  EXPECT_EQ(read.block.trackNumber.value, 2u);
  EXPECT_TRUE(read.block.frames.empty());
  EXPECT_LT(read.source.reader.BytesRead(), 20u);
}

TEST(BlockGroup, WithoutChildrenIsSFalse) { EXPECT_EQ(ReadGroup(BlockGroup({})).result, S_FALSE); }

TEST(BlockGroup, WithoutABlockIsReadAllTheSame) {
  ReadGroup read(BlockGroup({BlockDuration(3)}));
  EXPECT_EQ(read.result, S_OK);
  EXPECT_EQ(read.block.BlockDuration.value, 3u);
  EXPECT_TRUE(read.block.frames.empty());
}

TEST(BlockGroup, WhoseBlockIsDamagedIsRejected) {
  EXPECT_EQ(ReadGroup(BlockGroup({Block(1, 0, kFixed, {255, 1, 2}), BlockDuration(3)})).result, E_FAIL);
}

// So many Blocks of 255 frames without a byte.
std::vector<Raw> EmptyLaces(std::size_t count, std::uint64_t track = 1) {
  return std::vector<Raw>(count, Block(track, 0, kFixed, {254}));
}

TEST(BlockGroup, WithMoreFramesThanARecordTakesIsRejected) {
  std::vector<Raw> blocks = EmptyLaces(16);  // 4080 frames
  blocks.push_back(Block(1, 0, kFixed, {15}));
  EXPECT_EQ(ReadGroup(BlockGroup(blocks)).block.frames.size(), MkvBlock::kMostFrames);
  EXPECT_EQ(ReadGroup(BlockGroup(blocks)).result, S_OK);
  blocks.push_back(Block(1, 0, 0, {}));
  const ReadGroup read{BlockGroup(blocks)};
  EXPECT_EQ(read.result, E_FAIL);
  EXPECT_TRUE(read.block.frames.empty());
}

TEST(BlockGroup, FramesThatAreNotAskedForCountAsWell) {
  Source source(BlockGroup(EmptyLaces(17)));
  const MkvElement element = source.First();
  MkvBlock block;
  EXPECT_EQ(block.ReadGroupOfTrack(element, 1, 1), E_FAIL);
  EXPECT_TRUE(block.frames.empty());
}

TEST(BlockGroup, NoFrameIsReadBehindABlockThatIsDamaged) {
  const Raw damaged = Block(1, 0, kFixed, {255, 1, 2});
  ReadGroup alone(BlockGroup({damaged}));
  ReadGroup followed(BlockGroup({damaged, Block(1, 0, 0, Ramp(1000)), Block(1, 0, 0, Ramp(1000))}));
  EXPECT_EQ(followed.result, E_FAIL);
  EXPECT_LT(followed.source.reader.BytesRead(), alone.source.reader.BytesRead() + 40);
}

TEST(BlockGroup, DamagedHeaderInsideEndsItsWalk) {
  ReadGroup read(BlockGroup({Block(1, 0, 0, {1}), Raw{0x00}, BlockDuration(3)}));
  EXPECT_EQ(read.result, S_OK);
  EXPECT_FALSE(read.block.BlockDuration.present);
}

TEST(BlockGroup, AppendAddsARecordThatCanBeReadAndNoOther) {
  std::list<MkvBlock> blocks;
  Source good(BlockGroup({Block(1, 0, 0, {1})}));
  EXPECT_EQ(AppendBlock(blocks, good.First(), true), S_OK);
  ASSERT_EQ(blocks.size(), 1u);
  EXPECT_EQ(Frames(blocks.front()), (std::vector<Raw>{{1}}));
  Source damaged(BlockGroup({Block(1, 0, kFixed, {255})}));
  EXPECT_EQ(AppendBlock(blocks, damaged.First(), true), E_FAIL);
  Source empty(BlockGroup({}));
  EXPECT_EQ(AppendBlock(blocks, empty.First(), true), S_FALSE);
  EXPECT_EQ(AppendBlock(blocks, MkvElement(), true), E_POINTER);
  EXPECT_EQ(blocks.size(), 1u);
}

// ---- Groups of a track ----

// What ReadGroupOfTrack must equal: the header alone, then everything when the track is the wanted one.
void ExpectAsInTwoPasses(const Raw& group, std::uint64_t track) {
  ReadGroup expected(group, false);
  if (expected.result == S_OK && expected.block.trackNumber.value == track) {
    expected.block.Reset();
    expected.result = expected.block.ReadGroup(expected.element, true);
  }
  Source source(group);
  const MkvElement element = source.First();
  MkvBlock block;
  EXPECT_EQ(block.ReadGroupOfTrack(element, track), expected.result);
  EXPECT_EQ(block.trackNumber.value, expected.block.trackNumber.value);
  EXPECT_EQ(block.timecode.value, expected.block.timecode.value);
  EXPECT_EQ(block.flags.value, expected.block.flags.value);
  EXPECT_EQ(block.BlockDuration.value, expected.block.BlockDuration.value);
  EXPECT_EQ(block.ReferenceBlock.present, expected.block.ReferenceBlock.present);
  if (expected.result == S_OK) {
    EXPECT_EQ(Frames(block), expected.frames());
  }
}

TEST(BlockGroupOfTrack, EqualsAHeaderPassFollowedByAFullOne) {
  const Raw one = Block(1, 1, 0, {1, 1});
  const Raw two = Block(2, 2, 0, {2, 2, 2});
  const Raw bad = Block(1, 3, kFixed, {255});
  for (const std::vector<Raw>& children : std::vector<std::vector<Raw>>{{},
                                                                        {BlockDuration(5)},
                                                                        {one},
                                                                        {two},
                                                                        {BlockDuration(5), one, ReferenceBlock(1)},
                                                                        {one, one},
                                                                        {one, two},
                                                                        {two, one},
                                                                        {two, one, two},
                                                                        {two, two, one},
                                                                        {bad},
                                                                        {bad, two},
                                                                        {two, bad},
                                                                        {bad, one},
                                                                        {two, bad, one}}) {
    for (const std::uint64_t track : {1, 2, 3}) ExpectAsInTwoPasses(BlockGroup(children), track);
  }
}

TEST(BlockGroupOfTrack, FramesOfABlockThatIsAnothersCountOnceTheyAreReadAfterAll) {
  std::vector<Raw> blocks = EmptyLaces(9, 2);
  for (const Raw& block : EmptyLaces(9, 1)) blocks.push_back(block);
  ExpectAsInTwoPasses(BlockGroup(blocks), 1);
  blocks.resize(16);
  ExpectAsInTwoPasses(BlockGroup(blocks), 1);
}

TEST(BlockGroupOfTrack, OfTheTrackIsWalkedOnce) {
  const Raw group = BlockGroup({Block(1, 0, 0, Ramp(50)), BlockDuration(5)});
  Source source(group);
  const MkvElement element = source.First();
  source.reader.ResetCounters();
  MkvBlock block;
  EXPECT_EQ(block.ReadGroupOfTrack(element, 1), S_OK);
  EXPECT_EQ(Frames(block), std::vector<Raw>{Ramp(50)});
  EXPECT_EQ(source.reader.Reads(), ReadGroup(group).source.reader.Reads());
}

TEST(BlockGroupOfTrack, OfAnotherTrackCostsNoFrame) {
  Source source(BlockGroup({Block(2, 0, 0, Ramp(5000)), BlockDuration(5)}));
  const MkvElement element = source.First();
  MkvBlock block;
  EXPECT_EQ(block.ReadGroupOfTrack(element, 1), S_OK);
  EXPECT_EQ(block.trackNumber.value, 2u);
  EXPECT_TRUE(block.frames.empty());
  EXPECT_LE(source.reader.LargestRead(), 2u);
}

// ---- Clusters ----

std::vector<std::uint32_t> BlockIds(const MkvElement& cluster) {
  std::vector<std::uint32_t> found;
  for (MkvElement block = FirstBlock(cluster); block; NextBlock(block)) found.push_back(block.id.value);
  return found;
}

using Ids = std::vector<std::uint32_t>;

TEST(Cluster, BlocksAreWalkedAndOtherChildrenPassedOver) {
  Source source(Master(0x1F43B675, {UInt(0xE7, 5), UInt(0xA7, 6), SimpleBlock(1, 0, 0, {}), UInt(0xAB, 7),
                                    BlockGroup({}), Void(4), SimpleBlock(2, 0, 0, {}), Void(4)}));
  EXPECT_EQ(BlockIds(source.First()), (Ids{0xA3, 0xA0, 0xA3}));
}

TEST(Cluster, BlockMayBeTheFirstChild) {
  Source source(Master(0x1F43B675, {BlockGroup({}), UInt(0xE7, 5)}));
  EXPECT_EQ(BlockIds(source.First()), Ids{0xA0});
}

TEST(Cluster, OfSizeZeroOrWithoutBlocksYieldsNone) {
  Source empty(Join({Ebml(0x1F43B675, {}), SimpleBlock(1, 0, 0, {})}));
  EXPECT_FALSE(FirstBlock(empty.First()));
  Source without(Cluster(5, {Void(9)}));
  EXPECT_FALSE(FirstBlock(without.First()));
  EXPECT_FALSE(FirstBlock(MkvElement()));
}

TEST(Cluster, DamagedHeaderInsideEndsTheWalk) {
  Source source(Cluster(5, {SimpleBlock(1, 0, 0, {}), Raw{0x00}, SimpleBlock(1, 0, 0, {})}));
  const MkvElement cluster = source.First();
  MkvElement block = FirstBlock(cluster);
  EXPECT_TRUE(block);
  EXPECT_FALSE(NextBlock(block));
  EXPECT_FALSE(block);
}

TEST(Cluster, TimecodeIsTheFirstTimecodeChild) {
  Source source(Master(0x1F43B675, {Void(3), UInt(0xE7, 77), UInt(0xE7, 88)}));
  std::int64_t ticks = -1;
  EXPECT_TRUE(ReadClusterTimecode(source.First(), ticks));
  EXPECT_EQ(ticks, 77);
}

TEST(Cluster, TimecodeThatIsMissingOrUnreadableLeavesTheTicks) {
  std::int64_t ticks = 42;
  Source missing(Master(0x1F43B675, {SimpleBlock(1, 0, 0, {})}));
  EXPECT_FALSE(ReadClusterTimecode(missing.First(), ticks));
  Source truncated(UnknownSize(0x1F43B675, {EbmlWithSize(0xE7, 4, {1})}));
  EXPECT_FALSE(ReadClusterTimecode(truncated.First(), ticks));
  EXPECT_FALSE(ReadClusterTimecode(MkvElement(), ticks));
  EXPECT_EQ(ticks, 42);
}

}  // namespace
}  // namespace vantor::test
