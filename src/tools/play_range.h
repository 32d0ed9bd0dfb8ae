// The part of a file that a command runs through.
//
//   PlayRange range{0, summary.duration};
//   if (int status = SeekTo(session, options, "playing", range); status != kExitDone) return status;
#pragma once

#include <cstdint>
#include <string>

#include "tools/session.h"

namespace vantor::tools {

// 100 ns.
struct PlayRange {
  std::int64_t start = 0;
  std::int64_t stop = 0;
};

// Sets the positions that the options ask for, if they do, once the sinks are connected. The range is then where the
// filter went: it keeps to the file, and goes to the start of a file that it cannot seek in. That is said, as what is
// done from there. Anything but kExitDone has been said, too.
int SeekTo(Session& session, const Options& options, const std::string& doing, PlayRange& range);

}  // namespace vantor::tools
