#include "tools/check/index_check.h"

#include <algorithm>
#include <tuple>
#include <utility>

#include "platform/wrapping.h"

namespace vantor::tools {

IndexCheck::IndexCheck(const MkvSegment& segment, Told told) : told_(std::move(told)) {
  for (const MkvCueList& list : segment.cues) {
    for (const MkvCuePoint& point : list) {
      for (const MkvCueTrackPosition& place : point.trackPositions) {
        const std::uint64_t position = segment.dataStart + place.CueClusterPosition.value;
        const auto time = static_cast<std::int64_t>(point.CueTime.value);
        entries_.push_back(
            {position < segment.dataStart ? ~std::uint64_t{0} : position, time, place.CueTrack.value, 1, false});
        facts_.lastTime = std::max(facts_.lastTime.value_or(time), time);
        facts_.tracks.insert(place.CueTrack.value);
      }
    }
  }
  std::sort(entries_.begin(), entries_.end(), [](const Entry& left, const Entry& right) {
    return std::tie(left.position, left.track, left.time) < std::tie(right.position, right.track, right.time);
  });
  facts_.entries = entries_.size();
  MergeEqual();
}

// So that a block has three entries to mark at most, however many there are.
void IndexCheck::MergeEqual() {
  std::size_t kept = 0;
  for (const Entry& entry : entries_) {
    Entry* const before = kept == 0 ? nullptr : &entries_[kept - 1];
    if (before != nullptr &&
        std::tie(before->position, before->track, before->time) == std::tie(entry.position, entry.track, entry.time)) {
      ++before->count;
    } else {
      entries_[kept++] = entry;
    }
  }
  entries_.resize(kept);
}

// The entries of the Cluster before are done with, and those that lead to places in between lead nowhere.
void IndexCheck::OnCluster(std::uint64_t position) {
  Leave(true);
  while (last_ < entries_.size() && entries_[last_].position < position) ++last_;
  Leave(false);
  while (last_ < entries_.size() && entries_[last_].position == position) ++last_;
}

void IndexCheck::OnBlock(std::uint64_t track, std::int64_t ticks) {
  if (first_ == last_) return;
  // Writers round: a tick more or less is the same time.
  const auto begin = entries_.begin() + static_cast<std::ptrdiff_t>(first_);
  const auto end = entries_.begin() + static_cast<std::ptrdiff_t>(last_);
  const std::int64_t earliest = WrappingSubtract(ticks, 1);
  auto entry = std::lower_bound(begin, end, std::tie(track, earliest), [](const Entry& left, const auto& wanted) {
    return std::tie(left.track, left.time) < wanted;
  });
  while (entry != end && entry->track == track && WrappingSubtract(entry->time, 1) <= ticks) (entry++)->isFound = true;
}

IndexFacts IndexCheck::Finish() {
  Leave(true);
  last_ = entries_.size();
  Leave(false);
  return facts_;
}

void IndexCheck::Leave(bool isCluster) {
  for (; first_ < last_; ++first_) {
    const Entry& entry = entries_[first_];
    const IndexVerdict verdict = VerdictOf(entry, isCluster);
    if (told_) told_({entry.position, entry.time, entry.track, entry.count, verdict});
  }
}

IndexVerdict IndexCheck::VerdictOf(const Entry& entry, bool isCluster) {
  if (isCluster && entry.isFound) return IndexVerdict::kRight;
  Wrong(isCluster ? facts_.wrongTimes : facts_.wrongPlaces, entry);
  return isCluster ? IndexVerdict::kWrongTime : IndexVerdict::kWrongPlace;
}

void IndexCheck::Wrong(std::uint64_t& count, const Entry& entry) {
  if (facts_.wrongPlaces + facts_.wrongTimes == 0) facts_.position = entry.position;
  count += entry.count;
}

}  // namespace vantor::tools
