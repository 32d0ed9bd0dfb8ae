#include "platform/terminal.h"

#include <io.h>
#include <windows.h>

namespace vantor::platform {
namespace {

HANDLE HandleOf(std::FILE* stream) noexcept { return reinterpret_cast<HANDLE>(_get_osfhandle(_fileno(stream))); }

}  // namespace

bool IsTerminal(std::FILE* stream) noexcept {
  DWORD mode = 0;
  return GetConsoleMode(HandleOf(stream), &mode) != FALSE;
}

int TerminalWidth(std::FILE* stream, int fallback) noexcept {
  CONSOLE_SCREEN_BUFFER_INFO info = {};
  return GetConsoleScreenBufferInfo(HandleOf(stream), &info) ? info.srWindow.Right - info.srWindow.Left + 1 : fallback;
}

void WriteMessage(std::FILE* stream, const char* bytes, std::size_t size) noexcept {
  static_cast<void>(std::fwrite(bytes, 1, size, stream));
  static_cast<void>(std::fflush(stream));
}

void PrepareTerminal(std::FILE* stream) noexcept {
  DWORD mode = 0;
  if (GetConsoleMode(HandleOf(stream), &mode)) {
    SetConsoleOutputCP(CP_UTF8);
    SetConsoleMode(HandleOf(stream), mode | 0x0004 /* ENABLE_VIRTUAL_TERMINAL_PROCESSING */);
  }
}

}  // namespace vantor::platform
