// How walking works.
//
// An element is a header that was read, and a step of a walk overwrites it in place with the header where its payload
// ends: no element is ever made for a sibling, so a walk over a million blocks takes no memory. Nothing but the sizes
// leads from one to the next. A wrong size leads into the middle of something, where the bytes are either no header at
// all (a first byte of 0x00 to 0x0F can begin no identifier, and 0x00 no size) or a header by accident, which nobody
// can tell from a real one; its own size then leads on.
//
// Where a header cannot be read, a walk within a master element ends: what was read of that element stands, and its
// parent goes on behind it, by the parent's size. Only among the children of a Segment is there anything to look for,
// since their identifiers have 4 bytes, which hardly occur by chance: there the bytes from the damage on are scanned
// for the next of eight of them, and the walk goes on from it.
//
// Every walk ends, since a step never leads back: a payload ends behind its start, and sums stop at 2^64 - 1, where
// nothing can be read. The parent's end is not trusted to lie within its own parent, nor within the file; reading
// tells.
//
// Where the seek index is distrusted, Clusters are walked to. Still it may know better than a size that is wrong: a
// child of the Segment that reaches over the Cluster that the index names, if one is there, ends in front of it for the
// walk, and so does a walk that would end before.
#include "parser/element.h"

#include <algorithm>
#include <array>

#include "parser/element_ids.h"
#include "parser/interruption.h"
#include "parser/segment.h"
#include "platform/big_endian.h"

