#include "platform/temporary_file.h"

#include <windows.h>

#include <algorithm>

namespace vantor::platform {
namespace {

constexpr std::size_t kLargestTransfer = 0x40000000;

HANDLE SystemHandle(std::intptr_t handle) noexcept { return reinterpret_cast<HANDLE>(handle); }

OVERLAPPED Place(std::int64_t position) noexcept {
  OVERLAPPED place = {};
  place.Offset = static_cast<DWORD>(position & 0xFFFFFFFF);
  place.OffsetHigh = static_cast<DWORD>(position >> 32);
  return place;
}

}  // namespace

TemporaryFile::~TemporaryFile() {
  if (handle_ != -1) {
    CloseHandle(SystemHandle(handle_));
  }
}

bool TemporaryFile::Open() noexcept {
  wchar_t folder[MAX_PATH + 1] = {};
  wchar_t name[MAX_PATH + 1] = {};
  const DWORD length = GetTempPathW(MAX_PATH, folder);
  if (length == 0 || length > MAX_PATH || GetTempFileNameW(folder, L"vmk", 0, name) == 0) {
    return false;
  }
  const HANDLE file = CreateFileW(name, GENERIC_READ | GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS,
                                  FILE_ATTRIBUTE_TEMPORARY | FILE_FLAG_DELETE_ON_CLOSE, nullptr);
  if (file == INVALID_HANDLE_VALUE) {
    const DWORD error = GetLastError();
    DeleteFileW(name);
    SetLastError(error);
    return false;
  }
  handle_ = reinterpret_cast<std::intptr_t>(file);
  return true;
}

bool TemporaryFile::WriteAt(std::int64_t position, const void* bytes, std::size_t size) noexcept {
  for (std::size_t done = 0; done < size;) {
    OVERLAPPED place = Place(position + static_cast<std::int64_t>(done));
    const auto part = static_cast<DWORD>(std::min(size - done, kLargestTransfer));
    DWORD count = 0;
    if (!WriteFile(SystemHandle(handle_), static_cast<const char*>(bytes) + done, part, &count, &place) || count == 0) {
      return false;
    }
    done += count;
  }
  return true;
}

bool TemporaryFile::ReadAt(std::int64_t position, void* buffer, std::size_t size) const noexcept {
  for (std::size_t done = 0; done < size;) {
    OVERLAPPED place = Place(position + static_cast<std::int64_t>(done));
    const auto part = static_cast<DWORD>(std::min(size - done, kLargestTransfer));
    DWORD count = 0;
    if (!ReadFile(SystemHandle(handle_), static_cast<char*>(buffer) + done, part, &count, &place) || count == 0) {
      return false;
    }
    done += count;
  }
  return true;
}

}  // namespace vantor::platform
