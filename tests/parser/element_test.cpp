#include "parser/element.h"

#include <gtest/gtest.h>

#include <vector>

#include "fixture.h"
#include "parser/element_ids.h"

namespace vantor::test {
namespace {

std::vector<std::uint32_t> ChildIds(const MkvElement& parent) {
  std::vector<std::uint32_t> found;
  for (MkvElement child = parent.FirstChild(); child; child.MoveNext()) found.push_back(child.id.value);
  return found;
}

std::vector<std::uint32_t> ChildIdsOfFirst(const Raw& bytes) {
  Source source(bytes);
  return ChildIds(source.First());
}

using Ids = std::vector<std::uint32_t>;

TEST(Element, EmptyElementIsFalseAndHasNeitherChildNorSibling) {
  MkvElement none;
  EXPECT_FALSE(none);
  EXPECT_FALSE(none.FirstChild());
  EXPECT_FALSE(none.FirstChild(ids::kSegment));
  EXPECT_FALSE(none.MoveNext());
  EXPECT_FALSE(none.MoveNextOfSameId());
}

TEST(Element, WholeFileStandsForTheSource) {
  Source source(Join({UInt(0xD7, 1), UInt(0x83, 2)}));
  MkvElement file = MkvElement::WholeFile(source.file);
  EXPECT_TRUE(file);
  EXPECT_EQ(file.id.value, 0u);
  EXPECT_EQ(file.size.value, 6u);
  EXPECT_TRUE(file.size.present);
  EXPECT_EQ(file.start, 0u);
  EXPECT_EQ(file.dataStart, 0u);
  EXPECT_EQ(file.parent, nullptr);
  EXPECT_EQ(ChildIds(file), (Ids{0xD7, 0x83}));
  EXPECT_FALSE(file.MoveNext());
  EXPECT_FALSE(file);
}

TEST(Element, HeaderTellsWhereTheElementLies) {
  Source source(Join({Void(10), Ebml(0x1549A966, Fill(5), 2)}));
  const MkvElement element = MkvElement::At(source.file, nullptr, 10);
  EXPECT_EQ(element.id.value, 0x1549A966u);
  EXPECT_EQ(element.size.value, 5u);
  EXPECT_EQ(element.start, 10u);
  EXPECT_EQ(element.dataStart, 16u);
  EXPECT_EQ(element.DataEnd(), 21u);
  EXPECT_EQ(source.file.position, 16u);
}

TEST(Element, DataEndSaturates) {
  MkvElement element;
  element.dataStart = 100;
  element.size.value = ~std::uint64_t{0} - 50;
  EXPECT_EQ(element.DataEnd(), ~std::uint64_t{0});
}

TEST(Element, ElementOfSizeZeroHasNoChild) {
  Source source(Join({Ebml(0xAE, {}), UInt(0xD7, 1)}));
  EXPECT_FALSE(source.First().FirstChild());
  EXPECT_EQ(source.reader.Reads(), 2u);
}

TEST(Element, ChildrenAreWalkedInOrderAndNotBeyondTheParent) {
  EXPECT_EQ(
      ChildIdsOfFirst(Join({Master(0xAE, {UInt(0xD7, 1), Void(20), UInt(0x83, 1), Ebml(0x86, {})}), UInt(0x9C, 0)})),
      (Ids{0xD7, 0xEC, 0x83, 0x86}));
}

TEST(Element, ChildOfUnknownSizeIsTheLast) {
  EXPECT_EQ(ChildIdsOfFirst(Master(0xAE, {UnknownSize(0xE0, {UInt(0xB0, 1)}), UInt(0x83, 1)})), Ids{0xE0});
}

TEST(Element, ClusterOfUnknownSizeEndsWhereTheNextBeginsWhenThereIsTimeToLook) {
  const auto clustersOf = [](const PlaybackPolicy& policy) {
    const Raw cluster = UnknownSize(ids::kCluster, {UInt(0xE7, 1), SimpleBlock(1, 0, kKey, {1, 2})}, 8);
    Opened file(MkvFile({Info(), Tracks({Track(1, 1, "V_VP8", {})}), cluster, cluster, cluster}), true, policy);
    const MkvElement whole = MkvElement::WholeFile(file.root);
    const MkvElement segment = whole.FirstChild(ids::kSegment);
    int clusters = 0;
    for (MkvElement child = segment.FirstChild(); child; child.MoveNext()) clusters += child.id.value == ids::kCluster;
    return clusters;
  };
  EXPECT_EQ(clustersOf({.playToEnd = true}), 3);
  EXPECT_EQ(clustersOf({}), 1) << "without the switch";
}

TEST(Element, ChildThatOverrunsItsParentIsTheLast) {
  EXPECT_EQ(ChildIdsOfFirst(Join({Master(0xAE, {EbmlWithSize(0x86, 3, {'a'})}), UInt(0x9C, 0)})), Ids{0x86});
}

TEST(Element, SizesNearTheLargestEndTheWalkInsteadOfWrapping) {
  const std::uint64_t largest = (std::uint64_t{1} << 56) - 2;
  EXPECT_EQ(ChildIdsOfFirst(
                Join({EbmlWithSize(0xAE, largest, {}, 8), EbmlWithSize(0xE0, largest - 9, {}, 8), UInt(0x83, 1)})),
            Ids{0xE0});
}

TEST(Element, DamagedFirstChildOutsideASegmentEndsTheWalk) {
  EXPECT_EQ(ChildIdsOfFirst(Master(0xAE, {Raw{0x00}, UInt(0xD7, 1)})), Ids{});
}

TEST(Element, DamagedSiblingOutsideASegmentEndsTheWalk) {
  EXPECT_EQ(ChildIdsOfFirst(Master(0xAE, {UInt(0xD7, 1), Raw{0xB0, 0x00}, UInt(0x83, 1)})), Ids{0xD7});
}

TEST(Element, DamagedHeaderAtTopLevelEndsTheWalk) {
  Source source(Join({EbmlHeader(), Raw{0x00}, Segment({Info()})}));
  EXPECT_EQ(ChildIds(MkvElement::WholeFile(source.file)), Ids{ids::kEbmlHeader});
}

TEST(Element, MoveNextAtTheEndLeavesTheElementEmpty) {
  Source source(Master(0xAE, {UInt(0xD7, 1)}));
  const MkvElement parent = source.First();
  MkvElement child = parent.FirstChild();
  EXPECT_FALSE(child.MoveNext());
  EXPECT_FALSE(child);
  EXPECT_EQ(child.id.value, 0u);
  EXPECT_FALSE(child.MoveNext());
}

TEST(Element, ElementWithoutParentHasNoSibling) {
  Source source(Join({UInt(0xD7, 1), UInt(0x83, 1)}));
  MkvElement element = source.First();
  EXPECT_FALSE(element.MoveNext());
}

// ---- Resynchronisation ----

TEST(Resynchronisation, GarbageBetweenSegmentChildrenIsSkipped) {
  const Raw garbage{0x00, 0x01, 0x1F, 0x43, 0x00, 0x15, 0x49};
  Source source(Segment({Info(), garbage, Cluster(0, {})}));
  EXPECT_EQ(ChildIds(source.First()), (Ids{ids::kInfo, ids::kCluster}));
}

TEST(Resynchronisation, StopsAtEachOfTheEightTopLevelIdentifiers) {
  for (const std::uint32_t id : {ids::kTracks, ids::kChapters, ids::kSeekHead, ids::kTags, ids::kInfo,
                                 ids::kAttachments, ids::kCues, ids::kCluster}) {
    Source source(Segment({Void(4), Raw{0x00, 0x00}, Ebml(id, Fill(2))}));
    EXPECT_EQ(ChildIds(source.First()), (Ids{0xEC, id})) << std::hex << id;
  }
}

TEST(Resynchronisation, PassesOverOtherIdentifiers) {
  Source source(Segment({Void(4), Raw{0x00}, Ebml(ids::kSegment, {}), Void(3), UInt(0xD7, 1), Cluster(0, {})}));
  EXPECT_EQ(ChildIds(source.First()), (Ids{0xEC, ids::kCluster}));
}

TEST(Resynchronisation, DamagedFirstChildOfASegmentIsSkippedToo) {
  Source source(Segment({Raw{0x00, 0x00, 0x00}, Info(), Void(2)}));
  EXPECT_EQ(ChildIds(source.First()), (Ids{ids::kInfo, 0xEC}));
}

TEST(Resynchronisation, ScansFromTheDamagedHeadersOwnIdentifier) {
  // The Cluster's identifier is whole and its size is not; the scan finds the same identifier again and gives up.
  Source source(Segment({Void(4), Raw{0x1F, 0x43, 0xB6, 0x75, 0x00}, Info()}));
  EXPECT_EQ(ChildIds(source.First()), Ids{0xEC});
}

TEST(Resynchronisation, CandidateBytesMayOverlap) {
  Source source(Segment({Void(4), Raw{0x00, 0x1F, 0x1F, 0x43}, Cluster(0, {})}));
  EXPECT_EQ(ChildIds(source.First()), (Ids{0xEC, ids::kCluster}));
  Source doubled(Segment({Void(4), Raw{0x00, 0x1F}, Cluster(0, {})}));
  EXPECT_EQ(ChildIds(doubled.First()), (Ids{0xEC, ids::kCluster}));
}

TEST(Resynchronisation, EndOfSourceEndsTheWalk) {
  Source source(Segment({Void(4), Fill(100, 0x00)}));
  EXPECT_EQ(ChildIds(source.First()), Ids{0xEC});
  Source truncated(Join({Segment({Void(4), Raw{0x00, 0x1F, 0x43, 0xB6}})}));
  EXPECT_EQ(ChildIds(truncated.First()), Ids{0xEC});
}

TEST(Resynchronisation, ReaderFailureEndsTheWalk) {
  const Raw bytes = Segment({Void(4), Fill(8, 0x00), Cluster(0, {})});
  for (std::uint64_t n = 1;; ++n) {
    Source source(bytes);
    const MkvElement segment = source.First();
    source.reader.FailRead(n, E_ABORT, true);
    const Ids found = ChildIds(segment);
    if (found == Ids{0xEC, ids::kCluster}) break;
    ASSERT_TRUE(found.empty() || found == Ids{0xEC}) << n;
    ASSERT_LT(n, 100u);
  }
}

TEST(Resynchronisation, GivesUpWhenItIsInterrupted) {
  const Raw bytes = Segment({Void(4), Fill(100000, 0x00), Cluster(0, {})});
  Source source(bytes);
  const MkvElement segment = source.First();
  int questions = 0;
  source.file.interrupted = [&] { return ++questions == 3; };
  EXPECT_EQ(ChildIds(segment), Ids{0xEC});
  EXPECT_EQ(questions, 3);
  EXPECT_LT(source.reader.BytesRead(), bytes.size() / 4);
  source.file.interrupted = [] { return false; };
  EXPECT_EQ(ChildIds(segment), (Ids{0xEC, ids::kCluster}));
}

TEST(Resynchronisation, OneWalkScansEachByteOnceHoweverOftenItIsNeeded) {
  std::vector<Part> parts;
  for (int i = 0; i < 500; ++i) {
    parts.emplace_back(Fill(20, 0x00));
    parts.emplace_back(Ebml(ids::kTags, {}));
  }
  Source source(Segment(parts));
  EXPECT_EQ(ChildIds(source.First()).size(), 500u);
  EXPECT_LT(source.reader.BytesRead(), source.file.length * 3);
}

// ---- Searching ----

TEST(Find, LinearSearchIncludesTheFirstChildItself) {
  Source source(Master(0xAE, {UInt(0xD7, 1), UInt(0x83, 2)}));
  EXPECT_TRUE(source.First().FirstChild(0xD7));
  EXPECT_TRUE(source.First().FirstChild(0x83));
  EXPECT_FALSE(source.First().FirstChild(0x9C));
}

TEST(Find, WithoutLinearSearchOnlyTheFirstChildMatches) {
  Source source(Segment({Info(), Tracks({})}));
  const MkvElement segment = source.First();
  EXPECT_TRUE(segment.FirstChild(ids::kInfo, Search::kIndexOnly));
  EXPECT_FALSE(segment.FirstChild(ids::kTracks, Search::kIndexOnly));
}

MkvSeekEntry Entry(std::uint32_t id, std::uint64_t position) {
  MkvSeekEntry entry;
  entry.SeekID = CMkvID(id);
  entry.SeekPosition = CMkvUInt(position);
  return entry;
}

// A Segment whose second Cluster the seek index names.
struct Indexed {
  Indexed() : payload(Layout({Void(9), {"first", Cluster(1, {})}, {"second", Cluster(2, {})}}, at)), source(Bytes()) {
    segment = source.First();
    source.file.segment.dataStart = segment.dataStart;
  }
  Raw Bytes() const { return Ebml(ids::kSegment, payload, 8); }
  void Index(const std::vector<MkvSeekEntry>& entries) { source.file.segment.seekHeads.push_back(entries); }
  std::uint64_t StartOf(const char* name) const { return segment.dataStart + at[name]; }