namespace vantor {

namespace {

// The identifiers that a scan after a damaged header stops at.
constexpr std::array<std::uint32_t, 8> kResynchronisationIds = {
    ids::kTracks, ids::kChapters, ids::kSeekHead, ids::kTags, ids::kInfo, ids::kAttachments, ids::kCues, ids::kCluster,
};

// Behind every position at which something can lie.
constexpr std::uint64_t kNowhere = ~std::uint64_t{0};

bool IsSegment(const MkvElement* element) { return element != nullptr && element->id.value == ids::kSegment; }

// Where the seek index says that the element lies: its first entry for the identifier, the later ones notwithstanding.
bool LookUp(const MkvSegment* segment, std::uint32_t wanted, std::uint64_t& position) {
  if (segment == nullptr) return false;
  for (const auto& seekHead : segment->seekHeads) {
    for (const MkvSeekEntry& entry : seekHead) {
      if (entry.SeekID.value != wanted) continue;
      position = segment->SeekTarget(entry);
      return position != 0;
    }
  }
  return false;
}

}  // namespace

MkvElement MkvElement::WholeFile(CMkvFile& file) {
  MkvElement element;
  element.file = &file;
  element.size = CMkvLength();
  element.size.value = file.length;
  element.size.present = true;
  element.isWholeFile = true;
  return element;
}

MkvElement MkvElement::At(CMkvFile& file, const MkvElement* parent, std::uint64_t position) {
  MkvElement element;
  element.parent = parent;
  element.file = &file;
  (void)element.ReadHeader(position);  // unreadable, it stays empty
  return element;
}

MkvElement MkvElement::FirstChild() const {
  if (!*this || size.value == 0) return MkvElement();
  MkvElement child = At(*file, this, dataStart);
  if (!child) (void)child.Resynchronise();  // in vain, it stays empty
  return child;
}

MkvElement MkvElement::FirstChild(std::uint32_t wanted, Search search) const {
  if (!*this || size.value == 0) return MkvElement();
  MkvElement child;
  child.parent = this;
  child.file = file;
  if (!child.FindByIndex(wanted)) {
    child = FirstChild();
    child.FindFromHere(wanted, search);
  }
  if (child.id.value != wanted) child.Clear();
  return child;
}

bool MkvElement::Find(std::uint32_t wanted, Search search) {
  if (!FindByIndex(wanted)) FindFromHere(wanted, search);
  return *this && id.value == wanted;
}

// Moves onto what the seek index names for the identifier, whatever is there; false when it names nothing.
bool MkvElement::FindByIndex(std::uint32_t wanted) {
  if (file->Policy().distrustSeekIndex) return IsSegment(parent) && FindByDistrustedIndex(wanted);
  std::uint64_t target = 0;
  if (!IsSegment(parent) || !LookUp(file->GetSegment(), wanted, target)) return false;
  // The index has the last word, also when it leads to nothing or to something else: a walk for what it denies would
  // visit every Cluster of the file, and more often than not in vain.
  if (!ReadHeader(target) || id.value != wanted) file->Tolerate(Tolerated::kMisleadingSeekEntry, target, 0);
  return true;
}

// Moves onto what an entry of the seek index names, if that is there; the entries that lead astray are passed over,
// each looked at once. Clusters are not asked for: the first that an index names need not be the first that there is.
bool MkvElement::FindByDistrustedIndex(std::uint32_t wanted) {
  const MkvSegment* const segment = file->GetSegment();
  if (segment == nullptr || wanted == ids::kCluster) return false;
  const MkvElement before = *this;
  for (const auto& seekHead : segment->seekHeads) {
    for (const MkvSeekEntry& entry : seekHead) {
      const std::uint64_t target = segment->SeekTarget(entry);
      if (entry.SeekID.value != wanted || target == 0) continue;
      if (ReadHeader(target) && id.value == wanted) return true;
      file->Tolerate(Tolerated::kMisleadingSeekEntry, target, 0);
    }
  }
  *this = before;
  return false;
}

void MkvElement::FindFromHere(std::uint32_t wanted, Search search) {
  if (search == Search::kIndexOnly) return;
  while (*this && id.value != wanted) (void)MoveNext();  // at the end it is empty
}

bool MkvElement::MoveNext() {
  const std::uint64_t next = DataEnd();
  const bool isLast = !*this || parent == nullptr || next >= parent->DataEnd();
  if (isLast) NoteOverlap();
  if (*this && MoveToIndexedCluster(start, isLast ? kNowhere : next)) return true;
  if (isLast) {
    Clear();
    return false;
  }
  return ReadHeader(next) || Resynchronise();
}

// Onto the Cluster that a distrusted index names, where it lies behind the one position and in front of the other, and
// is one.
bool MkvElement::MoveToIndexedCluster(std::uint64_t behind, std::uint64_t before) {
  if (!file->Policy().distrustSeekIndex || !IsSegment(parent)) return false;
  const MkvSegment* const segment = file->GetSegment();
  if (segment == nullptr || segment->indexedCluster <= behind || segment->indexedCluster >= before) return false;
  if (file->wasLetGo) return false;
  const MkvElement here = *this;
  if (ReadHeader(segment->indexedCluster) && id.value == ids::kCluster) return true;
  *this = here;
  return false;
}

bool MkvElement::MoveOnFromDamage(std::uint64_t next) {
  Clear();
  start = next;
  return Resynchronise();
}

bool MkvElement::MoveNextOfSameId() {
  const std::uint32_t wanted = id.value;
  while (MoveNext()) {
    if (id.value == wanted) return true;
  }
  return false;
}

void MkvElement::Clear() {
  id = CMkvID();
  size = CMkvLength();
  dataStart = 0;
  isWholeFile = false;
}

bool MkvElement::ReadHeader(std::uint64_t at) {
  HeaderCursor in(*file);
  if (MoveOnto(in, at)) return true;
  Clear();
  start = at;
  return false;
}

void MkvElement::EndWhereUnknown() {
  // Among the children of a Segment alone: looking for the end meets the header of the next one as a child.
  if (file->Policy().playToEnd && id.value == ids::kCluster && IsSegment(parent)) EndAtNextTopLevel();
}

// A Cluster of unknown size, as live streams are written, reaches to the end of the file: it ends where a child has an
// identifier that only children of a Segment have, or a header that cannot be read.
void MkvElement::EndAtNextTopLevel() {
  InterruptionPoll poll(*file);
  std::uint64_t end = dataStart;
  bool isFound = true;
  for (MkvElement child = At(*file, this, end); child; child = At(*file, this, end)) {
    if (std::ranges::find(kResynchronisationIds, child.id.value) != kResynchronisationIds.end()) break;
    end = child.DataEnd();
    isFound = end < file->length && !poll.Interrupted();
    if (!isFound) break;
  }
  if (isFound && !file->wasLetGo) size.value = end - dataStart;
  file->position = dataStart;
}

// After a damaged header at `start`: moves onto the next element that can be told from noise, if there may be any.
bool MkvElement::Resynchronise() {
  const std::uint64_t damage = start;
  const bool isFound = IsSegment(parent) && ScanForTopLevelId() && ReadHeader(file->position - sizeof id.value);
  if (isFound || MoveToIndexedCluster(damage, kNowhere)) {
    file->Tolerate(Tolerated::kDamageSkipped, damage, start - damage);
    return true;
  }
  NoteEndOfWalk(damage);
  return false;
}

// Scans byte by byte from `start` on and leaves the cursor behind the identifier that it found. The Segment's end is no
// bound: where headers are damaged, its size may well be what is wrong.
bool MkvElement::ScanForTopLevelId() {
  // Asked at once, since each of many damaged headers begins a scan of its own.
  InterruptionPoll poll(*file, InterruptionPoll::First::kAtOnce);
  file->position = start;
  for (;;) {
    if (poll.Interrupted()) return false;
    std::uint8_t bytes[4];
    if (file->Read(bytes, 1) != S_OK) return false;
    if ((bytes[0] & 0xF0) != 0x10) continue;
    if (file->Read(bytes + 1, 3) != S_OK) return false;
    const auto candidate = BigEndian<std::uint32_t>(bytes, sizeof bytes);
    if (std::ranges::find(kResynchronisationIds, candidate) != kResynchronisationIds.end()) return true;
    // An identifier may begin within the three bytes behind a first byte that was none.
    file->position -= 3;
  }
}

void MkvElement::NotePassedOver(Tolerated kind) const {
  const std::uint64_t end = std::min(DataEnd(), file->length);
  file->Tolerate(kind, start, end > start ? end - start : 0);
}

void MkvElement::NoteEndOfWalk(std::uint64_t damage) const {
  if (!file->tolerated.IsCollecting() || (file->interrupted && file->interrupted())) return;
  const std::uint64_t end = std::min(parent->DataEnd(), file->length);
  file->Tolerate(Tolerated::kUnreadableHeader, damage, end > damage ? end - damage : 0);
}

// At the end of a walk. What reaches exactly to the end of the file is of unknown size, as far as can be told, and has
// its parent's end for its own.
void MkvElement::NoteOverlap() const {
  if (!*this || parent == nullptr || !file->tolerated.IsCollecting()) return;
  const std::uint64_t end = DataEnd();
  const std::uint64_t parentEnd = parent->DataEnd();
  if (end > parentEnd && end != file->length) file->Tolerate(Tolerated::kChildPastParent, start, end - parentEnd);
}

}  // namespace vantor
