#include "parser/segment_discovery.h"

#include <gtest/gtest.h>

#include "fixture.h"
#include "parser/element_ids.h"

namespace vantor::test {
namespace {

Raw ChaptersOf(const std::vector<Raw>& editions) { return Master(ids::kChapters, editions); }
Raw OneChapter() { return ChaptersOf({Master(0x45B9, {Master(0xB6, {UInt(0x73C4, 5)})})}); }
Raw OneAttachment() { return Attachments({Attachment("a.ttf", "font/ttf", Fill(4))}); }
Raw OneTrack(std::uint64_t number = 1) { return Tracks({Track(number, 1, "V_VP8")}); }
Raw OneCue(std::uint64_t time) { return Cues({CuePoint(time, 1, 0)}); }

// A seek head with an entry for each named part.
Part Index(const std::vector<std::pair<std::uint32_t, std::string>>& targets) {
  return {"index", [targets](const Positions& at) {
            std::vector<Raw> entries;
            entries.reserve(targets.size());
            for (const auto& [id, name] : targets) entries.push_back(SeekEntry(id, at[name]));
            return SeekHead(entries);
          }};
}

const MkvSegment& Records(const Opened& file) { return file.root.segment; }

TEST(SegmentPass, KeepsWhereTheSegmentsDataLies) {
  const Opened file(MkvFile({Void(50)}));
  EXPECT_EQ(Records(file).dataStart, EbmlHeader().size() + 12);
  EXPECT_EQ(Records(file).size, 50u);
}

TEST(SegmentPass, SegmentOfUnknownSizeReachesTheEndOfTheSource) {
  const Opened file(Join({EbmlHeader(), UnknownSizeSegment({Info(), OneTrack(), Cluster(5, {}), Void(10)})}));
  EXPECT_EQ(Records(file).size, file.root.length - Records(file).dataStart);
  EXPECT_EQ(Records(file).tracks.size(), 1u);
  EXPECT_EQ(file.root.startTime, 50000);
}

TEST(SegmentPass, UnknownSizeClusterHidesWhatFollowsItFromTheLinearPass) {
  const Raw cluster = UnknownSize(ids::kCluster, {UInt(0xE7, 1)}, 8);
  const Opened hidden(MkvFile({Info(), cluster, OneTrack(), OneCue(1)}));
  EXPECT_TRUE(Records(hidden).tracks.empty());
  EXPECT_TRUE(Records(hidden).cues.empty());
  const Opened indexed(MkvFile({Index({{ids::kCues, "cues"}}), Info(), OneTrack(), cluster, {"cues", OneCue(1)}}));
  EXPECT_EQ(Records(indexed).cues.size(), 1u);
}

TEST(SegmentPass, InfoIsHeldFieldByField) {
  const Opened file(MkvFile({Master(
      ids::kInfo, {Bin(0x73A4, Ramp(16)), Str(0x7384, "this.mkv"), Bin(0x3CB923, Fill(16, 1)), Str(0x3C83AB, "p.mkv"),
                   Bin(0x3EB923, Fill(16, 2)), Str(0x3E83BB, "n.mkv"), UInt(0x2AD7B1, 100000), Float4(0x4489, 1.5F),
                   SInt(0x4461, -7), Str(0x7BA9, "T\xC3\xA4st"), Str(0x4D80, "mux"), Str(0x5741, "write")})}));
  const MkvSegmentInfo& info = Records(file).info;
  EXPECT_EQ(info.SegmentUID, Ramp(16));
  EXPECT_EQ(info.SegmentFilename, OLESTR("this.mkv"));
  EXPECT_EQ(info.PrevUID, Fill(16, 1));
  EXPECT_EQ(info.PrevFilename, OLESTR("p.mkv"));
  EXPECT_EQ(info.NextUID, Fill(16, 2));
  EXPECT_EQ(info.NextFilename, OLESTR("n.mkv"));
  EXPECT_EQ(info.TimecodeScale.value, 100000u);
  EXPECT_EQ(info.Duration.value, 1.5);
  EXPECT_TRUE(info.Duration.present);
  EXPECT_EQ(info.DateUTC.value, -7);
  EXPECT_EQ(info.Title, OLESTR("T\u00E4st"));
  EXPECT_EQ(info.MuxingApp, OLESTR("mux"));
  EXPECT_EQ(info.WritingApp, OLESTR("write"));
}

TEST(SegmentPass, LaterInfoOverwritesFieldByField) {
  const Opened file(MkvFile({Info(5, 10.0, {Str(0x7BA9, "one")}), Info(7, -1, {Str(0x4D80, "two")})}));
  const MkvSegmentInfo& info = Records(file).info;
  EXPECT_EQ(info.TimecodeScale.value, 7u);
  EXPECT_EQ(info.Duration.value, 10.0);
  EXPECT_EQ(info.Title, OLESTR("one"));
  EXPECT_EQ(info.MuxingApp, OLESTR("two"));
}

TEST(SegmentPass, FieldWhosePayloadCannotBeReadKeepsItsDefault) {
  const Opened file(
      Join({EbmlHeader(), UnknownSizeSegment({UnknownSize(ids::kInfo, {Str(0x7BA9, "t"), Ebml(0x4489, Fill(3)),
                                                                       EbmlWithSize(0x2AD7B1, 3, Raw{0x0F})})})}));
  EXPECT_EQ(Records(file).info.Title, OLESTR("t"));
  EXPECT_FALSE(Records(file).info.Duration.present);
  EXPECT_EQ(Records(file).info.TimecodeScale.value, 1000000u);
  EXPECT_TRUE(Records(file).info.TimecodeScale.present);
}

TEST(SegmentPass, WalkGoesOnBehindAPayloadThatCannotBeRead) {
  MemoryReader reader(MkvFile({Info(5, 2.0, {Str(0x7BA9, "t")})}));
  const std::uint64_t payload = EbmlHeader().size() + 12 + 5 + 4;  // of TimecodeScale
  bool wasHit = false;
  CMkvFileRoot root(&reader, true);
  reader.OnRead([&](std::int64_t position, std::int32_t) {
    if (static_cast<std::uint64_t>(position) != payload || wasHit) return;
    wasHit = true;
    reader.FailRead(1, E_ABORT);
  });
  EXPECT_EQ(root.Open(), S_OK);
  EXPECT_TRUE(wasHit);
  EXPECT_EQ(root.segment.info.TimecodeScale.value, 1000000u);
  EXPECT_EQ(root.segment.info.Duration.value, 2.0);
  EXPECT_EQ(root.segment.info.Title, OLESTR("t"));
}

TEST(SegmentPass, StopsAtTheThirdOfSeekHeadInfoAndTracksWithoutWalkingClusters) {
  const Opened file(MkvFile({SeekHead({}), Info(), OneTrack(), Cluster(1, {}), OneCue(1), OneTrack(2)}));
  EXPECT_EQ(Records(file).tracks.size(), 1u);
  EXPECT_TRUE(Records(file).cues.empty());
}

TEST(SegmentPass, CountsOccurrencesNotKinds) {
  const Opened file(MkvFile({SeekHead({}), SeekHead({}), Info(), OneTrack()}));
  EXPECT_EQ(Records(file).seekHeads.size(), 2u);
  EXPECT_TRUE(Records(file).tracks.empty());
}

TEST(SegmentPass, CuesInTheLinearPassDoNotCount) {
  const Opened file(MkvFile({OneCue(1), OneCue(2), Info(), OneCue(3), SeekHead({}), OneTrack(), OneCue(4)}));
  EXPECT_EQ(Records(file).cues.size(), 3u);
  EXPECT_EQ(Records(file).tracks.size(), 1u);
}

TEST(SegmentPass, CuesBehindTheStopComeFromTheSeekIndex) {
  const Opened file(MkvFile({Index({{ids::kCues, "cues"}, {ids::kChapters, "chapters"}, {ids::kAttachments, "files"}}),
                             Info(),
                             OneTrack(),
                             Cluster(0, {}),
                             {"files", OneAttachment()},
                             {"chapters", OneChapter()},
                             {"cues", OneCue(9)}}));
  ASSERT_EQ(Records(file).cues.size(), 1u);
  EXPECT_EQ(Records(file).cues[0][0].CueTime.value, 9u);
  ASSERT_EQ(Records(file).chapters.size(), 1u);
  ASSERT_EQ(Records(file).attachments.size(), 1u);
  EXPECT_EQ(Records(file).attachments[0][0].FileName, OLESTR("a.ttf"));
}

TEST(SegmentPass, FurtherSiblingCuesAreReadInFileOrder) {
  const Opened file(MkvFile(
      {Index({{ids::kCues, "cues"}}), Info(), OneTrack(), {"cues", OneCue(1)}, Cluster(0, {}), OneCue(2), Void(3)}));
  ASSERT_EQ(Records(file).cues.size(), 2u);
  EXPECT_EQ(Records(file).cues[0][0].CueTime.value, 1u);
  EXPECT_EQ(Records(file).cues[1][0].CueTime.value, 2u);
}

TEST(SegmentPass, WithTwoCountedChaptersAndAttachmentsAreNotReadEvenThroughTheIndex) {
  const Opened plain(MkvFile({Info(), OneTrack(), OneChapter(), OneAttachment()}));
  EXPECT_TRUE(Records(plain).chapters.empty());
  EXPECT_TRUE(Records(plain).attachments.empty());
  const Opened indexed(
      MkvFile({Index({{ids::kChapters, "chapters"}, {ids::kAttachments, "files"}, {ids::kCues, "cues"}}),
               OneTrack(),
               UnknownSize(ids::kCluster, {}, 8),
               {"chapters", OneChapter()},
               {"files", OneAttachment()},
               {"cues", OneCue(1)}}));
  EXPECT_TRUE(Records(indexed).chapters.empty());
  EXPECT_TRUE(Records(indexed).attachments.empty());
  EXPECT_TRUE(Records(indexed).cues.empty());
}

TEST(SegmentPass, WithoutSeekingNothingIsReadThroughTheIndex) {
  const Raw bytes = MkvFile({Index({{ids::kSeekHead, "more"}, {ids::kCues, "cues"}}),
                             Info(),
                             OneTrack(),
                             {"more", SeekHead({SeekEntry(ids::kCues, 0)})},
                             {"cues", OneCue(1)}});
  const Opened seeking(bytes, true);
  EXPECT_EQ(Records(seeking).seekHeads.size(), 2u);
  EXPECT_EQ(Records(seeking).cues.size(), 1u);
  const Opened linear(bytes, false);
  EXPECT_EQ(linear.result, S_OK);
  EXPECT_EQ(Records(linear).seekHeads.size(), 1u);
  EXPECT_TRUE(Records(linear).cues.empty());
}

TEST(SegmentPass, CuesReadByTheLinearPassAreNotReadAgain) {
  const Opened file(MkvFile({Index({{ids::kCues, "second"}}), OneCue(1), Info(), OneTrack(), {"second", OneCue(2)}}));
  ASSERT_EQ(Records(file).cues.size(), 1u);
  EXPECT_EQ(Records(file).cues[0][0].CueTime.value, 1u);
}

TEST(SegmentPass, EmptyCuesElementCountsAsRead) {
  const Opened file(MkvFile({Index({{ids::kCues, "second"}}), Cues({}), Info(), OneTrack(), {"second", OneCue(2)}}));
  ASSERT_EQ(Records(file).cues.size(), 1u);
  EXPECT_TRUE(Records(file).cues[0].empty());
}

TEST(SegmentPass, IndexEntryThatNamesSomethingElseIsNotFollowed) {
  const Opened file(MkvFile({Index({{ids::kCues, "tags"}, {ids::kCues, "cues"}}),
                             Info(),
                             OneTrack(),
                             {"tags", Ebml(ids::kTags, {})},
                             {"cues", OneCue(1)}}));
  EXPECT_TRUE(Records(file).cues.empty());
}

TEST(SegmentPass, IndexEntryBeyondTheFileIsNotFollowed) {
  const Opened file(MkvFile({SeekHead({SeekEntry(ids::kCues, 5000), SeekEntry(ids::kChapters, ~std::uint64_t{0}),
                                       SeekEntry(ids::kSeekHead, ~std::uint64_t{0} - 3)}),
                             Info(), OneTrack(), OneCue(1)}));
  EXPECT_EQ(file.result, S_OK);
  EXPECT_TRUE(Records(file).cues.empty());
}

TEST(SegmentPass, GarbageBetweenTopLevelElementsIsSkipped) {
  const Opened file(MkvFile({Info(5), Fill(30, 0x00), OneTrack(), Fill(5, 0x01), OneCue(1)}));
  EXPECT_EQ(Records(file).info.TimecodeScale.value, 5u);
  EXPECT_EQ(Records(file).tracks.size(), 1u);
  EXPECT_EQ(Records(file).cues.size(), 1u);
}

TEST(SegmentPass, GarbageAtTheSegmentsStartIsSkipped) {
  const Opened file(MkvFile({Fill(30, 0x00), Info(5), OneTrack()}));
  EXPECT_EQ(Records(file).info.TimecodeScale.value, 5u);
  EXPECT_EQ(Records(file).tracks.size(), 1u);
}

TEST(SegmentPass, DamageInsideAnElementKeepsWhatCameBeforeIt) {
  const Opened file(MkvFile({Master(ids::kInfo, {UInt(0x2AD7B1, 5), Raw{0x00}, Str(0x7BA9, "lost")}), OneTrack()}));
  EXPECT_EQ(Records(file).info.TimecodeScale.value, 5u);
  EXPECT_TRUE(Records(file).info.Title.empty());
  EXPECT_EQ(Records(file).tracks.size(), 1u);
}

// ---- Chained SeekHeads ----

TEST(ChainedSeekHeads, AreFollowedForward) {
  const Opened file(
      MkvFile({Index({{ids::kSeekHead, "second"}}),
               Info(),
               OneTrack(),
               {"second", [](const Positions& at) { return SeekHead({SeekEntry(ids::kSeekHead, at["third"])}); }},
               {"third", [](const Positions& at) { return SeekHead({SeekEntry(ids::kCues, at["cues"])}); }},
               {"cues", OneCue(4)}}));
  EXPECT_EQ(Records(file).seekHeads.size(), 3u);
  EXPECT_EQ(Records(file).cues.size(), 1u);
}

TEST(ChainedSeekHeads, AreFollowedEvenWhenTooFewElementsWereCounted) {
  const Opened file(
      MkvFile({Index({{ids::kSeekHead, "second"}}), UnknownSize(ids::kCluster, {}, 8), {"second", SeekHead({})}}));
  EXPECT_EQ(Records(file).seekHeads.size(), 2u);
}

TEST(ChainedSeekHeads, OneThatNamesItselfIsReadOnce) {
  const Opened file(
      MkvFile({Info(), OneTrack(), Index({{ids::kSeekHead, "self"}}), {"self", [](const Positions& at) {
                                                                         return SeekHead(
                                                                             {SeekEntry(ids::kSeekHead, at["self"])});
                                                                       }}}));
  EXPECT_EQ(Records(file).seekHeads.size(), 2u);
}

TEST(ChainedSeekHeads, OneThatNamesAnEarlierOneIsNotFollowedBack) {
  const Opened file(MkvFile(
      {Index({{ids::kSeekHead, "second"}}), Info(), OneTrack(), {"second", [](const Positions& at) {
                                                                   return SeekHead(
                                                                       {SeekEntry(ids::kSeekHead, at["index"])});
                                                                 }}}));
  EXPECT_EQ(Records(file).seekHeads.size(), 2u);
}

TEST(ChainedSeekHeads, TheFirstEntryAheadIsTakenAndOneThatIsNoSeekHeadEndsTheChain) {
  const Opened file(MkvFile({Index({{ids::kSeekHead, "index"}, {ids::kSeekHead, "tags"}, {ids::kSeekHead, "second"}}),
                             Info(),
                             OneTrack(),
                             {"tags", Ebml(ids::kTags, {})},
                             {"second", SeekHead({})}}));
  EXPECT_EQ(Records(file).seekHeads.size(), 1u);
}

TEST(ChainedSeekHeads, EntriesBehindTheOneFollowedAreNotReturnedTo) {
  const Opened file(MkvFile({Index({{ids::kSeekHead, "third"}, {ids::kSeekHead, "second"}}),
                             Info(),
                             OneTrack(),
                             {"second", SeekHead({SeekEntry(ids::kTags, 2)})},
                             {"third", SeekHead({SeekEntry(ids::kTags, 3)})}}));
  ASSERT_EQ(Records(file).seekHeads.size(), 2u);
  EXPECT_EQ(Records(file).seekHeads[1][0].SeekPosition.value, 3u);
}

TEST(SeekEntries, IdentifierAndPositionAreHeld) {
  const Opened file(MkvFile({SeekHead({SeekEntry(ids::kCues, 77), Void(4), Master(0x4DBB, {}),
                                       Master(0x4DBB, {Bin(0x53AB, {0xEC}), UInt(0x53AC, 3)})})}));
  ASSERT_EQ(Records(file).seekHeads.size(), 1u);
  const auto& entries = Records(file).seekHeads[0];
  ASSERT_EQ(entries.size(), 3u);
  EXPECT_EQ(entries[0].SeekID.value, ids::kCues);
  EXPECT_EQ(entries[0].SeekPosition.value, 77u);
  EXPECT_FALSE(entries[1].SeekID.present);
  EXPECT_FALSE(entries[1].SeekPosition.present);
  EXPECT_EQ(entries[2].SeekID.value, 0xECu);
  EXPECT_EQ(entries[2].SeekPosition.value, 3u);
}

TEST(SegmentRecord, TicksBecomeHundredNanosecondsTruncatedTowardZero) {
  MkvSegment segment;
  EXPECT_EQ(segment.TicksToTime(1500), 15'000'000);
  segment.info.TimecodeScale.value = 33;
  EXPECT_EQ(segment.TicksToTime(10), 3);
  EXPECT_EQ(segment.TicksToTime(-10), -3);
}

TEST(SegmentRecord, TicksWrapInSixtyFourBits) {
  MkvSegment segment;
  segment.info.TimecodeScale.value = ~std::uint64_t{0};
  EXPECT_EQ(segment.TicksToTime(INT64_MIN), INT64_MIN / 100);
  EXPECT_EQ(segment.TicksToTime(500), -5);
}

TEST(SegmentRecord, PassingNoElementIsEPointer) {
  MkvTrackList tracks;
  MkvCueList cues;
  MkvAttachmentList files;
  MkvChapterEditions editions;
  EXPECT_EQ(ReadTracks(MkvElement(), tracks), E_POINTER);
  EXPECT_EQ(ReadCues(MkvElement(), cues), E_POINTER);
  EXPECT_EQ(ReadAttachments(MkvElement(), files), E_POINTER);
  EXPECT_EQ(ReadChapters(MkvElement(), editions), E_POINTER);
}

TEST(SegmentInfo, StatesItsDurationInUnitsOfTime) {
  MkvSegmentInfo info;
  EXPECT_EQ(info.StatedDuration(), 0);
  info.TimecodeScale = CMkvUInt(333333);
  info.Duration = CMkvFloat(1000.5);
  EXPECT_EQ(info.StatedDuration(), 3334996);
  info.Duration = CMkvFloat(1e300);
  EXPECT_EQ(info.StatedDuration(), INT64_MIN);
}

}  // namespace
}  // namespace vantor::test
