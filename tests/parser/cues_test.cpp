#include "parser/cues.h"

#include <gtest/gtest.h>

#include "fixture.h"

namespace vantor::test {
namespace {

MkvCueList ReadCues(const Raw& cues) {
  Source source(cues);
  MkvCueList list;
  EXPECT_EQ(ReadCues(source.First(), list), S_OK);
  return list;
}

TEST(Cues, EveryChildGoesToItsField) {
  const MkvCueList list = ReadCues(Cues(
      {Master(0xBB, {UInt(0xB3, 1500),
                     Master(0xB7, {UInt(0xF7, 1), UInt(0xF1, 200), UInt(0x5378, 3), UInt(0xEA, 4),
                                   Master(0xDB, {UInt(0x96, 5), UInt(0x97, 6), UInt(0x535F, 7), UInt(0xEB, 8)})})})}));
  ASSERT_EQ(list.size(), 1u);
  EXPECT_EQ(list[0].CueTime.value, 1500u);
  ASSERT_EQ(list[0].trackPositions.size(), 1u);
  const MkvCueTrackPosition& position = list[0].trackPositions[0];
  EXPECT_EQ(position.CueTrack.value, 1u);
  EXPECT_EQ(position.CueClusterPosition.value, 200u);
  EXPECT_EQ(position.CueBlockNumber.value, 3u);
  EXPECT_EQ(position.CueCodecState.value, 4u);
  ASSERT_EQ(position.references.size(), 1u);
  EXPECT_EQ(position.references[0].CueRefTime.value, 5u);
  EXPECT_EQ(position.references[0].CueRefCluster.value, 6u);
  EXPECT_EQ(position.references[0].CueRefNumber.value, 7u);
  EXPECT_EQ(position.references[0].CueRefCodecState.value, 8u);
}

TEST(Cues, PointsAndPositionsKeepFileOrder) {
  const MkvCueList list = ReadCues(Cues({
      Master(0xBB, {UInt(0xB3, 9), Master(0xB7, {UInt(0xF7, 1), UInt(0xF1, 10)}),
                    Master(0xB7, {UInt(0xF7, 2), UInt(0xF1, 20)})}),
      Void(5),
      CuePoint(4, 1, 30),
  }));
  ASSERT_EQ(list.size(), 2u);
  EXPECT_EQ(list[0].CueTime.value, 9u);
  ASSERT_EQ(list[0].trackPositions.size(), 2u);
  EXPECT_EQ(list[0].trackPositions[0].CueTrack.value, 1u);
  EXPECT_EQ(list[0].trackPositions[1].CueTrack.value, 2u);
  EXPECT_EQ(list[1].CueTime.value, 4u);
}

TEST(Cues, ListHoldsNoMoreMemoryThanItsPointsTake) {
  const MkvCueList list = ReadCues(
      Cues({CuePoint(1, 1, 10), CuePoint(2, 1, 20), CuePoint(3, 1, 30), CuePoint(4, 1, 40), CuePoint(5, 1, 50)}));
  EXPECT_EQ(list.size(), 5u);
  EXPECT_EQ(list.capacity(), 5u);
}

TEST(Cues, EmptyPointIsKeptWithDefaults) {
  const MkvCueList list = ReadCues(Cues({Master(0xBB, {}), CuePoint(4, 1, 30)}));
  ASSERT_EQ(list.size(), 2u);
  EXPECT_FALSE(list[0].CueTime.present);
  EXPECT_TRUE(list[0].trackPositions.empty());
}

TEST(Cues, ChildWhosePayloadCannotBeReadKeepsItsDefaultAndTheWalkGoesOn) {
  const Raw cues = Cues({CuePoint(1, 2, 3), CuePoint(4, 5, 6)});
  MemoryReader reader(cues);
  PlainFile file(&reader);
  const MkvElement element = MkvElement::At(file, nullptr, 0);
  // Identifier and size of the first point and of its CueTime take two reads each; the fifth is the payload.
  reader.FailRead(5, E_ABORT);
  MkvCueList list;
  EXPECT_EQ(ReadCues(element, list), S_OK);
  ASSERT_EQ(list.size(), 2u);
  EXPECT_FALSE(list[0].CueTime.present);
  EXPECT_EQ(list[0].CueTime.value, 0u);
  EXPECT_EQ(list[0].trackPositions.size(), 1u);
  EXPECT_EQ(list[1].CueTime.value, 4u);
}

TEST(Cues, TimeStandsForTicksOfTheTimecodeScale) {
  const Opened file(MkvFile({Info(1000000), Cues({CuePoint(1500, 1, 0)})}));
  const MkvSegment& segment = file.root.segment;
  EXPECT_EQ(segment.TicksToTime(static_cast<std::int64_t>(segment.cues[0][0].CueTime.value)), 15'000'000);
}

TEST(Cues, SmallestUsefulPointsAreAllKept) {
  const Raw point = Master(0xBB, {UInt(0xB3, 1), Master(0xB7, {UInt(0xF7, 1), UInt(0xF1, 9)})});
  EXPECT_EQ(ReadCues(Cues(std::vector<Raw>(20000, point))).size(), 20000u);
  const Raw manyTracks = Master(0xBB, std::vector<Raw>(2000, Master(0xB7, {UInt(0xF7, 1), UInt(0xF1, 9)})));
  EXPECT_EQ(ReadCues(Cues({manyTracks})).at(0).trackPositions.size(), 2000u);
  std::vector<Raw> children(1000, Master(0xDB, {UInt(0x96, 1)}));
  children.insert(children.begin(), {UInt(0xF7, 1), UInt(0xF1, 9)});
  const Raw manyReferences = Master(0xBB, {UInt(0xB3, 1), Master(0xB7, children)});
  const MkvCueList list = ReadCues(Cues(std::vector<Raw>(20, manyReferences)));
  ASSERT_EQ(list.size(), 20u);
  EXPECT_EQ(list.back().trackPositions.at(0).references.size(), 1000u);
}

}  // namespace
}  // namespace vantor::test
