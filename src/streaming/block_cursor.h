// A pin's place in the file: an iterator over the blocks of one track that reads through a byte source of its own, and
// goes on elsewhere when it is told to.
//
//   BlockCursor cursor(root, FindFirstCluster(root), track);
//   while (cursor.FillQueue([] { return false; }) > 0) {
//     StampedBlock& block = cursor.Take();
//     if (cursor.FillQueue([] { return false; }) > 0) lasts = cursor.Next().start - block.start;
//   }
//
// Not locked: used by the pin's worker while it streams, and moved by the seeking code while that worker is stopped.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <utility>

#include "parser/block.h"
#include "parser/byte_source.h"
#include "parser/element.h"
#include "parser/segment.h"
#include "parser/track_entry.h"
#include "platform/apart.h"
#include "streaming/cluster_place.h"

namespace vantor {

// A block with the time it got when it was read, by the Cluster it stood in: 100 ns, of the file.
struct StampedBlock {
  MkvBlock record;
  std::int64_t start = 0;
};

class BlockCursor {
 public:
  // Over a clone of the opened file, at its first Cluster. The root and the track must outlive the cursor.
  BlockCursor(CMkvFile& root, const FirstCluster& first, const MkvTrackEntry& track);
  BlockCursor(const BlockCursor&) = delete;
  BlockCursor& operator=(const BlockCursor&) = delete;

  // Asked during long scans of FillQueue, which then give up where they can be taken up again.
  void InterruptWith(std::function<bool()> interrupted) { file_.interrupted = std::move(interrupted); }

  // Lets the cursor read on: at most a multiple of the file's length, so that elements which claim each other's bytes
  // cannot keep it reading for long. Called at every start; a move does it too.
  void RenewAllowance();

  // Whether the file has a Cluster to start from.
  bool HasCluster() const { return first_.cluster.dataStart != 0; }

  // Walks on until the next block of the track is at hand, the data ends, `stopPending` says so, or a read is let go
  // by a flush of the source (WasLetGo). Gives how many blocks are ahead: 1, or 0.
  template <typename StopPending>
  std::size_t FillQueue(StopPending&& stopPending) {
    file_.WatchFlushes();
    while (!hasNext_ && !stopPending() && Step()) {
    }
    return hasNext_ ? 1 : 0;
  }

  // Whether the last FillQueue gave up because the source was flushed: neither the end of the data nor an error. The
  // next one reads the same again.
  bool WasLetGo() const { return file_.wasLetGo; }

  // The block ahead; raises E_FAIL when there is none.
  const StampedBlock& Next() const;

  // Takes the block ahead in hand, in place of the one that was; raises E_FAIL when there is none. It stays valid until
  // the next Take or Release.
  StampedBlock& Take();

  // Empties the block in hand, whose frames are no longer needed and no longer count as such.
  void Release();

  // 100 ns of so many ticks.
  std::int64_t DurationOf(std::uint64_t ticks) const;
  // Presentation time of the file's first cluster, 100 ns.
  std::int64_t StartTime() { return file_.GetStartTime(); }

  // Goes on from there, or from the first Cluster. Reads nothing.
  void MoveTo(const PlaceInFile& place);
  void Rewind() { MoveTo(first_); }
  const PlaceInFile& Start() const { return first_; }

 private:
  bool Step();
  bool StepOnFromSimpleBlock();
  bool StepToNextCluster();
  bool StepIntoCluster();
  bool IsGivenUp() const;
  VANTOR_APART bool ReadFrames(const BlockFields& fields);
  VANTOR_APART bool MoveOn();
  VANTOR_APART bool ReadGroup();
  bool KeepNext(HRESULT result);

  CMkvFileClone file_;
  const MkvTrackEntry& track_;
  const bool everyBlockIsKeyFrame_;
  const MkvSegment& records_;
  MkvElement wholeFile_;
  MkvElement segment_;
  const PlaceInFile first_;
  ClusterPlace place_;
  // One block in hand and one ahead. They change places, so that their memory serves again and again.
  std::array<StampedBlock, 2> blocks_;
  StampedBlock* hand_ = &blocks_[0];
  StampedBlock* next_ = &blocks_[1];
  bool hasNext_ = false;
};

}  // namespace vantor
