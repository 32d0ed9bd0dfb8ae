// Paths as the programs of this system hold them, UTF-8 on Windows and the system's own bytes elsewhere, to and from
// the standard library's.
#pragma once

#include <filesystem>
#include <string>

namespace vantor::platform {

inline std::filesystem::path ToPath(const std::string& text) {
  return std::filesystem::path(std::u8string(text.begin(), text.end()));
}

inline std::string FromPath(const std::filesystem::path& path) {
  const std::u8string text = path.u8string();
  return std::string(text.begin(), text.end());
}

}  // namespace vantor::platform
