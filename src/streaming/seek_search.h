// The search for the place of a seek, made once for all pins, on a thread of its own: what it reads may be held by the
// source for good, and whoever seeks must not.
//
//   SeekSearch search(root, FindFirstCluster(root), holder);
//   PlaceInFile place;
//   switch (search.Find(10'000'000, 1500, place)) {  // 1 s of stream time; wait 1.5 s
//     case SeekSearch::Answer::kFound: cursor.MoveTo(place); break;
//     case SeekSearch::Answer::kNothing: cursor.Rewind(); break;
//     default: search.LeaveToItself();
//   }
//
// Control side, all of it: used under the filter lock.
#pragma once

#include <atomic>
#include <cstdint>

#include "baseclasses/thread.h"
#include "parser/byte_source.h"
#include "platform/lock.h"
#include "streaming/cluster_place.h"

namespace vantor {

// Keeps what a thread that was left to itself may still touch.
class LateThreadHolder {
 public:
  virtual void HoldForThread() = 0;
  // On that thread.
  virtual void ReleaseForThread() = 0;

 protected:
  ~LateThreadHolder() = default;
};

class SeekSearch final : private CAMThread {
 public:
  // Root and holder outlive the search. The thread comes with the first search.
  SeekSearch(CMkvFile& root, const FirstCluster& first, LateThreadHolder& holder);
  // Waits for the thread, which must not be busy.
  ~SeekSearch() override;

  enum class Answer {
    kFound,
    kNothing,   // no cue leads anywhere: play from the start
    kLetGo,     // a flush of the source came between: search again
    kNoAnswer,  // yet: wait on, or leave it to itself
  };

  // Looks for the place of a target above 0, 100 ns of stream time, and waits for the answer so many milliseconds.
  // kNoAnswer at once while the thread is busy with an earlier search. Where there is no thread to be had, it searches
  // on the calling one.
  Answer Find(std::int64_t target, DWORD milliseconds, PlaceInFile& place);
  // Goes on waiting for it.
  Answer Wait(DWORD milliseconds, PlaceInFile& place);

  // Gives the search up for which there is no answer. It holds the holder until it comes back.
  void LeaveToItself();
  // Whether it has been left to itself and not come back.
  bool IsLate() const { return isLate_; }
  // Whether a search is under way, late ones included.
  bool IsBusy() const { return isPosted_ && IsUnanswered(); }

 private:
  enum Command : DWORD { kSearch, kExit };

  DWORD ThreadProc() override;
  Answer Search();
  void Give(Answer answer);

  CMkvFileClone file_;
  const FirstCluster first_;
  LateThreadHolder& holder_;
  bool isPosted_ = false;  // a search whose answer was not taken

  // Handed over with the command, and back with the answer.
  std::int64_t target_ = 0;
  PlaceInFile place_;

  Lock lateLock_{LockRank::Late};
  std::atomic<bool> isLate_{false};     // written under the lock
  std::atomic<bool> isGivenUp_{false};  // ends a search that is merely slow
};

}  // namespace vantor
