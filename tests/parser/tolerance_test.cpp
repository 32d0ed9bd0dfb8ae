#include "parser/tolerance_notes.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <memory>
#include <new>
#include <ostream>
#include <set>
#include <string>
#include <vector>

#include "fixture.h"
#include "parser/block.h"
#include "parser/content_encoding.h"
#include "parser/cue_synthesis.h"
#include "parser/element_ids.h"
#include "support/allocation_monitor.h"

namespace vantor {

void PrintTo(const Tolerance& note, std::ostream* out) {
  *out << ToleratedText(note.kind) << " at " << note.position << ", " << note.bytes << " bytes";
}

}  // namespace vantor

namespace vantor::test {
namespace {

using Notes = std::vector<Tolerance>;

// Where the bytes occur first; they must occur.
std::uint64_t Where(const Raw& bytes, const Raw& part) {
  const auto at = std::search(bytes.begin(), bytes.end(), part.begin(), part.end());
  EXPECT_NE(at, bytes.end());
  return static_cast<std::uint64_t>(at - bytes.begin());
}

Raw Repeated(std::size_t count, const Raw& element) {
  Raw all;
  for (std::size_t i = 0; i < count; ++i) all.insert(all.end(), element.begin(), element.end());
  return all;
}

// Opens the file, makes its cues up and reads every block, all by one source.
void WalkEverything(CMkvFileRoot& root) {
  if (root.Open() != S_OK) return;
  (void)SynthesiseCues(root);
  const MkvElement file = MkvElement::WholeFile(root);
  const MkvElement segment = file.FirstChild(ids::kSegment);
  for (MkvElement cluster = segment.FirstChild(ids::kCluster); cluster; cluster.MoveNextOfSameId()) {
    for (MkvElement block = FirstBlock(cluster); block; NextBlock(block)) {
      MkvBlock record;
      (void)(block.id.value == ids::kBlockGroup ? record.ReadGroup(block, true) : record.Read(block, true));
    }
  }
}

struct ToleranceCase {
  const char* name;
  Raw bytes;
  Notes notes;
  std::function<void(MemoryReader& reader)> prepare = [](MemoryReader&) {};
};

Notes NotesOf(const ToleranceCase& one) {
  MemoryReader reader(one.bytes);
  one.prepare(reader);
  CMkvFileRoot root(&reader, true);
  root.tolerated.Collect();
  WalkEverything(root);
  EXPECT_EQ(root.tolerated.Omitted(), 0U) << one.name;
  return root.tolerated.Notes();
}

// A file of a track with one more child, and a Cluster.
Raw WithTrackChild(const Raw& child) {
  return MkvFile({Info(), Tracks({Track(1, 1, "V_VP8", {child})}), Cluster(0, {})});
}

// A file of one Cluster with one block.
Raw WithBlock(const Raw& block) { return MkvFile({Info(), Cluster(0, {block})}); }

// A file with SeekHead, Info and Tracks, and an element that only the index leads to.
Raw WithSeekEntry(std::uint32_t id, const Raw& payload) {
  return MkvFile({[id](const Positions& at) { return SeekHead({SeekEntry(id, at["it"])}); },
                  Info(),
                  Tracks({}),
                  {"it", Ebml(id, payload)},
                  Cluster(0, {})});
}

std::uint64_t SegmentData() { return EbmlHeader().size() + 12; }

// The walk over elements, and the seek index.
std::vector<ToleranceCase> ElementCases() {
  std::vector<ToleranceCase> cases;
  const Raw garbage = {0x00, 0x0F, 0x16, 0x54, 0x00};
  const Raw skipped = MkvFile({Info(), garbage, Cluster(0, {})});
  cases.push_back({"garbage between siblings", skipped, {{Tolerated::kDamageSkipped, Where(skipped, garbage), 5}}});

  const Raw entry = WithTrackChild({0x00, 0x01, 0x02});
  cases.push_back({"damage in a track", entry, {{Tolerated::kUnreadableHeader, Where(entry, {0x00, 0x01, 0x02}), 3}}});

  const Raw atTheEnd = Join({MkvFile({Info(), Cluster(0, {})}), {0x00, 0x00}});
  const std::uint64_t end = atTheEnd.size() - 2;
  cases.push_back({"zeros behind the Segment", atTheEnd, {{Tolerated::kUnreadableHeader, end, 2}}});

  const Raw longer = EbmlWithSize(0x6FAB, 4, {0x2A});
  const Raw overlap = WithTrackChild(longer);
  cases.push_back({"child past its parent", overlap, {{Tolerated::kChildPastParent, Where(overlap, longer), 3}}});

  const auto elsewhere = [](const Positions& at) { return SeekHead({SeekEntry(ids::kCluster, at["info"])}); };
  const Raw misled = MkvFile({elsewhere, {"info", Info()}, Cluster(0, {})});
  cases.push_back({"index to another", misled, {{Tolerated::kMisleadingSeekEntry, Where(misled, Info()), 0}}});

  const Raw nowhere = MkvFile({SeekHead({SeekEntry(ids::kCluster, 5000)}), Info(), Cluster(0, {})});
  cases.push_back({"index past the end", nowhere, {{Tolerated::kMisleadingSeekEntry, SegmentData() + 5000, 0}}});

  const auto chained = [](const Positions& at) { return SeekHead({SeekEntry(ids::kSeekHead, at["void"])}); };
  const Raw broken = MkvFile({chained, Info(), Tracks({}), {"void", Void(77)}, Cluster(0, {})});
  cases.push_back({"chain of SeekHeads", broken, {{Tolerated::kMisleadingSeekEntry, Where(broken, Void(77)), 0}}});
  return cases;
}

std::vector<ToleranceCase> ValueCases() {
  std::vector<ToleranceCase> cases;
  const Raw odd = Bin(0x23314F, Ramp(3));
  const Raw oddFloat = WithTrackChild(odd);
  cases.push_back({"float of 3 bytes", oddFloat, {{Tolerated::kUnreadableValue, Where(oddFloat, odd), odd.size()}}});

  const Raw wide = Bin(0x6FAB, Ramp(10));
  const Raw wideInteger = WithTrackChild(wide);
  cases.push_back({"integer of 10 bytes", wideInteger, {{Tolerated::kIntegerTooLong, Where(wideInteger, wide), 2}}});

  const Raw name = EbmlWithSize(0x536E, 1'000'000, {}, 8);
  const Raw pastTheEnd = WithTrackChild(name);
  const std::uint64_t at = Where(pastTheEnd, name);
  cases.push_back(
      {"name past the end",
       pastTheEnd,
       {{Tolerated::kPayloadOutOfBounds, at, pastTheEnd.size() - at}, {Tolerated::kChildPastParent, at, 1'000'000}}});

  const Raw data = EbmlWithSize(0x465C, 1'000'000, {}, 8);
  const Raw font = WithSeekEntry(ids::kAttachments, Ebml(0x61A7, data));
  const std::uint64_t dataAt = Where(font, data);
  cases.push_back({"attached file past the end",
                   font,
                   {{Tolerated::kPayloadOutOfBounds, dataAt, font.size() - dataAt},
                    {Tolerated::kChildPastParent, dataAt, 1'000'000}}});

  const Raw latin = Bin(0x536E, {'a', 0xE4, 'b'});
  const Raw latinName = WithTrackChild(latin);
  cases.push_back({"Latin-1", latinName, {{Tolerated::kInvalidText, Where(latinName, latin), latin.size()}}});
  return cases;
}

std::vector<ToleranceCase> BlockCases() {
  std::vector<ToleranceCase> cases;
  const Raw timeless = Ebml(ids::kCluster, SimpleBlock(1, 0, kKey, Ramp(3)));
  const Raw noTime = MkvFile({Info(), timeless});
  cases.push_back({"no time", noTime, {{Tolerated::kUnusableClusterTime, Where(noTime, timeless), 0}}});

  const Raw zero = Ebml(ids::kSimpleBlock, {0x00, 0x00, 0x05, 0x80, 0x2A});
  const Raw noTrack = WithBlock(zero);
  cases.push_back({"no track", noTrack, {{Tolerated::kUnreadableBlockHeader, Where(noTrack, zero), zero.size()}}});

  const Raw laced = SimpleBlock(1, 0, kXiph, {0x01, 200, 5});
  const Raw badLace = WithBlock(laced);
  cases.push_back({"lace too large", badLace, {{Tolerated::kRejectedBlock, Where(badLace, laced), laced.size()}}});

  const Raw brief = Ebml(ids::kSimpleBlock, {0x81, 0x00});
  const Raw tooShort = WithBlock(Join({brief, Void(9)}));
  cases.push_back({"block of 2 bytes", tooShort, {{Tolerated::kRejectedBlock, Where(tooShort, brief), brief.size()}}});

  const Raw uneven = SimpleBlock(1, 0, kFixed, Join({{0x02}, Ramp(10)}));
  const Raw remainder = WithBlock(uneven);
  cases.push_back({"10 bytes for 3 frames", remainder, {{Tolerated::kLaceRemainder, Where(remainder, Ramp(10)), 1}}});

  Raw cut = WithBlock(SimpleBlock(1, 0, kKey, Ramp(20)));
  const std::uint64_t frame = Where(cut, Ramp(20));
  cut.resize(cut.size() - 5);
  cases.push_back(
      {"cut off", cut, {{Tolerated::kChildPastParent, EbmlHeader().size(), 5}, {Tolerated::kFrameCutOff, frame, 5}}});

  constexpr std::uint64_t kHuge = std::uint64_t{300} << 20;
  const Raw head = {0x81, 0x00, 0x00, 0x80};
  const Raw block = EbmlWithSize(ids::kSimpleBlock, kHuge + head.size(), head, 8);
  const Raw large = Join({EbmlHeader(), IdBytes(ids::kSegment), UnknownVint(), Info(), IdBytes(ids::kCluster),
                          UnknownVint(), UInt(ids::kTimecode, 0), block});
  const auto length = static_cast<LONGLONG>(large.size() + kHuge);
  cases.push_back(
      {"frame of 300 MiB", large, {{Tolerated::kFrameTooLarge, large.size(), kHuge}}, [length](MemoryReader& reader) {
         reader.SetLength(length);
       }});
  return cases;
}

// `count` children, of which the last `over` are too many.
ToleranceCase OverLimit(const char* name, Tolerated kind, const Raw& bytes, const Raw& child, std::size_t count,
                        std::size_t over) {
  const std::uint64_t first = Where(bytes, Repeated(count, child));
  return {name, bytes, {{kind, first + (count - over) * child.size(), over * child.size()}}};
}

std::vector<ToleranceCase> LimitCases() {
  std::vector<ToleranceCase> cases;
  const Raw end = Cluster(0, {});
  const Raw track = Ebml(0xAE, {});
  cases.push_back(OverLimit("tracks", Tolerated::kTrackOverLimit,
                            MkvFile({Ebml(ids::kTracks, Repeated(kMaxTracks + 2, track)), end}), track, kMaxTracks + 2,
                            2));
  // Large enough for the records to have room.
  const Raw seek = Ebml(0x4DBB, Void(20));
  cases.push_back(OverLimit("seek entries", Tolerated::kSeekEntryOverLimit,
                            MkvFile({Ebml(ids::kSeekHead, Repeated(kMaxSeekEntries + 3, seek)), end}), seek,
                            kMaxSeekEntries + 3, 3));
  const Raw encoding = Ebml(0x6240, {});
  cases.push_back(OverLimit("encodings", Tolerated::kEncodingOverLimit,
                            WithTrackChild(Ebml(0x6D80, Repeated(kMaxContentEncodings + 2, encoding))), encoding,
                            kMaxContentEncodings + 2, 2));
  const Raw atom = Ebml(0xB6, Void(30));
  cases.push_back(OverLimit("chapters", Tolerated::kChapterOverLimit,
                            WithSeekEntry(ids::kChapters, Ebml(0x45B9, Repeated(kMaxChapterAtoms + 2, atom))), atom,
                            kMaxChapterAtoms + 2, 2));
  const Raw file = Ebml(0x61A7, {});
  cases.push_back(OverLimit("attached files", Tolerated::kAttachedFileOverLimit,
                            WithSeekEntry(ids::kAttachments, Repeated(kMaxAttachedFiles + 2, file)), file,
                            kMaxAttachedFiles + 2, 2));
  // A record of each point's two bytes takes more than there is room for.
  constexpr std::size_t kPoints = 100000;
  const Raw point = Ebml(0xBB, {});
  const Raw cues = MkvFile({Ebml(ids::kCues, Repeated(kPoints, point)), end});
  const std::size_t room = cues.size() * CMkvFileRoot::kTimesForRecords + CMkvFileRoot::kSlackForKeeping;
  const std::size_t pointsKept = (room - sizeof(MkvCueList)) / sizeof(MkvCuePoint);
  cases.push_back(OverLimit("cue points", Tolerated::kCueOverLimit, cues, point, kPoints, kPoints - pointsKept));
  const Raw segment = Segment({SeekHead({})}, 1);
  const auto kMost = static_cast<std::size_t>(CMkvFileRoot::kMaxSegments);
  cases.push_back(OverLimit("segments", Tolerated::kSegmentPassedOver,
                            Join({EbmlHeader(), Repeated(kMost + 2, segment)}), segment, kMost + 2, 2));
  return cases;
}

// The read of a name fails.
std::vector<ToleranceCase> ReadingCases() {
  const Raw name = Str(0x536E, "a name");
  const Raw named = WithTrackChild(name);
  std::uint64_t reads = 0;
  std::uint64_t nameRead = 0;
  const std::uint64_t at = Where(named, Text("a name"));
  MemoryReader reader(named);
  reader.OnRead([&](std::int64_t position, std::int32_t) {
    ++reads;
    if (static_cast<std::uint64_t>(position) == at) nameRead = reads;
  });
  CMkvFileRoot root(&reader, true);
  EXPECT_EQ(root.Open(), S_OK);
  return {{"failing read", named, {{Tolerated::kReadFailed, at, 6}}, [nameRead](MemoryReader& failing) {
             failing.FailRead(nameRead);
           }}};
}

void ExpectNotes(const std::vector<ToleranceCase>& cases, std::set<Tolerated>& met) {
  for (const ToleranceCase& one : cases) {
    const Notes notes = NotesOf(one);
    EXPECT_EQ(notes, one.notes) << one.name;
    for (const Tolerance& note : notes) met.insert(note.kind);
  }
}

TEST(Tolerance, EveryKindIsNotedWithItsPlace) {
  std::set<Tolerated> met;
  ExpectNotes(ElementCases(), met);
  ExpectNotes(ValueCases(), met);
  ExpectNotes(BlockCases(), met);
  ExpectNotes(LimitCases(), met);
  ExpectNotes(ReadingCases(), met);
  met.insert(Tolerated::kWorkExhausted);  // by the test below
  EXPECT_EQ(met.size(), kToleratedKinds);
}

TEST(Tolerance, WorkThatIsNotAllowedIsNoted) {
  Source source(Ramp(100));
  source.file.tolerated.Collect();
  source.file.position = 10;
  source.file.allowance = 3;
  std::uint8_t bytes[4];
  EXPECT_EQ(source.file.Read(bytes, 4), E_FAIL);
  EXPECT_EQ(source.file.tolerated.Notes(), (Notes{{Tolerated::kWorkExhausted, 10, 4}}));
}

TEST(Tolerance, ReadThatAFlushLetGoTellsNothingOfTheFile) {
  Source source(MkvFile({Info()}));
  source.file.tolerated.Collect();
  source.file.flushes = std::make_shared<SourceFlushes>();
  source.file.flushes->Begin();
  source.reader.FailRead(1);
  EXPECT_FALSE(MkvElement::WholeFile(source.file).FirstChild());
  EXPECT_TRUE(source.file.wasLetGo);
  EXPECT_EQ(source.file.tolerated.Notes(), Notes());

  source.file.flushes->End();
  source.file.WatchFlushes();
  source.reader.FailRead(1);
  EXPECT_FALSE(MkvElement::WholeFile(source.file).FirstChild());
  EXPECT_EQ(source.file.tolerated.Notes(),
            (Notes{{Tolerated::kReadFailed, 0, 1}, {Tolerated::kUnreadableHeader, 0, source.file.length}}));
}

TEST(Tolerance, ReadThatFailsAsTheFlushItBeganInEndsTellsNothingOfTheFile) {
  Source source(MkvFile({Info()}));
  source.file.tolerated.Collect();
  source.file.flushes = std::make_shared<SourceFlushes>();
  source.file.flushes->Begin();
  source.file.WatchFlushes();
  source.reader.OnRead([&](std::int64_t, std::int32_t) { source.file.flushes->End(); });
  source.reader.FailRead(1);
  EXPECT_FALSE(MkvElement::WholeFile(source.file).FirstChild());
  EXPECT_TRUE(source.file.wasLetGo);
  EXPECT_EQ(source.file.tolerated.Notes(), Notes());
}

TEST(Tolerance, EveryKindHasATextOfItsOwn) {
  std::set<std::string> texts;
  for (std::size_t kind = 0; kind < kToleratedKinds; ++kind) texts.insert(ToleratedText(static_cast<Tolerated>(kind)));
  EXPECT_EQ(texts.size(), kToleratedKinds);
  EXPECT_EQ(texts.count(""), 0U);
  EXPECT_STREQ(ToleratedText(Tolerated::kDamageSkipped), "damaged header skipped");
  EXPECT_STREQ(ToleratedText(Tolerated::kSegmentPassedOver), "further Segment passed over");
}

TEST(Tolerance, WithoutMemoryForTheNotesNothingIsCollected) {
  if (!WatchesAllocations()) GTEST_SKIP();
  ToleranceList notes;
  FailAllocation(1);
  EXPECT_THROW(notes.Collect(), std::bad_alloc);
  FailAllocation(0);
  EXPECT_FALSE(notes.IsCollecting());
}

TEST(Tolerance, CollectingAnewForgetsWhatWasMet) {
  Source source(Ramp(1));
  ToleranceList& list = source.file.tolerated;
  list.Collect();
  source.file.Tolerate(Tolerated::kReadFailed, 1, 1);
  EXPECT_TRUE(list.WasMet(Tolerated::kReadFailed));
  list.Collect();
  EXPECT_TRUE(list.Notes().empty());
  for (std::size_t kind = 0; kind < kToleratedKinds; ++kind) EXPECT_FALSE(list.WasMet(static_cast<Tolerated>(kind)));
}

TEST(Tolerance, NothingIsKeptUnlessAskedFor) {
  for (const ToleranceCase& one : ElementCases()) {
    MemoryReader reader(one.bytes);
    CMkvFileRoot root(&reader, true);
    WalkEverything(root);
    EXPECT_FALSE(root.tolerated.IsCollecting());
    EXPECT_TRUE(root.tolerated.Notes().empty()) << one.name;
    EXPECT_EQ(root.tolerated.Notes().capacity(), 0U) << one.name;
    EXPECT_EQ(root.tolerated.Omitted(), 0U) << one.name;
  }
}

TEST(Tolerance, AskingForItReadsNothingMore) {
  for (const ToleranceCase& one : BlockCases()) {
    MemoryReader plain(one.bytes);
    MemoryReader noted(one.bytes);
    one.prepare(plain);
    one.prepare(noted);
    CMkvFileRoot root(&plain, true);
    CMkvFileRoot notingRoot(&noted, true);
    notingRoot.tolerated.Collect();
    WalkEverything(root);
    WalkEverything(notingRoot);
    EXPECT_EQ(noted.Reads(), plain.Reads()) << one.name;
    EXPECT_EQ(noted.BytesRead(), plain.BytesRead()) << one.name;
  }
}

TEST(Tolerance, WholeFileIsToleratedWithoutANote) {
  const Raw whole = MkvFile({
      [](const Positions& at) { return SeekHead({SeekEntry(ids::kCues, at["cues"])}); },
      Info(1000000, 80.0),
      Tracks({Track(1, 1, "V_VP8"), Track(2, 2, "A_OPUS")}),
      {"first", Cluster(0, {SimpleBlock(1, 0, kKey, Ramp(30)), SimpleBlock(2, 5, kXiph, XiphLace({Ramp(9), Ramp(8)})),
                            BlockGroup({Block(1, 20, 0, Ramp(12)), BlockDuration(20)})})},
      {"cues", [](const Positions& at) { return Cues({CuePoint(0, 1, at["first"])}); }},
  });
  EXPECT_EQ(NotesOf({"whole", whole, {}}), Notes());
  const Raw live = Join({EbmlHeader(), IdBytes(ids::kSegment), UnknownVint(), Info(), IdBytes(ids::kCluster),
                         UnknownVint(), UInt(ids::kTimecode, 0), SimpleBlock(1, 0, kKey, Ramp(5))});
  EXPECT_EQ(NotesOf({"of unknown size", live, {}}), Notes());
}

// ---- The list ----

TEST(ToleranceList, KeepsTheFirstNotesAndCountsTheOthers) {
  ToleranceList list;
  list.Collect(2);
  for (std::uint64_t at = 0; at < 5; ++at) list.Note(Tolerated::kRejectedBlock, at, 1);
  EXPECT_EQ(list.Notes(), (Notes{{Tolerated::kRejectedBlock, 0, 1}, {Tolerated::kRejectedBlock, 1, 1}}));
  EXPECT_EQ(list.Omitted(), 3U);
}

TEST(ToleranceList, RemembersTheKindsThatItHasNoRoomFor) {
  ToleranceList list;
  list.Collect(1);
  list.Note(Tolerated::kRejectedBlock, 0, 1);
  EXPECT_FALSE(list.WasMet(Tolerated::kWorkExhausted));
  list.Note(Tolerated::kWorkExhausted, 1, 1);
  EXPECT_TRUE(list.WasMet(Tolerated::kRejectedBlock));
  EXPECT_TRUE(list.WasMet(Tolerated::kWorkExhausted));
  list.Collect(1);
  EXPECT_FALSE(list.WasMet(Tolerated::kWorkExhausted));
}

TEST(ToleranceList, PlaceThatIsMetAgainIsNotedOnce) {
  ToleranceList list;
  list.Collect();
  list.Note(Tolerated::kDamageSkipped, 7, 5);
  list.Note(Tolerated::kInvalidText, 7, 5);
  list.Note(Tolerated::kDamageSkipped, 7, 5);
  EXPECT_EQ(list.Notes(), (Notes{{Tolerated::kDamageSkipped, 7, 5}, {Tolerated::kInvalidText, 7, 5}}));
  EXPECT_EQ(list.Omitted(), 0U);
}

TEST(ToleranceList, NeighbouringRecordsOverALimitAreOneNote) {
  ToleranceList list;
  list.Collect();
  for (std::uint64_t at = 10; at < 30; at += 2) list.Note(Tolerated::kTrackOverLimit, at, 2);
  list.Note(Tolerated::kTrackOverLimit, 50, 2);
  list.Note(Tolerated::kCueOverLimit, 52, 2);
  EXPECT_EQ(list.Notes(), (Notes{{Tolerated::kTrackOverLimit, 10, 20},
                                 {Tolerated::kTrackOverLimit, 50, 2},
                                 {Tolerated::kCueOverLimit, 52, 2}}));
}

TEST(ToleranceList, CollectingStartsOverAndEndsWithNoRoom) {
  ToleranceList list;
  list.Collect(1);
  list.Note(Tolerated::kReadFailed, 1, 1);
  list.Note(Tolerated::kReadFailed, 2, 1);
  list.Collect(1);
  EXPECT_TRUE(list.Notes().empty());
  EXPECT_EQ(list.Omitted(), 0U);
  list.Note(Tolerated::kReadFailed, 3, 1);
  EXPECT_EQ(list.Notes(), (Notes{{Tolerated::kReadFailed, 3, 1}}));
  list.Collect(0);
  list.Note(Tolerated::kReadFailed, 4, 1);
  EXPECT_FALSE(list.IsCollecting());
  EXPECT_TRUE(list.Notes().empty());
}

TEST(ToleranceList, NotingAllocatesNothing) {
  if (!WatchesAllocations()) GTEST_SKIP() << "allocations are not watched in this build";
  ToleranceList list;
  list.Collect();
  const std::uint64_t before = Allocations();
  for (std::uint64_t at = 0; at < 1000; ++at) list.Note(Tolerated::kReadFailed, at, 1);
  EXPECT_EQ(Allocations(), before);
  EXPECT_EQ(list.Notes().size(), ToleranceList::kUsualLimit);
}

TEST(ToleranceList, OfACloneIsItsOwnAndOff) {
  MemoryReader reader(Ramp(10));
  CMkvFileRoot root(&reader, true);
  root.tolerated.Collect();
  root.tolerated.Note(Tolerated::kReadFailed, 1, 1);
  CMkvFileClone clone(root);
  EXPECT_FALSE(clone.tolerated.IsCollecting());
  EXPECT_TRUE(clone.tolerated.Notes().empty());
}

}  // namespace
}  // namespace vantor::test
