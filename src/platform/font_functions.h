// What the system offers for process-private fonts and for the temporary files they are installed from.
#pragma once

#include <cstddef>
#include <string>

#include "platform/com.h"

namespace vantor::platform {

// Functions that a system may lack: each is null where it does. They go by the system's own names.
struct FontFunctions {
  // NOLINTBEGIN(readability-identifier-naming)
  HANDLE(WINAPI* AddFontMemResourceEx)(void* data, DWORD size, void* reserved, DWORD* count) = nullptr;
  int(WINAPI* AddFontResourceExA)(const char* name, DWORD flags, void* reserved) = nullptr;
  BOOL(WINAPI* RemoveFontMemResourceEx)(HANDLE font) = nullptr;
  BOOL(WINAPI* RemoveFontResourceExA)(const char* name, DWORD flags, void* reserved) = nullptr;
  BOOL(WINAPI* MoveFileExA)(const char* from, const char* to, DWORD flags) = nullptr;
  // NOLINTEND(readability-identifier-naming)
};

// Looked up in modules that are already loaded; none is loaded or freed.
FontFunctions FindFontFunctions();

// Flags of the functions above.
inline constexpr DWORD kFontPrivate = 0x10;          // FR_PRIVATE
inline constexpr DWORD kMoveDelayUntilReboot = 0x4;  // MOVEFILE_DELAY_UNTIL_REBOOT

class TemporaryFiles {
 public:
  virtual ~TemporaryFiles() = default;
  // The name of a new file in the folder for temporary files; the file may exist afterwards. False when there is none.
  virtual bool MakeName(const char* prefix, std::string& name) = 0;
  // Creates the file anew, writes the data and closes it. False when it could not be created or not all was written.
  virtual bool Write(const std::string& name, const void* data, std::size_t size) = 0;
  virtual bool Delete(const std::string& name) = 0;
};

// The system's; lives as long as the process.
TemporaryFiles& SystemTemporaryFiles();

}  // namespace vantor::platform
