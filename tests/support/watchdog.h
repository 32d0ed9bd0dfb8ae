// Ends the program, with a word on where, when a scope is not left in time: for calls that a fault never lets return.
//
//   const Watchdog watchdog("Stop while the source blocks");
//   EXPECT_EQ(filter->Stop(), S_OK);
//
// One that is given something to count ends the program only when the count stands still: for a scope that may take as
// long as it likes while it gets on.
//
//   const Watchdog watchdog([] { return "playing a long file"; }, [&] { return sink->SampleCount(); });
#pragma once

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <mutex>
#include <string>
#include <thread>
#include <utility>

namespace vantor::test {

class Watchdog {
 public:
  // Generous: sanitizers and shared machines are slow.
  static constexpr std::chrono::seconds kBound{120};

  explicit Watchdog(std::string scope) : Watchdog([scope = std::move(scope)] { return scope; }, [] { return 0; }) {}
  // Both are called on a thread of the watchdog's.
  Watchdog(std::function<std::string()> scope, std::function<std::uint64_t()> progress)
      : scope_(std::move(scope)), progress_(std::move(progress)), thread_([this] { Watch(); }) {}
  ~Watchdog() {
    {
      const std::lock_guard<std::mutex> hold(lock_);
      left_ = true;
    }
    changed_.notify_all();
    thread_.join();
  }
  Watchdog(const Watchdog&) = delete;
  Watchdog& operator=(const Watchdog&) = delete;

 private:
  void Watch() {
    std::unique_lock<std::mutex> hold(lock_);
    for (std::uint64_t seen = progress_();;) {
      if (changed_.wait_for(hold, kBound, [this] { return left_; })) return;
      const std::uint64_t now = progress_();
      if (now == seen) break;
      seen = now;
    }
    std::fprintf(stderr, "watchdog: %s does not end\n", scope_().c_str());
    std::abort();
  }

  const std::function<std::string()> scope_;
  const std::function<std::uint64_t()> progress_;
  std::mutex lock_;
  std::condition_variable changed_;
  bool left_ = false;
  std::thread thread_;
};

}  // namespace vantor::test
