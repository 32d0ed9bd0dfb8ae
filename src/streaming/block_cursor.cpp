#include "streaming/block_cursor.h"

#include <algorithm>
#include <iterator>
#include <limits>

#include "parser/element_ids.h"
#include "platform/result.h"

namespace vantor {

namespace {

// How many times its length a run, and a seek, may read of the file.
constexpr std::uint64_t kTimesForPlaying = 64;
constexpr std::uint64_t kTimesForSeeking = 4;
constexpr std::uint64_t kSlack = std::uint64_t{1} << 20;
constexpr std::uint8_t kKeyFrameFlag = 0x80;
// Frame memory that a recycled record may keep, bytes.
constexpr std::size_t kLargestRecycled = std::size_t{16} << 20;
// How far past the target any block may lie before the search gives the cluster up, 100 ns.
constexpr std::int64_t kSearchMargin = 5'000'000;

std::int64_t WrappingAdd(std::int64_t left, std::int64_t right) {
  return static_cast<std::int64_t>(static_cast<std::uint64_t>(left) + static_cast<std::uint64_t>(right));
}

void MarkNonKeyFrame(MkvBlock& block) {
  if ((block.flags.value & kKeyFrameFlag) != 0) return;
  block.ReferenceBlock.value = 0;
  block.ReferenceBlock.present = true;
}

}  // namespace

FirstCluster FindFirstCluster(CMkvFile& root) {
  const MkvElement file = MkvElement::WholeFile(root);
  const MkvElement segment = file.FirstChild(ids::kSegment);
  if (!segment) return {};
  const MkvElement cluster = segment.FirstChild(ids::kCluster);
  if (!cluster) return {};
  return {segment.start, cluster.start, true};
}

BlockCursor::BlockCursor(CMkvFile& root, const FirstCluster& first, const MkvTrackEntry& track)
    : file_(root), track_(track), records_(*root.GetSegment()), wholeFile_(MkvElement::WholeFile(file_)) {
  if (!first.found) return;
  segment_ = MkvElement::At(file_, &wholeFile_, first.segmentPosition);
  if (!segment_) return;
  firstCluster_ = MkvElement::At(file_, &segment_, first.clusterPosition);
  if (firstCluster_) SeekCursor(0);
}

bool BlockCursor::Step() {
  if (!element_) {
    const MkvElement before = cluster_;
    if (!cluster_) return false;
    const bool isAtCluster = cluster_.MoveNext();
    if (isAtCluster) EnterCluster();
    // A scan or a search that was given up begins anew when the walk goes on.
    if (file_.interrupted && file_.interrupted()) {
      cluster_ = before;
      element_ = MkvElement();
      return false;
    }
    return isAtCluster;
  }
  // A block that was given up is read again when the walk goes on.
  if (IsBlock(element_) && !QueueCurrent()) return false;
  element_.MoveNext();
  return true;
}

void BlockCursor::EnterCluster() {
  // Among the Clusters may stand others, a Void or the Cues: there is no block in them.
  if (cluster_.id.value != ids::kCluster) return;
  ReadClusterTimecode(cluster_, clusterTimecode_);
  element_ = cluster_.FirstChild();
}

bool BlockCursor::QueueCurrent() {
  if (free_.empty()) free_.emplace_back();
  MkvBlock& block = free_.front();
  block.Reset();
  HRESULT result;
  if (element_.id.value == ids::kSimpleBlock) {
    block.ReadHeader(element_);
    if (block.trackNumber.value != track_.TrackNumber.value) return true;
    result = block.ReadFrames(element_);
    MarkNonKeyFrame(block);
  } else {
    result = block.ReadGroupOfTrack(element_, track_.TrackNumber.value);
    if (result == E_ABORT) return false;
    if (block.trackNumber.value != track_.TrackNumber.value) return true;
  }
  if (result == S_OK) queue_.splice(queue_.end(), free_, free_.begin());
  return true;
}

const MkvBlock& BlockCursor::FrontBlock() const {
  if (queue_.empty()) throw ResultError(E_FAIL);
  return queue_.front();
}

void BlockCursor::TakeBlock(std::list<MkvBlock>& taken) {
  if (queue_.empty()) throw ResultError(E_FAIL);
  taken.splice(taken.end(), queue_, queue_.begin());
}

void BlockCursor::Recycle(std::list<MkvBlock>& records) {
  for (auto record = records.begin(); record != records.end();) {
    record = record->frames.Capacity() > kLargestRecycled ? records.erase(record) : std::next(record);
  }
  free_.splice(free_.end(), records);
}

std::int64_t BlockCursor::TimeOf(std::int64_t relativeTicks) const {
  return records_.TicksToTime(WrappingAdd(clusterTimecode_, relativeTicks));
}

std::int64_t BlockCursor::DurationOf(std::uint64_t ticks) const {
  return records_.TicksToTime(static_cast<std::int64_t>(ticks));
}

void BlockCursor::RenewAllowance() { file_.allowance = file_.AllowanceOf(kTimesForPlaying, kSlack); }

bool BlockCursor::SeekCursor(std::int64_t target) {
  file_.allowance = file_.AllowanceOf(kTimesForSeeking, kSlack);
  cluster_ = firstCluster_;
  element_ = MkvElement();
  clusterTimecode_ = 0;
  Recycle(queue_);
  if (target < 1) {
    if (cluster_) EnterCluster();
    return target == 0;
  }
  if (FindByCues(WrappingAdd(target, file_.GetStartTime()))) return true;
  cluster_ = firstCluster_;
  clusterTimecode_ = 0;
  if (cluster_) EnterCluster();
  return false;
}

bool BlockCursor::FindByCues(std::int64_t target) {
  const std::uint64_t track = ReferenceTrackNumber(records_);
  std::uint64_t lastTried = std::numeric_limits<std::uint64_t>::max();
  for (const MkvCueList& list : records_.cues) {
    for (auto point = list.rbegin(); point != list.rend(); ++point) {
      if (records_.TicksToTime(static_cast<std::int64_t>(point->CueTime.value)) > target) continue;
      for (const MkvCueTrackPosition& place : point->trackPositions) {
        if (place.CueTrack.value != track || place.CueClusterPosition.value == lastTried) continue;
        lastTried = place.CueClusterPosition.value;
        cluster_ = MkvElement::At(file_, &segment_, records_.dataStart + lastTried);
        if (cluster_.id.value == ids::kCluster && FindKeyFrame(track, target)) return true;
      }
    }
  }
  return false;
}

bool BlockCursor::FindKeyFrame(std::uint64_t track, std::int64_t target) {
  clusterTimecode_ = 0;
  ReadClusterTimecode(cluster_, clusterTimecode_);
  MkvElement found;
  MkvBlock block;
  for (MkvElement child = FirstBlock(cluster_); child;) {
    if (ReadBlockHeader(child, block)) {
      const std::int64_t time = TimeOf(block.timecode.value);
      const bool ofTrack = block.trackNumber.value == track;
      if ((ofTrack && time > target) || time > WrappingAdd(target, kSearchMargin)) break;
      if (ofTrack && block.IsKeyFrame()) found = child;
    }
    if (!NextBlock(child)) break;
  }
  element_ = found;
  return static_cast<bool>(element_);
}

bool BlockCursor::ReadBlockHeader(const MkvElement& element, MkvBlock& block) {
  block.Reset();
  if (element.id.value == ids::kBlockGroup) return block.ReadGroup(element, false) == S_OK;
  block.ReadHeader(element);
  MarkNonKeyFrame(block);
  return true;
}

}  // namespace vantor
