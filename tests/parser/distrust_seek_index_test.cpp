// Seek indexes that are wrong, and are believed only as far as they are right.
#include <gtest/gtest.h>

#include "fixture.h"
#include "parser/cue_synthesis.h"
#include "parser/element_ids.h"

namespace vantor::test {
namespace {
namespace distrust_seek_index {

constexpr PlaybackPolicy kDistrusts = {.distrustSeekIndex = true};

Part IndexOf(std::uint32_t id, const std::string& part) {
  return {"index", [=](const Positions& at) { return SeekHead({SeekEntry(id, at[part])}); }};
}

Raw OneTrack() { return Tracks({Track(1, 1, "V_VP8", {Video(16, 16)})}); }

std::size_t PointsOf(const Opened& file) {
  std::size_t points = 0;
  for (const MkvCueList& list : file.root.segment.cues) points += list.size();
  return points;
}

TEST(DistrustSeekIndex, TheFirstClusterIsFoundByWalking) {
  const Raw file = MkvFile({IndexOf(ids::kCluster, "second"),
                            Info(),
                            OneTrack(),
                            {"first", Cluster(1000, {})},
                            {"second", Cluster(5000, {})}});
  EXPECT_EQ(Opened(file, true, kDistrusts).root.startTime, 10'000'000);
  EXPECT_EQ(Opened(file).root.startTime, 50'000'000) << "without the switch";
}

TEST(DistrustSeekIndex, AnEntryThatLeadsAstrayGivesWayToOneThatDoesNot) {
  const Raw file = MkvFile({{"index",
                             [](const Positions& at) {
                               return SeekHead({SeekEntry(ids::kCues, at["cluster"]), SeekEntry(ids::kCues, 1 << 20),
                                                SeekEntry(ids::kCues, at["cues"])});
                             }},
                            Info(),
                            OneTrack(),
                            {"cluster", Cluster(0, {})},
                            {"cues", [](const Positions& at) { return Cues({CuePoint(0, 1, at["cluster"])}); }}});
  EXPECT_EQ(PointsOf(Opened(file, true, kDistrusts)), 1u);
  EXPECT_EQ(PointsOf(Opened(file)), 0u) << "without the switch";
}

TEST(DistrustSeekIndex, WhatThePassEndedInFrontOfIsFoundByTheIndex) {
  const Raw file =
      MkvFile({IndexOf(ids::kTracks, "tracks"), SeekHead({}), Info(), {"tracks", OneTrack()}, Cluster(0, {})});
  EXPECT_EQ(Opened(file, true, kDistrusts).root.segment.tracks.size(), 1u);
  EXPECT_EQ(Opened(file).root.segment.tracks.size(), 0u) << "without the switch";
}

TEST(DistrustSeekIndex, WhatThePassHasMetIsNotReadAgain) {
  const Raw file =
      MkvFile({{"index",
                [](const Positions& at) {
                  return SeekHead({SeekEntry(ids::kTracks, at["tracks"]), SeekEntry(ids::kInfo, at["late"])});
                }},
               Info(2000000),
               {"tracks", OneTrack()},
               Cluster(0, {}),
               {"late", Info(3000000)}});
  const Opened opened(file, true, kDistrusts);
  EXPECT_EQ(opened.root.segment.tracks.size(), 1u);
  EXPECT_EQ(opened.root.segment.info.TimecodeScale.value, 2000000u);
}

TEST(DistrustSeekIndex, AChainOfSeekHeadsGoesOnBehindAWrongEntry) {
  const Raw file =
      MkvFile({{"index",
                [](const Positions& at) {
                  return SeekHead({SeekEntry(ids::kSeekHead, at["cluster"]), SeekEntry(ids::kSeekHead, at["more"])});
                }},
               Info(),
               OneTrack(),
               {"cluster", Cluster(0, {})},
               {"more", SeekHead({SeekEntry(ids::kTags, 5)})}});
  EXPECT_EQ(Opened(file, true, kDistrusts).root.segment.seekHeads.size(), 2u);
  EXPECT_EQ(Opened(file).root.segment.seekHeads.size(), 1u) << "without the switch";
}

TEST(DistrustSeekIndex, ASeekHeadInFrontOfAWrongEntrysTargetIsReadToo) {
  const Raw file =
      MkvFile({{"index",
                [](const Positions& at) {
                  return SeekHead({SeekEntry(ids::kSeekHead, at["late"]), SeekEntry(ids::kSeekHead, at["more"])});
                }},
               Info(),
               OneTrack(),
               Cluster(0, {}),
               {"more", SeekHead({SeekEntry(ids::kTags, 5)})},
               {"late", Cluster(10, {})}});
  EXPECT_EQ(Opened(file, true, kDistrusts).root.segment.seekHeads.size(), 2u);
}

TEST(DistrustSeekIndex, WhatTheIndexIsWrongAboutIsFoundByWalking) {
  const Raw bytes = MkvFile({IndexOf(ids::kTags, "cluster"),
                             Info(),
                             OneTrack(),
                             {"cluster", Cluster(0, {})},
                             Master(ids::kTags, {UInt(0x63C0, 1)})});
  const auto hasTags = [&](const PlaybackPolicy& policy) {
    Opened file(bytes, true, policy);
    const MkvElement whole = MkvElement::WholeFile(file.root);
    const MkvElement segment = whole.FirstChild(ids::kSegment);
    return static_cast<bool>(segment.FirstChild(ids::kTags));
  };
  EXPECT_TRUE(hasTags(kDistrusts));
  EXPECT_FALSE(hasTags({})) << "without the switch";
}

Raw FileWithCue(std::uint64_t track, std::int64_t astray) {
  return MkvFile({IndexOf(ids::kCues, "cues"),
                  Info(1000000, 9000),
                  OneTrack(),
                  {"first", Cluster(0, {})},
                  {"second", Cluster(5000, {})},
                  {"cues", [=](const Positions& at) {
                     return Cues({CuePoint(5000, track, at["second"] + static_cast<std::uint64_t>(astray))});
                   }}});
}

TEST(DistrustSeekIndex, CuesThatLeadNowhereAreReplaced) {
  Opened file(FileWithCue(1, 3), true, kDistrusts);
  ASSERT_EQ(SynthesiseCues(file.root), S_OK);
  EXPECT_EQ(PointsOf(file), 2u);
  EXPECT_TRUE(file.root.segment.isIndexMade);
  Opened ofAnotherTrack(FileWithCue(2, 0), true, kDistrusts);
  ASSERT_EQ(SynthesiseCues(ofAnotherTrack.root), S_OK);
  EXPECT_EQ(PointsOf(ofAnotherTrack), 2u);
}

TEST(DistrustSeekIndex, CuesThatLeadToAClusterStayAndSoDoesTheDuration) {
  Opened file(FileWithCue(1, 0), true, kDistrusts);
  ASSERT_EQ(SynthesiseCues(file.root), S_OK);
  EXPECT_EQ(PointsOf(file), 1u);
  EXPECT_FALSE(file.root.segment.isIndexMade);
  EXPECT_EQ(file.root.segment.info.Duration.value, 9000);
}

TEST(DistrustSeekIndex, TheDurationBesideCuesThatLeadNowhereIsAsRightAsBefore) {
  Opened file(FileWithCue(1, 3), true, kDistrusts);
  ASSERT_EQ(SynthesiseCues(file.root), S_OK);
  EXPECT_EQ(file.root.segment.info.Duration.value, 9000);
  EXPECT_FALSE(file.root.segment.isDurationMade);
}

TEST(DistrustSeekIndex, TheDurationOfAFileWithoutCuesIsMadeAsEver) {
  const Raw bytes = MkvFile({Info(1000000, 9000), OneTrack(), Cluster(0, {}), Cluster(5000, {})});
  for (const PlaybackPolicy& policy : {PlaybackPolicy(), kDistrusts}) {
    Opened file(bytes, true, policy);
    ASSERT_EQ(SynthesiseCues(file.root), S_OK);
    EXPECT_EQ(file.root.segment.info.Duration.value, 5000);
    EXPECT_TRUE(file.root.segment.isDurationMade);
  }
}

TEST(DistrustSeekIndex, WithoutTheSwitchCuesThatLeadNowhereStay) {
  Opened file(FileWithCue(1, 3));
  ASSERT_EQ(SynthesiseCues(file.root), S_OK);
  EXPECT_EQ(PointsOf(file), 1u);
}

TEST(DistrustSeekIndex, CuesOfAFileWithoutClustersStay) {
  Opened file(MkvFile({Info(), OneTrack(), Cues({CuePoint(0, 1, 5)})}), true, kDistrusts);
  EXPECT_EQ(SynthesiseCues(file.root), S_OK);
  EXPECT_EQ(PointsOf(file), 1u);
}

TEST(DistrustSeekIndex, CuesOfAFileWithoutPicturesAndSoundStay) {
  Opened file(MkvFile({Info(), Tracks({Track(3, 17, "S_TEXT/UTF8")}), Cues({CuePoint(0, 3, 5)}), Cluster(0, {})}), true,
              kDistrusts);
  EXPECT_EQ(SynthesiseCues(file.root), S_OK);
  EXPECT_EQ(PointsOf(file), 1u);
}

// An element that claims so many bytes more than the one that it has.
Raw OverlongVoid(std::uint64_t more) { return EbmlWithSize(0xEC, 1 + more, {0}, 8); }
constexpr std::uint64_t kBehindAll = 1 << 20;

TEST(DistrustSeekIndex, WhatTheWalkDidNotGetToIsFoundByTheIndex) {
  const Raw file =
      MkvFile({{"index",
                [](const Positions& at) {
                  return SeekHead({SeekEntry(ids::kTracks, at["tracks"]), SeekEntry(ids::kInfo, at["info"]),
                                   SeekEntry(ids::kAttachments, at["files"])});
                }},
               OverlongVoid(kBehindAll),
               {"info", Info(2000000)},
               {"tracks", OneTrack()},
               {"files", Attachments({Attachment("a.ttf", "font/ttf", {1})})}});
  const Opened distrusting(file, true, kDistrusts);
  EXPECT_EQ(distrusting.root.segment.tracks.size(), 1u);
  EXPECT_EQ(distrusting.root.segment.info.TimecodeScale.value, 2000000u);
  EXPECT_EQ(distrusting.root.segment.attachments.size(), 1u);
  const Opened plain(file);
  EXPECT_EQ(plain.root.segment.tracks.size(), 0u) << "without the switch";
  EXPECT_EQ(plain.root.segment.attachments.size(), 0u) << "without the switch";
}

// The times of the Clusters that a walk comes to, in milliseconds.
std::vector<std::int64_t> ClusterTimes(const Raw& bytes) {
  Opened file(bytes, true, kDistrusts);
  std::vector<std::int64_t> times;
  if (FAILED(SynthesiseCues(file.root))) return times;
  for (const MkvCueList& list : file.root.segment.cues) {
    for (const MkvCuePoint& point : list) times.push_back(static_cast<std::int64_t>(point.CueTime.value));
  }
  return times;
}

Raw ClustersBehind(const Raw& wrong) {
  return MkvFile({IndexOf(ids::kCluster, "named"),
                  Info(),
                  OneTrack(),
                  wrong,
                  {"named", Cluster(1000, {SimpleBlock(1, 0, kKey, Fill(50))})},
                  Cluster(2000, {})});
}

using Times = std::vector<std::int64_t>;

TEST(DistrustSeekIndex, AClusterThatTheWalkWouldPassOverIsFoundByTheIndex) {
  EXPECT_EQ(ClusterTimes(ClustersBehind(OverlongVoid(20))), (Times{1000, 2000}));
  EXPECT_EQ(ClusterTimes(ClustersBehind(OverlongVoid(kBehindAll))), (Times{1000, 2000}));
}

TEST(DistrustSeekIndex, AClusterBehindOneThatIsTooLongIsFoundByTheIndex) {
  const Raw tooLong = EbmlWithSize(ids::kCluster, kBehindAll, UInt(ids::kTimecode, 500), 8);
  EXPECT_EQ(ClusterTimes(ClustersBehind(tooLong)), (Times{500, 1000, 2000}));
}

TEST(DistrustSeekIndex, AnEntryIntoTheMiddleOfSomethingLeadsNoWalkAstray) {
  const auto times = [](std::uint64_t offset) {
    return ClusterTimes(MkvFile(
        {{"index", [=](const Positions& at) { return SeekHead({SeekEntry(ids::kCluster, at["first"] + offset)}); }},
         Info(),
         OneTrack(),
         {"first", Cluster(1000, {SimpleBlock(1, 0, kKey, Fill(50))})},
         Cluster(2000, {})}));
  };
  for (std::uint64_t offset = 0; offset < 100; ++offset) EXPECT_EQ(times(offset), (Times{1000, 2000})) << offset;
}

TEST(DistrustSeekIndex, TheIndexOfOneSegmentLeadsIntoNoOther) {
  const Raw segment =
      Segment({IndexOf(ids::kCluster, "first"), Info(), OneTrack(), {"first", Cluster(1000, {})}, Cluster(2000, {})});
  EXPECT_EQ(ClusterTimes(Join({EbmlHeader(), segment, segment})), (Times{1000, 2000}));
  constexpr std::uint64_t kHeader = 12;  // of the other Segment, whose first child is named
  const Raw leadsOut =
      Segment({{"index", [](const Positions& at) { return SeekHead({SeekEntry(ids::kCluster, at["end"] + kHeader)}); }},
               Info(),
               OneTrack(),
               Cluster(1000, {}),
               {"end", [](const Positions&) { return Raw(); }}});
  const Raw other = Segment({Cluster(3000, {})}, 8);
  EXPECT_EQ(ClusterTimes(Join({EbmlHeader(), leadsOut, other})), (Times{1000}));
}

}  // namespace distrust_seek_index
}  // namespace
}  // namespace vantor::test
