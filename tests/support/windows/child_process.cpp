#include "support/child_process.h"

#include "platform/com.h"
#include "platform/text.h"

namespace vantor::test {

ChildProcess::ChildProcess(const std::string& program, const std::vector<std::string>& arguments) {
  std::string line = "\"" + program + "\"";
  for (const std::string& argument : arguments) line += " \"" + argument + "\"";
  WideString command = Utf8ToWide(line);
  STARTUPINFOW startup = {};
  startup.cb = sizeof startup;
  PROCESS_INFORMATION started = {};
  if (!CreateProcessW(Utf8ToWide(program).c_str(), command.data(), nullptr, nullptr, FALSE, 0, nullptr, nullptr,
                      &startup, &started)) {
    return;
  }
  CloseHandle(started.hThread);
  process_ = reinterpret_cast<std::intptr_t>(started.hProcess);
}

int ChildProcess::Wait() {
  if (process_ == 0) return status_;
  HANDLE process = reinterpret_cast<HANDLE>(process_);
  DWORD status = 0;
  if (WaitForSingleObject(process, INFINITE) == WAIT_OBJECT_0 && GetExitCodeProcess(process, &status)) {
    status_ = static_cast<int>(status);
  }
  CloseHandle(process);
  process_ = 0;
  return status_;
}

}  // namespace vantor::test
