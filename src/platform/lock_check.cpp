#include "platform/lock_check.h"

#ifndef NDEBUG

#include <array>
#include <cstdio>
#include <cstdlib>

#include "platform/lock_rank.h"

namespace vantor::platform {
namespace {

// The ranked locks that this thread holds, in the order taken.
struct HeldLocks {
  struct Entry {
    const LockCheck* lock;
    int rank;
  };
  std::array<Entry, 16> entries{};
  std::size_t count = 0;
};

// Its address also stands for the thread: it costs less than asking the system for an id.
thread_local HeldLocks ownLocks;

[[noreturn]] void Violation(const char* message, int held, int wanted) {
  std::fprintf(stderr, "lock: %s (holding rank %d, taking rank %d)\n", message, held, wanted);
  std::abort();
}

}  // namespace

bool LockCheck::Held() const { return holder_.load(std::memory_order_relaxed) == &ownLocks; }

void LockCheck::Taking() const {
  if (Held()) {
    if (!recursive_) Violation("taken again by the thread that holds it", rank_, rank_);
    return;
  }
  if (rank_ == LockRank::Unranked) return;
  const HeldLocks& held = ownLocks;
  for (std::size_t i = 0; i < held.count; ++i) {
    const int other = held.entries[i].rank;
    if (other > rank_ || (other == rank_ && !LockRank::MayNestInItself(rank_))) {
      Violation("locks taken in the wrong order", other, rank_);
    }
  }
}

void LockCheck::Taken() {
  if (++depth_ > 1) return;
  holder_.store(&ownLocks, std::memory_order_relaxed);
  if (rank_ == LockRank::Unranked) return;
  HeldLocks& held = ownLocks;
  if (held.count == held.entries.size()) Violation("locks nested too deeply", rank_, rank_);
  held.entries[held.count++] = {this, rank_};
}

void LockCheck::Giving() {
  if (!Held()) Violation("given back by a thread that does not hold it", rank_, rank_);
  if (--depth_ > 0) return;
  holder_.store(nullptr, std::memory_order_relaxed);
  HeldLocks& held = ownLocks;
  for (std::size_t i = held.count; i-- > 0;) {
    if (held.entries[i].lock != this) continue;
    for (--held.count; i < held.count; ++i) held.entries[i] = held.entries[i + 1];
    return;
  }
}

void LockCheck::AssertHeld() const {
  if (!Held()) Violation("not held by the thread that relies on it", rank_, rank_);
}

}  // namespace vantor::platform

#endif
