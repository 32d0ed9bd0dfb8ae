#include "platform/process.h"

#include <sys/syscall.h>
#include <unistd.h>

#include <cstdio>
#include <ctime>
#include <filesystem>
#include <system_error>

namespace vantor::platform {

LocalTime LocalTimeNow() {
  timespec now = {};
  clock_gettime(CLOCK_REALTIME, &now);
  tm local = {};
  localtime_r(&now.tv_sec, &local);
  return {local.tm_hour, local.tm_min, local.tm_sec, static_cast<int>(now.tv_nsec / 1000000)};
}

std::uint32_t CurrentProcessId() { return static_cast<std::uint32_t>(getpid()); }

std::uint32_t CurrentThreadId() { return static_cast<std::uint32_t>(syscall(SYS_gettid)); }

int OpenHandleCount() {
  std::error_code error;
  std::filesystem::directory_iterator entry("/proc/self/fd", error);
  int count = -1;  // reading the folder takes a descriptor that is not counted
  for (const std::filesystem::directory_iterator end; !error && entry != end; entry.increment(error)) ++count;
  return error ? -1 : count;
}

void DebuggerOutput(const char* text) { std::fputs(text, stderr); }

WideStringView TraceFilePath() { return OLESTR("/tmp/VantorTrace.txt"); }

}  // namespace vantor::platform
