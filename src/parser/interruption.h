// Asking, during a walk or a scan that may take long, whether somebody wants it to end: once in many steps, since
// asking costs more than a step does.
//
//   InterruptionPoll poll(file);
//   for (auto child = element.FirstChild(); child; child.MoveNext()) if (poll.Interrupted()) return;
#pragma once

#include <cstdint>

#include "parser/byte_source.h"

namespace vantor {

class InterruptionPoll {
 public:
  static constexpr std::uint32_t kSteps = 4096;
  enum class First { kAfterManySteps, kAtOnce };

  // Asks the source's `interrupted`. At once is for a scan that may stand at the end of every step of a longer walk.
  explicit InterruptionPoll(const CMkvFileReader& file, First first = First::kAfterManySteps)
      : file_(file), steps_(first == First::kAtOnce ? kSteps - 1 : 0) {}

  // Counts a step; true when it was this one's turn to ask, and the answer was yes.
  bool Interrupted() { return ++steps_ % kSteps == 0 && file_.interrupted && file_.interrupted(); }

 private:
  const CMkvFileReader& file_;
  std::uint32_t steps_;
};

}  // namespace vantor
