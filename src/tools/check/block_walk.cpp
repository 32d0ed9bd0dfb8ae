// How the walk differs from the filter's.
//
// The filter believes sizes: a Cluster of unknown size lasts to the end of the file for it, and what lies in it is a
// child. This walk believes identifiers where the two disagree: no Cluster, index or Segment stands within a Cluster,
// so that where one is met there the Cluster has ended and the walk goes on beside it. So does a Segment within a
// Segment, which files put together have. And where an element that is no Cluster claims more than the file has, what
// it hides is looked for by the seek index. Nothing leads back, and each position is passed once.
#include "tools/check/block_walk.h"

#include <algorithm>
#include <array>
#include <functional>

#include "parser/block.h"
#include "parser/element_ids.h"
#include "parser/segment.h"

namespace vantor::tools {
namespace {

bool StandsBesideClusters(std::uint32_t id) {
  constexpr std::array<std::uint32_t, 10> kIds = {ids::kCluster, ids::kCues,      ids::kSeekHead,    ids::kInfo,
                                                  ids::kTracks,  ids::kChapters,  ids::kAttachments, ids::kTags,
                                                  ids::kSegment, ids::kEbmlHeader};
  return std::find(kIds.begin(), kIds.end(), id) != kIds.end();
}

}  // namespace

BlockWalk::BlockWalk(CMkvFile& file) : wholeFile_(MkvElement::WholeFile(file)) {}

WalkStep BlockWalk::Next() {
  if (!isStarted_) {
    isStarted_ = true;
    const MkvElement first = wholeFile_.FirstChild(ids::kSegment);
    return first ? EnterSegment(first, false) : WalkStep::kEnd;
  }
  if (isAtSegment_) {
    isAtSegment_ = false;
    element_ = segment_.FirstChild();
    return element_ ? Arrive(isWithinPrevious_) : MoveElement();
  }
  if (isAtCluster_) {
    isAtCluster_ = false;
    childrenEnd_ = element_.dataStart;
    child_ = element_.FirstChild();
    return SettleChild();
  }
  if (child_) {
    childrenEnd_ = child_.DataEnd();
    (void)child_.MoveNext();  // at the end it is empty
    return SettleChild();
  }
  return MoveElement();
}

WalkStep BlockWalk::EnterSegment(const MkvElement& segment, bool isWithin) {
  segment_ = segment;
  segment_.parent = &wholeFile_;
  element_ = MkvElement();
  child_ = MkvElement();
  isWithinPrevious_ = isWithin;
  isAtSegment_ = true;
  ++segments_;
  return WalkStep::kSegment;
}

WalkStep BlockWalk::MoveElement() {
  if (element_) {
    const MkvElement last = element_;
    if (element_.MoveNext()) return Arrive(false);
    if (FindByIndex(last)) return Arrive(true);
  }
  element_ = MkvElement();
  if (segment_ && segment_.MoveNextOfSameId()) return EnterSegment(MkvElement(segment_), false);
  segment_ = MkvElement();
  return WalkStep::kEnd;
}

WalkStep BlockWalk::Arrive(bool isWithinPrevious) {
  if (element_.id.value == ids::kSegment) return EnterSegment(MkvElement(element_), true);
  isWithinPrevious_ = isWithinPrevious;
  isAtCluster_ = element_.id.value == ids::kCluster;
  if (isAtCluster_) (void)ReadClusterTimecode(element_, time_);  // without one that of the Cluster before stays
  return WalkStep::kElement;
}

// Goes on to the next block among the children, or to what ends the Cluster.
WalkStep BlockWalk::SettleChild() {
  while (child_) {
    if (IsBlock(child_)) return WalkStep::kBlock;
    if (StandsBesideClusters(child_.id.value)) {
      element_ = child_;
      element_.parent = &segment_;
      child_ = MkvElement();
      return Arrive(true);
    }
    childrenEnd_ = child_.DataEnd();
    (void)child_.MoveNext();  // at the end it is empty
  }
  return FindBehindDamage() ? Arrive(true) : MoveElement();
}

// The next element of the first Segment that the seek index names rightly, though it lies in one that lasts longer than
// the file.
bool BlockWalk::FindByIndex(const MkvElement& last) {
  if (segments_ != 1 || last.id.value == ids::kCluster || last.DataEnd() <= last.file->length) return false;
  const MkvSegment* const records = last.file->GetSegment();
  if (!isIndexTaken_ && records != nullptr) {
    for (const auto& seekHead : records->seekHeads) {
      for (const MkvSeekEntry& entry : seekHead) {
        if (!StandsBesideClusters(entry.SeekID.value)) continue;
        indexed_.emplace_back(records->SeekTarget(entry), entry.SeekID.value);
      }
    }
    std::sort(indexed_.begin(), indexed_.end(), std::greater<>());
  }
  isIndexTaken_ = true;
  for (; !indexed_.empty(); indexed_.pop_back()) {
    const auto [target, id] = indexed_.back();
    // A file put together of several has its index told from the last Segment, which the walk comes to by itself.
    if (target <= last.start || target >= segment_.DataEnd()) continue;
    const MkvElement found = MkvElement::At(*last.file, &segment_, target);
    if (!found || found.id.value != id) continue;
    element_ = found;
    element_.parent = &segment_;
    return true;
  }
  return false;
}

// A Cluster that lasts to the end of the file as far as its size goes, but whose children end before: behind an
// unreadable header there may be more.
bool BlockWalk::FindBehindDamage() {
  const std::uint64_t length = element_.file->length;
  if (element_.DataEnd() < length || childrenEnd_ >= length) return false;
  behindDamage_ = segment_;
  behindDamage_.dataStart = childrenEnd_;
  behindDamage_.size.value = length - childrenEnd_;
  const MkvElement found = behindDamage_.FirstChild();
  if (!found || !StandsBesideClusters(found.id.value)) return false;
  element_ = found;
  element_.parent = &segment_;
  return true;
}

}  // namespace vantor::tools
