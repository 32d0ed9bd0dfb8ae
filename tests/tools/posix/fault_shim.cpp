// A library to be loaded into a program before all others (LD_PRELOAD), which makes calls of the system fail there: the
// n-th of a kind, or all from the n-th on. Calls are counted from main on.
//
//   LD_PRELOAD=fault_shim.so VANTOR_FAULT=read:7:once:unmapped vantor-mkv samples movie.mkv
//
// VANTOR_FAULT is the kind, the number (0 for none), "once" or "on", "unmapped" when files cannot be mapped, "named"
// when no file can be made without a name, and "twice" when interrupts come as two, one behind the other. Kinds:
//   allocation  malloc and its like give none (but where a sanitizer has them)
//   read        reads fail
//   short       reads give half of what was asked for, at least one byte
//   mapping     nothing can be mapped, be it a file or memory
//   thread      a thread cannot be started
//   interrupt   the program is sent SIGINT at this call of any kind, counted from the first mapping or read of a file
//   write       what is written to a file, a stream or standard output fails, as on a full disk; messages do not
//   writing     the program is sent SIGINT after this call of those that make, write, name and remove files
//   cut         the file VANTOR_FAULT_FILE is cut to a third of its length at this call of any kind, counted from the
//               first mapping or read of a file
// At the end the counts of calls are written to the file VANTOR_FAULT_COUNTS, in the order of the kinds. A program that
// hangs is ended by an alarm.
//
// It is plain C in all but name: the program's own language runtime is not up when it begins, and allocating is what it
// stands in for.
#include <dlfcn.h>
#include <fcntl.h>
#include <pthread.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/uio.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstdarg>
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace {

enum Kind { kAllocation, kRead, kShort, kMapping, kThread, kCut, kInterrupt, kWriting, kWrite, kKinds, kNone = kKinds };
constexpr const char* kNames[kKinds] = {"allocation", "read",      "short",   "mapping", "thread",
                                        "cut",        "interrupt", "writing", "write"};
constexpr unsigned kPatienceInSeconds = 60;

Kind wanted = kNone;
unsigned long number = 0;
bool isOngoing = false;
bool isUnmapped = false;
bool isNamed = false;
bool isTwice = false;
std::atomic<bool> isArmed{false};
std::atomic<bool> isFileOpen{false};
std::atomic<unsigned long> counts[kKinds];

void ReadRequest(const char* request) {
  for (int kind = 0; kind < kKinds; ++kind) {
    const std::size_t length = std::strlen(kNames[kind]);
    if (std::strncmp(kNames[kind], request, length) == 0 && request[length] == ':') {
      wanted = static_cast<Kind>(kind);
      number = std::strtoul(request + length + 1, nullptr, 10);
    }
  }
  isOngoing = std::strstr(request, ":on:") != nullptr;
  isUnmapped = std::strstr(request, "unmapped") != nullptr;
  isNamed = std::strstr(request, "named") != nullptr;
  isTwice = std::strstr(request, "twice") != nullptr;
}

void CutFile() {
  const int error = errno;
  const char* const path = std::getenv("VANTOR_FAULT_FILE");
  struct stat status = {};
  if (path && stat(path, &status) == 0) static_cast<void>(truncate(path, status.st_size / 3));
  errno = error;
}

// Counts a call; true when it is the one that is wanted.
bool IsHit(Kind kind) {
  const unsigned long call = ++counts[kind];
  return wanted == kind && number != 0 && (isOngoing ? call >= number : call == number);
}

void Interrupt() {
  static_cast<void>(raise(SIGINT));
  if (isTwice) static_cast<void>(raise(SIGINT));
}

// Counts a call of the kind; true when it is to fail.
bool Fails(Kind kind) {
  if (!isArmed) return false;
  if (isFileOpen && IsHit(kCut)) CutFile();
  if (isFileOpen && IsHit(kInterrupt)) Interrupt();
  return IsHit(kind);
}

// The result of a call that has changed a file or a folder.
template <typename Result>
Result Wrote(Result result) {
  const int error = errno;
  if (isArmed && IsHit(kWriting)) Interrupt();
  errno = error;
  return result;
}

// True when the disk is to be full at this call.
bool IsFull() {
  if (!isArmed || !IsHit(kWrite)) return false;
  errno = ENOSPC;
  return true;
}

void Report() {
  isArmed = false;
  const char* const path = std::getenv("VANTOR_FAULT_COUNTS");
  const int file = path ? open(path, O_WRONLY | O_CREAT | O_TRUNC, 0600) : -1;
  if (file < 0) return;
  for (const auto& count : counts) dprintf(file, "%lu\n", count.load());
  close(file);
}

using MainFunction = int(int, char**, char**);
MainFunction* programMain = nullptr;

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

#define VANTOR_SHOWN __attribute__((visibility("default")))

extern "C" {

VANTOR_SHOWN int __libc_start_main(MainFunction* main, int argc, char** argv, MainFunction* init, void (*finish)(),
                                   void (*finishLoader)(), void* stackEnd) {
  programMain = main;
  auto* const start =
      Next<int(MainFunction*, int, char**, MainFunction*, void (*)(), void (*)(), void*)>("__libc_start_main");
  return start(CountedMain, argc, argv, init, finish, finishLoader, stackEnd);
}

#if !defined(VANTOR_SHIM_WITHOUT_ALLOCATIONS)
void* __libc_malloc(std::size_t size);
void* __libc_calloc(std::size_t count, std::size_t size);
void* __libc_realloc(void* block, std::size_t size);
void* __libc_memalign(std::size_t alignment, std::size_t size);

VANTOR_SHOWN void* malloc(std::size_t size) {
  if (!Fails(kAllocation)) return __libc_malloc(size);
  errno = ENOMEM;
  return nullptr;
}

VANTOR_SHOWN void* calloc(std::size_t members, std::size_t size) {
  if (!Fails(kAllocation)) return __libc_calloc(members, size);
  errno = ENOMEM;
  return nullptr;
}

VANTOR_SHOWN void* realloc(void* block, std::size_t size) {
  if (!Fails(kAllocation)) return __libc_realloc(block, size);
  errno = ENOMEM;
  return nullptr;
}

VANTOR_SHOWN void* aligned_alloc(std::size_t alignment, std::size_t size) {
  if (!Fails(kAllocation)) return __libc_memalign(alignment, size);
  errno = ENOMEM;
  return nullptr;
}

VANTOR_SHOWN int posix_memalign(void** block, std::size_t alignment, std::size_t size) {
  void* const made = Fails(kAllocation) ? nullptr : __libc_memalign(alignment, size);
  if (!made) return ENOMEM;
  *block = made;
  return 0;
}
#endif

VANTOR_SHOWN ssize_t pread(int file, void* buffer, std::size_t size, off_t position) {
  isFileOpen = true;
  const bool fails = Fails(kRead);
  if (Fails(kShort) && size > 1) size /= 2;
  if (!fails) return syscall(SYS_pread64, file, buffer, size, position);
  errno = EIO;
  return -1;
}
VANTOR_SHOWN ssize_t pread64(int file, void* buffer, std::size_t size, off_t position) __attribute__((alias("pread")));

VANTOR_SHOWN int fstat(int file, struct stat* status) {
  if (isArmed && isFileOpen && IsHit(kCut)) CutFile();
  return static_cast<int>(syscall(SYS_fstat, file, status));
}

VANTOR_SHOWN void* mmap(void* address, std::size_t size, int protection, int flags, int file, off_t position) {
  const bool isFile = isArmed && file >= 0;
  if (Fails(kMapping) || (isFile && isUnmapped)) {
    errno = ENOMEM;
    return MAP_FAILED;
  }
  isFileOpen = isFileOpen || isFile;
  return reinterpret_cast<void*>(syscall(SYS_mmap, address, size, protection, flags, file, position));
}
VANTOR_SHOWN void* mmap64(void* address, std::size_t size, int protection, int flags, int file, off_t position)
    __attribute__((alias("mmap")));

VANTOR_SHOWN int open(const char* path, int flags, ...) {
  va_list more;
  va_start(more, flags);
  const bool isNameless = (flags & O_TMPFILE) == O_TMPFILE;
  const bool makesFile = isNameless || (flags & O_CREAT) != 0;
  const mode_t rights = makesFile ? va_arg(more, mode_t) : 0;
  va_end(more);
  if (isArmed && isNamed && isNameless) {
    errno = EOPNOTSUPP;
    return -1;
  }
  const auto file = static_cast<int>(syscall(SYS_openat, AT_FDCWD, path, flags, rights));
  return makesFile ? Wrote(file) : file;
}
VANTOR_SHOWN int open64(const char* path, int flags, ...) __attribute__((alias("open")));

VANTOR_SHOWN ssize_t pwrite(int file, const void* bytes, std::size_t size, off_t position) {
  if (IsFull()) return -1;
  return Wrote(syscall(SYS_pwrite64, file, bytes, size, position));
}
VANTOR_SHOWN ssize_t pwrite64(int file, const void* bytes, std::size_t size, off_t position)
    __attribute__((alias("pwrite")));

VANTOR_SHOWN ssize_t write(int file, const void* bytes, std::size_t size) {
  if (file != STDERR_FILENO && IsFull()) return -1;
  return syscall(SYS_write, file, bytes, size);
}

VANTOR_SHOWN ssize_t writev(int file, const struct iovec* pieces, int count) {
  if (file != STDERR_FILENO && IsFull()) return -1;
  return syscall(SYS_writev, file, pieces, count);
}

// The streams of the C library write by calls of their own, which are not seen from here.
VANTOR_SHOWN std::size_t fwrite(const void* bytes, std::size_t size, std::size_t members, FILE* stream) {
  if (stream == stdout && IsFull()) return 0;
  auto* const write = Next<std::size_t(const void*, std::size_t, std::size_t, FILE*)>("fwrite");
  return write(bytes, size, members, stream);
}

VANTOR_SHOWN int mkdir(const char* path, mode_t rights) {
  return static_cast<int>(Wrote(syscall(SYS_mkdirat, AT_FDCWD, path, rights)));
}

VANTOR_SHOWN int linkat(int fromFolder, const char* from, int toFolder, const char* to, int flags) {
  return static_cast<int>(Wrote(syscall(SYS_linkat, fromFolder, from, toFolder, to, flags)));
}

VANTOR_SHOWN int renameat2(int fromFolder, const char* from, int toFolder, const char* to, unsigned flags) {
  return static_cast<int>(Wrote(syscall(SYS_renameat2, fromFolder, from, toFolder, to, flags)));
}

VANTOR_SHOWN int rename(const char* from, const char* to) {
  return static_cast<int>(Wrote(syscall(SYS_renameat2, AT_FDCWD, from, AT_FDCWD, to, 0)));
}

VANTOR_SHOWN int unlink(const char* path) { return static_cast<int>(Wrote(syscall(SYS_unlinkat, AT_FDCWD, path, 0))); }

VANTOR_SHOWN int pthread_create(pthread_t* thread, const pthread_attr_t* attributes, void* (*run)(void*),
                                void* argument) {
  if (Fails(kThread)) return EAGAIN;
  auto* const create = Next<int(pthread_t*, const pthread_attr_t*, void* (*)(void*), void*)>("pthread_create");
  return create(thread, attributes, run, argument);
}

}  // extern "C"
