// Reading a mapped file that somebody may shorten.
//
// A page of the mapping that lies past the file's new end raises SIGBUS when it is touched, as one does that the disk
// cannot give. The handler looks for the mapping that the address is of, marks it as lost and puts zeros in place of
// all of it, so that whoever was reading goes on. The mark, looked at behind each copy, tells that what was copied is
// nothing, in this thread and in all others, which may have met the zeros too; reads then go to the file itself. So a
// copy out of a sound mapping costs the copy and a look at the mark, and no signal handler jumps anywhere.
//
// Within the file's last page there is no signal: the bytes behind the new end read as zero instead. So a copy is
// certain when a byte that is not zero stands at its end, or behind it in the same page; otherwise the system is asked
// for the file's length.
#include "platform/mapped_file.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <new>

namespace vantor::platform {
namespace {

static_assert(sizeof(off_t) == 8, "files of 2 GiB and more are opened, too");

// Where a mapping lies, for the handler. Places are used again and never freed, so that the handler may look at them at
// any time; one whose length is 0 is nobody's.
struct Place {
  std::atomic<bool> isTaken{true};
  std::atomic<const unsigned char*> bytes{nullptr};
  std::atomic<std::size_t> length{0};
  std::atomic<bool> isLost{false};
  Place* next = nullptr;
};
constinit std::atomic<Place*> places{nullptr};
struct sigaction previousAction;

// Null when there is no memory for one more.
Place* TakePlace() noexcept {
  for (Place* place = places; place != nullptr; place = place->next) {
    if (!place->isTaken.exchange(true)) return place;
  }
  Place* const place = new (std::nothrow) Place;
  if (place == nullptr) return nullptr;
  place->next = places;
  while (!places.compare_exchange_weak(place->next, place)) {
  }
  return place;
}

// The place of the mapping that holds the address. A place that changes hands meanwhile is not it; its length is looked
// at twice, since its bytes are only those of the new mapping once its length was 0.
Place* FindPlace(const unsigned char* address, const unsigned char*& bytes, std::size_t& length) noexcept {
  for (Place* place = places; place != nullptr; place = place->next) {
    length = place->length;
    bytes = place->bytes;
    if (place->length != length || address < bytes) continue;
    if (static_cast<std::size_t>(address - bytes) < length) return place;
  }
  return nullptr;
}

bool PutZerosInPlace(const unsigned char* address) noexcept {
  const unsigned char* bytes = nullptr;
  std::size_t length = 0;
  Place* const place = FindPlace(address, bytes, length);
  if (place == nullptr) return false;
  place->isLost = true;
  return mmap(const_cast<unsigned char*>(bytes), length, PROT_READ,
              MAP_PRIVATE | MAP_ANONYMOUS | MAP_FIXED | MAP_NORESERVE, -1, 0) != MAP_FAILED;
}

void OnBusError(int signal, siginfo_t* info, void* context) {
  const int error = errno;
  const bool isOurs = PutZerosInPlace(static_cast<const unsigned char*>(info->si_addr));
  errno = error;
  if (isOurs) return;
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
    // Not blocked while it runs: handlers that were there before may leave by a jump.
    action.sa_flags = SA_SIGINFO | SA_NODEFER;
    sigemptyset(&action.sa_mask);
    return sigaction(SIGBUS, &action, &previousAction) == 0;
  }();
  return kInstalled;
}

// Of any system: pages are larger in some, and a multiple of this.
constexpr std::uintptr_t kPage = 4096;

// How far behind a copy that ends in a zero byte is looked for a byte that is not zero.
constexpr std::ptrdiff_t kProofDistance = 64;

// Whether a byte from the last copied one on is not zero, within its page and the mapping.
bool HasNonZero(const unsigned char* last, const unsigned char* mappingEnd) noexcept {
  const unsigned char* end = last + (kPage - reinterpret_cast<std::uintptr_t>(last) % kPage);
  if (end > mappingEnd) end = mappingEnd;
  if (end - last > kProofDistance) end = last + kProofDistance;
  return std::any_of(last, end, [](unsigned char byte) { return byte != 0; });
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
  return S_ISREG(status.st_mode) ? FileError::kNone : FileError::kPipe;
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
  if (bytes_ == nullptr) return;
  const unsigned char* bytes = nullptr;
  std::size_t length = 0;
  Place& place = *FindPlace(bytes_, bytes, length);
  place.length = 0;
  munmap(const_cast<unsigned char*>(bytes_), length);
  place.isTaken = false;
}

bool MappedBytes::Map(const ReadableFile& file) noexcept {
  struct stat status = {};
  if (fstat(static_cast<int>(file.handle_), &status) != 0 || !S_ISREG(status.st_mode) || status.st_size <= 0 ||
      !InstallHandler()) {
    return false;
  }
  // Where addresses have 32 bits, a long file would take too many of them, or not fit at all.
  constexpr std::uint64_t kLargest = static_cast<std::size_t>(-1) / 4;
  if (static_cast<std::uint64_t>(status.st_size) > kLargest) return false;
  Place* const place = TakePlace();
  if (place == nullptr) return false;
  const auto length = static_cast<std::size_t>(status.st_size);
  void* bytes = mmap(nullptr, length, PROT_READ, MAP_SHARED, static_cast<int>(file.handle_), 0);
  if (bytes == MAP_FAILED) {
    place->isTaken = false;
    return false;
  }
  file_ = &file;
  bytes_ = static_cast<const unsigned char*>(bytes);
  length_ = status.st_size;
  resident_ = ResidentBytes(bytes_, length_, place->isLost);
  place->isLost = false;
  place->bytes = bytes_;
  place->length = length;
  return true;
}

bool MappedBytes::Copy(std::int64_t position, void* buffer, std::size_t size) const noexcept {
  if (size == 0) {
    return true;
  }
  const unsigned char* const from = bytes_ + position;
  std::memcpy(buffer, from, size);
  const bool isCertain = HasNonZero(from + size - 1, bytes_ + length_);
  if (resident_.IsLost()) return false;
  return isCertain || file_->Length() >= position + static_cast<std::int64_t>(size);
}

}  // namespace vantor::platform
