// What stands among the Clusters: it is walked like one, whatever its identifier.
#include "platform/result.h"
#include "streaming/opened_file.h"
#include "support/demux_harness.h"

namespace vantor::test {
namespace {

// A file of one track with the sibling between two Clusters, at 0 and 50 ms, whose blocks are {1} and {9}.
Raw FileWith(const Raw& sibling) {
  return MkvFile({Info(), Tracks({AudioTrack(1)}), Cluster(0, {SimpleBlock(1, 0, kKey, {1})}), sibling,
                  Cluster(50, {SimpleBlock(1, 0, kKey, {9})})});
}

// What a cursor over the file gives.
Raw BlocksOf(const Raw& bytes) {
  OpenedFile file(bytes);
  BlockCursor cursor(file.root, file.first, file.TrackAt(0));
  return FirstBytes(cursor);
}

TEST(SiblingWalk, BlocksBehindADamagedIdentifierAreThere) {
  const std::vector<Raw> children{UInt(0xE7, 20), SimpleBlock(1, 0, kKey, {2}),
                                  BlockGroup({Block(1, 5, 0, {3}), BlockDuration(4)})};
  for (const std::uint32_t id : {0x1F43B674U, 0x1E43B675U, 0xECU, 0x1254C367U, 0x1C53BB6BU, 0x81U, 0x4286U}) {
    EXPECT_EQ(BlocksOf(FileWith(Master(id, children))), (Raw{1, 2, 3, 9})) << id;
  }
}

TEST(SiblingWalk, TimeOfTheFirstTimecodeCounts) {
  OpenedFile file(FileWith(Master(0x1F43B674, {SimpleBlock(1, 5, kKey, {2}), UInt(0xE7, 20), UInt(0xE7, 30)})));
  BlockCursor cursor(file.root, file.first, file.TrackAt(0));
  ASSERT_TRUE(TakeNext(cursor));
  EXPECT_EQ(NextStart(cursor), 25 * kMillisecond);
}

TEST(SiblingWalk, WithoutATimeTheOneBeforeStays) {
  OpenedFile file(MkvFile({Info(), Tracks({AudioTrack(1)}), Cluster(70, {SimpleBlock(1, 0, kKey, {1})}),
                           Master(0x1F43B674, {SimpleBlock(1, 5, kKey, {2})})}));
  BlockCursor cursor(file.root, file.first, file.TrackAt(0));
  ASSERT_TRUE(TakeNext(cursor));
  EXPECT_EQ(NextStart(cursor), 75 * kMillisecond);
}

TEST(SiblingWalk, TimeAloneIsTakenOverToAClusterThatHasNone) {
  OpenedFile file(MkvFile({Info(), Tracks({AudioTrack(1)}), Cluster(70, {SimpleBlock(1, 0, kKey, {1})}),
                           Master(0x1F43B674, {UInt(0xE7, 90)}), Master(0x1F43B675, {SimpleBlock(1, 5, kKey, {2})})}));
  BlockCursor cursor(file.root, file.first, file.TrackAt(0));
  ASSERT_TRUE(TakeNext(cursor));
  EXPECT_EQ(NextStart(cursor), 95 * kMillisecond);
}

// What walking over the sibling reads beyond what one of nothing costs.
std::uint64_t ReadsFor(const Raw& sibling) {
  const auto readsOf = [](const Raw& bytes) {
    OpenedFile file(bytes);
    BlockCursor cursor(file.root, file.first, file.TrackAt(0));
    const std::uint64_t before = file.reader.Reads();
    EXPECT_EQ(FirstBytes(cursor), (Raw{1, 9}));
    return file.reader.Reads() - before;
  };
  return readsOf(FileWith(sibling)) - readsOf(FileWith(Void(2)));
}

TEST(SiblingWalk, OverWhatIsNoClusterCostsItsChildrensHeadersOnce) {
  EXPECT_LE(ReadsFor(Void(1'000'000)), 12u);
  const std::vector<Raw> points(1000, CuePoint(0, 1, 0));
  EXPECT_LE(ReadsFor(Cues(points)), 2 * points.size() + 12);
  EXPECT_LE(ReadsFor(Attachments(
                {Attachment("a", "font/ttf", Fill(500'000, 0xA3)), Attachment("b", "font/ttf", Fill(500'000, 0xE7))})),
            24u);
}

TEST(SiblingWalk, InterruptedAmongManyChildrenBeginsAnewWhenTheWalkGoesOn) {
  std::vector<Raw> children(10000, Raw{0xEC, 0x80});
  children.push_back(SimpleBlock(1, 3, kKey, {2}));
  children.push_back(UInt(0xE7, 30));
  OpenedFile file(FileWith(Master(0x1F43B674, children)));
  BlockCursor cursor(file.root, file.first, file.TrackAt(0));
  ASSERT_TRUE(TakeNext(cursor));
  bool isStopping = true;
  cursor.InterruptWith([&] { return isStopping; });
  const std::uint64_t before = file.reader.Reads();
  EXPECT_FALSE(TakeNext(cursor));
  EXPECT_LT(file.reader.Reads() - before, 20000u) << "the search went on to the end of the sibling";
  isStopping = false;
  const StampedBlock* const block = TakeNext(cursor);
  ASSERT_NE(block, nullptr);
  EXPECT_EQ(block->record.frames[0][0], 2);
  EXPECT_EQ(block->start, 33 * kMillisecond);
}

TEST(SiblingWalk, SimpleBlockOfItsTrackNumberAloneAtTheEndOfTheFileIsAnEmptyFrame) {
  for (const Raw& payload : {Raw{0x81}, Raw{0x81, 0x00}, Raw{0x81, 0x00, 0x00}}) {
    Raw bytes = MkvFile({Info(), Tracks({AudioTrack(1)}),
                         Master(0x1F43B675, {UInt(0xE7, 20), SimpleBlock(1, 0, kKey, {1}), Ebml(0xA3, payload)})});
    OpenedFile file(bytes);
    BlockCursor cursor(file.root, file.first, file.TrackAt(0));
    ASSERT_TRUE(TakeNext(cursor));
    const StampedBlock* const block = TakeNext(cursor);
    ASSERT_NE(block, nullptr) << payload.size();
    EXPECT_EQ(block->start, 20 * kMillisecond);
    ASSERT_EQ(block->record.frames.size(), 1u);
    EXPECT_TRUE(block->record.frames[0].empty());
    EXPECT_EQ(TakeNext(cursor), nullptr);
  }
}

// ---- Times of Clusters ----

TEST(ClusterTime, IsSigned) {
  // -3 ticks: the first Cluster's, so that it is also where the file starts.
  OpenedFile file(MkvFile({Info(), Tracks({AudioTrack(1)}),
                           Master(0x1F43B675, {UInt(0xE7, ~std::uint64_t{2}), SimpleBlock(1, 1, kKey, {1})})}));
  EXPECT_EQ(file.root.startTime, -3 * kMillisecond);
  BlockCursor cursor(file.root, file.first, file.TrackAt(0));
  EXPECT_EQ(NextStart(cursor), -2 * kMillisecond);
}

TEST(ClusterTime, OfAClusterWithoutOneIsZeroAfterASeek) {
  const Raw timeless = Master(0x1F43B675, {SimpleBlock(1, 40, kKey, {2})});
  OpenedFile file(MkvFile({Info(),
                           Tracks({AudioTrack(1)}),
                           {"first", Cluster(70, {SimpleBlock(1, 0, kKey, {1})})},
                           {"timeless", timeless},
                           [](const Positions& at) { return Cues({CuePoint(0, 1, at["timeless"])}); }}));
  BlockCursor cursor(file.root, file.first, file.TrackAt(0));
  EXPECT_EQ(FirstBytes(cursor), (Raw{1, 2}));
  ASSERT_TRUE(SeekCursor(file, cursor, 1));
  EXPECT_EQ(NextStart(cursor), 40 * kMillisecond);
}

}  // namespace
}  // namespace vantor::test
