// Where a cursor stands after a seek.
#include <utility>
#include <vector>

#include "parser/cue_synthesis.h"
#include "parser/element_ids.h"
#include "streaming/opened_file.h"
#include "support/demux_harness.h"

namespace vantor::test {
namespace {

constexpr std::int64_t kSecond = 10'000'000;

// Video key frames at 0 and 1 s (of each cluster), frames of 200 ms, sound between them; clusters of 2 s.
Raw TwoTrackFile() {
  const auto cluster = [](std::uint8_t base) {
    const auto byte = [&](int offset) { return Raw{static_cast<std::uint8_t>(base + offset)}; };
    return std::vector<Raw>{SimpleBlock(1, 0, kKey, byte(0)),    SimpleBlock(2, 0, kKey, byte(8)),
                            SimpleBlock(1, 200, 0, byte(1)),     SimpleBlock(1, 1000, kKey, byte(2)),
                            SimpleBlock(2, 1000, kKey, byte(9)), SimpleBlock(1, 1200, 0, byte(3))};
  };
  return MediaFile(6000, {VideoTrack(1), AudioTrack(2)}, {{0, cluster(10)}, {2000, cluster(20)}, {4000, cluster(30)}});
}

struct Stand {
  bool found;
  Raw video;
};

Stand SeekVideo(OpenedFile& file, std::int64_t target) {
  BlockCursor cursor(file.root, file.first, file.TrackAt(0));
  const bool found = SeekCursor(file, cursor, target);
  return {found, FirstBytes(cursor)};
}

TEST(SeekCursor, ToZeroStandsAtTheFirstCluster) {
  OpenedFile file(TwoTrackFile());
  BlockCursor cursor(file.root, file.first, file.TrackAt(0));
  FirstBytes(cursor);
  EXPECT_TRUE(SeekCursor(file, cursor, 0));
  EXPECT_EQ(FirstBytes(cursor), (Raw{10, 11, 12, 13, 20, 21, 22, 23, 30, 31, 32, 33}));
}

TEST(SeekCursor, BelowZeroFailsAtTheFirstCluster) {
  OpenedFile file(TwoTrackFile());
  const Stand stand = SeekVideo(file, -1);
  EXPECT_FALSE(stand.found);
  EXPECT_EQ(stand.video.front(), 10);
}

TEST(SeekCursor, StandsAtTheLastKeyFrameAtOrBeforeTheTarget) {
  OpenedFile file(TwoTrackFile());
  const struct {
    std::int64_t target;
    std::uint8_t first;
  } kCases[] = {{1, 10},           {kSecond - 1, 10}, {kSecond, 12},     {2 * kSecond - 1, 12}, {2 * kSecond, 20},
                {3 * kSecond, 22}, {4 * kSecond, 30}, {5 * kSecond, 32}, {100 * kSecond, 32}};
  for (const auto& item : kCases) {
    const Stand stand = SeekVideo(file, item.target);
    EXPECT_TRUE(stand.found) << item.target;
    EXPECT_EQ(stand.video.front(), item.first) << item.target;
  }
}

TEST(SeekCursor, BlocksOfOtherTracksBeforeTheKeyFrameAreNotReplayed) {
  OpenedFile file(TwoTrackFile());
  BlockCursor audio(file.root, file.first, file.TrackAt(1));
  EXPECT_TRUE(SeekCursor(file, audio, 3 * kSecond));
  EXPECT_EQ(FirstBytes(audio), (Raw{29, 38, 39}));
}

TEST(SeekCursor, EmptiesTheQueue) {
  OpenedFile file(TwoTrackFile());
  BlockCursor cursor(file.root, file.first, file.TrackAt(0));
  ASSERT_EQ(cursor.FillQueue(NeverStop), 1u);
  EXPECT_TRUE(SeekCursor(file, cursor, 4 * kSecond));
  EXPECT_EQ(FirstBytes(cursor).front(), 30);
}

TEST(SeekCursor, SetsTheClusterTimeOfWhereItStands) {
  OpenedFile file(TwoTrackFile());
  BlockCursor cursor(file.root, file.first, file.TrackAt(0));
  EXPECT_TRUE(SeekCursor(file, cursor, 3 * kSecond));
  EXPECT_EQ(NextStart(cursor), 3 * kSecond);
}

TEST(SeekCursor, CountsFromTheFirstClustersTime) {
  OpenedFile file(MediaFile(6000, {VideoTrack(1)},
                            {{5000, {SimpleBlock(1, 0, kKey, {1})}}, {6000, {SimpleBlock(1, 0, kKey, {2})}}}));
  EXPECT_EQ(SeekVideo(file, kSecond - 1).video.front(), 1);
  EXPECT_EQ(SeekVideo(file, kSecond).video.front(), 2);
}

TEST(SeekCursor, FailsAtTheFirstClusterWithoutCues) {
  OpenedFile file(MkvFile({Info(), Tracks({VideoTrack(1)}), Cluster(0, {SimpleBlock(1, 0, kKey, {1})}),
                           Cluster(1000, {SimpleBlock(1, 0, kKey, {2})})}));
  const Stand stand = SeekVideo(file, kSecond);
  EXPECT_FALSE(stand.found);
  EXPECT_EQ(stand.video, (Raw{1, 2}));
  EXPECT_TRUE(SeekVideo(file, 0).found);
}

TEST(SeekCursor, WorksWithSynthesisedCues) {
  OpenedFile file(MkvFile({Info(), Tracks({VideoTrack(1)}), Cluster(0, {SimpleBlock(1, 0, kKey, {1})}),
                           Cluster(1000, {SimpleBlock(1, 0, kKey, {2})})}));
  ASSERT_EQ(SynthesiseCues(file.root), S_OK);
  const Stand stand = SeekVideo(file, kSecond);
  EXPECT_TRUE(stand.found);
  EXPECT_EQ(stand.video, (Raw{2}));
}

// Two clusters at 0 and 1 s, with the cue points given.
Raw FileWithCues(const std::function<std::vector<Raw>(const Positions&)>& points,
                 const std::vector<Raw>& second = {SimpleBlock(1, 0, kKey, {2})}) {
  return MkvFile({Info(1000000, 2000),
                  Tracks({VideoTrack(1), AudioTrack(2)}),
                  {"first", Cluster(0, {SimpleBlock(1, 0, kKey, {1})})},
                  {"second", Cluster(1000, second)},
                  {"cues", [points](const Positions& at) { return Cues(points(at)); }}});
}

TEST(SeekCursor, FollowsPositionsOfTheReferenceTrackOnly) {
  OpenedFile file(FileWithCues([](const Positions& at) {
    return std::vector<Raw>{CuePoint(0, 1, at["first"]), CuePoint(1000, 2, at["second"])};
  }));
  EXPECT_EQ(SeekVideo(file, kSecond).video.front(), 1);
}

// A cue point with one position each: the track and where its cluster lies.
Raw CuePointOf(std::uint64_t time, const std::vector<std::pair<std::uint64_t, std::uint64_t>>& positions) {
  std::vector<Raw> children{UInt(0xB3, time)};
  for (const auto& [track, at] : positions) children.push_back(Master(0xB7, {UInt(0xF7, track), UInt(0xF1, at)}));
  return Master(0xBB, children);
}

TEST(SeekCursor, OfAPointsPositionsOnlyThoseOfTheReferenceTrackAreTriedInFileOrder) {
  OpenedFile another(FileWithCues([](const Positions& at) {
    return std::vector<Raw>{CuePointOf(1000, {{2, at["first"]}, {1, at["second"]}})};
  }));
  EXPECT_EQ(SeekVideo(another, kSecond).video.front(), 2);
  OpenedFile both(FileWithCues([](const Positions& at) {
    return std::vector<Raw>{CuePointOf(1000, {{1, at["first"]}, {1, at["second"]}})};
  }));
  EXPECT_EQ(SeekVideo(both, kSecond).video.front(), 1);
}

TEST(SeekCursor, CountsInTicksOfTheTimecodeScale) {
  // Ticks of 100 microseconds: one second is 10,000 of them.
  const auto seek = [](std::int64_t target) {
    OpenedFile file(MkvFile({Info(100000, 20000),
                             Tracks({VideoTrack(1)}),
                             {"first", Cluster(0, {SimpleBlock(1, 0, kKey, {1}), SimpleBlock(1, 5000, kKey, {2})})},
                             {"second", Cluster(10000, {SimpleBlock(1, 0, kKey, {3})})},
                             {"cues", [](const Positions& at) {
                                return Cues({CuePoint(0, 1, at["first"]), CuePoint(10000, 1, at["second"])});
                              }}}));
    return SeekVideo(file, target).video.front();
  };
  EXPECT_EQ(seek(kSecond / 2 - 1), 1);
  EXPECT_EQ(seek(kSecond / 2), 2);
  EXPECT_EQ(seek(kSecond - 1), 2);
  EXPECT_EQ(seek(kSecond), 3);
}

TEST(SeekCursor, PointsThatAllNameExpensiveClustersEndTheSearchAndPlayingGoesOn) {
  // Every child of the cluster is named as a cluster of its own, as far as identifiers go; none has a key frame.
  std::vector<Raw> inner(400, Cluster(0, {SimpleBlock(1, 0, 0, Fill(4, 9))}));
  OpenedFile file(MkvFile({Info(1000000, 2000),
                           Tracks({VideoTrack(1)}),
                           {"first", Cluster(0, {SimpleBlock(1, 0, kKey, {1})})},
                           {"unending", EbmlWithSize(ids::kCluster, (std::uint64_t{1} << 56) - 2, Join(inner), 8)},
                           {"cues", [&](const Positions& at) {
                              std::vector<Raw> points;
                              for (std::size_t i = 0; i < inner.size(); ++i) {
                                points.push_back(CuePoint(1, 1, at["unending"] + 12 + i * inner[0].size()));
                                points.push_back(CuePoint(1, 1, at["unending"]));
                              }
                              return Cues(points);
                            }}}));
  BlockCursor cursor(file.root, file.first, file.TrackAt(0));
  file.reader.ResetCounters();
  EXPECT_FALSE(SeekCursor(file, cursor, kSecond));
  EXPECT_LT(file.reader.BytesRead(), file.root.length * 4 + (1u << 20) + 1);
  cursor.RenewAllowance();
  EXPECT_EQ(FirstBytes(cursor).front(), 1);
}

TEST(SeekCursor, TakesTheFileOrderOfCuePointsFromTheBack) {
  OpenedFile file(FileWithCues([](const Positions& at) {
    return std::vector<Raw>{CuePoint(1000, 1, at["second"]), CuePoint(0, 1, at["first"])};
  }));
  EXPECT_EQ(SeekVideo(file, kSecond).video.front(), 1) << "the last suitable point of the list wins, not the latest";
}

TEST(SeekCursor, GoesBackToAnEarlierPointWhenAClusterHasNoKeyFrame) {
  OpenedFile file(FileWithCues(
      [](const Positions& at) {
        return std::vector<Raw>{CuePoint(0, 1, at["first"]), CuePoint(1000, 1, at["second"])};
      },
      {SimpleBlock(1, 0, 0, {2}), SimpleBlock(2, 0, kKey, {3})}));
  const Stand stand = SeekVideo(file, kSecond);
  EXPECT_TRUE(stand.found);
  EXPECT_EQ(stand.video, (Raw{1, 2}));
}

TEST(SeekCursor, PassesOverPositionsThatHoldNothing) {
  OpenedFile file(FileWithCues([](const Positions& at) {
    return std::vector<Raw>{CuePoint(0, 1, at["first"]), CuePoint(1000, 1, 1u << 30), CuePoint(1000, 1, ~0ull),
                            CuePoint(1000, 1, ~0ull - 40)};
  }));
  const Stand stand = SeekVideo(file, kSecond);
  EXPECT_TRUE(stand.found);
  EXPECT_EQ(stand.video.front(), 1);
}

TEST(SeekCursor, PassesOverPositionsThatHoldNoCluster) {
  // A Segment's identifier inside a Void: its children would be resynchronised.
  const Raw fake = Ebml(0xEC, Master(ids::kSegment, {SimpleBlock(1, 0, kKey, {7}), Fill(40)}));
  OpenedFile file(MkvFile({
      Info(),
      Tracks({VideoTrack(1)}),
      {"fake", fake},
      {"first", Cluster(0, {SimpleBlock(1, 0, kKey, {1})})},
      {"cues",
       [](const Positions& at) {
         return Cues({CuePoint(0, 1, at["first"]), CuePoint(500, 1, at["fake"] + 2)});
       }},
  }));
  const Stand stand = SeekVideo(file, kSecond);
  EXPECT_TRUE(stand.found);
  EXPECT_EQ(stand.video, (Raw{1}));
}

TEST(SeekCursor, ForgetsTheTimeOfTheClusterItLeaves) {
  OpenedFile file(MkvFile({
      Info(),
      Tracks({VideoTrack(1)}),
      {"first", Master(ids::kCluster, {SimpleBlock(1, 0, kKey, {1})})},
      {"second", Cluster(3000, {SimpleBlock(1, 0, kKey, {2})})},
      {"cues", [](const Positions& at) { return Cues({CuePoint(3000, 1, at["second"])}); }},
  }));
  BlockCursor cursor(file.root, file.first, file.TrackAt(0));
  ASSERT_TRUE(SeekCursor(file, cursor, 3 * kSecond));
  EXPECT_EQ(NextStart(cursor), 3 * kSecond);
  ASSERT_TRUE(SeekCursor(file, cursor, 0));
  EXPECT_EQ(NextStart(cursor), 0);
}

TEST(SeekCursor, AClusterWithoutTimeCountsAsZeroWhateverWasTriedBefore) {
  OpenedFile file(MkvFile({
      Info(),
      Tracks({VideoTrack(1)}),
      {"first", Master(ids::kCluster, {SimpleBlock(1, 5, kKey, {1})})},
      {"second", Cluster(3000, {SimpleBlock(1, 0, 0, {2})})},
      {"cues",
       [](const Positions& at) {
         return Cues({CuePoint(0, 1, at["first"]), CuePoint(3000, 1, at["second"])});
       }},
  }));
  BlockCursor cursor(file.root, file.first, file.TrackAt(0));
  EXPECT_TRUE(SeekCursor(file, cursor, 4 * kSecond));
  EXPECT_EQ(NextStart(cursor), 5 * kMillisecond);
  EXPECT_EQ(FirstBytes(cursor), (Raw{1, 2}));
}

TEST(SeekCursor, FailsWhenNoPointIsEarlyEnough) {
  OpenedFile file(FileWithCues([](const Positions& at) { return std::vector<Raw>{CuePoint(1000, 1, at["second"])}; }));
  const Stand stand = SeekVideo(file, kSecond - 1);
  EXPECT_FALSE(stand.found);
  EXPECT_EQ(stand.video.front(), 1);
}

TEST(SeekCursor, TriesTheSamePositionOnce) {
  const auto reads = [](int points) {
    OpenedFile file(FileWithCues(
        [points](const Positions& at) {
          return std::vector<Raw>(static_cast<std::size_t>(points), CuePoint(1000, 1, at["second"]));
        },
        {SimpleBlock(1, 0, 0, {2})}));
    BlockCursor cursor(file.root, file.first, file.TrackAt(0));
    file.reader.ResetCounters();
    EXPECT_FALSE(SeekCursor(file, cursor, kSecond));
    return file.reader.Reads();
  };
  EXPECT_EQ(reads(1), reads(50));
}

TEST(SeekCursor, TriesTwoPositionsInTurnOnceEach) {
  const auto reads = [](int pairs) {
    OpenedFile file(FileWithCues(
        [pairs](const Positions& at) {
          std::vector<Raw> points;
          for (int i = 0; i < pairs; ++i) {
            points.push_back(CuePoint(1000, 1, at["second"]));
            points.push_back(CuePoint(1000, 1, at["second"] + 1));
          }
          return points;
        },
        {SimpleBlock(1, 0, 0, {2})}));
    CMkvFileClone clone(file.root);
    file.reader.ResetCounters();
    EXPECT_FALSE(FindPlace(clone, file.first, kSecond));
    return file.reader.Reads();
  };
  EXPECT_EQ(reads(1), reads(50));
}

TEST(SeekCursor, LooksNoFurtherThanHalfASecondPastTheTarget) {
  // A sound block of 1.5 s ends the search for a target of 1 s, one unit less does not.
  const auto found = [](int late) {
    OpenedFile file(FileWithCues([](const Positions& at) { return std::vector<Raw>{CuePoint(1000, 1, at["second"])}; },
                                 {SimpleBlock(2, late, kKey, {9}), SimpleBlock(1, 0, kKey, {2})}));
    return SeekVideo(file, kSecond).found;
  };
  EXPECT_TRUE(found(500));
  EXPECT_FALSE(found(501));
}

TEST(SeekCursor, ABlockOfTheReferenceTrackPastTheTargetEndsTheSearch) {
  OpenedFile file(FileWithCues([](const Positions& at) { return std::vector<Raw>{CuePoint(1000, 1, at["second"])}; },
                               {SimpleBlock(1, 10, 0, {2}), SimpleBlock(1, 0, kKey, {3})}));
  EXPECT_FALSE(SeekVideo(file, kSecond).found);
}

TEST(SeekCursor, KeyFramesInBlockGroupsCount) {
  OpenedFile file(
      FileWithCues([](const Positions& at) { return std::vector<Raw>{CuePoint(1000, 1, at["second"])}; },
                   {BlockGroup({Block(1, 0, 0, {2}), ReferenceBlock(-5)}), BlockGroup({Block(1, 0, 0, {3})}),
                    BlockGroup({}), BlockGroup({Block(1, 0, 0, {4}), ReferenceBlock(-5)})}));
  const Stand stand = SeekVideo(file, kSecond);
  EXPECT_TRUE(stand.found);
  EXPECT_EQ(stand.video, (Raw{3, 4}));
}

TEST(SeekCursor, FollowsTheFirstAudioTrackWithoutVideoAndTrackOneWithoutEither) {
  const auto seek = [](const Raw& track, std::uint64_t cueTrack) {
    OpenedFile file(MkvFile(
        {Info(1000000, 2000),
         Tracks({track}),
         {"first", Cluster(0, {SimpleBlock(7, 0, kKey, {1})})},
         {"second", Cluster(1000, {SimpleBlock(cueTrack, 0, kKey, {2})})},
         {"cues", [cueTrack](const Positions& at) { return Cues({CuePoint(1000, cueTrack, at["second"])}); }}}));
    BlockCursor cursor(file.root, file.first, file.TrackAt(0));
    return SeekCursor(file, cursor, kSecond);
  };
  EXPECT_TRUE(seek(AudioTrack(7), 7));
  EXPECT_FALSE(seek(SubtitleTrack(7), 7));
  EXPECT_TRUE(seek(SubtitleTrack(7), 1));
}

TEST(SeekCursor, TriesEveryCuesElementInOrder) {
  OpenedFile file(MkvFile({Info(1000000, 2000),
                           Tracks({VideoTrack(1)}),
                           {"first", Cluster(0, {SimpleBlock(1, 0, kKey, {1})})},
                           {"second", Cluster(1000, {SimpleBlock(1, 0, kKey, {2})})},
                           {"a", [](const Positions& at) { return Cues({CuePoint(0, 1, at["first"])}); }},
                           {"b", [](const Positions& at) { return Cues({CuePoint(1000, 1, at["second"])}); }}}));
  ASSERT_EQ(file.root.GetSegment()->cues.size(), 2u);
  EXPECT_EQ(SeekVideo(file, kSecond).video.front(), 1) << "the first Cues element that leads to a key frame";
}

TEST(SeekCursor, TargetsThatWouldOverflowDoNoHarm) {
  OpenedFile file(MediaFile(6000, {VideoTrack(1)}, {{5000, {SimpleBlock(1, 0, kKey, {1})}}}));
  EXPECT_FALSE(SeekVideo(file, INT64_MAX).found);
}

}  // namespace
}  // namespace vantor::test
