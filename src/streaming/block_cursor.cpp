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

// How many times its length a run may read of the file.
constexpr std::uint64_t kTimesForPlaying = 4;
constexpr std::uint64_t kSlackForPlaying = 65536;

}  // namespace

BlockCursor::BlockCursor(CMkvFile& root, const FirstCluster& first, const MkvTrackEntry& track)
    : file_(root),
      track_(track),
      everyBlockIsKeyFrame_(HasOnlyKeyFrames(track.TrackType.value, root.Policy())),
      records_(*root.GetSegment()),
      wholeFile_(MkvElement::WholeFile(file_)),
      segment_(ElementOf(first.segment, file_, &wholeFile_)),
      first_(first.place) {
  Rewind();
}

void BlockCursor::MoveTo(const PlaceInFile& place) {
  hasNext_ = false;
  place_.MoveTo(file_, segment_, place);
  RenewAllowance();
}

bool BlockCursor::Step() {
  if (place_.element.id.value == ids::kSimpleBlock) return StepOnFromSimpleBlock();
  if (!place_.element) return place_.isEntered ? StepToNextCluster() : StepIntoCluster();
  if (IsBlock(place_.element) && !ReadGroup()) return false;
  return MoveOn();
}

// Nearly all steps are of this kind, and most of those from a block of another track. It costs its header and the next
// element's; no frame is read, and nothing of it is put into the record, which would have to be emptied for every
// block.
bool BlockCursor::StepOnFromSimpleBlock() {
  MkvElement& element = place_.element;
  HeaderCursor in(file_);
  BlockFields fields;
  fields.Read(in, element);
  if (fields.track.value == track_.TrackNumber.value) {
    in.Store();
    return ReadFrames(fields) && MoveOn();
  }
  const std::uint64_t next = element.DataEnd();
  if (file_.wasLetGo || next >= place_.cluster.DataEnd()) {
    in.Store();
    return !file_.wasLetGo && MoveOn();
  }
  const ElementHeader before = HeaderOf(element);
  if (!element.MoveOnto(in, next) && !file_.wasLetGo) element.MoveOnFromDamage(next);
  if (file_.wasLetGo) Restore(before, element);
  return !file_.wasLetGo;
}

bool BlockCursor::MoveOn() {
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
  const std::int64_t timecode = place_.timecode;
  const bool isAtCluster = place_.cluster.MoveNext();
  if (isAtCluster) EnterCluster(place_);
  if (!IsGivenUp()) return isAtCluster;
  place_.cluster = before;
  place_.element = MkvElement();
  place_.timecode = timecode;
  return false;
}

bool BlockCursor::StepIntoCluster() {
  EnterCluster(place_);
  place_.isEntered = !IsGivenUp();
  if (!place_.isEntered) place_.element = MkvElement();
  return place_.isEntered;
}

bool BlockCursor::IsGivenUp() const { return file_.wasLetGo || (file_.interrupted && file_.interrupted()); }

// Of the block under the cursor, whose header was just read; false when it was given up half-way.
bool BlockCursor::ReadFrames(const BlockFields& fields) {
  MkvBlock& block = next_->record;
  block.Reset();
  block.Take(fields);
  const HRESULT result = block.ReadFrames(place_.element);
  if (file_.wasLetGo) return false;
  MarkUnlessKeyFrame(block);
  return KeepNext(result);
}

// What stands beside the Block of a group costs its reads too, whatever the track.
bool BlockCursor::ReadGroup() {
  MkvBlock& block = next_->record;
  block.Reset();
  const HRESULT result = block.ReadGroupOfTrack(place_.element, track_.TrackNumber.value);
  if (result == E_ABORT || file_.wasLetGo) return false;
  return block.trackNumber.value != track_.TrackNumber.value || KeepNext(result);
}

// The block that was read is the next one, unless it is damaged: it is passed over then like one of another track.
bool BlockCursor::KeepNext(HRESULT result) {
  if (result != S_OK) return true;
  if (everyBlockIsKeyFrame_) next_->record.ReferenceBlock = CMkvInt();
  next_->start = records_.TicksToTime(WrappingAdd(place_.timecode, next_->record.timecode.value));
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

void BlockCursor::Release() { hand_->record.Reset(); }

std::int64_t BlockCursor::DurationOf(std::uint64_t ticks) const {
  return records_.TicksToTime(static_cast<std::int64_t>(ticks));
}

void BlockCursor::RenewAllowance() { file_.RenewAllowance(kTimesForPlaying, kSlackForPlaying); }

}  // namespace vantor
