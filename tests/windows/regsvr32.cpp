#include "windows/regsvr32.h"

#include <gtest/gtest.h>

#include "platform/text.h"

namespace vantor::test {
namespace {

constexpr DWORD kLookEvery = 20;       // milliseconds
constexpr ULONGLONG kLongest = 60000;  // many times what a busy machine needs
constexpr int kMessageText = 0xFFFF;   // the identifier of the text in a message box

HWND ErrorBoxOf(DWORD process) {
  HWND box = nullptr;
  while ((box = FindWindowExW(nullptr, box, L"#32770", L"Error"))) {
    DWORD owner = 0;
    GetWindowThreadProcessId(box, &owner);
    if (owner == process) return box;
  }
  return nullptr;
}

// Empty as long as the box is not complete.
std::string TextOf(HWND box) {
  WCHAR text[1024] = {};
  DWORD_PTR length = 0;
  const HWND control = GetDlgItem(box, kMessageText);
  if (!control || !SendMessageTimeoutW(control, WM_GETTEXT, 1024, reinterpret_cast<LPARAM>(text), SMTO_ABORTIFHUNG,
                                       1000, &length)) {
    return {};
  }
  return WideToUtf8(text);
}

}  // namespace

std::ostream& operator<<(std::ostream& out, const Regsvr32Run& run) {
  return out << "exit code " << run.code << ", message \"" << run.message << '"';
}

Regsvr32Run RunRegsvr32(const std::string& options, const std::string& path) {
  Regsvr32Run run;
  WideString line = Utf8ToWide("regsvr32.exe " + options + " \"" + path + "\"");
  STARTUPINFOW startup = {};
  startup.cb = sizeof startup;
  PROCESS_INFORMATION process = {};
  if (!CreateProcessW(nullptr, line.data(), nullptr, nullptr, FALSE, 0, nullptr, nullptr, &startup, &process)) {
    ADD_FAILURE() << "regsvr32 does not start: " << GetLastError();
    return run;
  }
  const ULONGLONG started = GetTickCount64();
  while (WaitForSingleObject(process.hProcess, kLookEvery) == WAIT_TIMEOUT) {
    if (const HWND box = ErrorBoxOf(process.dwProcessId)) {
      const std::string text = TextOf(box);
      if (!text.empty()) {
        run.message = text;
        PostMessageW(box, WM_CLOSE, 0, 0);
      }
    }
    if (GetTickCount64() - started > kLongest) {
      ADD_FAILURE() << "regsvr32 " << options << " does not end; killed after " << kLongest << " ms";
      TerminateProcess(process.hProcess, MAXDWORD);
      WaitForSingleObject(process.hProcess, INFINITE);
      break;
    }
  }
  GetExitCodeProcess(process.hProcess, &run.code);
  CloseHandle(process.hThread);
  CloseHandle(process.hProcess);
  return run;
}

bool WindowsCanBeMade() {
  const HWND window = CreateWindowExW(0, L"STATIC", L"", WS_OVERLAPPED, 0, 0, 1, 1, nullptr, nullptr, nullptr, nullptr);
  return window && DestroyWindow(window);
}

}  // namespace vantor::test
