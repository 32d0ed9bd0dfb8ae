// Names of the events that filters announce to their graph.
#pragma once

#include <string>

#include "platform/com.h"

namespace vantor::tools {

// The published name, for example "EC_ERRORABORT"; the number as "0x%08X" for an event without one.
std::string EventName(LONG code);

}  // namespace vantor::tools
