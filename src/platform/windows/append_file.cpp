#include "platform/append_file.h"

#include <windows.h>

#include "platform/windows/append_error.h"

namespace vantor::platform {
AppendError AppendErrorOf(DWORD code) {
  switch (code) {
    case ERROR_ACCESS_DENIED:
      return AppendError::kDenied;
    case ERROR_SHARING_VIOLATION:
    case ERROR_LOCK_VIOLATION:
      return AppendError::kBusy;
    default:
      return AppendError::kOther;
  }
}

namespace {

HANDLE HandleOf(std::intptr_t handle) { return reinterpret_cast<HANDLE>(handle); }

}  // namespace

std::unique_ptr<AppendFile> AppendFile::Open(const WideString& path, AppendError& error) {
  HANDLE handle = CreateFileW(path.c_str(), GENERIC_READ | GENERIC_WRITE, FILE_SHARE_READ, nullptr, OPEN_ALWAYS,
                              FILE_ATTRIBUTE_NORMAL, nullptr);
  if (handle == INVALID_HANDLE_VALUE) {
    error = AppendErrorOf(GetLastError());
    return nullptr;
  }
  error = AppendError::kNone;
  return std::unique_ptr<AppendFile>(new AppendFile(reinterpret_cast<std::intptr_t>(handle)));
}

AppendFile::~AppendFile() { CloseHandle(HandleOf(handle_)); }

std::int64_t AppendFile::Size() const {
  LARGE_INTEGER size = {};
  return GetFileSizeEx(HandleOf(handle_), &size) ? size.QuadPart : -1;
}

bool AppendFile::Append(const void* bytes, std::size_t count) {
  if (!SetFilePointerEx(HandleOf(handle_), LARGE_INTEGER{}, nullptr, FILE_END)) return false;
  DWORD written = 0;
  return WriteFile(HandleOf(handle_), bytes, static_cast<DWORD>(count), &written, nullptr) && written == count;
}

}  // namespace vantor::platform
