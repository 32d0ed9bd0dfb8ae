#include "host/end_watch.h"

namespace vantor {

void EndWatch::Begin(std::size_t streams) {
  const LockScope hold(lock_);
  ended_.assign(streams, 0);
  endedCount_ = 0;
  failed_ = false;
  changed_.NotifyAll();
}

void EndWatch::Report(std::size_t stream, bool ended) {
  const LockScope hold(lock_);
  if (stream >= ended_.size() || (ended_[stream] != 0) == ended) {
    return;
  }
  ended_[stream] = ended ? 1 : 0;
  if (ended) {
    ++endedCount_;
  } else {
    --endedCount_;
  }
  if (endedCount_ == ended_.size()) {
    changed_.NotifyAll();
  }
}

void EndWatch::Fail() {
  const LockScope hold(lock_);
  failed_ = true;
  changed_.NotifyAll();
}

void EndWatch::Cancel() {
  const LockScope hold(lock_);
  cancelled_ = true;
  changed_.NotifyAll();
}

WaitResult EndWatch::State(bool untilError) const {
  if (cancelled_) return WaitResult::kCancelled;
  if (endedCount_ == ended_.size()) return WaitResult::kEnded;
  return failed_ && untilError ? WaitResult::kFailed : WaitResult::kTimedOut;
}

WaitResult EndWatch::Wait(std::optional<std::chrono::milliseconds> limit, bool untilError) {
  const Deadline over(limit ? static_cast<std::uint32_t>(limit->count()) : kForever);
  const LockScope hold(lock_);
  while (State(untilError) == WaitResult::kTimedOut) {
    if (!changed_.WaitFor(lock_, over.Left())) break;
  }
  const WaitResult result = State(untilError);
  cancelled_ = false;
  return result;
}

}  // namespace vantor
