#include "parser/file_root.h"

#include <gtest/gtest.h>

#include "fixture.h"
#include "parser/element_ids.h"

namespace vantor::test {
namespace {

HRESULT OpenResult(const Raw& bytes) { return Opened(bytes).result; }

TEST(Open, EmptySourceIsRefused) { EXPECT_EQ(OpenResult({}), E_FAIL); }

TEST(Open, FileWithoutTheEbmlIdentifierAtItsStartIsRefused) {
  EXPECT_EQ(OpenResult(Text("RIFF....AVI ")), E_FAIL);
  EXPECT_EQ(OpenResult(Join({Void(4), MkvFile({Info()})})), E_FAIL);
}

TEST(Open, FileShorterThanTheIdentifierIsRefused) { EXPECT_EQ(OpenResult({0x1A, 0x45, 0xDF}), E_FAIL); }

TEST(Open, UnreadableIdentifierIsRefusedWithEFail) {
  MemoryReader reader(MkvFile({Info()}));
  reader.FailRead(1, E_ABORT);
  CMkvFileRoot root(&reader, true);
  EXPECT_EQ(root.Open(), E_FAIL);
}

TEST(Open, DocTypesMatroskaAndWebmAreAcceptedAndNoOther) {
  EXPECT_EQ(OpenResult(EbmlHeader("matroska")), S_OK);
  EXPECT_EQ(OpenResult(EbmlHeader("webm")), S_OK);
  for (const char* docType : {"Matroska", "matroskA", "WEBM", "matrosk", "matroska2", "web", "webm ", "", "avi"}) {
    EXPECT_EQ(OpenResult(EbmlHeader(docType)), E_FAIL) << docType;
  }
}

TEST(Open, DocTypeEndsAtItsFirstZeroByte) {
  EXPECT_EQ(OpenResult(EbmlHeader(std::string_view("webm\0", 5))), S_OK);
  EXPECT_EQ(OpenResult(EbmlHeader(std::string_view("webm\0x", 6))), S_OK);
  EXPECT_EQ(OpenResult(EbmlHeader(std::string_view("\0webm", 5))), E_FAIL);
}

TEST(Open, HeaderWithoutDocTypeIsRefused) {
  EXPECT_EQ(OpenResult(Master(ids::kEbmlHeader, {UInt(0x4286, 1)})), E_FAIL);
}

TEST(Open, DocTypeReadVersionUpToTwoIsAccepted) {
  for (const std::uint64_t version : {0, 1, 2}) EXPECT_EQ(OpenResult(EbmlHeader("matroska", version)), S_OK) << version;
  for (const std::uint64_t version : {3, 4, 256}) {
    EXPECT_EQ(OpenResult(EbmlHeader("matroska", version)), E_FAIL) << version;
  }
  EXPECT_EQ(OpenResult(Master(ids::kEbmlHeader, {Str(0x4282, "webm")})), S_OK) << "no version is version 0";
}

TEST(Open, EveryEbmlHeaderOfTheFileIsChecked) {
  EXPECT_EQ(OpenResult(Join({EbmlHeader(), Segment({}), EbmlHeader("webm"), Segment({})})), S_OK);
  EXPECT_EQ(OpenResult(Join({EbmlHeader(), Segment({}), EbmlHeader("avi")})), E_FAIL);
}

TEST(Open, HeaderFieldsAreKept) {
  const Opened file(EbmlHeader("webm", 2));
  const MkvEbmlHeader& header = file.root.ebmlHeader;
  EXPECT_EQ(header.EBMLVersion.value, 1u);
  EXPECT_EQ(header.EBMLReadVersion.value, 1u);
  EXPECT_EQ(header.EBMLMaxIDLength.value, 4u);
  EXPECT_EQ(header.EBMLMaxSizeLength.value, 8u);
  EXPECT_EQ(header.DocType, "webm");
  EXPECT_EQ(header.DocTypeVersion.value, 4u);
  EXPECT_EQ(header.DocTypeReadVersion.value, 2u);
}

TEST(Open, FileWithoutASegmentOpensWithEmptyRecords) {
  const Opened file(Join({EbmlHeader(), Void(100)}));
  EXPECT_EQ(file.result, S_OK);
  EXPECT_EQ(file.root.startTime, 0);
  EXPECT_EQ(file.root.segment.dataStart, 0u);
  EXPECT_TRUE(file.root.segment.tracks.empty());
}

TEST(Open, SegmentOfSizeZeroOpensWithEmptyRecords) {
  const Opened file(Join({EbmlHeader(), Ebml(ids::kSegment, {}), Info(5)}));
  EXPECT_EQ(file.result, S_OK);
  EXPECT_EQ(file.root.segment.info.TimecodeScale.value, 1000000u);
  EXPECT_EQ(file.root.segment.size, 0u);
}

TEST(Open, MissingInfoTracksAndCuesLeaveDefaults) {
  const Opened file(MkvFile({Cluster(3, {})}));
  EXPECT_EQ(file.result, S_OK);
  EXPECT_EQ(file.root.segment.info.TimecodeScale.value, 1000000u);
  EXPECT_TRUE(file.root.segment.info.TimecodeScale.present);
  EXPECT_FALSE(file.root.segment.info.Duration.present);
  EXPECT_TRUE(file.root.segment.tracks.empty());
  EXPECT_TRUE(file.root.segment.cues.empty());
  EXPECT_EQ(file.root.startTime, 30000);
}

TEST(Open, UnreadableEbmlHeaderNeverCountsAsAHeader) {
  // The identifier is there and the size is not: nothing is walked, so nothing is found wrong.
  const Opened file({0x1A, 0x45, 0xDF, 0xA3});
  EXPECT_EQ(file.result, S_OK);
  EXPECT_TRUE(file.root.segment.tracks.empty());
}

// ---- Start time ----

TEST(StartTime, IsTheFirstClustersTimecodeInHundredNanoseconds) {
  EXPECT_EQ(Opened(MkvFile({Info(1000000), Cluster(2000, {})})).root.startTime, 20'000'000);
  EXPECT_EQ(Opened(MkvFile({Info(100000), Cluster(3, {}), Cluster(9, {})})).root.startTime, 3000);
}

TEST(StartTime, IsTruncatedTowardZero) { EXPECT_EQ(Opened(MkvFile({Info(99), Cluster(5, {})})).root.startTime, 4); }

TEST(StartTime, WrapsInSixtyFourBits) {
  EXPECT_EQ(Opened(MkvFile({Info(3), Cluster(0x7FFFFFFFFFFFFFFF, {})})).root.startTime, 0x7FFFFFFFFFFFFFFD / 100);
  EXPECT_EQ(Opened(MkvFile({Info(1), Cluster(0xFFFFFFFFFFFFFF00, {})})).root.startTime, -2);
}

TEST(StartTime, IsZeroWithoutClusterOrTimecode) {
  EXPECT_EQ(Opened(MkvFile({Info()})).root.startTime, 0);
  EXPECT_EQ(Opened(MkvFile({Info(), Master(ids::kCluster, {SimpleBlock(1, 0, kKey, {1})})})).root.startTime, 0);
}

TEST(StartTime, FirstClusterIsTakenFromTheSeekIndex) {
  const Opened file(MkvFile({
      [](const Positions& at) { return SeekHead({SeekEntry(ids::kCluster, at["second"])}); },
      Cluster(1, {}),
      {"second", Cluster(7, {})},
  }));
  EXPECT_EQ(file.root.startTime, 70000);
}

TEST(StartTime, WrongSeekEntryForTheClusterGivesZero) {
  EXPECT_EQ(Opened(MkvFile({SeekHead({SeekEntry(ids::kCluster, 0)}), Cluster(7, {})})).root.startTime, 0);
}

// ---- Several Segments ----

TEST(Open, LaterSegmentsAreReadWhileNoneHasGivenAUid) {
  const Opened file(Join({EbmlHeader(), Segment({Info(5), Tracks({Track(1, 1, "A")})}),
                          Segment({Info(7, -1, {Bin(0x73A4, Ramp(16))}), Tracks({Track(2, 1, "B")})}),
                          Segment({Info(9), Tracks({Track(3, 1, "C")})})}));
  EXPECT_EQ(file.root.segment.info.TimecodeScale.value, 7u);
  EXPECT_EQ(file.root.segment.info.SegmentUID, Ramp(16));
  ASSERT_EQ(file.root.segment.tracks.size(), 2u);
  EXPECT_EQ(file.root.segment.tracks[1][0]->TrackNumber.value, 2u);
}

TEST(Open, StartTimeComesFromTheFirstSegment) {
  const Opened file(Join({EbmlHeader(), Segment({Cluster(4, {})}), Segment({Cluster(9, {})})}));
  EXPECT_EQ(file.root.startTime, 40000);
}

TEST(Open, SegmentsBeyondTheLimitArePassedOver) {
  std::vector<Raw> parts{EbmlHeader()};
  for (int i = 0; i < CMkvFileRoot::kMaxSegments + 5; ++i) parts.push_back(Segment({Tracks({})}));
  EXPECT_EQ(Opened(Join(parts)).root.segment.tracks.size(), static_cast<std::size_t>(CMkvFileRoot::kMaxSegments));
}

}  // namespace
}  // namespace vantor::test
