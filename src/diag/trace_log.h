// Trace lines: their prefixes and where they go, under the control of a word of flags (trace_flags.h).
#pragma once

#include <atomic>
#include <cstdarg>
#include <cstddef>
#include <cstdint>
#include <memory>

#include "diag/file_logger.h"
#include "diag/trace_clock.h"
#include "diag/trace_flags.h"
#include "diag/trace_system.h"
#include "platform/lock.h"

namespace vantor {

class TraceLog {
 public:
  // The path, which must outlive the log, is read anew for every line.
  TraceLog(std::uint32_t flags, const WCHAR* path, TraceSystem& system);

  // Writes the printf-style text as TraceLine does, cut to 2,047 bytes. Nothing without kTraceFormatted.
  void Trace(const char* format, va_list arguments) noexcept;

  // Writes the text. Only one that begins with a line feed gets prefixes, behind its initial line feeds, and is cut to
  // 2,047 bytes with them; one without goes on in the line of the text before, as it is. A prefix of more than 50
  // bytes, by very many line feeds, ends the process.
  void TraceLine(const char* text) noexcept;

  // For the end of the process: writes what was collected, as FileLogger::FlushLast does. Lines that are still traced
  // are written one by one from here on; none waits for long, and those that a thread that was ended is in the way of
  // are lost.
  void End() noexcept VANTOR_EXCLUDES(lock_);

 protected:
  Lock lock_{LockRank::TraceLog};

 private:
  // What a line is put together in, its terminating zero included.
  static constexpr std::size_t kLineRoom = 2048;

  void AddPrefixes(const char* text, char (&line)[kLineRoom]);
  void AppendToFile(const char* line) VANTOR_EXCLUDES(lock_);
  // Takes the lock unless a thread holds it for good that was ended.
  bool TryLock() VANTOR_TRY_ACQUIRE(true, lock_);

  const std::uint32_t flags_;
  const WCHAR* const path_;
  TraceSystem& system_;
  TraceClock clock_;
  std::atomic<bool> ended_{false};
  // The one last written to, kept so that it can collect.
  std::shared_ptr<FileLogger> logger_ VANTOR_GUARDED_BY(lock_);
};

}  // namespace vantor
