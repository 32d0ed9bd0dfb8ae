#include "platform/profile_file.h"

#include <limits>
#include <vector>

namespace vantor::platform {

WideString ReadProfileString(const WideString& path, const WideString& section, const WideString& key,
                             std::size_t capacity) {
  if (capacity == 0 || capacity > std::numeric_limits<DWORD>::max()) return {};
  std::vector<WCHAR> buffer(capacity);
  const DWORD length = GetPrivateProfileStringW(section.c_str(), key.c_str(), L"", buffer.data(),
                                                static_cast<DWORD>(capacity), path.c_str());
  return WideString(buffer.data(), length);
}

}  // namespace vantor::platform
