// The flushes of the upstream reader, counted by whoever flushes it under the reads of others.
//
//   SourceFlushes flushes;
//   const std::uint32_t known = flushes.Changes();
//   std::uint8_t byte = 0;
//   const bool isToBeReadAgain = reader->SyncRead(0, 1, &byte) != S_OK && flushes.LayBetween(known);
#pragma once

#include <atomic>
#include <cstdint>

namespace vantor {

// Any thread.
class SourceFlushes {
 public:
  void Begin() {
    ++underWay_;
    ++changes_;
  }
  void End() {
    ++changes_;
    --underWay_;
  }
  bool IsUnderWay() const { return underWay_ != 0; }
  // Differs when a flush began or ended between two readings.
  std::uint32_t Changes() const { return changes_; }
  // Whether a flush lay anywhere between that reading and now: one that was under way then is still, or has changed the
  // count by ending.
  bool LayBetween(std::uint32_t known) const { return IsUnderWay() || Changes() != known; }

 private:
  std::atomic<std::uint32_t> underWay_{0};
  std::atomic<std::uint32_t> changes_{0};
};

}  // namespace vantor
