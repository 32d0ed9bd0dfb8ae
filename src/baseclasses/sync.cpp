#include "baseclasses/sync.h"

#ifndef NDEBUG
#include <array>
#include <cstdio>
#include <cstdlib>
#endif

#ifndef NDEBUG
namespace {

// The ranked locks that this thread holds, in the order taken; a recursive lock once for each time.
struct HeldLocks {
  struct Entry {
    const CCritSec* lock;
    int rank;
  };
  std::array<Entry, 16> entries{};
  std::size_t count = 0;
};

thread_local HeldLocks t_held;

[[noreturn]] void Violation(const char* message, int held, int wanted) {
  std::fprintf(stderr, "CCritSec: %s (holding rank %d, taking rank %d)\n", message, held, wanted);
  std::abort();
}

void NoteTaking(const CCritSec* lock, int rank) {
  HeldLocks& held = t_held;
  bool recursive = false;
  for (std::size_t i = 0; i < held.count; ++i) recursive = recursive || held.entries[i].lock == lock;
  for (std::size_t i = 0; i < held.count && !recursive; ++i) {
    const int other = held.entries[i].rank;
    if (other > rank || (other == rank && rank != LockRank::Filter))
      Violation("locks taken in the wrong order", other, rank);
  }
  if (held.count == held.entries.size()) Violation("locks nested too deeply", rank, rank);
  held.entries[held.count++] = {lock, rank};
}

void NoteGiving(const CCritSec* lock, int rank) {
  HeldLocks& held = t_held;
  for (std::size_t i = held.count; i-- > 0;) {
    if (held.entries[i].lock != lock) continue;
    for (--held.count; i < held.count; ++i) held.entries[i] = held.entries[i + 1];
    return;
  }
  Violation("lock given back that this thread does not hold", rank, rank);
}

}  // namespace
#endif

#ifndef NDEBUG
CCritSec::CCritSec(int rank) : m_Rank(rank) {}
#else
CCritSec::CCritSec(int) {}
#endif

void CCritSec::Lock() VANTOR_NO_THREAD_SAFETY_ANALYSIS {
#ifndef NDEBUG
  if (m_Rank != LockRank::Unranked) NoteTaking(this, m_Rank);
#endif
  m_Mutex.lock();
}

void CCritSec::Unlock() VANTOR_NO_THREAD_SAFETY_ANALYSIS {
  m_Mutex.unlock();
#ifndef NDEBUG
  if (m_Rank != LockRank::Unranked) NoteGiving(this, m_Rank);
#endif
}

void CAMEvent::Set() {
  std::lock_guard<std::mutex> lock(m_Mutex);
  m_Set = true;
  if (m_ManualReset) {
    m_Changed.notify_all();
  } else {
    m_Changed.notify_one();
  }
}

void CAMEvent::Reset() {
  std::lock_guard<std::mutex> lock(m_Mutex);
  m_Set = false;
}

BOOL CAMEvent::Wait(DWORD dwTimeout) {
  std::unique_lock<std::mutex> lock(m_Mutex);
  const auto set = [this] { return m_Set; };
  if (dwTimeout == INFINITE) {
    m_Changed.wait(lock, set);
  } else if (!m_Changed.wait_for(lock, std::chrono::milliseconds(dwTimeout), set)) {
    return FALSE;
  }
  if (!m_ManualReset) m_Set = false;
  return TRUE;
}
