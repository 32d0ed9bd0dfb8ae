// The walk has two levels: `place_.cluster` moves from sibling to sibling in the Segment, `place_.element` from child
// to child in a Cluster. A step either moves on by one element, reading it when it is a block of the track, or, at the
// end of a Cluster, on to the next. A block gets its time in the step that reads it, while the Cluster's time is at
// hand: looking one block ahead may well enter the next Cluster.
//
// A step can be given up in the middle: when a stop is wanted during a long scan, or when the source is flushed under a
// read, which then fails without that meaning anything. What the step had moved is then put back, so that the walk goes
// on as if it had never begun; a block that was being read is read again.
//
// Reads are limited to a multiple of the file's length for each run (RenewAllowance), since damaged files may make
// elements claim each other's bytes.
#include "streaming/block_cursor.h"

#include "parser/element_ids.h"
#include "platform/result.h"
#include "platform/wrapping.h"
#include "streaming/cue_search.h"

namespace vantor {

namespace {

// How many times its length a run, and a seek, may read of the file.
constexpr std::uint64_t kTimesForPlaying = 64;
constexpr std::uint64_t kTimesForSeeking = 4;
constexpr std::uint64_t kSlack = std::uint64_t{1} << 20;
// Frame memory that a record may keep for the next block, bytes.
constexpr std::size_t kLargestRecycled = std::size_t{16} << 20;

// What a move to the next sibling overwrites: less to copy for each element than the element.
struct ElementHeader {
  std::uint32_t id;
  std::uint64_t size;
  std::uint64_t start;
  std::uint64_t dataStart;
};

ElementHeader HeaderOf(const MkvElement& element) {
  return {element.id.value, element.size.value, element.start, element.dataStart};
}

void Restore(const ElementHeader& header, MkvElement& element) {
  element.id = CMkvID(header.id);
  element.size = CMkvLength(header.size);
  element.start = header.start;
  element.dataStart = header.dataStart;
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
  if (!place_.element) return StepToNextCluster();
  if (IsBlock(place_.element) && !ReadCurrent()) return false;
  const ElementHeader before = HeaderOf(place_.element);
  place_.element.MoveNext();
  if (!file_.wasLetGo) return true;
  Restore(before, place_.element);
  hasNext_ = false;
  return false;
}

bool BlockCursor::StepToNextCluster() {
  if (!place_.cluster) return false;
  const MkvElement before = place_.cluster;
  const bool isAtCluster = place_.cluster.MoveNext();
  if (isAtCluster) EnterCluster();
  const bool isGivenUp = file_.wasLetGo || (file_.interrupted && file_.interrupted());
  if (!isGivenUp) return isAtCluster;
  place_.cluster = before;
  place_.element = MkvElement();
  return false;
}

void BlockCursor::EnterCluster() {
  // Among the Clusters may stand others, a Void or the Cues: there is no block in them.
  if (place_.cluster.id.value != ids::kCluster) return;
  // A Cluster without a time keeps that of the one before.
  ReadClusterTimecode(place_.cluster, place_.timecode);
  place_.element = place_.cluster.FirstChild();
}

// Reads the block under the cursor; false when it was given up half-way. A SimpleBlock of another track costs its
// header, a BlockGroup also what stands beside the Block; no frame is read.
bool BlockCursor::ReadCurrent() {
  MkvBlock& block = next_->record;
  block.Reset();
  HRESULT result = S_OK;
  if (place_.element.id.value == ids::kSimpleBlock) {
    block.ReadHeader(place_.element);
    const bool isOfTrack = block.trackNumber.value == track_.TrackNumber.value;
    if (isOfTrack) result = block.ReadFrames(place_.element);
    if (file_.wasLetGo) return false;
    if (!isOfTrack) return true;
    MarkUnlessKeyFrame(block);
  } else {
    result = block.ReadGroupOfTrack(place_.element, track_.TrackNumber.value);
    if (result == E_ABORT || file_.wasLetGo) return false;
    if (block.trackNumber.value != track_.TrackNumber.value) return true;
  }
  // A damaged block is passed over like one of another track.
  if (result != S_OK) return true;
  next_->start = records_.TicksToTime(WrappingAdd(place_.timecode, block.timecode.value));
  hasNext_ = true;
  return true;
}

const StampedBlock& BlockCursor::Next() const {
  if (!hasNext_) throw ResultError(E_FAIL);
  return *next_;
}

StampedBlock& BlockCursor::Take() {
  if (!hasNext_) throw ResultError(E_FAIL);
  std::swap(hand_, next_);
  hasNext_ = false;
  return *hand_;
}

void BlockCursor::Release() {
  if (hand_->record.frames.Capacity() > kLargestRecycled) hand_->record.frames = FrameList();
}

std::int64_t BlockCursor::DurationOf(std::uint64_t ticks) const {
  return records_.TicksToTime(static_cast<std::int64_t>(ticks));
}

void BlockCursor::RenewAllowance() { file_.allowance = file_.AllowanceOf(kTimesForPlaying, kSlack); }

// To the first Cluster, which is still to be entered.
void BlockCursor::Rewind() {
  place_.cluster = firstCluster_;
  place_.element = MkvElement();
  place_.timecode = 0;
}

bool BlockCursor::SeekCursor(std::int64_t target) {
  file_.allowance = file_.AllowanceOf(kTimesForSeeking, kSlack);
  hasNext_ = false;
  Rewind();
  if (target >= 1) {
    if (SeekByCues(records_, segment_, WrappingAdd(target, file_.GetStartTime()), place_)) return true;
    Rewind();
  }
  if (place_.cluster) EnterCluster();
  return target == 0;
}

}  // namespace vantor
