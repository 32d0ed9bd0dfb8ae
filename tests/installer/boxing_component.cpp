// A component that cannot be registered and says so in a message box, as the real one does without its type library;
// or, where the environment variable BOXING is "unregistering", one that can be, but not unregistered. Where the system
// shows no boxes both succeed, so that no test passes without one.
#include <cstdlib>
#include <string_view>

#include "platform/com.h"

namespace {

bool BoxesWhenUnregistering() {
  const char* wanted = std::getenv("BOXING");
  return wanted != nullptr && std::string_view(wanted) == "unregistering";
}

HRESULT Box(const wchar_t* text) { return MessageBoxW(nullptr, text, L"Error", MB_OK) > 0 ? E_FAIL : S_OK; }

}  // namespace

extern "C" __declspec(dllexport) HRESULT WINAPI DllRegisterServer() {
  return BoxesWhenUnregistering() ? S_OK : Box(L"This cannot be registered.");
}

extern "C" __declspec(dllexport) HRESULT WINAPI DllUnregisterServer() {
  return BoxesWhenUnregistering() ? Box(L"This cannot be unregistered.") : S_OK;
}
