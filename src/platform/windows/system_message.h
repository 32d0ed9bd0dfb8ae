// The system's own words for its error codes.
#pragma once

#include <string>

#include "platform/com.h"

namespace vantor {

// For a system error or a result; "error 0x" and 8 digits when the system has no text. Without a line end.
std::string SystemMessage(DWORD code);

}  // namespace vantor
