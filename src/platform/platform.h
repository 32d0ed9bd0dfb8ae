// What the system asks of the operating system beyond the standard library. Each function has one implementation a
// system, in posix/ and windows/; callers see no difference.
#pragma once

#include <cstddef>
#include <memory>
#include <string>

#include "platform/com.h"
#include "platform/text.h"

namespace vantor {

// Gives up the processor for at least the time asked; 0 only lets others run.
void SleepMilliseconds(unsigned milliseconds);

// The path, in UTF-8, of the shared library or program that holds this code; empty when the system cannot tell.
std::string ModulePath();

// Zeroed memory straight from the system, at a multiple of PageAlignment. Pages get storage when they are first
// touched, so a large block of which little is used costs little. Null when there is none or the size is 0.
void* AllocatePages(std::size_t size) noexcept;
// Takes back what AllocatePages gave, with the same size; null is allowed.
void FreePages(void* pages, std::size_t size) noexcept;
// The alignment of AllocatePages: a power of two, 4096 at least.
std::size_t PageAlignment() noexcept;

// A shared library loaded by this process, held until destruction.
class SharedLibrary {
 public:
  // Null when it cannot be loaded; `error`, when given, then says why.
  static std::unique_ptr<SharedLibrary> Load(const std::string& path, std::string* error = nullptr);
  ~SharedLibrary();
  // From here on the library stays in the process, also when this goes.
  void Keep() noexcept { handle_ = nullptr; }
  SharedLibrary(const SharedLibrary&) = delete;
  SharedLibrary& operator=(const SharedLibrary&) = delete;

  // The exported symbol, or null.
  void* Find(const char* name) const;

  template <typename Function>
  Function* FindFunction(const char* name) const {
    return reinterpret_cast<Function*>(Find(name));
  }

 private:
  explicit SharedLibrary(void* handle) : handle_(handle) {}
  void* handle_;
};

// The description of an interface in a registered type library, or in the one inside this module when none is
// registered. Where the system has no type libraries: TYPE_E_LIBNOTREGISTERED.
HRESULT LoadTypeInfo(const GUID& library, WORD major, WORD minor, const IID& interfaceId, ITypeInfo** typeInfo);

}  // namespace vantor
