// A Windows program that uses the registered component, for the installer's tests.
//
//   component_user             makes a filter by its class identifier and says which file it comes from
//   component_user hold FILE   loads the file, says "loaded", and keeps it until its standard input ends
#include <cstdio>
#include <cstring>

#include "host/component.h"
#include "platform/com.h"

namespace {

int Hold(const char* file) {
  if (LoadLibraryA(file) == nullptr) return 1;
  std::puts("loaded");
  std::fflush(stdout);
  while (std::getchar() != EOF) continue;
  return 0;
}

int Use() {
  if (FAILED(CoInitializeEx(nullptr, COINIT_MULTITHREADED))) return 1;
  IUnknown* filter = nullptr;
  const HRESULT made = CoCreateInstance(vantor::kClsidMkvDmx, nullptr, CLSCTX_INPROC_SERVER, IID_IUnknown,
                                        reinterpret_cast<void**>(&filter));
  char path[MAX_PATH] = "no such file";
  if (const HMODULE module = GetModuleHandleA("vantormkv.ax")) GetModuleFileNameA(module, path, MAX_PATH);
  std::printf("%08lX %s\n", static_cast<unsigned long>(made), path);
  if (filter != nullptr) filter->Release();
  CoUninitialize();
  return SUCCEEDED(made) ? 0 : 1;
}

}  // namespace

int main(int count, char** words) {
  if (count == 3 && std::strcmp(words[1], "hold") == 0) return Hold(words[2]);
  return Use();
}
