// How long control calls wait for workers and for the search of a seek, and workers for memory.
#pragma once

#include <chrono>

namespace vantor {

// The defaults keep every control call under five seconds. Tests use shorter ones.
struct Patience {
  // From when all workers were told to stop until what may hold one of them is let go.
  std::chrono::milliseconds answer{1000};
  // From one thing let go to the next, and from the last of them until a worker is left to itself.
  std::chrono::milliseconds step{500};
  // For the samples that must come home before an allocator takes a larger size.
  std::chrono::milliseconds enlarging{1000};
  // For the search of a seek, until the source that may hold it is let go, and another step for it to begin anew.
  std::chrono::milliseconds search{1500};
};

}  // namespace vantor
