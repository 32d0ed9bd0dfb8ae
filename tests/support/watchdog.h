// Ends the program, with a word on where, when a scope is not left in time: for calls that a fault never lets return.
//
//   const Watchdog watchdog("Stop while the source blocks");
//   EXPECT_EQ(filter->Stop(), S_OK);
#pragma once

#include <chrono>
#include <condition_variable>
#include <cstdio>
#include <cstdlib>
#include <mutex>
#include <string>
#include <thread>
#include <utility>

namespace vantor::test {

class Watchdog {
 public:
  // Generous: sanitizers and shared machines are slow.
  static constexpr std::chrono::seconds kBound{60};

  explicit Watchdog(std::string scope) : scope_(std::move(scope)), thread_([this] { Watch(); }) {}
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
    if (changed_.wait_for(hold, kBound, [this] { return left_; })) return;
    std::fprintf(stderr, "watchdog: %s does not end\n", scope_.c_str());
    std::abort();
  }

  const std::string scope_;
  std::mutex lock_;
  std::condition_variable changed_;
  bool left_ = false;
  std::thread thread_;
};

}  // namespace vantor::test
