// The COM library's functions that the system calls, under their published names, where there is no COM library.
#include <cstdint>
#include <cstdlib>
#include <new>

#include "platform/com.h"

extern "C" {

// A process that wants to know when memory runs out, or can make some free, is asked as by an operator new.
LPVOID WINAPI CoTaskMemAlloc(SIZE_T size) {
  for (;;) {
    void* const block = std::malloc(size ? size : 1);
    const std::new_handler handler = block ? nullptr : std::get_new_handler();
    if (!handler) return block;
    try {
      handler();
    } catch (const std::bad_alloc&) {
      return nullptr;
    }
  }
}

LPVOID WINAPI CoTaskMemRealloc(LPVOID block, SIZE_T size) {
  if (block && size == 0) {
    std::free(block);
    return nullptr;
  }
  return std::realloc(block, size ? size : 1);
}

void WINAPI CoTaskMemFree(LPVOID block) { std::free(block); }

// Threads need no preparation.
HRESULT WINAPI CoInitializeEx(LPVOID, DWORD) { return S_OK; }
void WINAPI CoUninitialize() {}

// Nothing is registered.
HRESULT WINAPI CoCreateInstance(REFCLSID, LPUNKNOWN, DWORD, REFIID, LPVOID* object) {
  if (!object) return E_POINTER;
  *object = nullptr;
  return REGDB_E_CLASSNOTREG;
}

INT WINAPI StringFromGUID2(REFGUID id, LPOLESTR text, INT capacity) {
  constexpr INT kLength = 39;
  if (!text || capacity < kLength) return 0;
  const auto hex = [&text](std::uint32_t value, int digits) {
    while (digits-- > 0) *text++ = static_cast<OLECHAR>("0123456789ABCDEF"[value >> (4 * digits) & 0xF]);
  };
  *text++ = u'{';
  hex(id.Data1, 8);
  *text++ = u'-';
  hex(id.Data2, 4);
  *text++ = u'-';
  hex(id.Data3, 4);
  *text++ = u'-';
  for (int i = 0; i < 8; ++i) {
    if (i == 2) *text++ = u'-';
    hex(id.Data4[i], 2);
  }
  *text++ = u'}';
  *text = 0;
  return kLength;
}

}  // extern "C"
