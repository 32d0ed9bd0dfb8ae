// Why the system failed a call, in its own words.
//
//   ReadableFile file;
//   ...
//   if (file.ReadAt(0, buffer, size) < 0) return SystemErrorText(LastSystemError());   // "Input/output error"
#pragma once

#include <string>

namespace vantor::platform {

// The number of the calling thread's last failure; to be asked for at once.
int LastSystemError() noexcept;
// Without a line end; UTF-8.
std::string SystemErrorText(int error);

}  // namespace vantor::platform
