#include "platform/platform.h"

#include <dlfcn.h>
#include <sched.h>
#include <sys/mman.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdlib>
#include <ctime>

namespace vantor {

void SleepMilliseconds(unsigned milliseconds) {
  if (milliseconds == 0) {
    sched_yield();
    return;
  }
  timespec left{static_cast<time_t>(milliseconds / 1000), static_cast<long>(milliseconds % 1000) * 1000000L};
  while (nanosleep(&left, &left) != 0 && errno == EINTR) {
  }
}

std::string ModulePath() {
  Dl_info info{};
  if (dladdr(reinterpret_cast<const void*>(&ModulePath), &info) == 0 || !info.dli_fname) return {};
  if (char* resolved = realpath(info.dli_fname, nullptr)) {
    std::string path = resolved;
    std::free(resolved);
    return path;
  }
  // A program found through PATH is known by its bare name only.
  std::array<char, 4096> path{};
  const ssize_t length = readlink("/proc/self/exe", path.data(), path.size());
  return length > 0 ? std::string(path.data(), static_cast<std::size_t>(length)) : std::string();
}

void* AllocatePages(std::size_t size) noexcept {
  if (size == 0) return nullptr;
  void* pages = mmap(nullptr, size, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
  return pages == MAP_FAILED ? nullptr : pages;
}

void FreePages(void* pages, std::size_t size) noexcept {
  if (pages) munmap(pages, size);
}

std::size_t PageAlignment() noexcept {
  static const auto kSize = static_cast<std::size_t>(sysconf(_SC_PAGESIZE));
  return kSize;
}

std::unique_ptr<SharedLibrary> SharedLibrary::Load(const std::string& path, std::string* error) {
  void* handle = dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL);
  if (!handle) {
    const char* reason = dlerror();  // NOLINT(concurrency-mt-unsafe): the message is kept for each thread
    if (error) *error = reason ? reason : "cannot be loaded";
    return nullptr;
  }
  return std::unique_ptr<SharedLibrary>(new SharedLibrary(handle));
}

SharedLibrary::~SharedLibrary() {
  if (handle_ != nullptr) dlclose(handle_);
}

void* SharedLibrary::Find(const char* name) const { return dlsym(handle_, name); }

HRESULT LoadTypeInfo(const GUID&, WORD, WORD, const IID&, ITypeInfo** typeInfo) {
  if (!typeInfo) return E_POINTER;
  *typeInfo = nullptr;
  return TYPE_E_LIBNOTREGISTERED;
}

}  // namespace vantor
