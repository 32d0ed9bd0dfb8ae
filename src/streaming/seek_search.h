// The search for the place of a seek, made once for all pins, on a thread of its own: what it reads may be held by the
// source for good, and whoever seeks must not.
//
//   SeekSearch search(root, FindFirstCluster(root), holder);
//   PlaceInFile place;
//   const std::uint32_t number = search.Begin(10'000'000);  // 1 s of stream time
//   switch (search.Wait(number, 1500, place)) {             // 1.5 s
//     case SeekSearch::Answer::kFound: cursor.MoveTo(place); break;
//     case SeekSearch::Answer::kNothing: cursor.Rewind(); break;
//     default: search.GiveUp();
//   }
//
// Control side, all of it but CurrentHolder: used under the filter lock. Searches have numbers, since whoever waits for
// one lets the source go meanwhile, which may seek by itself.
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
  // The holder outlives the search, and the root every search that is under way. The thread comes with the first one.
  SeekSearch(CMkvFile& root, const FirstCluster& first, LateThreadHolder& holder);
  ~SeekSearch() override;

  // The holder for which the calling thread searches; null on all other threads.
  static const LateThreadHolder* CurrentHolder();

  // Looks for the place of a target above 0, 100 ns of stream time, and gives the number of this search; 0 while the
  // thread is busy with an earlier one, and after End. Where there is no thread to be had, it searches on the calling
  // one.
  std::uint32_t Begin(std::int64_t target);

  enum class Answer {
    kFound,
    kNothing,   // no cue leads anywhere: play from the start
    kLetGo,     // a flush of the source came between, or another search, or it was given up
    kNoAnswer,  // yet: wait on, or leave it to itself
  };
  // Waits so many milliseconds for the answer to that search.
  Answer Wait(std::uint32_t number, DWORD milliseconds, PlaceInFile& place);

  // Counts what the searches have looked at, to tell one that is slow from one that is held.
  std::uint32_t Steps() const { return steps_; }

  // Ends a search that is merely slow: its answer is then kLetGo, and soon there.
  void GiveUp() { isGivenUp_ = true; }
  // For one that does not answer even so: it holds the holder until it comes back. False when there is an answer.
  bool LeaveToItself();
  // Whether it has been left to itself and not come back.
  bool IsLate() const { return isLate_; }
  // Whether a search is under way, late ones included.
  bool IsBusy() const { return isPosted_ && IsUnanswered(); }

  // Ends the thread, which must not be busy, for good: the root may go.
  void End();

 private:
  enum Command : DWORD { kSearch, kExit };

  DWORD ThreadProc() override;
  Answer Search();
  void Give(Answer answer);

  CMkvFileClone file_;
  const FirstCluster first_;
  LateThreadHolder& holder_;
  bool isEnded_ = false;
  bool isPosted_ = false;  // a search whose answer was not taken
  std::uint32_t number_ = 0;
  Answer answer_ = Answer::kNothing;  // to the last search, when none is posted

  // Handed over with the command, and back with the answer.
  std::int64_t target_ = 0;
  PlaceInFile place_;

  Lock lateLock_{LockRank::Late};
  std::atomic<bool> isLate_{false};  // written under the lock
  std::atomic<bool> isGivenUp_{false};
  std::atomic<std::uint32_t> steps_{0};
};

}  // namespace vantor
