// A library to be loaded into a program before all others (LD_PRELOAD), which makes calls of the system fail there: the
// n-th of a kind, or all from the n-th on. Counting begins with main.
//
//   LD_PRELOAD=fault_shim.so VANTOR_FAULT=read:7:once vantor-mkv samples movie.mkv
//
// VANTOR_FAULT is the kind, the number (0 for none) and "once" or "on". The kinds:
//   allocation  malloc and its like give none
//   read        a file cannot be mapped, and reads of it fail
//   short       a file cannot be mapped, and reads give half of what was asked for, at least one byte
//   mapping     nothing can be mapped, be it a file or memory
//   thread      a thread cannot be started
//   cut         the file VANTOR_FAULT_FILE is cut to a third of its length at the n-th of all these calls
//   cutreads    the same, and it cannot be mapped
// At the end the count of calls of the kind is written to the file VANTOR_FAULT_COUNT. A program that hangs is ended by
// an alarm.
//
// It is plain C in all but name: the program's own language runtime is not up when it begins, and allocating is what it
// stands in for.
#include <dlfcn.h>
#include <fcntl.h>
#include <pthread.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>

extern "C" {
void* __libc_malloc(std::size_t size);
void* __libc_calloc(std::size_t count, std::size_t size);
void* __libc_realloc(void* block, std::size_t size);
void* __libc_memalign(std::size_t alignment, std::size_t size);
}

namespace {

enum Kind { kNone, kAllocation, kRead, kShort, kMapping, kThread, kCut, kCutReads };
constexpr const char* kNames[] = {"none", "allocation", "read", "short", "mapping", "thread", "cut", "cutreads"};
constexpr unsigned kPatienceInSeconds = 120;

Kind wanted = kNone;
unsigned long number = 0;
bool isOngoing = false;
std::atomic<bool> isArmed{false};
std::atomic<unsigned long> count{0};

// The digits that the text begins with.
unsigned long Number(const char* text) {
  unsigned long value = 0;
  for (; *text >= '0' && *text <= '9'; ++text) value = 10 * value + static_cast<unsigned long>(*text - '0');
  return value;
}

void ReadRequest(const char* request) {
  const char* const colon = std::strchr(request, ':');
  if (!colon) return;
  for (int kind = kNone; kind <= kCutReads; ++kind) {
    const std::size_t length = std::strlen(kNames[kind]);
    if (length == static_cast<std::size_t>(colon - request) && std::memcmp(kNames[kind], request, length) == 0) {
      wanted = static_cast<Kind>(kind);
    }
  }
  number = Number(colon + 1);
  isOngoing = std::strstr(colon, ":on") != nullptr && std::strstr(colon, ":once") == nullptr;
}

bool IsCut() { return wanted == kCut || wanted == kCutReads; }

void CutFile() {
  const char* const path = std::getenv("VANTOR_FAULT_FILE");
  struct stat status = {};
  if (path && stat(path, &status) == 0) static_cast<void>(syscall(SYS_truncate, path, status.st_size / 3));
}

// Counts a call; true when it is to fail.
bool Fails(Kind kind) {
  if (!isArmed || (wanted != kind && !IsCut())) return false;
  const unsigned long call = ++count;
  const bool isHit = number != 0 && (isOngoing ? call >= number : call == number);
  if (isHit && IsCut()) {
    const int error = errno;
    CutFile();
    errno = error;
    return false;
  }
  return isHit;
}

int (*programMain)(int, char**, char**) = nullptr;

void Report() {
  isArmed = false;
  const char* const path = std::getenv("VANTOR_FAULT_COUNT");
  if (!path) return;
  char digits[24] = {};
  std::size_t begin = sizeof digits;
  for (unsigned long left = count; begin == sizeof digits || left > 0; left /= 10) {
    digits[--begin] = static_cast<char>('0' + left % 10);
  }
  const long file = syscall(SYS_openat, AT_FDCWD, path, O_WRONLY | O_CREAT | O_TRUNC, 0600);
  syscall(SYS_write, file, digits + begin, sizeof digits - begin);
  syscall(SYS_close, file);
}

int CountedMain(int argc, char** argv, char** environment) {
  if (const char* const request = std::getenv("VANTOR_FAULT")) ReadRequest(request);
  alarm(kPatienceInSeconds);
  isArmed = true;
  const int status = programMain(argc, argv, environment);
  Report();
  return status;
}

// What the same name stands for behind this library.
template <typename Function>
Function* Next(const char* name) {
  return reinterpret_cast<Function*>(dlsym(RTLD_NEXT, name));
}

}  // namespace

