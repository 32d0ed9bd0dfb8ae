#include "diag/trace_log.h"

#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <utility>

namespace vantor {
namespace {

constexpr std::size_t kPrefixRoom = 50;
constexpr std::int64_t kDay = 86400000;

// The prefix as it is put together.
class Prefix {
 public:
  void Add(const char* format, ...) {
    va_list arguments;
    va_start(arguments, format);
    const int added = std::vsnprintf(text_ + length_, sizeof text_ - length_, format, arguments);
    va_end(arguments);
    if (added < 0 || length_ + static_cast<std::size_t>(added) > kPrefixRoom) std::abort();
    length_ += static_cast<std::size_t>(added);
  }

  const char* Text() const { return text_; }

 private:
  char text_[kPrefixRoom + 1] = "";
  std::size_t length_ = 0;
};

void AddTime(Prefix& prefix, const TraceClock::Stamp& stamp) {
  if (stamp.afterPause) prefix.Add("\n");
  const std::int64_t seconds = stamp.milliseconds / 1000;
  const auto millisecond = static_cast<int>(stamp.milliseconds % 1000);
  const auto second = static_cast<int>(seconds % 60);
  const auto minute = static_cast<int>(seconds / 60 % 60);
  const auto hour = static_cast<int>(seconds / 3600 % 24);
  if (stamp.milliseconds > kDay) prefix.Add("+%dd ", static_cast<int>(stamp.milliseconds / kDay));
  prefix.Add("%02d:%02d:%02d.%03d: ", hour, minute, second, millisecond);
}

}  // namespace

TraceLog::TraceLog(std::uint32_t flags, const WCHAR* path, TraceSystem& system)
    : flags_(flags), path_(path), system_(system), clock_(system) {}

void TraceLog::Trace(const char* format, va_list arguments) noexcept {
  if ((flags_ & kTraceFormatted) == 0 || format == nullptr) return;
  char text[kLineRoom];
  if (std::vsnprintf(text, sizeof text, format, arguments) >= 0) TraceLine(text);
}

void TraceLog::TraceLine(const char* text) noexcept {
  if ((flags_ & (kTraceToFile | kTraceToDebugger)) == 0 || text == nullptr) return;
  try {
    char prefixed[kLineRoom];
    const char* line = text;
    if (*text == '\n') {
      AddPrefixes(text, prefixed);
      line = prefixed;
    }
    if ((flags_ & kTraceToDebugger) != 0) system_.DebuggerOutput(line);
    if ((flags_ & kTraceToFile) != 0) {
      AppendToFile(line);
    } else {
      // The debugger alone was told: whoever shows its lines gets the processor, or a burst of them would be behind
      // what it tells of. With a file there is nothing to wait for, a timer writes what was collected.
      system_.Sleep(0);
    }
  } catch (...) {
    // Tracing reports no error, and never changes what it traces.
  }
}

// The room is the stack's, since a line is traced where there may be no memory to ask for, and so it has an end. A text
// without prefixes is never put together with anything, and passes whole.
void TraceLog::AddPrefixes(const char* text, char (&line)[kLineRoom]) {
  Prefix prefix;
  for (; *text == '\n'; ++text) prefix.Add("\r\n");
  if ((flags_ & kTraceTime) != 0) AddTime(prefix, clock_.Next());
  if ((flags_ & kTraceHandles) != 0) prefix.Add("%4d ", system_.HandleCount());
  if ((flags_ & kTraceThread) != 0) prefix.Add("%08x: ", static_cast<unsigned>(system_.ThreadId()));
  std::snprintf(line, sizeof line, "%s%s", prefix.Text(), text);
}

void TraceLog::AppendToFile(const char* line) {
  if (ended_) {
    const std::shared_ptr<FileLogger> last = FileLogger::ForPathLast(path_, system_);
    if (last != nullptr) last->AppendLast(line);
    return;
  }
  std::shared_ptr<FileLogger> logger = FileLogger::ForPath(path_, system_);
  logger->Append(line);
  std::shared_ptr<FileLogger> former = logger;
  {
    const LockScope hold(lock_);
    std::swap(logger_, former);
  }
  if (ended_) logger->Flush();
}

bool TraceLog::TryLock() VANTOR_NO_THREAD_SAFETY_ANALYSIS {
  return system_.TryForAWhile([this] { return lock_.TryAcquire(); });
}

void TraceLog::End() noexcept {
  ended_ = true;
  std::shared_ptr<FileLogger> logger;
  {
    if (!TryLock()) return;
    const LockScope hold(lock_, AdoptLock());
    logger = logger_;
  }
  if (logger != nullptr) logger->FlushLast();
}

}  // namespace vantor
