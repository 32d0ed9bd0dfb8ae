#include "host/end_watch.h"

namespace vantor {

void EndWatch::Begin(std::size_t streams) {
  const std::lock_guard<std::mutex> hold(lock_);
  ended_.assign(streams, 0);
  ended_count_ = 0;
  failed_ = false;
  changed_.notify_all();
}

void EndWatch::Report(std::size_t stream, bool ended) {
  const std::lock_guard<std::mutex> hold(lock_);
  if (stream >= ended_.size() || (ended_[stream] != 0) == ended) {
    return;
  }
  ended_[stream] = ended ? 1 : 0;
  if (ended) {
    ++ended_count_;
  } else {
    --ended_count_;
  }
  if (ended_count_ == ended_.size()) {
    changed_.notify_all();
  }
}

void EndWatch::Fail() {
  const std::lock_guard<std::mutex> hold(lock_);
  failed_ = true;
  changed_.notify_all();
}

void EndWatch::Cancel() {
  const std::lock_guard<std::mutex> hold(lock_);
  cancelled_ = true;
  changed_.notify_all();
}

WaitResult EndWatch::Wait(std::optional<std::chrono::milliseconds> limit, bool until_error) {
  std::unique_lock<std::mutex> hold(lock_);
  const auto state = [&] {
    if (cancelled_) {
      return WaitResult::kCancelled;
    }
    if (ended_count_ == ended_.size()) {
      return WaitResult::kEnded;
    }
    return failed_ && until_error ? WaitResult::kFailed : WaitResult::kTimedOut;
  };
  const auto over = [&] { return state() != WaitResult::kTimedOut; };
  if (limit) {
    changed_.wait_for(hold, *limit, over);
  } else {
    changed_.wait(hold, over);
  }
  const WaitResult result = state();
  cancelled_ = false;
  return result;
}

}  // namespace vantor
