// ReadStatistics: how many reads a byte source answered and how many bytes it gave, counted by many threads at once.
//
//   statistics.Count(length);                      // in the read, about a nanosecond
//   ReadTotals totals = statistics.Totals();       // exact once the readers have stopped
//
// The first threads to count have slots of their own, a cache line each, so that counting costs them neither traffic
// nor an atomic operation that locks the line; later ones share a slot.
#pragma once

#include <array>
#include <atomic>
#include <cstddef>
#include <cstdint>

#include "host/thread_slot.h"
#include "platform/apart.h"

namespace vantor {

struct ReadTotals {
  std::uint64_t reads = 0;
  std::uint64_t bytes = 0;
};

class ReadStatistics {
 public:
  void Count(std::uint64_t bytes) noexcept {
    const std::size_t number = ThreadNumber();
    Slot& slot = slots_[number % kSlots];
    if (slot.owner.load(std::memory_order_relaxed) == number) {
      CountOwn(slot, bytes);
    } else {
      CountElsewhere(bytes);
    }
  }

  ReadTotals Totals() const noexcept {
    ReadTotals totals = {shared_.reads.load(std::memory_order_relaxed), shared_.bytes.load(std::memory_order_relaxed)};
    for (const Slot& slot : slots_) {
      totals.reads += slot.reads.load(std::memory_order_relaxed);
      totals.bytes += slot.bytes.load(std::memory_order_relaxed);
    }
    return totals;
  }

 private:
  static constexpr std::size_t kSlots = 64;
  static constexpr std::size_t kNobody = ~std::size_t{0};  // not 0, which threads without a number have
  struct alignas(64) Slot {
    std::atomic<std::uint64_t> reads{0};
    std::atomic<std::uint64_t> bytes{0};
    std::atomic<std::size_t> owner{kNobody};  // or the number of the one thread that counts here
  };

  static void CountOwn(Slot& slot, std::uint64_t bytes) noexcept {
    slot.reads.store(slot.reads.load(std::memory_order_relaxed) + 1, std::memory_order_relaxed);
    slot.bytes.store(slot.bytes.load(std::memory_order_relaxed) + bytes, std::memory_order_relaxed);
  }

  // Of a thread that has no slot yet, or gets none.
  VANTOR_COLD void CountElsewhere(std::uint64_t bytes) noexcept {
    const std::size_t number = ThreadSlot() + 1;
    Slot& slot = slots_[number % kSlots];
    std::size_t nobody = kNobody;
    if (slot.owner.compare_exchange_strong(nobody, number, std::memory_order_relaxed)) {
      CountOwn(slot, bytes);
    } else {
      shared_.reads.fetch_add(1, std::memory_order_relaxed);
      shared_.bytes.fetch_add(bytes, std::memory_order_relaxed);
    }
  }

  Slot shared_;
  std::array<Slot, kSlots> slots_;
};

}  // namespace vantor
