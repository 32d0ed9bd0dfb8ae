#include "platform/font_functions.h"

#include <algorithm>

namespace vantor::platform {

namespace {

template <typename Function>
void Find(HMODULE module, const char* name, Function& function) {
  if (module == nullptr) return;
  const FARPROC found = GetProcAddress(module, name);
  static_assert(sizeof(found) == sizeof(function));
  std::memcpy(&function, &found, sizeof(found));
}

class WindowsTemporaryFiles final : public TemporaryFiles {
 public:
  bool MakeName(const char* prefix, std::string& name) override {
    char folder[MAX_PATH] = {};
    char made[MAX_PATH] = {};
    const DWORD length = GetTempPathA(MAX_PATH, folder);
    if (length == 0 || length >= MAX_PATH || GetTempFileNameA(folder, prefix, 0, made) == 0) return false;
    name = made;
    return true;
  }

  bool Write(const std::string& name, const void* data, std::size_t size) override {
    const HANDLE file = CreateFileA(name.c_str(), GENERIC_READ | GENERIC_WRITE, FILE_SHARE_READ, nullptr, CREATE_ALWAYS,
                                    FILE_ATTRIBUTE_NORMAL, nullptr);
    if (file == INVALID_HANDLE_VALUE) return false;
    const auto* bytes = static_cast<const char*>(data);
    bool written = true;
    while (written && size > 0) {
      const DWORD chunk = static_cast<DWORD>(std::min<std::size_t>(size, 0x7FFFFFFF));
      DWORD done = 0;
      written = WriteFile(file, bytes, chunk, &done, nullptr) != 0 && done == chunk;
      bytes += done;
      size -= done;
    }
    CloseHandle(file);
    return written;
  }

  bool Delete(const std::string& name) override { return DeleteFileA(name.c_str()) != 0; }
};

}  // namespace

FontFunctions FindFontFunctions() {
  FontFunctions functions;
  const HMODULE gdi = GetModuleHandleA("gdi32.dll");
  const HMODULE kernel = GetModuleHandleA("kernel32.dll");
  Find(gdi, "AddFontMemResourceEx", functions.AddFontMemResourceEx);
  Find(gdi, "AddFontResourceExA", functions.AddFontResourceExA);
  Find(gdi, "RemoveFontMemResourceEx", functions.RemoveFontMemResourceEx);
  Find(gdi, "RemoveFontResourceExA", functions.RemoveFontResourceExA);
  Find(kernel, "MoveFileExA", functions.MoveFileExA);
  return functions;
}

TemporaryFiles& SystemTemporaryFiles() {
  static WindowsTemporaryFiles files;
  return files;
}

}  // namespace vantor::platform
