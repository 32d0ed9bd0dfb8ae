// Damaged and hostile files: whatever the bytes, opening and reading end, within the file's own measure of work and
// memory.
#include <gtest/gtest.h>

#include <new>
#include <string>

#include "fixture.h"
#include "parser/block.h"
#include "parser/cue_synthesis.h"
#include "parser/element_ids.h"
#include "support/allocation_monitor.h"

namespace vantor::test {
namespace {

Raw SmallFile() {
  return MkvFile({
      [](const Positions& at) {
        return SeekHead({SeekEntry(ids::kSeekHead, at["more"]), SeekEntry(ids::kCues, at["cues"])});
      },
      Info(1000000, 80.0, {Str(0x7BA9, "Title"), Bin(0x73A4, Ramp(16))}),
      Tracks({Track(1, 1, "V_VP8", {Video(320, 240), CodecPrivate(Ramp(20))}),
              Track(2, 2, "A_OPUS", {Audio(48000, 2), Master(0x6D80, {Master(0x6240, {Master(0x5034, {UInt(0x4254, 3)})})})})}),
      {"first", Cluster(0, {SimpleBlock(1, 0, kKey, Ramp(30)), SimpleBlock(2, 5, kXiph, XiphLace({Ramp(9), Ramp(8)})),
                            BlockGroup({Block(1, 20, 0, Ramp(12)), BlockDuration(20), ReferenceBlock(-20)})})},
      Cluster(40, {SimpleBlock(2, 0, kEbml, EbmlLace({Ramp(5), Ramp(6), Ramp(7)})), SimpleBlock(1, 0, kFixed,
                                                                                      FixedLace({Ramp(4), Ramp(4)}))}),
      {"more", [](const Positions& at) {
         return SeekHead({SeekEntry(ids::kChapters, at["chapters"]), SeekEntry(ids::kAttachments, at["files"])});
       }},
      {"chapters", Master(ids::kChapters, {Master(0x45B9, {Master(0xB6, {Master(0x80, {Str(0x85, "One")})})})})},
      {"files", Attachments({Attachment("a.ttf", "font/ttf", Ramp(16))})},
      {"cues", [](const Positions& at) { return Cues({CuePoint(0, 1, at["first"])}); }},
  });
}

struct Totals {
  int blocks = 0;
  std::size_t bytes = 0;
};

// Walks every block of every Cluster the way a pin does.
Totals ReadEverything(CMkvFileRoot& root) {
  Totals totals;
  CMkvFileClone clone(root);
  MkvBlock record;
  const MkvElement file = MkvElement::WholeFile(clone);
  const MkvElement segment = file.FirstChild(ids::kSegment);
  for (MkvElement cluster = segment.FirstChild(ids::kCluster); cluster; cluster.MoveNextOfSameId()) {
    for (MkvElement block = FirstBlock(cluster); block; NextBlock(block)) {
      record.Reset();
      const bool isGroup = block.id.value == ids::kBlockGroup;
      if ((isGroup ? record.ReadGroup(block, true) : record.Read(block, true)) != S_OK) continue;
      ++totals.blocks;
      for (const FrameBytes& frame : record.frames) totals.bytes += frame.size();
    }
  }
  return totals;
}

TEST(Damage, SmallFileIsWholeToStartWith) {
  Opened file(SmallFile());
  ASSERT_EQ(file.result, S_OK);
  const MkvSegment& segment = file.root.segment;
  EXPECT_EQ(segment.seekHeads.size(), 2u);
  EXPECT_EQ(segment.tracks.at(0).size(), 2u);
  EXPECT_EQ(segment.cues.size(), 1u);
  EXPECT_EQ(segment.chapters.size(), 1u);
  EXPECT_EQ(segment.attachments.size(), 1u);
  const Totals totals = ReadEverything(file.root);
  EXPECT_EQ(totals.blocks, 5);
  EXPECT_EQ(totals.bytes, 30u + 17u + 12u + 18u + 8u);
}

TEST(Damage, EveryPrefixOpensOrFailsCleanly) {
  const Raw whole = SmallFile();
  const std::size_t headerEnd = EbmlHeader().size();
  std::size_t lastBytes = 0;
  for (std::size_t size = 0; size <= whole.size(); ++size) {
    Opened file(Raw(whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(size)));
    if (size < 4) {
      EXPECT_EQ(file.result, E_FAIL) << size;
    }
    if (size >= headerEnd) {
      EXPECT_EQ(file.result, S_OK) << size;
    }
    if (file.result != S_OK) continue;
    const HRESULT synthesis = SynthesiseCues(file.root);
    EXPECT_TRUE(synthesis == S_OK || synthesis == E_UNEXPECTED) << size;
    const Totals totals = ReadEverything(file.root);
    EXPECT_GE(totals.bytes, lastBytes) << "a longer file must not give less, at " << size;
    lastBytes = totals.bytes;
  }
  EXPECT_EQ(lastBytes, 85u);
}

TEST(Damage, EveryReadFailingInTurnIsSurvivedAndHeldByNobody) {
  const Raw whole = SmallFile();
  for (const HRESULT code : {E_ABORT, S_FALSE}) {
    for (const bool andAllLater : {false, true}) {
      bool ranThrough = false;
      for (std::uint64_t n = 1; !ranThrough; ++n) {
        MemoryReader reader(whole);
        reader.FailRead(n, code, andAllLater);
        CMkvFileRoot root(&reader, true);
        const HRESULT result = root.Open();
        EXPECT_TRUE(result == S_OK || result == E_FAIL) << n;
        if (result == S_OK) {
          (void)SynthesiseCues(root);
          ReadEverything(root);
        }
        ranThrough = reader.Reads() < n;
        ASSERT_LT(n, 5000u);
      }
    }
  }
}

TEST(Damage, EveryAllocationFailingInTurnIsRaisedAndLeaksNothing) {
  if (!WatchesAllocations()) GTEST_SKIP() << "allocations are not watched in this build";
  const Raw whole = SmallFile();
  const std::size_t before = LiveBytes();
  int failures = 0;
  for (std::uint64_t n = 1;; ++n) {
    bool failed = false;
    {
      MemoryReader reader(whole);
      try {
        FailAllocation(n);
        CMkvFileRoot root(&reader, true);
        const HRESULT result = root.Open();
        (void)SynthesiseCues(root);
        ReadEverything(root);
        FailAllocation(0);
        EXPECT_EQ(result, S_OK);
      } catch (const std::bad_alloc&) {
        FailAllocation(0);
        failed = true;
      }
    }
    EXPECT_EQ(LiveBytes(), before);
    if (!failed) break;
    ++failures;
    ASSERT_LT(n, 5000u);
  }
  EXPECT_GT(failures, 20);
}

TEST(Damage, EveryByteChangedIsSurvived) {
  const Raw whole = SmallFile();
  for (std::size_t at = 0; at < whole.size(); ++at) {
    for (const std::uint8_t value : {0x00, 0x01, 0x7F, 0x80, 0xFF}) {
      Raw changed = whole;
      changed[at] = value;
      Opened file(changed);
      if (file.result != S_OK) continue;
      (void)SynthesiseCues(file.root);
      EXPECT_LE(ReadEverything(file.root).blocks, 100);
    }
  }
}

// ---- Hostile files: work and memory ----

// Opens the bytes and checks that what it cost is in proportion to them.
void ExpectBounded(const char* name, const Raw& bytes) {
  MemoryReader reader(bytes);
  const std::size_t before = LiveBytes();
  ResetPeakBytes();
  {
    CMkvFileRoot root(&reader, true);
    EXPECT_EQ(root.Open(), S_OK) << name;
    (void)SynthesiseCues(root);
    EXPECT_LT(reader.BytesRead(), bytes.size() * 24 + 200000) << name;
    EXPECT_LT(PeakBytes() - before, bytes.size() * 40 + 5'000'000) << name;
    EXPECT_LT(LiveBytes() - before, bytes.size() * 24 + 4'500'000) << name;
  }
  EXPECT_EQ(LiveBytes(), before) << name;
}

Raw Many(std::size_t count, const Raw& element) {
  Raw all;
  all.reserve(count * element.size());
  for (std::size_t i = 0; i < count; ++i) all.insert(all.end(), element.begin(), element.end());
  return all;
}

TEST(Hostile, TinyElementsCostNoMoreThanAFewTimesTheirSize) {
  constexpr std::size_t kCount = 100000;
  ExpectBounded("track entries", MkvFile({Ebml(ids::kTracks, Many(kCount, Ebml(0xAE, {})))}));
  ExpectBounded("content encodings",
                MkvFile({Ebml(ids::kTracks, Many(500, Ebml(0xAE, Ebml(0x6D80, Many(100, Ebml(0x6240, {}))))))}));
  ExpectBounded("seek entries", MkvFile({Ebml(ids::kSeekHead, Many(kCount, Ebml(0x4DBB, {})))}));
  ExpectBounded("cue points", MkvFile({Ebml(ids::kCues, Many(kCount, Ebml(0xBB, {})))}));
  ExpectBounded("cue positions", MkvFile({Ebml(ids::kCues, Ebml(0xBB, Many(kCount, Ebml(0xB7, {}))))}));
  ExpectBounded("cue positions, one a point", MkvFile({Ebml(ids::kCues, Many(kCount, Ebml(0xBB, Ebml(0xB7, {}))))}));
  ExpectBounded("cue references", MkvFile({Ebml(ids::kCues, Ebml(0xBB, Ebml(0xB7, Many(kCount, Ebml(0xDB, {})))))}));
  ExpectBounded("useful cues", MkvFile({Ebml(ids::kCues, Many(kCount / 4, CuePoint(5, 1, 9)))}));
  ExpectBounded("clusters", MkvFile({Many(kCount, Ebml(ids::kCluster, {}))}));
  const auto indexed = [](std::uint32_t id, const Raw& payload) {
    return MkvFile({[id](const Positions& at) { return SeekHead({SeekEntry(id, at["it"])}); },
                    Info(),
                    Tracks({}),
                    {"it", Ebml(id, payload)},
                    Cluster(0, {})});
  };
  ExpectBounded("attached files", indexed(ids::kAttachments, Many(kCount, Ebml(0x61A7, {}))));
  ExpectBounded("chapter atoms", indexed(ids::kChapters, Ebml(0x45B9, Many(kCount, Ebml(0xB6, {})))));
  ExpectBounded("chapter displays",
                indexed(ids::kChapters, Ebml(0x45B9, Ebml(0xB6, Many(kCount, Ebml(0x80, Ebml(0x85, {})))))));
  ExpectBounded("chapter editions", indexed(ids::kChapters, Many(kCount, Ebml(0x45B9, {}))));
  ExpectBounded("segments", Join({EbmlHeader(), Many(kCount, Segment({SeekHead({})}, 1))}));
}

TEST(Hostile, NestingDoesNotRecurseWithoutBound) {
  Raw nested;
  for (int i = 0; i < 3000; ++i) nested = Ebml(0xB6, nested);
  ExpectBounded("nested chapters",
                MkvFile({[](const Positions& at) { return SeekHead({SeekEntry(ids::kChapters, at["it"])}); },
                         Info(),
                         Tracks({}),
                         {"it", Ebml(ids::kChapters, Ebml(0x45B9, nested))}}));
}

TEST(Hostile, ElementsThatClaimTheRestOfTheFileDoNotMultiplyTheWork) {
  // Each of many small parents holds a child of unknown size, which covers all its parent's siblings as well.
  constexpr std::size_t kCount = 10000;
  const auto claim = [](std::uint32_t id) { return Join({IdBytes(id), {0xFF}}); };
  ExpectBounded("names", MkvFile({Ebml(ids::kTracks, Many(kCount, Ebml(0xAE, claim(0x536E))))}));
  ExpectBounded("private data", MkvFile({Ebml(ids::kTracks, Many(kCount, Ebml(0xAE, claim(0x63A2))))}));
  ExpectBounded("videos", MkvFile({Ebml(ids::kTracks, Many(kCount, Ebml(0xAE, claim(0xE0))))}));
  ExpectBounded("cue positions", MkvFile({Ebml(ids::kCues, Many(kCount, Ebml(0xBB, claim(0xB7))))}));
  ExpectBounded("cue times", MkvFile({Ebml(ids::kCues, Many(kCount, Ebml(0xBB, claim(0xB3))))}));
  ExpectBounded("cues of many segments", Join({EbmlHeader(), Many(kCount, Ebml(ids::kSegment, claim(ids::kCues)))}));
}

TEST(Hostile, GarbageBehindManySegmentsIsNotScannedForEachOfThem) {
  ExpectBounded("damaged segments", Join({EbmlHeader(), Many(10000, Ebml(ids::kSegment, {0x00})), Fill(100000)}));
}

TEST(Hostile, SeekHeadsThatNameEachOtherAreReadOnceEach) {
  std::vector<Part> parts;
  parts.reserve(2000);
  for (int i = 0; i < 2000; ++i) {
    parts.emplace_back(std::to_string(i), [i](const Positions& at) {
      return SeekHead({SeekEntry(ids::kSeekHead, at["0"]), SeekEntry(ids::kSeekHead, at[std::to_string(i + 1)])});
    });
  }
  const Raw bytes = MkvFile(parts);
  ExpectBounded("chain", bytes);
  EXPECT_EQ(Opened(bytes).root.segment.seekHeads.size(), 2000u);
}

TEST(Hostile, LengthThatTheReaderInventsTakesNoMemory) {
  Raw bytes = MkvFile({Tracks({Master(0xAE, {UInt(0xD7, 1), EbmlWithSize(0x63A2, 4'000'000'000'000, {}, 8)})})});
  MemoryReader reader(bytes);
  reader.SetLength(1000);
  ResetPeakBytes();
  const std::size_t before = PeakBytes();
  CMkvFileRoot root(&reader, true);
  EXPECT_EQ(root.Open(), S_OK);
  EXPECT_LT(PeakBytes() - before, 100000u);
  EXPECT_EQ(root.segment.tracks.at(0).at(0)->TrackNumber.value, 1u);
}

TEST(Hostile, PayloadThatOnlyTheReadersLengthCoversIsNotAllocated) {
  MemoryReader reader(MkvFile({Tracks({Master(0xAE, {EbmlWithSize(0x63A2, std::uint64_t{1} << 55, {}, 8)})})}));
  reader.SetLength(INT64_MAX);
  ResetPeakBytes();
  const std::size_t before = PeakBytes();
  CMkvFileRoot root(&reader, true);
  EXPECT_EQ(root.Open(), S_OK);
  EXPECT_LT(PeakBytes() - before, 100000u);
  EXPECT_TRUE(root.segment.tracks.at(0).at(0)->CodecPrivate.empty());
}

}  // namespace
}  // namespace vantor::test
