// Gives a byte source in memory the faults of a plan.
#pragma once

#include "fuzz/fault_plan.h"
#include "support/memory_reader.h"

namespace vantor::fuzz {

inline void SetFaults(test::MemoryReader& reader, const FaultPlan& plan) {
  switch (plan.kind) {
    case FaultPlan::Kind::kNone:
      break;
    case FaultPlan::Kind::kOneRead:
      reader.FailRead(plan.read);
      break;
    case FaultPlan::Kind::kAllFrom:
      reader.FailRead(plan.read, HRESULT_FROM_WIN32(ERROR_READ_FAULT), true);
      break;
    case FaultPlan::Kind::kShortRead:
      reader.ShortenRead(plan.read);
      break;
  }
}

}  // namespace vantor::fuzz
