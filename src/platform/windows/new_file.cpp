// The temporary file is marked as deleted from the beginning, which the system does when its handle is closed, by
// whatever ends the program; the mark is taken off when the file gets its name.
#include "platform/new_file.h"

#include <windows.h>

#include <algorithm>

#include "platform/text.h"

namespace vantor::platform {
namespace {

constexpr std::size_t kLargestWrite = 0x40000000;
constexpr int kNamesTried = 1000;

HANDLE FileHandle(std::intptr_t handle) noexcept { return reinterpret_cast<HANDLE>(handle); }

bool MarkDeleted(std::intptr_t handle, bool isDeleted) noexcept {
  FILE_DISPOSITION_INFO info = {};
  info.DeleteFile = isDeleted ? TRUE : FALSE;
  return SetFileInformationByHandle(FileHandle(handle), FileDispositionInfo, &info, sizeof info) != 0;
}

std::string FolderOf(const std::string& path) {
  const std::size_t slash = path.find_last_of("/\\:");
  return slash == std::string::npos ? std::string() : path.substr(0, slash + 1);
}

}  // namespace

NewFile::~NewFile() {
  Close();
  if (!temporary_.empty()) DeleteFileW(Utf8ToWide(temporary_).c_str());
}

bool NewFile::Open(const std::string& path) {
  path_ = path;
  for (int i = 0; i < kNamesTried; ++i) {
    std::string name =
        FolderOf(path) + ".vantor-" + std::to_string(GetCurrentProcessId()) + "-" + std::to_string(i) + ".part";
    const HANDLE file = CreateFileW(Utf8ToWide(name).c_str(), GENERIC_WRITE | DELETE, 0, nullptr, CREATE_NEW,
                                    FILE_ATTRIBUTE_NORMAL, nullptr);
    if (file != INVALID_HANDLE_VALUE) {
      handle_ = reinterpret_cast<std::intptr_t>(file);
      temporary_ = std::move(name);
      MarkDeleted(handle_, true);
      return true;
    }
    // A file that is marked as deleted refuses others of its name.
    const DWORD error = GetLastError();
    if (error != ERROR_FILE_EXISTS && error != ERROR_ACCESS_DENIED) break;
  }
  return false;
}

bool NewFile::OpenStandardOutput() {
  isStream_ = true;
  HANDLE copy = nullptr;
  if (!DuplicateHandle(GetCurrentProcess(), GetStdHandle(STD_OUTPUT_HANDLE), GetCurrentProcess(), &copy, 0, FALSE,
                       DUPLICATE_SAME_ACCESS)) {
    return false;
  }
  handle_ = reinterpret_cast<std::intptr_t>(copy);
  return true;
}

bool NewFile::WriteAt(std::int64_t position, const void* bytes, std::size_t size) noexcept {
  for (std::size_t done = 0; done < size;) {
    const std::uint64_t at = static_cast<std::uint64_t>(position) + done;
    OVERLAPPED place = {};
    place.Offset = static_cast<DWORD>(at & 0xFFFFFFFF);
    place.OffsetHigh = static_cast<DWORD>(at >> 32);
    const auto part = static_cast<DWORD>(std::min(size - done, kLargestWrite));
    DWORD count = 0;
    if (!WriteFile(FileHandle(handle_), static_cast<const char*>(bytes) + done, part, &count,
                   isStream_ ? nullptr : &place) ||
        count == 0) {
      return false;
    }
    done += count;
  }
  return true;
}

bool NewFile::Place(bool replace) {
  if (isStream_) return Close();
  MarkDeleted(handle_, false);
  if (!Close()) return false;
  if (!MoveFileExW(Utf8ToWide(temporary_).c_str(), Utf8ToWide(path_).c_str(),
                   replace ? MOVEFILE_REPLACE_EXISTING : 0)) {
    return false;
  }
  temporary_.clear();
  return true;
}

bool NewFile::Close() noexcept {
  const std::intptr_t handle = handle_;
  handle_ = -1;
  return handle == -1 || CloseHandle(FileHandle(handle)) != 0;
}

}  // namespace vantor::platform
