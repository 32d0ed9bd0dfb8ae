#include "streaming/block_cursor.h"

#include "platform/result.h"
#include "streaming/opened_file.h"
#include "support/demux_harness.h"

namespace vantor::test {
namespace {

TEST(BlockCursor, ANewOneStandsWhereSeekingToZeroLeavesIt) {
  OpenedFile file(
      MediaFile(100, {AudioTrack(1)}, {{0, {SimpleBlock(1, 0, kKey, {1})}}, {50, {SimpleBlock(1, 0, kKey, {2})}}}));
  BlockCursor fresh(file.root, file.first, file.TrackAt(0));
  BlockCursor sought(file.root, file.first, file.TrackAt(0));
  EXPECT_TRUE(SeekCursor(file, sought, 0));
  EXPECT_EQ(FirstBytes(fresh), (Raw{1, 2}));
  EXPECT_EQ(FirstBytes(sought), (Raw{1, 2}));
}

TEST(BlockCursor, KeepsTheBlocksOfItsTrackInFileOrder) {
  OpenedFile file(MediaFile(100, {VideoTrack(1), AudioTrack(2)},
                            {{0,
                              {SimpleBlock(1, 0, kKey, {1}), SimpleBlock(2, 0, kKey, {2}),
                               BlockGroup({Block(2, 5, 0, {3})}), BlockGroup({Block(1, 5, 0, {4})})}},
                             {50, {SimpleBlock(2, 0, kKey, {5}), SimpleBlock(1, 0, kKey, {6})}}}));
  BlockCursor video(file.root, file.first, file.TrackAt(0));
  BlockCursor audio(file.root, file.first, file.TrackAt(1));
  EXPECT_EQ(FirstBytes(video), (Raw{1, 4, 6}));
  EXPECT_EQ(FirstBytes(audio), (Raw{2, 3, 5}));
}

TEST(BlockCursor, TwoCursorsReadIndependently) {
  OpenedFile file(MediaFile(100, {AudioTrack(1)}, {{0, {SimpleBlock(1, 0, kKey, {1}), SimpleBlock(1, 5, kKey, {2})}}}));
  BlockCursor first(file.root, file.first, file.TrackAt(0));
  BlockCursor second(file.root, file.first, file.TrackAt(0));
  ASSERT_TRUE(TakeNext(first));
  EXPECT_EQ(FirstBytes(second), (Raw{1, 2}));
  EXPECT_EQ(FirstBytes(first), (Raw{2}));
}

TEST(BlockCursor, AnInterruptedGroupIsReadAgainWhenTheWalkGoesOn) {
  // A group of thousands of children, its Block behind them.
  std::vector<Raw> children(10000, Raw{0xEC, 0x80});
  children.push_back(Block(1, 1, 0, {2}));
  OpenedFile file(MediaFile(100, {AudioTrack(1)}, {{0, {SimpleBlock(1, 0, kKey, {1}), BlockGroup(children)}}}));
  BlockCursor cursor(file.root, file.first, file.TrackAt(0));
  ASSERT_TRUE(TakeNext(cursor));
  int questions = 0;
  cursor.InterruptWith([&] { return ++questions == 2; });
  const std::uint64_t before = file.reader.Reads();
  EXPECT_FALSE(TakeNext(cursor));
  EXPECT_EQ(questions, 2);
  EXPECT_LT(file.reader.Reads() - before, 20000u) << "the walk went on to the end of the group";
  EXPECT_EQ(FirstBytes(cursor), (Raw{2}));
}

TEST(BlockCursor, AnInterruptedSearchForAClustersTimeBeginsAnewWhenTheWalkGoesOn) {
  std::vector<Raw> children(10000, Raw{0xEC, 0x80});
  children.push_back(SimpleBlock(1, 3, kKey, {2}));
  children.push_back(UInt(0xE7, 50));
  OpenedFile file(MkvFile(
      {Info(), Tracks({AudioTrack(1)}), Cluster(0, {SimpleBlock(1, 0, kKey, {1})}), Master(0x1F43B675, children)}));
  BlockCursor cursor(file.root, file.first, file.TrackAt(0));
  ASSERT_TRUE(TakeNext(cursor));
  bool isStopping = true;
  cursor.InterruptWith([&] { return isStopping; });
  const std::uint64_t before = file.reader.Reads();
  EXPECT_FALSE(TakeNext(cursor));
  EXPECT_LT(file.reader.Reads() - before, 20000u) << "the search went on to the end of the cluster";
  isStopping = false;
  const StampedBlock* const block = TakeNext(cursor);
  ASSERT_NE(block, nullptr);
  EXPECT_EQ(block->record.frames[0][0], 2);
  EXPECT_EQ(block->start, 53 * kMillisecond);
}

TEST(BlockCursor, ABlockThatRefersToNoOtherIsAKeyFrame) {
  OpenedFile file(
      MediaFile(100, {VideoTrack(1)},
                {{0,
                  {SimpleBlock(1, 0, kKey, {1}), SimpleBlock(1, 1, 0, {2}), BlockGroup({Block(1, 2, 0, {3})}),
                   BlockGroup({Block(1, 3, kKey, {4}), ReferenceBlock(-1)})}}}));
  BlockCursor cursor(file.root, file.first, file.TrackAt(0));
  std::vector<bool> keys;
  while (const StampedBlock* const block = TakeNext(cursor)) keys.push_back(block->record.IsKeyFrame());
  EXPECT_EQ(keys, (std::vector<bool>{true, false, true, false}));
}

TEST(BlockCursor, AClusterWithoutTimecodeKeepsThePreviousOne) {
  OpenedFile file(MkvFile({Info(), Tracks({AudioTrack(1)}), Cluster(70, {SimpleBlock(1, 0, kKey, {1})}),
                           Master(0x1F43B675, {SimpleBlock(1, 5, kKey, {2})})}));
  BlockCursor cursor(file.root, file.first, file.TrackAt(0));
  ASSERT_TRUE(TakeNext(cursor));
  EXPECT_EQ(NextStart(cursor), 75 * kMillisecond);
}

TEST(BlockCursor, ABlockKeepsTheTimeOfItsOwnClusterWhenTheNextIsLookedAt) {
  OpenedFile file(
      MediaFile(100, {AudioTrack(1)}, {{10, {SimpleBlock(1, 5, kKey, {1})}}, {50, {SimpleBlock(1, 2, kKey, {2})}}}));
  BlockCursor cursor(file.root, file.first, file.TrackAt(0));
  const StampedBlock* const block = TakeNext(cursor);
  ASSERT_NE(block, nullptr);
  EXPECT_EQ(NextStart(cursor), 52 * kMillisecond);
  EXPECT_EQ(block->start, 15 * kMillisecond);
  EXPECT_EQ(block->record.frames[0][0], 1);
}

TEST(BlockCursor, ABlockWhoseReadWasFlushedIsReadAgain) {
  // Whichever read of the walk fails under a flush of the source: nothing is lost, cut off or there twice.
  const Raw bytes = MediaFile(100, {AudioTrack(1), AudioTrack(2)},
                              {{0,
                                {SimpleBlock(1, 0, kKey, Fill(9)), SimpleBlock(2, 1, kKey, Fill(9)),
                                 BlockGroup({Block(1, 2, 0, Fill(8)), BlockDuration(5)})}},
                               {50, {SimpleBlock(1, 0, kKey | kFixed, FixedLace({Fill(3), Fill(3)}))}}});
  const auto walk = [](OpenedFile& file, BlockCursor& cursor, int& givenUp) {
    std::vector<std::pair<std::int64_t, std::size_t>> found;
    for (;;) {
      if (const StampedBlock* const block = TakeNext(cursor)) {
        std::size_t size = 0;
        for (std::size_t i = 0; i < block->record.frames.size(); ++i) size += block->record.frames[i].size();
        found.emplace_back(block->start, size);
      } else if (cursor.WasLetGo()) {
        ++givenUp;
        file.root.flushes->End();
      } else {
        return found;
      }
    }
  };
  int givenUp = 0;
  OpenedFile whole(bytes);
  BlockCursor wholeCursor(whole.root, whole.first, whole.TrackAt(0));
  whole.reader.ResetCounters();
  const auto expected = walk(whole, wholeCursor, givenUp);
  const std::uint64_t reads = whole.reader.Reads();
  ASSERT_EQ(expected.size(), 3u);
  for (std::uint64_t n = 1; n <= reads; ++n) {
    SCOPED_TRACE("read " + std::to_string(n));
    OpenedFile file(bytes);
    BlockCursor cursor(file.root, file.first, file.TrackAt(0));
    file.root.flushes->Begin();
    file.reader.FailRead(n);
    givenUp = 0;
    EXPECT_EQ(walk(file, cursor, givenUp), expected);
    EXPECT_EQ(givenUp, 1);
  }
}

TEST(BlockCursor, OtherChildrenOfAClusterAreSteppedOver) {
  OpenedFile file(MkvFile({Info(), Tracks({AudioTrack(1)}),
                           Cluster(0, {UInt(0xA7, 12), SimpleBlock(1, 0, kKey, {1}), UInt(0xAB, 3), Void(20),
                                       SimpleBlock(1, 1, kKey, {2})})}));
  BlockCursor cursor(file.root, file.first, file.TrackAt(0));
  EXPECT_EQ(FirstBytes(cursor), (Raw{1, 2}));
}

TEST(BlockCursor, BlocksThatCannotBeParsedAreSkippedSilently) {
  OpenedFile file(MediaFile(100, {AudioTrack(1)},
                            {{0,
                              {SimpleBlock(1, 0, kKey, {1}), SimpleBlock(1, 1, kKey | kFixed, {255, 9, 9}),
                               SimpleBlock(1, 2, kKey | kXiph, {1, 200, 9}), BlockGroup({Block(1, 3, kEbml, {0, 9})}),
                               BlockGroup({}), SimpleBlock(1, 4, kKey, {5})}}}));
  BlockCursor cursor(file.root, file.first, file.TrackAt(0));
  EXPECT_EQ(FirstBytes(cursor), (Raw{1, 5}));
}

TEST(BlockCursor, ADamagedHeaderInsideAClusterEndsThatClusterOnly) {
  OpenedFile file(
      MkvFile({Info(), Tracks({AudioTrack(1)}),
               Cluster(0, {SimpleBlock(1, 0, kKey, {1}), Raw{0x00, 0x00, 0x00}, SimpleBlock(1, 1, kKey, {2})}),
               Cluster(9, {SimpleBlock(1, 0, kKey, {3})})}));
  BlockCursor cursor(file.root, file.first, file.TrackAt(0));
  EXPECT_EQ(FirstBytes(cursor), (Raw{1, 3}));
}

TEST(BlockCursor, GarbageBetweenClustersIsResynchronisedOver) {
  OpenedFile file(MkvFile({Info(), Tracks({AudioTrack(1)}), Cluster(0, {SimpleBlock(1, 0, kKey, {1})}),
                           Raw{0x00, 0x01, 0x02, 0x1F}, Cluster(9, {SimpleBlock(1, 0, kKey, {2})})}));
  BlockCursor cursor(file.root, file.first, file.TrackAt(0));
  EXPECT_EQ(FirstBytes(cursor), (Raw{1, 2}));
}

TEST(BlockCursor, AnEmptyClusterYieldsNoneAndTheWalkGoesOn) {
  OpenedFile file(MkvFile({Info(), Tracks({AudioTrack(1)}), Cluster(0, {}), Ebml(0x1F43B675, {}),
                           Cluster(9, {SimpleBlock(1, 0, kKey, {1})})}));
  BlockCursor cursor(file.root, file.first, file.TrackAt(0));
  EXPECT_EQ(FirstBytes(cursor), (Raw{1}));
}

TEST(BlockCursor, TheSeekIndexIsNotAskedAgainForTheNextCluster) {
  // The index names the first Cluster; a walk that went back to it would never end.
  OpenedFile file(MkvFile({{"seek", [](const Positions& at) { return SeekHead({SeekEntry(0x1F43B675, at["first"])}); }},
                           Info(),
                           Tracks({AudioTrack(1)}),
                           {"first", Cluster(0, {SimpleBlock(1, 0, kKey, {1})})},
                           Cluster(9, {SimpleBlock(1, 0, kKey, {2})})}));
  BlockCursor cursor(file.root, file.first, file.TrackAt(0));
  EXPECT_EQ(FirstBytes(cursor), (Raw{1, 2}));
}

TEST(BlockCursor, ABlockWhereNoneIsAheadRaisesEFail) {
  OpenedFile file(MediaFile(100, {AudioTrack(1)}, {{0, {}}}));
  BlockCursor cursor(file.root, file.first, file.TrackAt(0));
  EXPECT_EQ(cursor.FillQueue(NeverStop), 0u);
  for (const auto& use : {std::function<void()>([&] { static_cast<void>(cursor.Take()); }),
                          std::function<void()>([&] { static_cast<void>(cursor.Next()); })}) {
    EXPECT_EQ(Guarded([&] { return use(), S_OK; }), E_FAIL);
  }
}

TEST(BlockCursor, APendingStopEndsTheSearchBetweenTwoElements) {
  std::vector<Raw> others(100, SimpleBlock(2, 0, kKey, {9}));
  others.push_back(SimpleBlock(1, 0, kKey, {1}));
  OpenedFile file(MediaFile(100, {AudioTrack(1), AudioTrack(2)}, {{0, others}}));
  BlockCursor cursor(file.root, file.first, file.TrackAt(0));
  int asked = 0;
  EXPECT_EQ(cursor.FillQueue([&] { return ++asked > 10; }), 0u);
  EXPECT_EQ(asked, 11);
  EXPECT_EQ(cursor.FillQueue(NeverStop), 1u) << "the walk goes on where it was left";
}

TEST(BlockCursor, WithoutAClusterHasNothing) {
  OpenedFile file(MkvFile({Info(), Tracks({AudioTrack(1)})}));
  BlockCursor cursor(file.root, file.first, file.TrackAt(0));
  EXPECT_FALSE(cursor.HasCluster());
  EXPECT_EQ(cursor.FillQueue(NeverStop), 0u);
}

// Source reads for one more block, which is what a block costs.
std::uint64_t ReadsFor(const Raw& block, std::size_t count, const std::vector<Raw>& tracks) {
  OpenedFile file(MediaFile(100, tracks, {{0, std::vector<Raw>(count, block)}}));
  BlockCursor cursor(file.root, file.first, file.TrackAt(0));
  file.reader.ResetCounters();
  FirstBytes(cursor);
  return file.reader.Reads();
}

std::uint64_t ReadsForOne(const Raw& block) {
  const std::vector<Raw> tracks{AudioTrack(1), AudioTrack(2)};
  return ReadsFor(block, 11, tracks) - ReadsFor(block, 10, tracks);
}

TEST(BlockCursor, ABlockOfItsTrackCostsItsHeaderAndOneReadAFrame) {
  // Identifier, size, track, time, flags, frame.
  EXPECT_EQ(ReadsForOne(SimpleBlock(1, 0, kKey, Fill(50))), 6u);
  EXPECT_EQ(ReadsForOne(SimpleBlock(1, 0, kKey, Fill(500))), 7u) << "a size of two bytes";
  EXPECT_EQ(ReadsForOne(SimpleBlock(1, 0, kKey | kFixed, FixedLace({Fill(5), Fill(5), Fill(5)}))), 9u);
}

TEST(BlockCursor, ABlockOfAnotherTrackCostsItsHeaderOnly) {
  EXPECT_EQ(ReadsForOne(SimpleBlock(2, 0, kKey, Fill(50))), 5u);
  EXPECT_EQ(ReadsForOne(SimpleBlock(2, 0, kKey | kXiph, XiphLace({Fill(5), Fill(5)}))), 5u);
}

TEST(BlockCursor, ABlockGroupCostsTheHeadersOfItsChildrenBesides) {
  EXPECT_EQ(ReadsForOne(BlockGroup({Block(1, 0, 0, Fill(50))})), 8u);
  EXPECT_EQ(ReadsForOne(BlockGroup({Block(2, 0, 0, Fill(50))})), 7u);
  EXPECT_EQ(ReadsForOne(BlockGroup({Block(1, 0, 0, Fill(50)), BlockDuration(5)})), 11u);
}

}  // namespace
}  // namespace vantor::test
