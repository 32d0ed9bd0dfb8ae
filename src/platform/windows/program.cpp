#include "platform/program.h"

#include <fcntl.h>
#include <io.h>
#include <windows.h>

#include <shellapi.h>

#include <atomic>
#include <cstdio>
#include <cstdlib>

#include "platform/text.h"

namespace vantor::platform {
namespace {

std::atomic<UINT> consolePage{0};  // the console's own; 0 where there is nothing to put back

void PutConsolePageBack() noexcept {
  if (const UINT page = consolePage.exchange(0)) SetConsoleOutputCP(page);
}

// The first handler that was set up is asked last: nobody else wants the event, and the system ends the program.
BOOL WINAPI BeforeTheSystemEnds(DWORD) {
  PutConsolePageBack();
  return FALSE;
}

}  // namespace

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
  PutConsolePageBack();
  std::_Exit(status);
}

StandardStreams::StandardStreams() noexcept {
  _setmode(_fileno(stdout), _O_BINARY);
  _setmode(_fileno(stderr), _O_BINARY);
  const UINT page = GetConsoleOutputCP();
  if (page == 0) return;
  consolePage = page;
  SetConsoleCtrlHandler(BeforeTheSystemEnds, TRUE);
  SetConsoleOutputCP(CP_UTF8);
}

StandardStreams::~StandardStreams() {
  PutConsolePageBack();
  SetConsoleCtrlHandler(BeforeTheSystemEnds, FALSE);
}

}  // namespace vantor::platform
