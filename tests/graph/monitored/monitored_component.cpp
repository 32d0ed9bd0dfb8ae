// The component once more, in a library whose operator new is watched and fails where a test wants it to. So what fails
// is an allocation of the component, never one of the test or of its renderers, which have an operator new of their
// own.
#include "graph/monitored/monitored_component.h"

#include "support/allocation_monitor.h"

std::uint64_t ComponentAllocations() { return vantor::test::Allocations(); }

void FailComponentAllocations(std::uint64_t first, std::int32_t andLater) {
  if (andLater != 0) {
    vantor::test::FailAllocationsFrom(first);
  } else {
    vantor::test::FailAllocation(first);
  }
}