  Positions at;
  Raw payload;
  Source source;
  MkvElement segment;
};

TEST(Find, InASegmentTheSeekIndexComesFirst) {
  Indexed file;
  file.Index({Entry(ids::kCluster, file.at["second"]), Entry(ids::kCluster, file.at["first"])});
  const MkvElement cluster = file.segment.FirstChild(ids::kCluster);
  ASSERT_TRUE(cluster);
  EXPECT_EQ(cluster.start, file.StartOf("second"));
  EXPECT_EQ(cluster.parent, &file.segment);
}

TEST(Find, SeekHeadsAreLookedThroughInTheOrderTheyWereRead) {
  Indexed file;
  file.Index({});
  file.Index({Entry(ids::kTracks, 5)});
  file.Index({Entry(ids::kCluster, file.at["first"])});
  file.Index({Entry(ids::kCluster, file.at["second"])});
  EXPECT_EQ(file.segment.FirstChild(ids::kCluster).start, file.StartOf("first"));
}

TEST(Find, WrongSeekEntryEndsTheSearch) {
  Indexed file;
  file.Index({Entry(ids::kCluster, 0)});  // there is a Void
  EXPECT_FALSE(file.segment.FirstChild(ids::kCluster));
}

TEST(Find, SeekEntryBeyondTheEndEndsTheSearch) {
  for (const std::uint64_t position : {std::uint64_t{1000}, ~std::uint64_t{0}, ~std::uint64_t{0} - 11}) {
    Indexed file;
    file.Index({Entry(ids::kCluster, position)});
    EXPECT_FALSE(file.segment.FirstChild(ids::kCluster));
  }
}

TEST(Find, SeekEntryOnADamagedHeaderNeverMatches) {
  Source source(Segment({Raw{0x1F, 0x43, 0xB6, 0x75, 0x00}, Cluster(0, {})}));
  const MkvElement segment = source.First();
  source.file.segment.dataStart = segment.dataStart;
  source.file.segment.seekHeads.push_back({Entry(ids::kCluster, 0)});
  EXPECT_FALSE(segment.FirstChild(ids::kCluster));
}

TEST(Find, SeekIndexIsUsedAlsoWhenTheFirstChildIsDamaged) {
  Positions at;
  const Raw payload = Layout({Fill(4, 0x00), {"cues", Ebml(ids::kCues, Fill(3))}}, at);
  Source source(Ebml(ids::kSegment, payload));
  const MkvElement segment = source.First();
  source.file.segment.dataStart = segment.dataStart;
  source.file.segment.seekHeads.push_back({Entry(ids::kCues, at["cues"])});
  EXPECT_TRUE(segment.FirstChild(ids::kCues, Search::kIndexOnly));
}

TEST(Find, OutsideASegmentTheSeekIndexIsNotUsed) {
  Source source(Master(0xAE, {UInt(0xD7, 1), UInt(0x83, 2)}));
  source.file.segment.dataStart = 2;
  source.file.segment.seekHeads.push_back({Entry(0x83, 0)});
  EXPECT_EQ(source.First().FirstChild(0x83).start, 5u);
}

TEST(Find, FromAnElementLooksAtItselfAndOnwards) {
  Source source(Master(0xAE, {UInt(0xD7, 1), UInt(0x83, 2), UInt(0xD7, 3)}));
  const MkvElement parent = source.First();
  MkvElement element = parent.FirstChild();
  EXPECT_TRUE(element.Find(0x83, Search::kLinear));
  EXPECT_TRUE(element.Find(0xD7, Search::kLinear));
  EXPECT_EQ(element.start, 8u);
  EXPECT_TRUE(element.Find(0xD7, Search::kIndexOnly));
  EXPECT_FALSE(element.Find(0x83, Search::kLinear));
}

TEST(Find, FromAnElementOfASegmentTheSeekIndexHasTheLastWord) {
  Indexed file;
  file.Index({Entry(ids::kCluster, file.at["second"]), Entry(ids::kCues, file.at["first"])});
  MkvElement element = file.segment.FirstChild();
  EXPECT_TRUE(element.Find(ids::kCluster, Search::kIndexOnly));
  EXPECT_EQ(element.start, file.StartOf("second"));
  EXPECT_FALSE(element.Find(ids::kCues, Search::kLinear)) << "it leads to a Cluster";
}

TEST(Find, NextOfTheSameIdentifierWalksSiblingsOnly) {
  Indexed file;
  file.Index({Entry(ids::kCluster, file.at["first"])});
  MkvElement cluster = file.segment.FirstChild(ids::kCluster);
  EXPECT_EQ(cluster.start, file.StartOf("first"));
  EXPECT_TRUE(cluster.MoveNextOfSameId());
  EXPECT_EQ(cluster.start, file.StartOf("second"));
  EXPECT_FALSE(cluster.MoveNextOfSameId());
  EXPECT_FALSE(cluster);
}

TEST(Find, NextOfTheSameIdentifierPassesOverOthers) {
  Source source(Segment({Cues({}), Void(5), Cluster(0, {}), Cues({}), Tracks({})}));
  const MkvElement segment = source.First();
  MkvElement cues = segment.FirstChild();
  EXPECT_TRUE(cues.MoveNextOfSameId());
  EXPECT_EQ(cues.id.value, ids::kCues);
  EXPECT_FALSE(cues.MoveNextOfSameId());
}

TEST(Find, HeaderWhoseSizeCannotBeReadNeverMatches) {
  Source source(Join({EbmlHeader(), IdBytes(ids::kSegment)}));
  EXPECT_FALSE(MkvElement::WholeFile(source.file).FirstChild(ids::kSegment));
}

// The end is looked for by walking through the Cluster: to the next one, or to the end of the file.
TEST(ClusterOfUnknownSize, LeavesTheCursorOnItsPayloadWhereverItEnds) {
  const Raw cluster = UnknownSize(ids::kCluster, {UInt(ids::kTimecode, 0), SimpleBlock(1, 0, kKey, Fill(50))}, 8);
  Opened file(Join({EbmlHeader(), UnknownSizeSegment({cluster, cluster})}), true, {.playToEnd = true});
  const MkvElement whole = MkvElement::WholeFile(file.root);
  const MkvElement segment = whole.FirstChild(ids::kSegment);
  MkvElement child = segment.FirstChild(ids::kCluster);
  EXPECT_EQ(child.DataEnd(), child.start + cluster.size());
  EXPECT_EQ(file.root.position, child.dataStart);
  ASSERT_TRUE(child.MoveNextOfSameId());
  EXPECT_EQ(child.DataEnd(), file.root.length);
  EXPECT_EQ(file.root.position, child.dataStart);
}

}  // namespace
}  // namespace vantor::test
