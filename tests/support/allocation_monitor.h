// Watches the program's operator new: counts allocations, tells the live and peak bytes, and fails where a test wants
// it to. Linking a test that uses it replaces the global operators.
//
//   const auto before = Allocations();
//   block.Read(element, true);
//   EXPECT_EQ(Allocations(), before);
#pragma once

#include <cstddef>
#include <cstdint>

namespace vantor::test {

// False where the race detector keeps operator new to itself. Nothing is counted and nothing fails there: skip the
// test.
bool WatchesAllocations();

// Calls of operator new since the program started.
std::uint64_t Allocations();
// Bytes allocated and not yet freed.
std::size_t LiveBytes();
// The most that LiveBytes was since the last ResetPeakBytes.
std::size_t PeakBytes();
void ResetPeakBytes();

// The n-th allocation from now on (1 is the next) throws std::bad_alloc, having told the new-handler; 0 takes it back.
// On every thread.
void FailAllocation(std::uint64_t n);
// The same for it and all that follow, until FailAllocation takes it back.
void FailAllocationsFrom(std::uint64_t n);

}  // namespace vantor::test
