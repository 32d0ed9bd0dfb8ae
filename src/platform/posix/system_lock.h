// The primitives of platform/lock.h.
#pragma once

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <mutex>

namespace vantor::platform {

class SystemLock {
 public:
  void Acquire() { mutex_.lock(); }
  bool TryAcquire() { return mutex_.try_lock(); }
  void Release() { mutex_.unlock(); }

 private:
  friend class SystemCondition;
  std::mutex mutex_;
};

class SystemRecursiveLock {
 public:
  void Acquire() { mutex_.lock(); }
  void Release() { mutex_.unlock(); }

 private:
  std::recursive_mutex mutex_;
};

class SystemCondition {
 public:
  // The lock is held. False when the time ran out; 0xFFFFFFFF is no limit.
  bool WaitFor(SystemLock& lock, std::uint32_t milliseconds) {
    std::unique_lock<std::mutex> held(lock.mutex_, std::adopt_lock);
    bool noticed = true;
    if (milliseconds == 0xFFFFFFFF) {
      condition_.wait(held);
    } else {
      noticed = condition_.wait_for(held, std::chrono::milliseconds(milliseconds)) == std::cv_status::no_timeout;
    }
    held.release();
    return noticed;
  }
  void NotifyOne() noexcept { condition_.notify_one(); }
  void NotifyAll() noexcept { condition_.notify_all(); }

 private:
  std::condition_variable condition_;
};

}  // namespace vantor::platform
