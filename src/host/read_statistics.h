// ReadStatistics: how many reads a byte source answered and how many bytes it gave, counted by many threads at once.
//
//   statistics.Count(length);                      // in the read, a few nanoseconds
//   ReadTotals totals = statistics.Totals();       // exact once the readers have stopped
//
// Threads count in slots of their own, a cache line each, so that counting costs no traffic between them.
#pragma once

#include <array>
#include <atomic>
#include <cstddef>
#include <cstdint>

#include "host/thread_slot.h"

namespace vantor {

struct ReadTotals {
  std::uint64_t reads = 0;
  std::uint64_t bytes = 0;
};

class ReadStatistics {
 public:
  void Count(std::uint64_t bytes) noexcept {
    Slot& slot = slots_[ThreadSlot() % kSlots];
    slot.reads.fetch_add(1, std::memory_order_relaxed);
    slot.bytes.fetch_add(bytes, std::memory_order_relaxed);
  }

  ReadTotals Totals() const noexcept {
    ReadTotals totals;
    for (const Slot& slot : slots_) {
      totals.reads += slot.reads.load(std::memory_order_relaxed);
      totals.bytes += slot.bytes.load(std::memory_order_relaxed);
    }
    return totals;
  }

 private:
  static constexpr std::size_t kSlots = 32;
  struct alignas(64) Slot {
    std::atomic<std::uint64_t> reads{0};
    std::atomic<std::uint64_t> bytes{0};
  };
  std::array<Slot, kSlots> slots_;
};

}  // namespace vantor
