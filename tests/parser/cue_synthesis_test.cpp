#include "parser/cue_synthesis.h"

#include <gtest/gtest.h>

#include "fixture.h"
#include "parser/element_ids.h"
#include "support/allocation_monitor.h"

namespace vantor::test {
namespace {

// The file opened, its cues synthesised.
struct Synthesised : Opened {
  explicit Synthesised(const Raw& bytes, bool canSeek = true) : Opened(bytes, canSeek) {
    EXPECT_EQ(result, S_OK);
    synthesis = SynthesiseCues(root);
  }
  const MkvCueList& Cues() const { return root.segment.cues.at(0); }
  double Duration() const { return root.segment.info.Duration.value; }

  HRESULT synthesis = E_UNEXPECTED;
};

TEST(CueSynthesis, GivesOneCuePointAClusterInFileOrder) {
  const Synthesised file(MkvFile({Info(), Tracks({Track(3, 2, "A_AC3"), Track(5, 1, "V_VP8")}), Void(9), Cluster(0, {}),
                                  Cluster(40, {}), Void(7), Cluster(90, {})}));
  EXPECT_EQ(file.synthesis, S_OK);
  ASSERT_EQ(file.root.segment.cues.size(), 1u);
  ASSERT_EQ(file.Cues().size(), 3u);
  const std::uint64_t times[] = {0, 40, 90};
  for (std::size_t i = 0; i < 3; ++i) {
    const MkvCuePoint& point = file.Cues()[i];
    EXPECT_EQ(point.CueTime.value, times[i]);
    EXPECT_TRUE(point.CueTime.present);
    ASSERT_EQ(point.trackPositions.size(), 1u);
    EXPECT_EQ(point.trackPositions[0].CueTrack.value, 5u);
    EXPECT_TRUE(point.trackPositions[0].CueClusterPosition.present);
  }
}

TEST(CueSynthesis, PositionsAreThoseOfTheClustersFromTheSegmentsData) {
  Positions at;
  const std::vector<Part> parts{Info(), {"one", Cluster(0, {})}, Void(50), {"two", Cluster(40, {})}};
  Layout(parts, at);
  const Synthesised file(MkvFile(parts));
  EXPECT_EQ(file.Cues().at(0).trackPositions[0].CueClusterPosition.value, at["one"]);
  EXPECT_EQ(file.Cues().at(1).trackPositions[0].CueClusterPosition.value, at["two"]);
}

TEST(CueSynthesis, CueTrackIsTheFirstVideoElseTheFirstAudioElseZero) {
  const auto cueTrack = [](const Raw& tracks) {
    return Synthesised(MkvFile({tracks, Cluster(0, {})})).Cues().at(0).trackPositions[0].CueTrack.value;
  };
  const Raw subtitle = Track(9, 17, "S_TEXT/UTF8");
  EXPECT_EQ(cueTrack(Tracks({subtitle, Track(2, 2, "A"), Track(3, 1, "V"), Track(4, 1, "V")})), 3u);
  EXPECT_EQ(cueTrack(Tracks({subtitle, Track(2, 2, "A"), Track(3, 2, "A")})), 2u);
  EXPECT_EQ(cueTrack(Tracks({subtitle})), 0u);
}

TEST(CueSynthesis, DurationIsTheLastClustersTimeLessTheStart) {
  const Synthesised file(MkvFile({Info(1000000, 5000.0), Cluster(100, {}), Cluster(1100, {})}));
  EXPECT_EQ(file.Duration(), 1000.0);
  EXPECT_TRUE(file.root.segment.info.Duration.present);
}

TEST(CueSynthesis, DurationIsTheLastClustersInFileOrderNotTheLatest) {
  EXPECT_EQ(Synthesised(MkvFile({Cluster(0, {}), Cluster(900, {}), Cluster(300, {})})).Duration(), 300.0);
}

TEST(CueSynthesis, DurationMixesTicksWithMilliseconds) {
  // Ticks of 10 ms: the first cluster is at 100 ticks, which are 1000 ms.
  EXPECT_EQ(Synthesised(MkvFile({Info(10000000), Cluster(100, {}), Cluster(1500, {})})).Duration(), 500.0);
}

TEST(CueSynthesis, DurationRoundsBothOperandsToSinglePrecisionFirst) {
  // 16777217 needs 25 bits: as a single it is 16777216.
  EXPECT_EQ(Synthesised(MkvFile({Cluster(0, {}), Cluster(16777217, {})})).Duration(), 16777216.0);
  EXPECT_EQ(Synthesised(MkvFile({Cluster(16777217, {}), Cluster(16777219, {})})).Duration(), 16777220.0 - 16777216.0);
  // The difference of two singles is itself a single: 16777218 - 1 is 16777217, a tie that goes to even.
  EXPECT_EQ(Synthesised(MkvFile({Cluster(1, {}), Cluster(16777218, {})})).Duration(), 16777216.0);
}

TEST(CueSynthesis, StartIsTruncatedToMilliseconds) {
  // Ticks of 0.1 ms: the first cluster at 19 ticks is 1.9 ms, which count as 1.
  EXPECT_EQ(Synthesised(MkvFile({Info(100000), Cluster(19, {}), Cluster(101, {})})).Duration(), 100.0);
}

TEST(CueSynthesis, ClusterWithoutTimecodeCountsAsTimeZero) {
  const Synthesised file(MkvFile({Cluster(100, {}), Master(ids::kCluster, {SimpleBlock(1, 0, kKey, {1})})}));
  ASSERT_EQ(file.Cues().size(), 2u);
  EXPECT_EQ(file.Cues()[1].CueTime.value, 0u);
  EXPECT_EQ(file.Duration(), -100.0);
}

TEST(CueSynthesis, FileWithCuesKeepsThemAndItsDuration) {
  const Synthesised file(MkvFile({Info(1000000, 77.0), Cues({CuePoint(5, 1, 0)}), Cluster(0, {}), Cluster(9, {})}));
  EXPECT_EQ(file.synthesis, S_OK);
  ASSERT_EQ(file.root.segment.cues.size(), 1u);
  ASSERT_EQ(file.Cues().size(), 1u);
  EXPECT_EQ(file.Cues()[0].CueTime.value, 5u);
  EXPECT_EQ(file.Duration(), 77.0);
}

TEST(CueSynthesis, EmptyCuesElementIsEnoughToKeepTheFileAsItIs) {
  const Synthesised file(MkvFile({Info(1000000, 77.0), Cues({}), Cluster(0, {})}));
  EXPECT_EQ(file.synthesis, S_OK);
  EXPECT_TRUE(file.Cues().empty());
  EXPECT_EQ(file.Duration(), 77.0);
}

TEST(CueSynthesis, FileThatCannotSeekIsLeftAlone) {
  const Synthesised file(MkvFile({Info(1000000, 77.0), Cluster(0, {})}), false);
  EXPECT_EQ(file.synthesis, S_OK);
  EXPECT_TRUE(file.root.segment.cues.empty());
  EXPECT_EQ(file.Duration(), 77.0);
}

TEST(CueSynthesis, WithoutASegmentIsEUnexpected) {
  const Synthesised file(EbmlHeader());
  EXPECT_EQ(file.synthesis, E_UNEXPECTED);
  EXPECT_TRUE(file.root.segment.cues.empty());
}

TEST(CueSynthesis, WithoutAClusterIsEUnexpected) {
  const Synthesised file(MkvFile({Info(1000000, 77.0), Tracks({})}));
  EXPECT_EQ(file.synthesis, E_UNEXPECTED);
  EXPECT_TRUE(file.root.segment.cues.empty());
  EXPECT_EQ(file.Duration(), 77.0);
}

TEST(CueSynthesis, FurtherClustersAreFoundByWalkingNotByTheSeekIndex) {
  const Synthesised file(
      MkvFile({[](const Positions& at) { return SeekHead({SeekEntry(ids::kCluster, at["second"])}); },
               Cluster(1, {}),
               {"second", Cluster(2, {})},
               Cluster(3, {})}));
  ASSERT_EQ(file.Cues().size(), 2u);
  EXPECT_EQ(file.Cues()[0].CueTime.value, 2u);
  EXPECT_EQ(file.Cues()[1].CueTime.value, 3u);
}

TEST(CueSynthesis, GarbageBetweenClustersIsSkipped) {
  const Synthesised file(MkvFile({Cluster(1, {}), Fill(40, 0x00), Cluster(2, {})}));
  EXPECT_EQ(file.Cues().size(), 2u);
}

TEST(CueSynthesis, PositionsCountFromTheBaseOfTheRecordAlsoWithSeveralSegments) {
  const Synthesised file(Join({EbmlHeader(), Segment({Void(9), Cluster(3, {})}), Segment({Cluster(4, {})})}));
  ASSERT_EQ(file.Cues().size(), 1u);
  const std::uint64_t position = file.Cues()[0].trackPositions[0].CueClusterPosition.value;
  EXPECT_EQ(file.root.segment.dataStart + position, EbmlHeader().size() + 12 + 9);
}

TEST(CueSynthesis, RunningOutOfMemoryIsRaised) {
  if (!WatchesAllocations()) GTEST_SKIP() << "allocations are not watched in this build";
  const Raw bytes = MkvFile({Cluster(1, {}), Cluster(2, {})});
  int failures = 0;
  for (std::uint64_t n = 1;; ++n) {
    Opened file(bytes);
    FailAllocation(n);
    try {
      const HRESULT result = SynthesiseCues(file.root);
      FailAllocation(0);
      EXPECT_EQ(result, S_OK);
      break;
    } catch (const std::bad_alloc&) {
      FailAllocation(0);
      EXPECT_TRUE(file.root.segment.cues.empty());
      ++failures;
    }
  }
  EXPECT_GE(failures, 3);
}

}  // namespace
}  // namespace vantor::test
