#include "diag/trace_system.h"

#include <chrono>
#include <utility>

#include "platform/never_destroyed.h"
#include "platform/platform.h"

namespace vantor {

platform::LocalTime TraceSystem::LocalTimeNow() { return platform::LocalTimeNow(); }

std::int64_t TraceSystem::Milliseconds() {
  const auto now = std::chrono::steady_clock::now().time_since_epoch();
  return std::chrono::duration_cast<std::chrono::milliseconds>(now).count();
}

void TraceSystem::Sleep(unsigned milliseconds) { SleepMilliseconds(milliseconds); }

std::uint32_t TraceSystem::ProcessId() { return platform::CurrentProcessId(); }

std::uint32_t TraceSystem::ThreadId() { return platform::CurrentThreadId(); }

int TraceSystem::HandleCount() { return platform::OpenHandleCount(); }

void TraceSystem::DebuggerOutput(const char* line) { platform::DebuggerOutput(line); }

std::unique_ptr<platform::AppendFile> TraceSystem::OpenFile(const WideString& path, platform::AppendError& error) {
  return platform::AppendFile::Open(path, error);
}

std::shared_ptr<platform::SharedWords> TraceSystem::OpenWords(const char* name) {
  return platform::OpenSharedWords(name);
}

TraceSystem::Timer TraceSystem::StartTimer(unsigned milliseconds, std::function<void()> callback) {
  return platform::PeriodicTimer::Start(milliseconds, std::move(callback));
}

bool TraceSystem::TryForAWhile(const std::function<bool()>& attempt) {
  for (unsigned waited = 0; !attempt(); waited += kPoll) {
    if (waited >= kLongestWait) return false;
    Sleep(kPoll);
  }
  return true;
}

TraceSystem& TraceSystem::Real() {
  static NeverDestroyed<TraceSystem> system;
  return *system;
}

}  // namespace vantor
