#include "platform/shared_words.h"

#include <windows.h>

namespace vantor::platform {

std::shared_ptr<SharedWords> OpenSharedWords(const char* name) {
  HANDLE section = CreateFileMappingA(INVALID_HANDLE_VALUE, nullptr, PAGE_READWRITE, 0, sizeof(SharedWords), name);
  if (section == nullptr) return nullptr;
  void* view = MapViewOfFile(section, FILE_MAP_ALL_ACCESS, 0, 0, sizeof(SharedWords));
  if (view == nullptr) {
    CloseHandle(section);
    return nullptr;
  }
  return std::shared_ptr<SharedWords>(static_cast<SharedWords*>(view), [section](SharedWords* words) {
    UnmapViewOfFile(words);
    CloseHandle(section);
  });
}

}  // namespace vantor::platform
