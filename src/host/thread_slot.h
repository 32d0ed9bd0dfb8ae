// ThreadSlot: a small number for the calling thread, for spreading threads over counters and caches.
//
//   Lane& lane = lanes[ThreadSlot() % laneCount];
//
// Threads are numbered in the order in which they first ask, so that threads started one after another differ in the
// low bits. The number costs a thread-local load and is never reused.
#pragma once

#include <atomic>
#include <cstddef>

namespace vantor {

inline std::size_t ThreadSlot() noexcept {
  static std::atomic<std::size_t> last{0};
  // Constant at start, so that reading it needs no check for a constructor; 0 until the thread has its number.
  static constinit thread_local std::size_t number = 0;
  if (number == 0) {
    number = last.fetch_add(1, std::memory_order_relaxed) + 1;
  }
  return number - 1;
}

}  // namespace vantor
