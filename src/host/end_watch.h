// EndWatch: counts streams that have ended and lets a thread wait for all of them.
//
//   watch.Begin(3);                        // three streams, none of them ended
//   watch.Report(0, true); ...             // from any thread, as they end or start again
//   if (watch.Wait(std::nullopt, false) == WaitResult::kEnded) ...
#pragma once

#include <chrono>
#include <cstddef>
#include <optional>
#include <vector>

#include "host/wait_result.h"
#include "platform/lock.h"

namespace vantor {

// All members may be called from any thread.
class EndWatch {
 public:
  void Begin(std::size_t streams) VANTOR_EXCLUDES(lock_);
  // Says whether the stream with that number stands at its end.
  void Report(std::size_t stream, bool ended) VANTOR_EXCLUDES(lock_);
  // Something failed, for those who wait until an error.
  void Fail() VANTOR_EXCLUDES(lock_);
  // Ends the waiting in progress, or else the next one.
  void Cancel() VANTOR_EXCLUDES(lock_);
  WaitResult Wait(std::optional<std::chrono::milliseconds> limit, bool untilError) VANTOR_EXCLUDES(lock_);

 private:
  // What a wait would end with now; kTimedOut when it would go on.
  WaitResult State(bool untilError) const VANTOR_REQUIRES(lock_);

  Lock lock_{LockRank::Host};
  Condition changed_;
  std::vector<char> ended_ VANTOR_GUARDED_BY(lock_);
  std::size_t endedCount_ VANTOR_GUARDED_BY(lock_) = 0;
  bool failed_ VANTOR_GUARDED_BY(lock_) = false;
  bool cancelled_ VANTOR_GUARDED_BY(lock_) = false;
};

}  // namespace vantor
