// Printing data so that a full disk or a closed pipe is noticed.
#pragma once

#include <cerrno>
#include <cstdio>
#include <string>
#include <string_view>
#include <system_error>

#include "tools/interrupt_exit.h"

namespace vantor::tools {

// Writes all of the text, an interrupt notwithstanding, and passes it on to the system; false when that fails.
inline bool Print(std::FILE* file, std::string_view text) {
  const InterruptHold whole;
  errno = 0;
  return std::fwrite(text.data(), 1, text.size(), file) == text.size() && std::fflush(file) == 0;
}

// What to say of a Print that has just failed: "cannot write the answer: No space left on device".
inline std::string CannotWrite(const std::string& what) {
  const int reason = errno;
  const std::string said = "cannot write " + what;
  return reason == 0 ? said : said + ": " + std::generic_category().message(reason);
}

}  // namespace vantor::tools
