// The process's trace log.
//
//   VANTOR_TRACE("\nConnecting gave %s", ResultName(result));
//
// Lines begin, not end, with their line feed; what they are prefixed with and where they go is decided when the
// component is built (trace_flags.h). As shipped nothing is written, and a trace costs nothing: its arguments are not
// even evaluated.
#pragma once

#include <cstddef>
#include <cstdio>

#include "diag/trace_flags.h"
#include "platform/com.h"

namespace vantor {

// Writes the printf-style text, cut to 2,047 bytes. A null format writes nothing. Any thread may trace, until the
// process is gone, and learns of no failure.
void Trace(const char* format, ...) noexcept;
// Writes the text as it is.
void TraceLine(const char* text) noexcept;

// The path of the trace file, in storage that may be written to before the first trace: "c:\VantorTrace.txt" on
// Windows, "/tmp/VantorTrace.txt" elsewhere.
inline constexpr std::size_t kTracePathRoom = 260;
WCHAR* TracePath() noexcept;

}  // namespace vantor

// Trace, evaluated only in a build that traces. The format is checked against the arguments in every build.
#define VANTOR_TRACE(...)                                                     \
  do {                                                                        \
    static_assert(sizeof(std::printf(__VA_ARGS__)) != 0);                     \
    if constexpr ((::vantor::kTraceFlags & ::vantor::kTraceFormatted) != 0) { \
      ::vantor::Trace(__VA_ARGS__);                                           \
    }                                                                         \
  } while (false)
