// Printing data so that a full disk or a closed pipe is noticed.
#pragma once

#include <cstdio>
#include <string_view>

namespace vantor::tools {

// Writes all of the text and passes it on to the system; false when that fails.
inline bool Print(std::FILE* file, std::string_view text) {
  return std::fwrite(text.data(), 1, text.size(), file) == text.size() && std::fflush(file) == 0;
}

}  // namespace vantor::tools
