// The temporary file is marked as deleted from the beginning, which the system does when its handle is closed, by
// whatever ends the program; the mark is taken off when the file is complete, which then waits under that name for its
// own.
#include "platform/new_file.h"

#include <windows.h>

#include <algorithm>
#include <atomic>
#include <string_view>

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

bool IsSameLetters(std::wstring_view one, std::wstring_view other) {
  return CompareStringOrdinal(one.data(), static_cast<int>(one.size()), other.data(), static_cast<int>(other.size()),
                              TRUE) == CSTR_EQUAL;
}

// Without its number, of a name that the system has for a device. Volumes and disks are devices, too, and not among
// these: nobody wants a film written across one.
bool IsOfDevice(std::wstring_view name) {
  static constexpr std::wstring_view kDevices[] = {L"NUL", L"CON", L"CONOUT$", L"AUX", L"PRN"};
  for (const std::wstring_view device : kDevices) {
    if (IsSameLetters(name, device)) return true;
  }
  constexpr std::size_t kPort = 3;
  const std::wstring_view port = name.substr(0, kPort);
  const std::wstring_view number = name.substr(port.size());
  return (IsSameLetters(port, L"COM") || IsSameLetters(port, L"LPT")) && !number.empty() && number.size() <= 3 &&
         number.find_first_not_of(L"0123456789") == std::wstring_view::npos;
}

// Waits for a pipe whose reader is at work with another writer.
HANDLE OpenDevice(const std::wstring& path) {
  HANDLE file = INVALID_HANDLE_VALUE;
  do {
    file = CreateFileW(path.c_str(), GENERIC_WRITE, FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr, OPEN_EXISTING, 0,
                       nullptr);
  } while (file == INVALID_HANDLE_VALUE && GetLastError() == ERROR_PIPE_BUSY &&
           WaitNamedPipeW(path.c_str(), NMPWAIT_WAIT_FOREVER));
  return file;
}

}  // namespace

NewFile::~NewFile() {
  Close();
  if (!temporary_.empty()) DeleteFileW(Utf8ToWide(temporary_).c_str());
}

// The system itself says which names are devices: "NUL", on older ones "C:\\films\\nul.txt", too. Standard output has
// none.
NewFile::NameKind NewFile::KindOfName(const std::string& path) {
  constexpr std::wstring_view kDeviceFolder = L"\\\\.\\";
  constexpr std::wstring_view kPipeFolder = L"pipe\\";
  const std::wstring wide = Utf8ToWide(path);
  if (IsSameLetters(wide, L"CONOUT$")) return NameKind::kStream;
  std::wstring full(wide.size() + MAX_PATH, L'\0');
  const DWORD size = GetFullPathNameW(wide.c_str(), static_cast<DWORD>(full.size()), full.data(), nullptr);
  if (size == 0 || size >= full.size()) return NameKind::kFile;
  full.resize(size);
  if (!full.starts_with(kDeviceFolder)) return NameKind::kFile;
  const std::wstring_view name = std::wstring_view(full).substr(kDeviceFolder.size());
  const bool isPipe =
      name.size() > kPipeFolder.size() && IsSameLetters(name.substr(0, kPipeFolder.size()), kPipeFolder);
  return isPipe || IsOfDevice(name) ? NameKind::kStream : NameKind::kFile;
}

// What is read is shared with no writer.
bool NewFile::IsOpenStreamOf(const std::string&, const std::string&) { return false; }

bool NewFile::Open(const std::string& path) {
  path_ = path;
  if (KindOfName(path) != NameKind::kFile) {
    isStream_ = true;
    handle_ = reinterpret_cast<std::intptr_t>(OpenDevice(Utf8ToWide(path)));
    return handle_ != -1;
  }
  static std::atomic<unsigned> last{0};
  for (int i = 0; i < kNamesTried; ++i) {
    std::string name =
        FolderOf(path) + ".vantor-" + std::to_string(GetCurrentProcessId()) + "-" + std::to_string(++last) + ".part";
    const HANDLE file = CreateFileW(Utf8ToWide(name).c_str(), GENERIC_WRITE | DELETE, 0, nullptr, CREATE_NEW,
                                    FILE_ATTRIBUTE_NORMAL, nullptr);
    if (file != INVALID_HANDLE_VALUE) {
      handle_ = reinterpret_cast<std::intptr_t>(file);
      temporary_ = std::move(name);
      isMarked_ = MarkDeleted(handle_, true);
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

bool NewFile::Complete() {
  const bool isKept = !isMarked_ || MarkDeleted(handle_, false);
  return Close() && isKept;
}

bool NewFile::Place(bool replace) {
  if (isStream_) return true;
  const std::wstring from = Utf8ToWide(temporary_);
  const std::wstring to = Utf8ToWide(path_);
  isNew_ = MoveFileExW(from.c_str(), to.c_str(), 0) != 0;
  if (!isNew_) {
    const DWORD error = GetLastError();
    const bool isThere = error == ERROR_ALREADY_EXISTS || error == ERROR_FILE_EXISTS;
    if (!replace || !isThere || !MoveFileExW(from.c_str(), to.c_str(), MOVEFILE_REPLACE_EXISTING)) return false;
  }
  temporary_.clear();
  return true;
}

void NewFile::TakeBack() noexcept {
  if (isNew_) DeleteFileW(Utf8ToWide(path_).c_str());
  isNew_ = false;
}

bool NewFile::Close() noexcept {
  const std::intptr_t handle = handle_;
  handle_ = -1;
  return handle == -1 || CloseHandle(FileHandle(handle)) != 0;
}

}  // namespace vantor::platform
