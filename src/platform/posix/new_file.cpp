// Where the system can, the temporary file has no name at all, so that nothing is left of it whatever ends the program.
// Elsewhere, on network file systems above all, it has one that is taken away. It stays open until it is placed, but
// when many wait for that: then the next ones get such a name and are closed, so that any number may wait.
#include "platform/new_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <charconv>
#include <chrono>
#include <cstdio>
#include <optional>
#include <string_view>
#include <system_error>

#include "platform/posix/broken_pipe.h"

namespace vantor::platform {
namespace {

constexpr mode_t kUsualRights = 0666;  // less what the user's mask takes away
constexpr int kNamesTried = 100;
constexpr int kOpenAtMost = 32;  // of nameless files that wait to be placed

std::atomic<int> openFiles{0};

std::string FolderOf(const std::string& path) {
  const std::size_t slash = path.rfind('/');
  if (slash == std::string::npos) return ".";
  return slash == 0 ? "/" : path.substr(0, slash);
}

// Not from 1: where processes are few they have the same numbers, and what one that was killed has left would be met by
// all that follow.
unsigned FirstNumber() { return static_cast<unsigned>(std::chrono::system_clock::now().time_since_epoch().count()); }

// Calls `make` with names in the folder of the path until it makes something; the name, or nothing.
template <typename Make>
std::optional<std::string> MakeNamed(const std::string& path, Make&& make) {
  static std::atomic<unsigned> last{FirstNumber()};
  for (int i = 0; i < kNamesTried; ++i) {
    std::string name = FolderOf(path) + "/.vantor-" + std::to_string(getpid()) + "-" + std::to_string(++last) + ".part";
    if (make(name)) return name;
    if (errno != EEXIST) break;
  }
  return std::nullopt;
}

std::string PathOfHandle(int file) { return "/proc/self/fd/" + std::to_string(file); }

bool LinkNameless(int file, const std::string& to) {
  return linkat(AT_FDCWD, PathOfHandle(file).c_str(), AT_FDCWD, to.c_str(), AT_SYMLINK_FOLLOW) == 0;
}

// Not every file system knows a renaming that replaces nothing, nor links.
bool RenameUnlessThere(const std::string& from, const std::string& to) {
  if (renameat2(AT_FDCWD, from.c_str(), AT_FDCWD, to.c_str(), RENAME_NOREPLACE) == 0) return true;
  if (errno == EEXIST) return false;
  if (link(from.c_str(), to.c_str()) == 0) return unlink(from.c_str()) == 0;
  if (errno == EEXIST) return false;
  struct stat there = {};
  if (lstat(to.c_str(), &there) == 0) {
    errno = EEXIST;
    return false;
  }
  return std::rename(from.c_str(), to.c_str()) == 0;
}

// Of "/dev/stdout" and the like, the stream's number.
std::optional<int> OpenStreamOf(const std::string& path) {
  if (path == "/dev/stdout") return STDOUT_FILENO;
  if (path == "/dev/stderr") return STDERR_FILENO;
  for (const std::string_view folder : {"/dev/fd/", "/proc/self/fd/"}) {
    if (!path.starts_with(folder)) continue;
    const char* const end = path.data() + path.size();
    int number = -1;
    const auto read = std::from_chars(path.data() + folder.size(), end, number);
    if (read.ec == std::errc() && read.ptr == end && number >= 0) return number;
  }
  return std::nullopt;
}

bool IsDeviceOrPipe(const std::string& path) {
  struct stat there = {};
  return stat(path.c_str(), &there) == 0 && !S_ISREG(there.st_mode) && !S_ISDIR(there.st_mode);
}

}  // namespace

NewFile::~NewFile() {
  Close();
  if (!temporary_.empty()) unlink(temporary_.c_str());
}

NewFile::NameKind NewFile::KindOfName(const std::string& path) {
  const std::optional<int> stream = OpenStreamOf(path);
  if (stream == STDOUT_FILENO) return NameKind::kStandardOutput;
  return stream || IsDeviceOrPipe(path) ? NameKind::kStream : NameKind::kFile;
}

bool NewFile::IsOpenStreamOf(const std::string& file, const std::string& stream) {
  const std::optional<int> number = OpenStreamOf(stream);
  struct stat wanted = {};
  struct stat there = {};
  return number && fstat(*number, &there) == 0 && stat(file.c_str(), &wanted) == 0 && there.st_dev == wanted.st_dev &&
         there.st_ino == wanted.st_ino;
}

bool NewFile::Open(const std::string& path) {
  path_ = path;
  if (const std::optional<int> stream = OpenStreamOf(path)) {
    // Opened by its name, a file that the stream leads to would be written to from its beginning.
    isStream_ = true;
    handle_ = fcntl(*stream, F_DUPFD_CLOEXEC, 0);
    return handle_ >= 0;
  }
  if (IsDeviceOrPipe(path)) {
    isStream_ = true;
    handle_ = open(path.c_str(), O_WRONLY | O_CLOEXEC);
    return handle_ >= 0;
  }
  handle_ = open(FolderOf(path).c_str(), O_TMPFILE | O_WRONLY | O_CLOEXEC, kUsualRights);
  // It gets its name by way of /proc, which is not there everywhere.
  if (handle_ >= 0 && access(PathOfHandle(static_cast<int>(handle_)).c_str(), F_OK) == 0) return true;
  Close();
  const std::optional<std::string> name = MakeNamed(path, [&](const std::string& tried) {
    handle_ = open(tried.c_str(), O_CREAT | O_EXCL | O_WRONLY | O_CLOEXEC, kUsualRights);
    return handle_ >= 0;
  });
  temporary_ = name.value_or(std::string());
  return name.has_value();
}

bool NewFile::OpenStandardOutput() {
  isStream_ = true;
  handle_ = fcntl(STDOUT_FILENO, F_DUPFD_CLOEXEC, 0);
  return handle_ >= 0;
}

bool NewFile::WriteAt(std::int64_t position, const void* bytes, std::size_t size) noexcept {
  std::optional<BrokenPipeHeldBack> noSignal;
  if (isStream_) noSignal.emplace();
  const auto file = static_cast<int>(handle_);
  for (std::size_t done = 0; done < size;) {
    const char* const from = static_cast<const char*>(bytes) + done;
    const ssize_t count = isStream_ ? write(file, from, size - done)
                                    : pwrite(file, from, size - done, position + static_cast<std::int64_t>(done));
    if (count < 0 && errno == EINTR) continue;
    if (count <= 0) return false;
    done += static_cast<std::size_t>(count);
  }
  return true;
}

bool NewFile::Complete() {
  if (isStream_) return Close();
  if (temporary_.empty()) {
    isKeptOpen_ = openFiles.fetch_add(1) < kOpenAtMost;
    // Some file systems tell only at a close that earlier writes failed, and tell it once; that of a copy will do.
    const int copy = isKeptOpen_ ? fcntl(static_cast<int>(handle_), F_DUPFD_CLOEXEC, 0) : -1;
    if (copy >= 0) return close(copy) == 0;
    --openFiles;
    isKeptOpen_ = false;
    if (!GiveTemporaryName()) return false;
  }
  return Close();
}

bool NewFile::GiveTemporaryName() {
  const std::optional<std::string> name =
      MakeNamed(path_, [&](const std::string& tried) { return LinkNameless(static_cast<int>(handle_), tried); });
  temporary_ = name.value_or(std::string());
  return name.has_value();
}

bool NewFile::Place(bool replace) {
  if (isStream_) return true;
  const bool isNameless = temporary_.empty();
  isNew_ = isNameless ? LinkNameless(static_cast<int>(handle_), path_) : RenameUnlessThere(temporary_, path_);
  if (!isNew_) {
    if (!replace || errno != EEXIST || (isNameless && !GiveTemporaryName())) return false;
    if (std::rename(temporary_.c_str(), path_.c_str()) != 0) return false;
  }
  temporary_.clear();
  Close();
  return true;
}

void NewFile::TakeBack() noexcept {
  if (isNew_) unlink(path_.c_str());
  isNew_ = false;
}

bool NewFile::Close() noexcept {
  const auto file = static_cast<int>(handle_);
  handle_ = -1;
  if (isKeptOpen_) --openFiles;
  isKeptOpen_ = false;
  return file < 0 || close(file) == 0;
}

}  // namespace vantor::platform
