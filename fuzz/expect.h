// What a fuzz target holds to be true of every input: when it is not, the program ends, and the input is a finding.
#pragma once

#include <cstdio>
#include <cstdlib>

namespace vantor::fuzz {

inline void Expect(bool holds, const char* what) {
  if (holds) return;
  std::fprintf(stderr, "does not hold: %s\n", what);
  std::abort();
}

}  // namespace vantor::fuzz