#define SHOWN __attribute__((visibility("default")))

extern "C" {

using MainFunction = int(int, char**, char**);

SHOWN int __libc_start_main(MainFunction* main, int argc, char** argv, MainFunction* init, void (*finish)(),
                            void (*finishLoader)(), void* stackEnd) {
  programMain = main;
  auto* const start = Next<int(MainFunction*, int, char**, MainFunction*, void (*)(), void (*)(), void*)>(
      "__libc_start_main");
  return start(CountedMain, argc, argv, init, finish, finishLoader, stackEnd);
}

SHOWN void* malloc(std::size_t size) {
  if (Fails(kAllocation)) {
    errno = ENOMEM;
    return nullptr;
  }
  return __libc_malloc(size);
}

SHOWN void* calloc(std::size_t members, std::size_t size) {
  if (Fails(kAllocation)) {
    errno = ENOMEM;
    return nullptr;
  }
  return __libc_calloc(members, size);
}

SHOWN void* realloc(void* block, std::size_t size) {
  if (Fails(kAllocation)) {
    errno = ENOMEM;
    return nullptr;
  }
  return __libc_realloc(block, size);
}

SHOWN void* aligned_alloc(std::size_t alignment, std::size_t size) {
  if (Fails(kAllocation)) {
    errno = ENOMEM;
    return nullptr;
  }
  return __libc_memalign(alignment, size);
}

SHOWN int posix_memalign(void** block, std::size_t alignment, std::size_t size) {
  void* const made = Fails(kAllocation) ? nullptr : __libc_memalign(alignment, size);
  if (!made) return ENOMEM;
  *block = made;
  return 0;
}

SHOWN ssize_t pread(int file, void* buffer, std::size_t size, off_t position) {
  if (Fails(kRead)) {
    errno = EIO;
    return -1;
  }
  if (Fails(kShort) && size > 1) size /= 2;
  return syscall(SYS_pread64, file, buffer, size, position);
}
SHOWN ssize_t pread64(int file, void* buffer, std::size_t size, off_t position) __attribute__((alias("pread")));

SHOWN ssize_t read(int file, void* buffer, std::size_t size) {
  if (Fails(kRead)) {
    errno = EIO;
    return -1;
  }
  if (Fails(kShort) && size > 1) size /= 2;
  return syscall(SYS_read, file, buffer, size);
}

SHOWN int fstat(int file, struct stat* status) {
  static_cast<void>(Fails(kCut));
  return static_cast<int>(syscall(SYS_fstat, file, status));
}

SHOWN void* mmap(void* address, std::size_t size, int protection, int flags, int file, off_t position) {
  const bool isUnmappable = file >= 0 && isArmed && (wanted == kRead || wanted == kShort || wanted == kCutReads);
  if (isUnmappable || Fails(kMapping)) {
    errno = ENOMEM;
    return MAP_FAILED;
  }
  return reinterpret_cast<void*>(syscall(SYS_mmap, address, size, protection, flags, file, position));
}
SHOWN void* mmap64(void* address, std::size_t size, int protection, int flags, int file, off_t position)
    __attribute__((alias("mmap")));

SHOWN int pthread_create(pthread_t* thread, const pthread_attr_t* attributes, void* (*run)(void*), void* argument) {
  if (Fails(kThread)) return EAGAIN;
  return Next<int(pthread_t*, const pthread_attr_t*, void* (*)(void*), void*)>("pthread_create")(thread, attributes,
                                                                                               run, argument);
}

}  // extern "C"
