// What the component that is made for tests of failing allocations exports besides its entry points.
//
//   const auto fail = library->FindFunction<decltype(FailComponentAllocations)>("FailComponentAllocations");
//   fail(3, 0);                                      // the third allocation of the component from now on fails
//   EXPECT_EQ(filter->Pause(), E_OUTOFMEMORY);
//   fail(0, 0);                                      // no more
#pragma once

#include <cstdint>

extern "C" {

// Calls of the component's operator new since it was loaded.
std::uint64_t ComponentAllocations();
// The allocation with that number, counted from now on, fails, with `andLater` all that follow too; 0: none.
void FailComponentAllocations(std::uint64_t first, std::int32_t andLater);
}
