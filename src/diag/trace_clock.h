// The times that trace lines begin with: the local time of the first stamp, carried on by a stopwatch, so that neither
// the clock's being set nor daylight saving makes them jump.
#pragma once

#include <atomic>
#include <cstdint>

#include "diag/trace_system.h"

namespace vantor {

class TraceClock {
 public:
  struct Stamp {
    std::int64_t milliseconds;  // since the midnight before the first stamp
    bool afterPause;            // more than 100 ms later than the stamp before
  };

  explicit TraceClock(TraceSystem& system) : system_(system) {}

  // The present time. Any thread may ask; stamps of several threads that ask at once come in no order, but none lies
  // before the first.
  Stamp Next();

 private:
  static constexpr std::int64_t kNever = INT64_MIN;

  TraceSystem& system_;
  std::atomic<std::int64_t> midnight_{kNever};  // by the stopwatch
  std::atomic<std::int64_t> previous_{kNever};
};

}  // namespace vantor
