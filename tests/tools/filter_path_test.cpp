#include "tools/check/filter_path.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <string>

#include "parser/element_ids.h"
#include "support/mkv_builder.h"
#include "tools/check/block_walk.h"
#include "tools/opened_file.h"

namespace vantor::tools {
namespace {

using test::Part;
using test::Raw;

// Of each Cluster that the walk meets what becomes of it: (f)ollowed, hidden (b)efore the start, (w)ithin a Cluster or
// in an (o)ther Segment; "?" where the way is not known.
std::string WayThrough(const Raw& bytes) {
  OpenedFile file(MakeMemoryStore(bytes), OLESTR("/way.mkv"));
  FilterPath path(file.Root());
  BlockWalk walk(file.Root());
  std::string way;
  for (WalkStep step = walk.Next(); step != WalkStep::kEnd; step = walk.Next()) {
    if (step != WalkStep::kElement) continue;
    const bool isFollowed = path.Arrive(walk.Element(), walk.IsWithinPrevious());
    if (walk.Element().id.value != ids::kCluster) continue;
    if (!path.IsKnown()) {
      way += '?';
    } else if (isFollowed) {
      way += 'f';
    } else {
      way += "bwo"[static_cast<std::size_t>(path.HiddenBy())];
    }
  }
  return way;
}

Raw KeyCluster(std::uint64_t time) {
  return test::Cluster(time, {test::SimpleBlock(1, 0, test::kKey, test::Ramp(20))});
}
Raw Endless(std::uint64_t time) {
  return test::UnknownSize(0x1F43B675, {test::UInt(0xE7, time), test::SimpleBlock(1, 0, test::kKey, test::Ramp(20))});
}

TEST(FilterPath, FollowsClustersOneBehindTheOther) {
  EXPECT_EQ(WayThrough(test::MkvFile({test::Info(), KeyCluster(0), test::Void(9), KeyCluster(40)})), "ff");
}

TEST(FilterPath, BeginsWhereTheSeekIndexSendsIt) {
  const Raw file = test::MkvFile(
      {[](const test::Positions& at) { return test::SeekHead({test::SeekEntry(0x1F43B675, at["second"])}); },
       Part("first", KeyCluster(0)), Part("second", KeyCluster(40)), KeyCluster(80)});
  EXPECT_EQ(WayThrough(file), "bff");
}

// Behind an element that claims more than the file has, only the seek index leads to Clusters: to those that it names
// rightly, and to what stands behind them.
TEST(FilterPath, LeavesAnElementThatIsTooLongByTheSeekIndex) {
  const auto wayTo = [](const char* named) {
    return WayThrough(test::MkvFile(
        {[named](const test::Positions& at) {
           return test::SeekHead({test::SeekEntry(0x1549A966, at["first"]), test::SeekEntry(0x1F43B675, at[named])});
         },
         Part("void", test::EbmlWithSize(0xEC, 1 << 20, test::Ramp(5), 4)), Part("first", KeyCluster(0)),
         Part("second", KeyCluster(40)), KeyCluster(80)}));
  };
  EXPECT_EQ(wayTo("first"), "fff");
  EXPECT_EQ(wayTo("second"), "ff");
  EXPECT_EQ(wayTo("void"), "");
}

// What the index of the last Segment names is met there, once; the filter goes there by the index, too.
TEST(FilterPath, IsNotLedOutOfItsSegmentByTheSeekIndex) {
  const auto segmentWith = [](std::uint64_t sizeOfVoid) {
    return test::MkvFile(
        {[](const test::Positions& at) { return test::SeekHead({test::SeekEntry(0x1F43B675, at["cluster"])}); },
         Part("void", test::EbmlWithSize(0xEC, sizeOfVoid, test::Ramp(5), 4)), Part("cluster", KeyCluster(0))});
  };
  EXPECT_EQ(WayThrough(test::Join({segmentWith(1 << 20), segmentWith(5)})), "f");
}

TEST(FilterPath, StaysInAClusterOfUnknownSize) {
  EXPECT_EQ(WayThrough(test::MkvFile({KeyCluster(0), Endless(40), KeyCluster(80), KeyCluster(120)})), "ffww");
}

TEST(FilterPath, KeepsToTheFirstSegment) {
  const Raw file = test::Join({test::MkvFile({KeyCluster(0)}), test::Segment({KeyCluster(0), KeyCluster(40)})});
  EXPECT_EQ(WayThrough(file), "foo");
}

TEST(FilterPath, IsNotKnownWhereTheFilterReadsWhatTheWalkDoesNot) {
  // The Cluster that the index names lies in a Void, which the walk passes over.
  const Raw hidden = KeyCluster(0);
  const Raw file = test::MkvFile(
      {[](const test::Positions& at) { return test::SeekHead({test::SeekEntry(0x1F43B675, at["void"] + 2)}); },
       Part("void", test::Bin(0xEC, hidden)), KeyCluster(40)});
  EXPECT_EQ(WayThrough(file), "?");
}

TEST(FilterPath, WithoutAClusterThereIsNoWay) { EXPECT_EQ(WayThrough(test::MkvFile({test::Info()})), ""); }

}  // namespace
}  // namespace vantor::tools
