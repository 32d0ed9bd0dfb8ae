// ThreadSlot: a small number for the calling thread, for spreading threads over counters and caches.
//
//   lanes[ThreadSlot() % lane_count]
//
// Threads are numbered in the order in which they first ask, so that threads started one after another differ in the
// low bits. The number costs a thread-local load and is never reused.
#pragma once

#include <atomic>
#include <cstddef>

namespace vantor {

inline std::size_t ThreadSlot() noexcept {
  static std::atomic<std::size_t> next{0};
  thread_local const std::size_t slot = next.fetch_add(1, std::memory_order_relaxed);
  return slot;
}

}  // namespace vantor
