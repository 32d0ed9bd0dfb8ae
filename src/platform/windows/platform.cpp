#include "platform/platform.h"

#include <oleauto.h>

#include <cstdio>

#include "platform/windows/system_message.h"

namespace vantor {
namespace {

// The address of anything in this module tells the system which module it is.
HMODULE ThisModule() {
  HMODULE module = nullptr;
  GetModuleHandleExW(GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS | GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT,
                     reinterpret_cast<LPCWSTR>(&ThisModule), &module);
  return module;
}

WideString ModuleWidePath() {
  WideString path(MAX_PATH, 0);
  for (;;) {
    const DWORD length = GetModuleFileNameW(ThisModule(), path.data(), static_cast<DWORD>(path.size()));
    if (length < path.size()) {
      path.resize(length);
      return path;
    }
    path.resize(path.size() * 2);
  }
}

struct LocalDeleter {
  void operator()(WCHAR* text) const { LocalFree(text); }
};

}  // namespace

std::string SystemMessage(DWORD code) {
  LPWSTR allocated = nullptr;
  const DWORD length =
      FormatMessageW(FORMAT_MESSAGE_ALLOCATE_BUFFER | FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_IGNORE_INSERTS,
                     nullptr, code, 0, reinterpret_cast<LPWSTR>(&allocated), 0, nullptr);
  const std::unique_ptr<WCHAR, LocalDeleter> text(allocated);
  WideString message(text ? text.get() : L"", length);
  while (!message.empty() && (message.back() == L'\n' || message.back() == L'\r')) message.pop_back();
  if (!message.empty()) return WideToUtf8(message);
  char number[sizeof "error 0x12345678"];
  std::snprintf(number, sizeof number, "error 0x%08lX", code);
  return number;
}

void SleepMilliseconds(unsigned milliseconds) { Sleep(milliseconds); }

std::string ModulePath() { return WideToUtf8(ModuleWidePath()); }

void* AllocatePages(std::size_t size) noexcept {
  return size == 0 ? nullptr : VirtualAlloc(nullptr, size, MEM_RESERVE | MEM_COMMIT, PAGE_READWRITE);
}

void FreePages(void* pages, std::size_t) noexcept {
  if (pages) VirtualFree(pages, 0, MEM_RELEASE);
}

std::size_t PageAlignment() noexcept {
  SYSTEM_INFO info;
  GetSystemInfo(&info);
  return info.dwAllocationGranularity;
}

std::unique_ptr<SharedLibrary> SharedLibrary::Load(const std::string& path, std::string* error) {
  HMODULE module = LoadLibraryExW(Utf8ToWide(path).c_str(), nullptr, LOAD_WITH_ALTERED_SEARCH_PATH);
  if (!module) {
    if (error) *error = SystemMessage(GetLastError());
    return nullptr;
  }
  return std::unique_ptr<SharedLibrary>(new SharedLibrary(module));
}

SharedLibrary::~SharedLibrary() {
  if (handle_ != nullptr) FreeLibrary(static_cast<HMODULE>(handle_));
}

void* SharedLibrary::Find(const char* name) const {
  return reinterpret_cast<void*>(GetProcAddress(static_cast<HMODULE>(handle_), name));
}

HRESULT LoadTypeInfo(const GUID& library, WORD major, WORD minor, const IID& interfaceId, ITypeInfo** typeInfo) {
  if (!typeInfo) return E_POINTER;
  *typeInfo = nullptr;
  ITypeLib* types = nullptr;
  HRESULT result = LoadRegTypeLib(library, major, minor, LOCALE_NEUTRAL, &types);
  if (FAILED(result)) result = LoadTypeLibEx(ModuleWidePath().c_str(), REGKIND_NONE, &types);
  if (FAILED(result)) return result;
  result = types->GetTypeInfoOfGuid(interfaceId, typeInfo);
  types->Release();
  return result;
}

}  // namespace vantor
