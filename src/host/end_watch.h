// EndWatch: counts streams that have ended and lets a thread wait for all of them.
//
//   watch.Begin(3);                        // three streams, none of them ended
//   watch.Report(0, true); ...             // from any thread, as they end or start again
//   if (watch.Wait(std::nullopt, false) == WaitResult::kEnded) ...
#pragma once

#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <mutex>
#include <optional>
#include <vector>

namespace vantor {

enum class WaitResult { kEnded, kFailed, kCancelled, kTimedOut };

// All members may be called from any thread.
class EndWatch {
 public:
  void Begin(std::size_t streams);
  // Says whether the stream with that number stands at its end.
  void Report(std::size_t stream, bool ended);
  // Something failed, for those who wait until an error.
  void Fail();
  // Ends the waiting in progress, or else the next one.
  void Cancel();
  WaitResult Wait(std::optional<std::chrono::milliseconds> limit, bool until_error);

 private:
  std::mutex lock_;
  std::condition_variable changed_;
  std::vector<char> ended_;
  std::size_t ended_count_ = 0;
  bool failed_ = false;
  bool cancelled_ = false;
};

}  // namespace vantor
