// A system for the trace log whose clock moves only when it is told to or slept on, whose timer runs when it is told
// to, and that fails to open files where it is told to. Files it does open are real.
#pragma once

#include <deque>
#include <functional>
#include <string>
#include <utility>
#include <vector>

#include "diag/trace_system.h"

namespace vantor::test {

class FakeTraceSystem final : public TraceSystem {
 public:
  platform::LocalTime local = {13, 14, 15, 16};
  std::int64_t now = 5000;
  int handles = 77;
  std::uint32_t thread = 0xABC;
  std::uint32_t process = 0x1234;
  bool hasTimer = true;
  bool hasWords = true;
  std::deque<platform::AppendError> openFailures;
  std::function<void()> onSleep;
  std::function<void()> onLocalTime;
  std::function<void()> onStartTimer;

  std::vector<std::string> shown;  // to the debugger
  std::vector<unsigned> slept;
  std::vector<WideString> opened;
  std::function<void()> tick;  // the running timer's
  int calls = 0;               // of anything

  platform::LocalTime LocalTimeNow() override {
    ++calls;
    if (onLocalTime) onLocalTime();
    return local;
  }
  std::int64_t Milliseconds() override {
    ++calls;
    return now;
  }
  void Sleep(unsigned milliseconds) override {
    ++calls;
    slept.push_back(milliseconds);
    now += milliseconds;
    if (onSleep) onSleep();
  }
  std::uint32_t ProcessId() override {
    ++calls;
    return process;
  }
  std::uint32_t ThreadId() override {
    ++calls;
    return thread;
  }
  int HandleCount() override {
    ++calls;
    return handles;
  }
  void DebuggerOutput(const char* line) override {
    ++calls;
    shown.emplace_back(line);
  }
  std::unique_ptr<platform::AppendFile> OpenFile(const WideString& path, platform::AppendError& error) override {
    ++calls;
    opened.push_back(path);
    if (openFailures.empty()) return TraceSystem::OpenFile(path, error);
    error = openFailures.front();
    openFailures.pop_front();
    return nullptr;
  }
  std::shared_ptr<platform::SharedWords> OpenWords(const char* name) override {
    ++calls;
    return hasWords ? TraceSystem::OpenWords(name) : nullptr;
  }
  Timer StartTimer(unsigned milliseconds, std::function<void()> callback) override {
    ++calls;
    if (onStartTimer) onStartTimer();
    if (!hasTimer || milliseconds == 0) return nullptr;
    tick = std::move(callback);
    return Timer(this, [](void* self) { static_cast<FakeTraceSystem*>(self)->tick = nullptr; });
  }
};

}  // namespace vantor::test
