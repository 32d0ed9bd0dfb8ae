// The primitives of platform/lock.h. None of them keeps a handle of the kernel once it is destroyed, however contended
// it was; the cross compiler's std::recursive_mutex does.
#pragma once

#include <windows.h>

#include <cstdint>

namespace vantor::platform {

class SystemLock {
 public:
  void Acquire() { AcquireSRWLockExclusive(&lock_); }
  bool TryAcquire() { return TryAcquireSRWLockExclusive(&lock_) != FALSE; }
  void Release() { ReleaseSRWLockExclusive(&lock_); }

 private:
  friend class SystemCondition;
  SRWLOCK lock_ = SRWLOCK_INIT;
};

class SystemRecursiveLock {
 public:
  SystemRecursiveLock() noexcept { InitializeCriticalSection(&section_); }
  ~SystemRecursiveLock() { DeleteCriticalSection(&section_); }
  SystemRecursiveLock(const SystemRecursiveLock&) = delete;
  SystemRecursiveLock& operator=(const SystemRecursiveLock&) = delete;

  void Acquire() { EnterCriticalSection(&section_); }
  void Release() { LeaveCriticalSection(&section_); }

 private:
  CRITICAL_SECTION section_;
};

class SystemCondition {
 public:
  // The lock is held. False when the time ran out; 0xFFFFFFFF is no limit.
  bool WaitFor(SystemLock& lock, std::uint32_t milliseconds) {
    return SleepConditionVariableSRW(&condition_, &lock.lock_, milliseconds, 0) != FALSE;
  }
  void NotifyOne() noexcept { WakeConditionVariable(&condition_); }
  void NotifyAll() noexcept { WakeAllConditionVariable(&condition_); }

 private:
  CONDITION_VARIABLE condition_ = CONDITION_VARIABLE_INIT;
};

}  // namespace vantor::platform
