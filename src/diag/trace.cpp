#include "diag/trace.h"

#include <algorithm>
#include <array>
#include <cstdarg>

#include "diag/trace_log.h"
#include "platform/never_destroyed.h"
#include "platform/process.h"

namespace vantor {
namespace {

struct Ending {
  TraceLog& log;
  ~Ending() { log.End(); }
};

// Never destroyed: threads may trace while the process ends, and other objects' destructors after the log's ending.
TraceLog& ProcessLog() {
  static NeverDestroyed<TraceLog> log(kTraceFlags, TracePath(), TraceSystem::Real());
  static const Ending kEnding{*log};
  return *log;
}

}  // namespace

WCHAR* TracePath() noexcept {
  static std::array<WCHAR, kTracePathRoom> storage = [] {
    std::array<WCHAR, kTracePathRoom> path = {};
    std::ranges::copy(platform::TraceFilePath(), path.begin());
    return path;
  }();
  return storage.data();
}

void Trace(const char* format, ...) noexcept {
  if ((kTraceFlags & kTraceFormatted) == 0) return;
  va_list arguments;
  va_start(arguments, format);
  ProcessLog().Trace(format, arguments);
  va_end(arguments);
}

void TraceLine(const char* text) noexcept {
  if ((kTraceFlags & (kTraceToFile | kTraceToDebugger)) != 0) ProcessLog().TraceLine(text);
}

}  // namespace vantor
