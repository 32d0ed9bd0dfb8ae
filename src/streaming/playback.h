// What the workers of all pins share with the filter: the range being played and the way to report.
#pragma once

#include <cstdint>

#include "platform/com.h"

namespace vantor {

// Times are stream-independent positions in 100 ns; the rate is announced and otherwise not acted on.
struct PlaybackRange {
  std::int64_t start = 0;
  std::int64_t stop = 0;
  double rate = 1.0;
};

class Playback {
 public:
  // The range of the current run. Any thread; takes no lock that is held across a wait for a worker.
  virtual PlaybackRange Range() const = 0;
  // Moves the current position on to the stop time of a block that is about to go out, within the range.
  virtual void AdvancePosition(std::int64_t stop) = 0;
  // Sends the event of an error to the graph, if there is one to hear it: the first parameter is the result.
  virtual void NotifyGraph(long event, LONG_PTR first, LONG_PTR second) = 0;

 protected:
  ~Playback() = default;
};

}  // namespace vantor
