// Locks and events.
//
//   CCritSec m_Lock{LockRank::Filter};
//   ...
//   CAutoLock lock(&m_Lock);
#pragma once

#include <atomic>
#include <thread>

#include "platform/com.h"
#include "platform/lock.h"

// The order in which locks nest: platform/lock_rank.h.
namespace LockRank = vantor::LockRank;

// A recursive lock. In debug builds a thread that takes a ranked lock out of order ends the program with a message.
class VANTOR_CAPABILITY("mutex") CCritSec {
 public:
  explicit CCritSec(int rank = LockRank::Unranked) noexcept : m_Lock(rank) {}
  CCritSec(const CCritSec&) = delete;
  CCritSec& operator=(const CCritSec&) = delete;

  void Lock() VANTOR_ACQUIRE() VANTOR_NO_THREAD_SAFETY_ANALYSIS {
    m_Lock.Acquire();
    if (m_Depth++ == 0) m_Owner = std::this_thread::get_id();
  }
  void Unlock() VANTOR_RELEASE() VANTOR_NO_THREAD_SAFETY_ANALYSIS {
    if (--m_Depth == 0) m_Owner = std::thread::id();
    m_Lock.Release();
  }
  // Whether the calling thread holds it.
  bool IsHeld() const { return m_Owner.load() == std::this_thread::get_id(); }
  // For who got the lock by another name; debug builds end the program when the thread does not hold it.
  void AssertHeld() const VANTOR_ASSERT_CAPABILITY() VANTOR_NO_THREAD_SAFETY_ANALYSIS { m_Lock.AssertHeld(); }

 private:
  vantor::RecursiveLock m_Lock;
  int m_Depth = 0;                         // of the thread that holds it
  std::atomic<std::thread::id> m_Owner{};  // read without it
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

  void Set() VANTOR_EXCLUDES(m_Lock);
  void Reset() VANTOR_EXCLUDES(m_Lock);
  // TRUE when the event was set within the time (milliseconds, INFINITE for no limit), FALSE when the time ran out.
  BOOL Wait(DWORD dwTimeout = INFINITE) VANTOR_EXCLUDES(m_Lock);
  // TRUE when the event is set; does not wait, and resets an automatic event like a wait.
  BOOL Check() VANTOR_EXCLUDES(m_Lock) { return Wait(0); }

 private:
  const bool m_ManualReset;
  vantor::Lock m_Lock{LockRank::Event};
  vantor::Condition m_Changed;
  bool m_Set VANTOR_GUARDED_BY(m_Lock) = false;
};
