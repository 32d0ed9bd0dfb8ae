// What the trace log writes, decided when the component is built: the CMake option VANTOR_TRACE_FLAGS holds the bits.
// Its usual value, 0x10, writes nothing.
#pragma once

#include <cstdint>

namespace vantor {

enum TraceFlag : std::uint32_t {
  kTraceToFile = 0x01,      // lines go to the trace file
  kTraceTime = 0x02,        // lines begin with the time of day
  kTraceThread = 0x04,      // and with the identifier of the thread
  kTraceFormatted = 0x08,   // formatted lines are written and results are named at all
  kTraceShipped = 0x10,     // means nothing; set in what is shipped
  kTraceHandles = 0x20,     // lines begin with the number of handles that the process holds
  kTraceToDebugger = 0x40,  // lines go to the debugger
};

// Each source file has its own: those of one program may be built with different flags.
constexpr std::uint32_t kTraceFlags = VANTOR_TRACE_FLAGS;

}  // namespace vantor
