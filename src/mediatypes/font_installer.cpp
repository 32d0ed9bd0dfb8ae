#include "mediatypes/font_installer.h"

#include <limits>

namespace vantor {

namespace {

constexpr char kFilePrefix[] = "g_font";

}  // namespace

CFontInstaller::CFontInstaller() : CFontInstaller(platform::FindFontFunctions(), platform::SystemTemporaryFiles()) {}

CFontInstaller::CFontInstaller(const platform::FontFunctions& functions, platform::TemporaryFiles& files)
    : functions_(functions), temporaryFiles_(files) {}

CFontInstaller::~CFontInstaller() { RemoveAll(); }

bool CFontInstaller::Install(const std::uint8_t* data, std::size_t size) {
  return InstallFromFile(data, size) || InstallFromMemory(data, size);
}

bool CFontInstaller::InstallFromFile(const std::uint8_t* data, std::size_t size) {
  std::string name;
  if (functions_.AddFontResourceExA == nullptr || !temporaryFiles_.MakeName(kFilePrefix, name)) return false;
  fileNames_.reserve(fileNames_.size() + 1);
  if (temporaryFiles_.Write(name, data, size) &&
      functions_.AddFontResourceExA(name.c_str(), platform::kFontPrivate, nullptr) > 0) {
    fileNames_.push_back(std::move(name));
    return true;
  }
  temporaryFiles_.Delete(name);
  return false;
}

bool CFontInstaller::InstallFromMemory(const std::uint8_t* data, std::size_t size) {
  if (functions_.AddFontMemResourceEx == nullptr || size > std::numeric_limits<DWORD>::max()) return false;
  handles_.reserve(handles_.size() + 1);
  DWORD count = 0;
  const HANDLE handle =
      functions_.AddFontMemResourceEx(const_cast<std::uint8_t*>(data), static_cast<DWORD>(size), nullptr, &count);
  if (handle == nullptr || count == 0) return false;
  handles_.push_back(handle);
  return true;
}

void CFontInstaller::RemoveAll() {
  if (functions_.RemoveFontMemResourceEx != nullptr) {
    for (const HANDLE handle : handles_) functions_.RemoveFontMemResourceEx(handle);
    handles_.clear();
  }
  if (functions_.RemoveFontResourceExA != nullptr) {
    for (const std::string& name : fileNames_) {
      functions_.RemoveFontResourceExA(name.c_str(), platform::kFontPrivate, nullptr);
      if (!temporaryFiles_.Delete(name) && functions_.MoveFileExA != nullptr) {
        functions_.MoveFileExA(name.c_str(), nullptr, platform::kMoveDelayUntilReboot);
      }
    }
    fileNames_.clear();
  }
}

}  // namespace vantor
