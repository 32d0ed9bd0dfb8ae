// What a system error means to those who append to a file.
#pragma once

#include "platform/append_file.h"

namespace vantor::platform {

AppendError AppendErrorOf(DWORD code);

}  // namespace vantor::platform
