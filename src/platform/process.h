// What the trace log tells about the process it runs in.
#pragma once

#include <cstdint>

#include "platform/text.h"

namespace vantor::platform {

struct LocalTime {
  int hour = 0;
  int minute = 0;
  int second = 0;
  int millisecond = 0;
};

LocalTime LocalTimeNow();

std::uint32_t CurrentProcessId();
std::uint32_t CurrentThreadId();
// The number of handles that the process holds; -1 when the system does not tell. Natively: file descriptors.
int OpenHandleCount();
// Shows the text to the debugger. Natively: on standard error.
void DebuggerOutput(const char* text);
// Where the trace file lies.
WideStringView TraceFilePath();

}  // namespace vantor::platform
