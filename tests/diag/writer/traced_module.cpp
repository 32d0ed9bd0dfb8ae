// A module that writes trace lines, and has a timer whose call never returns, for trace_writer to load.
#include <algorithm>
#include <atomic>
#include <memory>

#include "diag/trace.h"
#include "platform/periodic_timer.h"
#include "platform/platform.h"

namespace {

std::unique_ptr<vantor::platform::PeriodicTimer> g_timer;
std::atomic<bool> g_calling = false;

}  // namespace

extern "C" void TraceLines(const WCHAR* path, const char* tag, int count) {
  std::copy_n(path, vantor::WideString(path).size() + 1, vantor::TracePath());
  for (int i = 0; i < count; ++i) VANTOR_TRACE("\n%s %d", tag, i);
}

// Returns while the call is under way, which then lasts as long as the process has threads.
extern "C" void CallWithoutEnd() {
  g_timer = vantor::platform::PeriodicTimer::Start(1, [] {
    g_calling = true;
    for (;;) vantor::SleepMilliseconds(1000);
  });
  while (!g_calling) vantor::SleepMilliseconds(1);
}
