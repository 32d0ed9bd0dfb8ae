// Locks and events.
//
//   CCritSec m_Lock{LockRank::Filter};
//   ...
//   CAutoLock lock(&m_Lock);
#pragma once

#include <condition_variable>
#include <mutex>

#include "baseclasses/thread_annotations.h"
#include "platform/com.h"

// The order in which ranked locks nest: a thread takes them in rising order only. Two locks of one rank do not nest
// either, but for filter locks: two filters that connect hold both. Unranked locks are not checked.
namespace LockRank {
constexpr int Unranked = 0;
constexpr int Seek = 1;
constexpr int Filter = 2;
constexpr int Position = 3;
}  // namespace LockRank

// A recursive lock. In debug builds a thread that takes a ranked lock out of order ends the program with a message:
// such an order deadlocks sooner or later.
class VANTOR_CAPABILITY("mutex") CCritSec {
 public:
  explicit CCritSec(int rank = LockRank::Unranked);
  ~CCritSec() = default;
  CCritSec(const CCritSec&) = delete;
  CCritSec& operator=(const CCritSec&) = delete;

  void Lock() VANTOR_ACQUIRE();
  void Unlock() VANTOR_RELEASE();

 private:
  std::recursive_mutex m_Mutex;
#ifndef NDEBUG
  const int m_Rank;
#endif
};

// Holds a lock for a scope.
class VANTOR_SCOPED_CAPABILITY CAutoLock {
 public:
  explicit CAutoLock(CCritSec* pLock) VANTOR_ACQUIRE(pLock) : m_pLock(pLock) { m_pLock->Lock(); }
  ~CAutoLock() VANTOR_RELEASE() { m_pLock->Unlock(); }
  CAutoLock(const CAutoLock&) = delete;
  CAutoLock& operator=(const CAutoLock&) = delete;

 private:
  CCritSec* m_pLock;
};

// An event: set or not. An automatic event (the default) is reset by the one wait that it ends; a manual event ends
// every wait until Reset.
class CAMEvent {
 public:
  explicit CAMEvent(BOOL fManualReset = FALSE) : m_ManualReset(fManualReset != FALSE) {}
  CAMEvent(const CAMEvent&) = delete;
  CAMEvent& operator=(const CAMEvent&) = delete;

  void Set();
  void Reset();
  // TRUE when the event was set within the time (milliseconds, INFINITE for no limit), FALSE when the time ran out.
  BOOL Wait(DWORD dwTimeout = INFINITE);
  // TRUE when the event is set; does not wait, and resets an automatic event like a wait.
  BOOL Check() { return Wait(0); }

 private:
  const bool m_ManualReset;
  std::mutex m_Mutex;
  std::condition_variable m_Changed;
  bool m_Set = false;
};
