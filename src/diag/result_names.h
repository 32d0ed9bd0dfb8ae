// Names of result codes, events and window messages for trace lines.
//
//   VANTOR_TRACE("\nConnecting gave %s", ResultName(result));
//
// Codes are looked up only while formatted tracing is on; otherwise every name is the empty text.
#pragma once

#include <cstdint>

#include "diag/trace_flags.h"
#include "platform/com.h"

namespace vantor {

// The name, for some codes with a description. A code without a name gives text with its number, in a buffer of the
// calling thread that its next look-up overwrites.
const char* LookupResultName(HRESULT result);
const char* LookupEventName(long event);
const char* LookupMessageName(std::uint32_t message);

// LookupResultName where the flags ask for it, by default those of the calling source file.
static inline const char* ResultName(HRESULT result, std::uint32_t flags = kTraceFlags) {
  return (flags & kTraceFormatted) != 0 ? LookupResultName(result) : "";
}

}  // namespace vantor
