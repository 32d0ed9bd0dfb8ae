#include "platform/program.h"

#include <fcntl.h>
#include <io.h>
#include <windows.h>

#include <shellapi.h>

#include <cstdio>
#include <cstdlib>

#include "platform/text.h"

namespace vantor::platform {

std::vector<std::string> Arguments(int argc, const char* const* argv) {
  int count = 0;
  LPWSTR* const wide = CommandLineToArgvW(GetCommandLineW(), &count);
  if (wide == nullptr) return {argv, argv + argc};
  std::vector<std::string> arguments;
  for (int index = 0; index < count; ++index) arguments.push_back(WideToUtf8(wide[index]));
  LocalFree(wide);
  return arguments;
}

void ShareFreedMemory() noexcept {}  // its heap does

void LetWritesFail() noexcept {}  // they do
void EndProcess(std::string_view message, int status) noexcept {
  DWORD written = 0;
  WriteFile(GetStdHandle(STD_ERROR_HANDLE), message.data(), static_cast<DWORD>(message.size()), &written, nullptr);
  std::_Exit(status);
}

StandardStreams::StandardStreams() noexcept : codePage_(GetConsoleOutputCP()) {
  _setmode(_fileno(stdout), _O_BINARY);
  _setmode(_fileno(stderr), _O_BINARY);
  if (codePage_ != 0) SetConsoleOutputCP(CP_UTF8);
}

StandardStreams::~StandardStreams() {
  if (codePage_ != 0) SetConsoleOutputCP(codePage_);
}

}  // namespace vantor::platform
