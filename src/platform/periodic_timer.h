// Calls back again and again, on a thread of its own, for as long as the object lives.
#pragma once

#include <functional>
#include <memory>

namespace vantor::platform {

class PeriodicTimer {
 public:
  // The first call comes after one period. The callback throws nothing. Null when the system has no timer. The module
  // that holds this code stays loaded from then on, for its timers' threads run it.
  static std::unique_ptr<PeriodicTimer> Start(unsigned milliseconds, std::function<void()> callback);
  // Waits for a call that is under way; not where the process is ending and its other threads are gone, and the call
  // with them: what the call used is then left as it is.
  ~PeriodicTimer();
  PeriodicTimer(const PeriodicTimer&) = delete;
  PeriodicTimer& operator=(const PeriodicTimer&) = delete;

 private:
  struct State;
  explicit PeriodicTimer(std::unique_ptr<State> state);

  std::unique_ptr<State> state_;
};

}  // namespace vantor::platform
