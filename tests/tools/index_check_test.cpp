#include "tools/check/index_check.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <vector>

namespace vantor::tools {
namespace {

constexpr std::uint64_t kDataStart = 100;

struct Indexed {
  std::uint64_t position;  // from the file's beginning
  std::uint64_t time;
  std::uint64_t track = 1;
};

MkvSegment SegmentWith(const std::vector<Indexed>& entries) {
  MkvSegment segment;
  segment.dataStart = kDataStart;
  auto& list = segment.cues.emplace_back();
  for (const Indexed& entry : entries) {
    MkvCuePoint& point = list.emplace_back();
    point.CueTime = CMkvUInt(entry.time);
    MkvCueTrackPosition& place = point.trackPositions.emplace_back();
    place.CueTrack = CMkvUInt(entry.track);
    place.CueClusterPosition = CMkvUInt(entry.position - kDataStart);
  }
  return segment;
}

TEST(IndexCheck, EntriesThatLeadToTheirBlocksAreRight) {
  IndexCheck check(SegmentWith({{200, 0}, {300, 40}}));
  check.OnCluster(200);
  check.OnBlock(1, 0);
  check.OnCluster(300);
  check.OnBlock(1, 40);
  const IndexFacts facts = check.Finish();
  EXPECT_EQ(facts.entries, 2U);
  EXPECT_EQ(facts.wrongPlaces + facts.wrongTimes, 0U);
  EXPECT_EQ(facts.lastTime, 40);
}

TEST(IndexCheck, ATickMoreOrLessIsTheSameTime) {
  for (const std::int64_t ticks : {39, 40, 41}) {
    IndexCheck check(SegmentWith({{200, 40}}));
    check.OnCluster(200);
    check.OnBlock(1, ticks);
    EXPECT_EQ(check.Finish().wrongTimes, 0U) << ticks;
  }
  IndexCheck check(SegmentWith({{200, 40}}));
  check.OnCluster(200);
  check.OnBlock(1, 42);
  EXPECT_EQ(check.Finish().wrongTimes, 1U);
}

TEST(IndexCheck, APlaceBetweenClustersOrBehindThemIsWrong) {
  IndexCheck check(SegmentWith({{150, 0}, {200, 0}, {250, 20}, {900, 40}}));
  check.OnCluster(200);
  check.OnBlock(1, 0);
  check.OnCluster(300);
  check.OnBlock(1, 20);
  const IndexFacts facts = check.Finish();
  EXPECT_EQ(facts.wrongPlaces, 3U);
  EXPECT_EQ(facts.wrongTimes, 0U);
  EXPECT_EQ(facts.position, 150U);
}

TEST(IndexCheck, ABlockOfAnotherTrackIsNotTheOne) {
  IndexCheck check(SegmentWith({{200, 0, 2}}));
  check.OnCluster(200);
  check.OnBlock(1, 0);
  EXPECT_EQ(check.Finish().wrongTimes, 1U);
}

TEST(IndexCheck, AnyNumberOfEntriesOfOneTimeAreRight) {
  IndexCheck right(SegmentWith(std::vector<Indexed>(100, {200, 40})));
  right.OnCluster(200);
  right.OnBlock(1, 40);
  EXPECT_EQ(right.Finish().wrongTimes, 0U);
  IndexCheck wrong(SegmentWith(std::vector<Indexed>(100, {200, 40})));
  wrong.OnCluster(200);
  wrong.OnBlock(1, 50);
  const IndexFacts facts = wrong.Finish();
  EXPECT_EQ(facts.wrongTimes, 100U);
  EXPECT_EQ(facts.entries, 100U);
}

TEST(IndexCheck, APositionThatLeavesTheNumbersLeadsNowhere) {
  MkvSegment segment = SegmentWith({{200, 0}});
  segment.cues.front().front().trackPositions.front().CueClusterPosition = CMkvUInt(~std::uint64_t{0});
  IndexCheck check(segment);
  check.OnCluster(99);
  check.OnBlock(1, 0);
  EXPECT_EQ(check.Finish().wrongPlaces, 1U);
}

TEST(IndexCheck, WithoutEntriesThereIsNothingToSay) {
  IndexCheck check{MkvSegment()};
  check.OnCluster(200);
  check.OnBlock(1, 0);
  const IndexFacts facts = check.Finish();
  EXPECT_EQ(facts.entries, 0U);
  EXPECT_FALSE(facts.lastTime.has_value());
}

}  // namespace
}  // namespace vantor::tools
