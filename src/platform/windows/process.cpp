#include "platform/process.h"

#include <windows.h>

namespace vantor::platform {

LocalTime LocalTimeNow() {
  SYSTEMTIME now = {};
  GetLocalTime(&now);
  return {now.wHour, now.wMinute, now.wSecond, now.wMilliseconds};
}

std::uint32_t CurrentProcessId() { return GetCurrentProcessId(); }

std::uint32_t CurrentThreadId() { return GetCurrentThreadId(); }

int OpenHandleCount() {
  DWORD count = 0;
  return GetProcessHandleCount(GetCurrentProcess(), &count) ? static_cast<int>(count) : -1;
}

void DebuggerOutput(const char* text) { OutputDebugStringA(text); }

WideStringView TraceFilePath() { return OLESTR("c:\\VantorTrace.txt"); }

}  // namespace vantor::platform
