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

// Whether playing is to end before the announced end (100 ns, 0 where there is none): what is missing behind that is
// not missed then.
bool EndsEarly(const Options& options, std::int64_t announced);

// What to say of a seek that settled before the position that was asked for; nothing of any other. A filter keeps to
// the file: what lies behind its end becomes the end, and what comes is what the index has before that. All in 100 ns.
std::string MovedText(std::int64_t asked, std::int64_t settled, std::int64_t duration, const std::string& doing);

// Sets the positions that the options ask for, if they do, once the sinks are connected. The range is then where the
// filter went: it keeps to the file, and goes to the start of a file that it cannot seek in. That is said, as what is
// done from there. Anything but kExitDone has been said, too.
int SeekTo(Session& session, const Options& options, const std::string& doing, PlayRange& range);

}  // namespace vantor::tools
