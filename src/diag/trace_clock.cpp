#include "diag/trace_clock.h"

namespace vantor {
namespace {

constexpr std::int64_t kPause = 100;

std::int64_t MillisecondOfDay(const platform::LocalTime& time) {
  return ((time.hour * 60LL + time.minute) * 60 + time.second) * 1000 + time.millisecond;
}

}  // namespace

TraceClock::Stamp TraceClock::Next() {
  std::int64_t midnight = midnight_.load(std::memory_order_acquire);
  std::int64_t now = system_.Milliseconds();
  if (midnight == kNever) {
    const std::int64_t own = now - MillisecondOfDay(system_.LocalTimeNow());
    if (midnight_.compare_exchange_strong(midnight, own, std::memory_order_acq_rel, std::memory_order_acquire)) {
      midnight = own;
    } else {
      now = system_.Milliseconds();
    }
  }
  now -= midnight;
  const std::int64_t previous = previous_.exchange(now, std::memory_order_relaxed);
  return {now, previous != kNever && now > previous + kPause};
}

}  // namespace vantor
