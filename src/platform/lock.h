// Locks, their scope, and the condition that waits with a lock: the system's own primitives, marked for clang's
// thread-safety analysis and checked in debug builds (platform/lock_check.h).
//
//   Lock lock_{LockRank::Host};
//   Condition changed_;
//   int held_ VANTOR_GUARDED_BY(lock_) = 0;
//   ...
//   const LockScope hold(lock_);
//   while (held_ == 0) changed_.Wait(lock_);
//
// A wait with a limit goes on with what is left of it:
//
//   for (const Deadline limit(1000); held_ == 0;) {
//     if (!changed_.WaitFor(lock_, limit.Left())) break;
//   }
//
// A lambda or function that gets the lock from its caller says so with lock_.AssertHeld().
#pragma once

#include <chrono>
#include <cstdint>

#include "platform/lock_check.h"
#include "platform/lock_rank.h"
#include "platform/thread_annotations.h"

#if defined(_WIN32)
#include "platform/windows/system_lock.h"
#else
#include "platform/posix/system_lock.h"
#endif

namespace vantor {

// The limit of a wait without one, in milliseconds; the same as INFINITE.
inline constexpr std::uint32_t kForever = 0xFFFFFFFF;

// Not recursive.
class VANTOR_CAPABILITY("mutex") Lock {
 public:
  explicit Lock(int rank = LockRank::Unranked) noexcept : check_(rank, false) {}
  Lock(const Lock&) = delete;
  Lock& operator=(const Lock&) = delete;

  void Acquire() VANTOR_ACQUIRE() VANTOR_NO_THREAD_SAFETY_ANALYSIS {
    check_.Taking();
    system_.Acquire();
    check_.Taken();
  }
  // Takes it only if nobody holds it; whether it did.
  bool TryAcquire() VANTOR_TRY_ACQUIRE(true) VANTOR_NO_THREAD_SAFETY_ANALYSIS {
    if (!system_.TryAcquire()) return false;
    check_.Taken();
    return true;
  }
  void Release() VANTOR_RELEASE() VANTOR_NO_THREAD_SAFETY_ANALYSIS {
    check_.Giving();
    system_.Release();
  }
  void AssertHeld() const VANTOR_ASSERT_CAPABILITY() { check_.AssertHeld(); }

 private:
  friend class Condition;

  platform::SystemLock system_;
  [[no_unique_address]] platform::LockCheck check_;
};

// The thread that holds it may take it again, and gives it back as often.
class VANTOR_CAPABILITY("mutex") RecursiveLock {
 public:
  explicit RecursiveLock(int rank = LockRank::Unranked) noexcept : check_(rank, true) {}
  RecursiveLock(const RecursiveLock&) = delete;
  RecursiveLock& operator=(const RecursiveLock&) = delete;

  void Acquire() VANTOR_ACQUIRE() VANTOR_NO_THREAD_SAFETY_ANALYSIS {
    check_.Taking();
    system_.Acquire();
    check_.Taken();
  }
  void Release() VANTOR_RELEASE() VANTOR_NO_THREAD_SAFETY_ANALYSIS {
    check_.Giving();
    system_.Release();
  }
  void AssertHeld() const VANTOR_ASSERT_CAPABILITY() { check_.AssertHeld(); }

 private:
  platform::SystemRecursiveLock system_;
  [[no_unique_address]] platform::LockCheck check_;
};

// Says that a scope takes over a lock that is held already.
struct AdoptLock {};

// Holds a lock for a scope.
class VANTOR_SCOPED_CAPABILITY LockScope {
 public:
  explicit LockScope(Lock& lock) VANTOR_ACQUIRE(lock) : lock_(lock) { lock_.Acquire(); }
  LockScope(Lock& lock, AdoptLock) VANTOR_REQUIRES(lock) : lock_(lock) {}
  ~LockScope() VANTOR_RELEASE() { lock_.Release(); }
  LockScope(const LockScope&) = delete;
  LockScope& operator=(const LockScope&) = delete;

 private:
  Lock& lock_;
};

// What threads wait for; always with the lock that guards it, which a wait gives back and takes again. A wait may end
// without a notice: wait in a loop.
class Condition {
 public:
  Condition() = default;
  Condition(const Condition&) = delete;
  Condition& operator=(const Condition&) = delete;

  void Wait(Lock& lock) VANTOR_REQUIRES(lock) { WaitFor(lock, kForever); }
  // False when the time (kForever for no limit) ran out.
  bool WaitFor(Lock& lock, std::uint32_t milliseconds) VANTOR_REQUIRES(lock) {
    lock.check_.Giving();
    const bool noticed = system_.WaitFor(lock.system_, milliseconds);
    lock.check_.Taken();
    return noticed;
  }
  void NotifyOne() noexcept { system_.NotifyOne(); }
  void NotifyAll() noexcept { system_.NotifyAll(); }

 private:
  platform::SystemCondition system_;
};

// When a wait is to end.
class Deadline {
 public:
  explicit Deadline(std::uint32_t milliseconds)
      : unlimited_(milliseconds == kForever),
        end_(unlimited_ ? Clock::time_point() : Clock::now() + std::chrono::milliseconds(milliseconds)) {}

  // Milliseconds, rounded up; 0 when it is over.
  std::uint32_t Left() const {
    if (unlimited_) return kForever;
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(end_ - Clock::now()).count();
    return left > 0 ? static_cast<std::uint32_t>(left) : 0;
  }

 private:
  using Clock = std::chrono::steady_clock;

  const bool unlimited_;
  const Clock::time_point end_;
};

}  // namespace vantor
