// A pin's place in the file: walks the clusters through a byte source of its own, keeps the blocks of one track, and
// repositions by the cues.
//
//   BlockCursor cursor(root, FindFirstCluster(root), track);
//   while (cursor.FillQueue([] { return false; }) > 0) { cursor.TakeBlock(block); ...; cursor.Recycle(block); }
//
// Not locked: used by the pin's worker while it streams, and by the seeking code while that worker is stopped.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <list>
#include <utility>

#include "parser/block.h"
#include "parser/byte_source.h"
#include "parser/element.h"
#include "parser/segment.h"
#include "parser/track_entry.h"

namespace vantor {

// Where streaming begins: found once for all pins of a file.
struct FirstCluster {
  std::uint64_t segmentPosition = 0;  // of the Segment's identifier
  std::uint64_t clusterPosition = 0;  // of the first Cluster's identifier
  bool found = false;
};
FirstCluster FindFirstCluster(CMkvFile& root);

class BlockCursor {
 public:
  // Over a clone of the opened file, at its first Cluster. The root and the track must outlive the cursor.
  BlockCursor(CMkvFile& root, const FirstCluster& first, const MkvTrackEntry& track);
  BlockCursor(const BlockCursor&) = delete;
  BlockCursor& operator=(const BlockCursor&) = delete;

  // Asked during long scans of FillQueue, which then give up where they can be taken up again.
  void InterruptWith(std::function<bool()> interrupted) { file_.interrupted = std::move(interrupted); }

  // Lets the cursor read on: at most a multiple of the file's length, so that elements which claim each other's bytes
  // cannot keep it reading for long. Called at every start; SeekCursor does it too.
  void RenewAllowance();

  // Whether the file has a Cluster to start from.
  bool HasCluster() const { return static_cast<bool>(firstCluster_); }

  // Walks on until a block of the track is queued, the data ends, or `stopPending` says so; gives the queue's count.
  template <typename StopPending>
  std::size_t FillQueue(StopPending&& stopPending) {
    while (queue_.empty() && !stopPending() && Step()) {
    }
    return queue_.size();
  }

  // The oldest queued block; raises E_FAIL when the queue is empty.
  const MkvBlock& FrontBlock() const;

  // Moves the oldest queued block into the list given, without copying; raises E_FAIL when the queue is empty.
  void TakeBlock(std::list<MkvBlock>& taken);

  // Gives records back for later use.
  void Recycle(std::list<MkvBlock>& records);

  // Time in 100 ns of a tick count relative to the current cluster.
  std::int64_t TimeOf(std::int64_t relativeTicks) const;
  std::int64_t DurationOf(std::uint64_t ticks) const;
  // Presentation time of the file's first cluster, 100 ns.
  std::int64_t StartTime() { return file_.GetStartTime(); }

  // Moves to the last key frame of the reference track at or before the target, in 100 ns of stream time, within the
  // Cluster that the latest suitable cue point names. True when the cursor stands there; false when the caller should
  // seek to 0 instead.
  bool SeekCursor(std::int64_t target);

 private:
  std::uint64_t Allowance(std::uint64_t times) const;
  bool Step();
  bool QueueCurrent();
  void EnterCluster();
  bool FindByCues(std::int64_t target);
  bool FindKeyFrame(std::uint64_t track, std::int64_t target);
  bool ReadBlockHeader(const MkvElement& element, MkvBlock& block);

  CMkvFileClone file_;
  const MkvTrackEntry& track_;
  const MkvSegment& records_;
  MkvElement wholeFile_;
  MkvElement segment_;
  MkvElement firstCluster_;
  MkvElement cluster_;                // empty at the end of the data
  MkvElement element_;                // a child of cluster_, or empty
  std::int64_t clusterTimecode_ = 0;  // ticks
  std::list<MkvBlock> queue_;
  std::list<MkvBlock> free_;
};

}  // namespace vantor
