#include "platform/mapped_file.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <csetjmp>
#include <csignal>
#include <cstring>

namespace vantor::platform {
namespace {

// A page of a mapping that lies past the end of a shortened file raises SIGBUS when touched. While a thread copies out
// of a mapping it names the range here, and the handler jumps back to it; any other SIGBUS goes where it went before.
struct CopyGuard {
  sigjmp_buf recovery;
  const unsigned char* begin;
  const unsigned char* end;
};

thread_local CopyGuard* volatile activeGuard = nullptr;
struct sigaction previousAction;

void OnBusError(int signal, siginfo_t* info, void* context) {
  CopyGuard* guard = activeGuard;
  const auto* address = static_cast<const unsigned char*>(info->si_addr);
  if (guard != nullptr && address >= guard->begin && address < guard->end) {
    siglongjmp(guard->recovery, 1);
  }
  if ((previousAction.sa_flags & SA_SIGINFO) != 0) {
    previousAction.sa_sigaction(signal, info, context);
  } else if (previousAction.sa_handler != SIG_DFL && previousAction.sa_handler != SIG_IGN) {
    previousAction.sa_handler(signal);
  } else {
    // Returning repeats the access, now with the system's own answer.
    sigaction(SIGBUS, &previousAction, nullptr);
  }
}

bool InstallHandler() noexcept {
  static const bool kInstalled = [] {
    struct sigaction action = {};
    action.sa_sigaction = OnBusError;
    // Not blocked while it runs, so that jumping out leaves the thread's signal mask as it was.
    action.sa_flags = SA_SIGINFO | SA_NODEFER;
    sigemptyset(&action.sa_mask);
    return sigaction(SIGBUS, &action, &previousAction) == 0;
  }();
  return kInstalled;
}

// A memory copy may touch anything of the pages that its range lies in.
constexpr std::uintptr_t kPage = 4096;

const unsigned char* PageStart(const unsigned char* address) noexcept {
  return address - (reinterpret_cast<std::uintptr_t>(address) % kPage);
}

// How far behind a copy that ends in a zero byte is looked for a byte that is not zero.
constexpr std::ptrdiff_t kProofDistance = 64;

// Whether a byte from the last copied one on is not zero, within its page and the mapping.
bool HasNonZero(const unsigned char* last, const unsigned char* mappingEnd) noexcept {
  const unsigned char* const pageEnd = PageStart(last) + kPage;
  const unsigned char* end = pageEnd < mappingEnd ? pageEnd : mappingEnd;
  if (end - last > kProofDistance) {
    end = last + kProofDistance;
  }
  return std::any_of(last, end, [](unsigned char byte) { return byte != 0; });
}

enum class Copied { kFailed, kInDoubt, kSurely };

// A shortened file raises no signal within its last page, where the bytes behind the new end read as zero instead. So
// a copy is certain when a byte that is not zero stands at its end, or behind it in the same page.
Copied GuardedCopy(void* to, const unsigned char* from, std::size_t size, const unsigned char* mappingEnd) noexcept {
  CopyGuard guard;
  guard.begin = PageStart(from);
  guard.end = PageStart(from + size) + kPage;
  if (sigsetjmp(guard.recovery, 0) != 0) {
    activeGuard = nullptr;
    return Copied::kFailed;
  }
  activeGuard = &guard;
  std::atomic_signal_fence(std::memory_order_seq_cst);
  std::memcpy(to, from, size);
  const bool certain = HasNonZero(from + size - 1, mappingEnd);
  std::atomic_signal_fence(std::memory_order_seq_cst);
  activeGuard = nullptr;
  return certain ? Copied::kSurely : Copied::kInDoubt;
}

FileError ErrorOf(int code) noexcept {
  switch (code) {
    case ENOENT:
    case ENOTDIR:
      return FileError::kMissing;
    case EISDIR:
      return FileError::kDirectory;
    case EACCES:
    case EPERM:
      return FileError::kDenied;
    default:
      return FileError::kOther;
  }
}

// Why what was opened is of no use.
FileError KindError(int descriptor) noexcept {
  struct stat status = {};
  if (fstat(descriptor, &status) != 0) {
    return FileError::kOther;
  }
  if (S_ISDIR(status.st_mode)) {
    return FileError::kDirectory;
  }
  return lseek(descriptor, 0, SEEK_CUR) < 0 ? FileError::kPipe : FileError::kNone;
}

}  // namespace

ReadableFile::~ReadableFile() {
  if (handle_ >= 0) {
    close(static_cast<int>(handle_));
  }
}

FileError ReadableFile::Open(const std::string& path) noexcept {
  // Not blocking: a pipe without a writer would be waited for.
  const int descriptor = open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK);
  if (descriptor < 0) {
    return ErrorOf(errno);
  }
  const FileError error = KindError(descriptor);
  if (error != FileError::kNone) {
    close(descriptor);
    return error;
  }
  handle_ = descriptor;
  return FileError::kNone;
}

std::int64_t ReadableFile::Length() const noexcept {
  struct stat status = {};
  if (fstat(static_cast<int>(handle_), &status) != 0) {
    return -1;
  }
  if (S_ISREG(status.st_mode)) {
    return status.st_size;
  }
  // Devices tell their size by seeking.
  return lseek(static_cast<int>(handle_), 0, SEEK_END);
}

std::int64_t ReadableFile::ReadAt(std::int64_t position, void* buffer, std::size_t size) const noexcept {
  auto* bytes = static_cast<unsigned char*>(buffer);
  std::size_t done = 0;
  while (done < size) {
    const ssize_t count =
        pread(static_cast<int>(handle_), bytes + done, size - done, position + static_cast<std::int64_t>(done));
    if (count == 0) {
      break;
    }
    if (count < 0) {
      if (errno == EINTR) {
        continue;
      }
      return -1;
    }
    done += static_cast<std::size_t>(count);
  }
  // A file that is being shortened has zeros behind its new end before it has its new length: a read may come between.
  const std::int64_t length = Length();
  const auto read = static_cast<std::int64_t>(done);
  return length >= 0 && length - position < read ? std::max<std::int64_t>(length - position, 0) : read;
}

MappedBytes::~MappedBytes() {
  if (bytes_ != nullptr) {
    munmap(const_cast<unsigned char*>(bytes_), static_cast<std::size_t>(length_));
  }
}

bool MappedBytes::Map(const ReadableFile& file) noexcept {
  struct stat status = {};
  if (fstat(static_cast<int>(file.handle_), &status) != 0 || !S_ISREG(status.st_mode) || status.st_size <= 0 ||
      !InstallHandler()) {
    return false;
  }
  const auto length = static_cast<std::size_t>(status.st_size);
  void* bytes = mmap(nullptr, length, PROT_READ, MAP_SHARED, static_cast<int>(file.handle_), 0);
  if (bytes == MAP_FAILED) {
    return false;
  }
  file_ = &file;
  bytes_ = static_cast<const unsigned char*>(bytes);
  length_ = status.st_size;
  return true;
}

bool MappedBytes::Copy(std::int64_t position, void* buffer, std::size_t size) const noexcept {
  if (size == 0) {
    return true;
  }
  const Copied copied = GuardedCopy(buffer, bytes_ + position, size, bytes_ + length_);
  if (copied == Copied::kInDoubt) {
    return file_->Length() >= position + static_cast<std::int64_t>(size);
  }
  return copied == Copied::kSurely;
}

}  // namespace vantor::platform
