// A process that writes trace lines, for tests to start; built with tracing on.
//
//   trace_writer trace PATH TAG COUNT    by the process's trace log
//   trace_writer late PATH TAG COUNT     so, and once more from a destructor after the log's own ending
//   trace_writer threads PATH TAG COUNT  from as many threads, which go on until the process is gone
//   trace_writer module PATH TAG COUNT   from a module, and as many when nobody holds it any more
//   trace_writer call PATH TAG COUNT     nothing: ends while a call of a module's timer is under way
//   trace_writer share PATH TAG COUNT    by a logger that opens and closes the file for every line
#include <atomic>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <memory>
#include <string>
#include <thread>

#include "diag/file_logger.h"
#include "diag/patient_system.h"
#include "diag/result_names.h"
#include "diag/trace.h"
#include "platform/append_file.h"
#include "platform/file_path.h"
#include "platform/platform.h"

namespace vantor {
namespace {

void WriteByTrace(const WideString& path, const char* tag, int count) {
  std::memcpy(TracePath(), path.c_str(), (path.size() + 1) * sizeof(WCHAR));
  for (int i = 0; i < count; ++i) VANTOR_TRACE("\n%s %d %s", tag, i, ResultName(E_FAIL));
}

// Made before the log, and so destroyed after its ending.
struct LateWriter {
  bool wanted = false;
  ~LateWriter() {
    if (wanted) VANTOR_TRACE("\nlate %s", ResultName(E_FAIL));
  }
};
LateWriter g_late;

void WriteWithoutEnd(const WideString& path, const char* tag, int count) {
  WriteByTrace(path, tag, 1);
  std::atomic<int> running = 0;
  for (int i = 0; i < count; ++i) {
    std::thread([&running, i, name = std::string(tag)] {
      for (int line = 0;; ++line) {
        VANTOR_TRACE("\n%s %d.%d", name.c_str(), i, line);
        if (line == 0) running += 1;
      }
    }).detach();
  }
  while (running < count) std::this_thread::yield();
}

std::unique_ptr<SharedLibrary> LoadModule() {
  const std::filesystem::path own = platform::ToPath(ModulePath());
  return SharedLibrary::Load(platform::FromPath(own.parent_path() / VANTOR_TRACED_MODULE));
}

// Whether somebody has written to the file, and closed it.
bool IsWritten(const WideString& path) {
  platform::AppendError error = platform::AppendError::kNone;
  const auto file = platform::AppendFile::Open(path, error);
  return file != nullptr && file->Size() > 0;
}

// The module's timer goes on, and its code stays, when nobody holds the module any more.
bool WriteByModule(const WideString& path, const char* tag, int count) {
  auto module = LoadModule();
  if (module == nullptr) return false;
  const auto write = module->FindFunction<void(const WCHAR*, const char*, int)>("TraceLines");
  if (write == nullptr) return false;
  write(path.c_str(), tag, count);
  module.reset();
  write(path.c_str(), tag, count);
  while (!IsWritten(path)) {
    SleepMilliseconds(1);
    write(path.c_str(), tag, count);
  }
  return true;
}

bool EndDuringACall() {
  const auto module = LoadModule();
  if (module == nullptr) return false;
  const auto call = module->FindFunction<void()>("CallWithoutEnd");
  if (call == nullptr) return false;
  call();
  return true;
}

void WriteByLogger(const WideString& path, const char* tag, int count) {
  test::PatientSystemWithoutTimer system;
  FileLogger logger(path, system);
  for (int i = 0; i < count; ++i) {
    logger.Append((std::string(tag) + " " + std::to_string(i) + "\n").c_str());
    logger.Flush();
  }
}

}  // namespace
}  // namespace vantor

int main(int count, char** words) {
  if (count != 5) return 2;
  const std::string mode = words[1];
  const vantor::WideString path = vantor::Utf8ToWide(words[2]);
  const int lines = std::atoi(words[4]);
  if (path.size() >= vantor::kTracePathRoom) return 2;
  if (mode == "trace") {
    vantor::WriteByTrace(path, words[3], lines);
  } else if (mode == "late") {
    vantor::g_late.wanted = true;
    vantor::WriteByTrace(path, words[3], lines);
  } else if (mode == "module") {
    if (!vantor::WriteByModule(path, words[3], lines)) return 3;
  } else if (mode == "call") {
    if (!vantor::EndDuringACall()) return 3;
  } else if (mode == "threads") {
    vantor::WriteWithoutEnd(path, words[3], lines);
  } else if (mode == "share") {
    vantor::WriteByLogger(path, words[3], lines);
  } else {
    return 2;
  }
  return 0;
}
