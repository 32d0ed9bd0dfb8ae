// Faults of a source as the input's last bytes say, so that the fuzzer decides which read fails and how.
//
//   const FaultPlan faults = ReadFaultPlan(input);
//   if (faults.kind == FaultPlan::Kind::kOneRead) reader.FailRead(faults.read);
//
// Only some values of the last byte mean a fault: most inputs are read without.
#pragma once

#include <cstdint>
#include <span>

namespace vantor::fuzz {

struct FaultPlan {
  enum class Kind { kNone, kOneRead, kAllFrom, kShortRead };
  Kind kind = Kind::kNone;
  std::uint64_t read = 1;  // the read where it begins, counted from 1
};

inline FaultPlan ReadFaultPlan(std::span<const std::uint8_t> input) {
  constexpr std::size_t kLeast = 12;  // a last byte, six of seeks, and two that count reads behind those
  FaultPlan plan;
  if (input.size() < kLeast) return plan;
  switch (input.back() >> 4) {
    case 0x9:
      plan.kind = FaultPlan::Kind::kOneRead;
      break;
    case 0xA:
      plan.kind = FaultPlan::Kind::kAllFrom;
      break;
    case 0xB:
      plan.kind = FaultPlan::Kind::kShortRead;
      break;
    default:
      return plan;
  }
  const std::uint8_t* const count = input.data() + input.size() - 8;
  plan.read = 1 + (std::uint64_t{count[1]} | (std::uint64_t{count[0]} & 0x0F) << 8);
  return plan;
}

}  // namespace vantor::fuzz
