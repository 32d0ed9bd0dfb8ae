#include "platform/mapped_file.h"

#include <windows.h>

#include <algorithm>
#include <cstring>
#include <string>

namespace vantor::platform {
namespace {

std::wstring Wide(const std::string& text) {
  const int count = MultiByteToWideChar(CP_UTF8, 0, text.data(), static_cast<int>(text.size()), nullptr, 0);
  std::wstring wide(static_cast<std::size_t>(std::max(count, 0)), L'\0');
  if (count > 0) {
    MultiByteToWideChar(CP_UTF8, 0, text.data(), static_cast<int>(text.size()), wide.data(), count);
  }
  return wide;
}

FileError ErrorOf(DWORD code) noexcept {
  switch (code) {
    case ERROR_FILE_NOT_FOUND:
    case ERROR_PATH_NOT_FOUND:
    case ERROR_INVALID_NAME:
    case ERROR_BAD_NETPATH:
      return FileError::kMissing;
    case ERROR_ACCESS_DENIED:
    case ERROR_SHARING_VIOLATION:
      return FileError::kDenied;
    default:
      return FileError::kOther;
  }
}

HANDLE AsHandle(std::intptr_t handle) noexcept { return reinterpret_cast<HANDLE>(handle); }

// Reads from a mapping fail with an exception when its drive goes away; only what the system calls a fixed drive is
// read in place. That leaves out network drives, and sticks and cards; a hard disk on a USB cable is a fixed drive too,
// and is not told from one inside the machine. The system itself refuses to shorten a file that is mapped.
bool OnLocalDisk(HANDLE file) noexcept {
  wchar_t path[MAX_PATH] = {};
  const DWORD length = GetFinalPathNameByHandleW(file, path, MAX_PATH, FILE_NAME_NORMALIZED | VOLUME_NAME_DOS);
  // The normalised form is \\?\C:\folder\file.
  if (length < 7 || length >= MAX_PATH || std::wcsncmp(path, L"\\\\?\\", 4) != 0 || path[5] != L':') {
    return false;
  }
  const wchar_t root[4] = {path[4], L':', L'\\', L'\0'};
  return GetDriveTypeW(root) == DRIVE_FIXED;
}

}  // namespace

ReadableFile::~ReadableFile() {
  if (handle_ != -1) {
    CloseHandle(AsHandle(handle_));
  }
}

FileError ReadableFile::Open(const std::string& path) noexcept {
  try {
    const std::wstring wide = Wide(path);
    // Asked first: opening a folder is denied just like a file that may not be read.
    const DWORD attributes = GetFileAttributesW(wide.c_str());
    if (attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_DIRECTORY) != 0) {
      return FileError::kDirectory;
    }
    const HANDLE file = CreateFileW(wide.c_str(), GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE,
                                    nullptr, OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr);
    if (file == INVALID_HANDLE_VALUE) {
      return ErrorOf(GetLastError());
    }
    if (GetFileType(file) != FILE_TYPE_DISK) {
      CloseHandle(file);
      return FileError::kPipe;
    }
    handle_ = reinterpret_cast<std::intptr_t>(file);
    return FileError::kNone;
  } catch (...) {
    return FileError::kOther;
  }
}

std::int64_t ReadableFile::Length() const noexcept {
  LARGE_INTEGER length = {};
  return GetFileSizeEx(AsHandle(handle_), &length) ? length.QuadPart : -1;
}

std::int64_t ReadableFile::ReadAt(std::int64_t position, void* buffer, std::size_t size) const noexcept {
  auto* bytes = static_cast<unsigned char*>(buffer);
  std::size_t done = 0;
  while (done < size) {
    const std::int64_t from = position + static_cast<std::int64_t>(done);
    OVERLAPPED where = {};  // a position of this read's own, whatever other threads read meanwhile
    where.Offset = static_cast<DWORD>(from & 0xFFFFFFFF);
    where.OffsetHigh = static_cast<DWORD>(from >> 32);
    const DWORD chunk = static_cast<DWORD>(std::min<std::size_t>(size - done, 0x40000000));
    DWORD count = 0;
    if (!ReadFile(AsHandle(handle_), bytes + done, chunk, &count, &where)) {
      if (GetLastError() == ERROR_HANDLE_EOF) {
        break;
      }
      return -1;
    }
    if (count == 0) {
      break;
    }
    done += count;
  }
  return static_cast<std::int64_t>(done);
}

MappedBytes::~MappedBytes() {
  if (bytes_ != nullptr) {
    UnmapViewOfFile(bytes_);
  }
}

// A mapping needs its range of addresses in one piece. A 32-bit program has 2 GiB, cut up by its modules, and the
// filter's buffers come from the same: what is over a quarter of all addresses is read piece by piece, also where the
// system would just have found room for it.
bool MappedBytes::Map(const ReadableFile& file) noexcept {
  constexpr std::uint64_t kLargest = static_cast<std::size_t>(-1) / 4;
  const std::int64_t length = file.Length();
  if (length <= 0 || static_cast<std::uint64_t>(length) > kLargest || !OnLocalDisk(AsHandle(file.handle_))) {
    return false;
  }
  const HANDLE mapping = CreateFileMappingW(AsHandle(file.handle_), nullptr, PAGE_READONLY, 0, 0, nullptr);
  if (mapping == nullptr) {
    return false;
  }
  const void* bytes = MapViewOfFile(mapping, FILE_MAP_READ, 0, 0, static_cast<SIZE_T>(length));
  CloseHandle(mapping);
  if (bytes == nullptr) {
    return false;
  }
  file_ = &file;
  bytes_ = static_cast<const unsigned char*>(bytes);
  length_ = length;
  static constexpr std::atomic<bool> kNever{false};
  resident_ = ResidentBytes(bytes_, length_, kNever);
  return true;
}

bool MappedBytes::Copy(std::int64_t position, void* buffer, std::size_t size) const noexcept {
  if (size > 0) {
    std::memcpy(buffer, bytes_ + position, size);
  }
  return true;
}

}  // namespace vantor::platform
