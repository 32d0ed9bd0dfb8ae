// What the trace log asks of the system it runs on, behind one interface: tests put a clock and failures of their own
// in its place.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>

#include "platform/append_file.h"
#include "platform/periodic_timer.h"
#include "platform/process.h"
#include "platform/shared_words.h"

namespace vantor {

class TraceSystem {
 public:
  virtual ~TraceSystem() = default;

  // A timer that calls back until it is destroyed, or null.
  using Timer = std::shared_ptr<void>;

  virtual platform::LocalTime LocalTimeNow();
  // Milliseconds since some point in the past; never goes back.
  virtual std::int64_t Milliseconds();
  virtual void Sleep(unsigned milliseconds);
  virtual std::uint32_t ProcessId();
  virtual std::uint32_t ThreadId();
  virtual int HandleCount();
  virtual void DebuggerOutput(const char* line);
  virtual std::unique_ptr<platform::AppendFile> OpenFile(const WideString& path, platform::AppendError& error);
  virtual std::shared_ptr<platform::SharedWords> OpenWords(const char* name);
  virtual Timer StartTimer(unsigned milliseconds, std::function<void()> callback);

  // How long anything is waited for, and the time between two attempts to take a lock; in milliseconds.
  static constexpr unsigned kLongestWait = 1000;
  static constexpr unsigned kPoll = 100;

  // Attempts again and again until it succeeds or the longest wait is over; whether it did.
  virtual bool TryForAWhile(const std::function<bool()>& attempt);

  // The system itself. It may be used until the process is gone.
  static TraceSystem& Real();
};

}  // namespace vantor
