// ThreadSlot: a small number for the calling thread, for spreading threads over counters and caches.
//
//   Lane& lane = lanes[ThreadSlot() % laneCount];
//
// Threads are numbered in the order in which they first ask, so that threads started one after another differ in the
// low bits. The number costs a thread-local load and is never reused.
#pragma once

#include <atomic>
#include <cstddef>

#include "platform/apart.h"

namespace vantor {

// The calling thread's number, from 1 on; 0 until it has asked for its slot.
inline std::size_t& ThreadNumber() noexcept {
  // Constant at start, so that reading it needs no check for a constructor.
  static constinit thread_local std::size_t number = 0;
  return number;
}

VANTOR_COLD inline void NumberThread() noexcept {
  static std::atomic<std::size_t> last{0};
  ThreadNumber() = last.fetch_add(1, std::memory_order_relaxed) + 1;
}

inline std::size_t ThreadSlot() noexcept {
  if (ThreadNumber() == 0) {
    NumberThread();
  }
  return ThreadNumber() - 1;
}

}  // namespace vantor
