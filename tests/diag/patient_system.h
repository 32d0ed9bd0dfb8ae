// The system itself, but that everything is waited for as long as it takes: nothing is lost however slow the machine
// is.
#pragma once

#include "diag/trace_system.h"

namespace vantor::test {

class PatientSystem : public TraceSystem {
 public:
  std::int64_t Milliseconds() override { return 0; }
  bool TryForAWhile(const std::function<bool()>& attempt) override {
    while (!attempt()) Sleep(1);
    return true;
  }
};

// And nothing is written but when a flush is asked for.
class PatientSystemWithoutTimer final : public PatientSystem {
 public:
  Timer StartTimer(unsigned, std::function<void()>) override { return std::make_shared<int>(); }
};

}  // namespace vantor::test
