#include "platform/profile_file.h"

#include <filesystem>
#include <limits>
#include <system_error>
#include <vector>

namespace vantor::platform {

ProfileFile::ProfileFile(const WideString& path) {
  // The system would look for a bare name in its own folder.
  std::error_code error;
  const std::filesystem::path file = std::filesystem::absolute(path, error);
  if (error) return;
  const std::uintmax_t size = std::filesystem::file_size(file, error);
  if (!error && size <= kLargestFile) content_ = file.wstring();
}

WideString ProfileFile::Value(const WideString& section, const WideString& key, std::size_t capacity) const {
  if (content_.empty() || capacity == 0 || capacity > std::numeric_limits<DWORD>::max()) return {};
  std::vector<WCHAR> buffer(capacity);
  const DWORD length = GetPrivateProfileStringW(section.c_str(), key.c_str(), L"", buffer.data(),
                                                static_cast<DWORD>(capacity), content_.c_str());
  return WideString(buffer.data(), length);
}

}  // namespace vantor::platform
