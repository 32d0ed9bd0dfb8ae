// A component that cannot be registered and says so in a message box, as the real one does without its type library.
// Where the system shows no boxes it lets itself be registered, so that no test passes without one.
#include "platform/com.h"

extern "C" __declspec(dllexport) HRESULT WINAPI DllRegisterServer() {
  return MessageBoxW(nullptr, L"This cannot be registered.", L"Error", MB_OK) > 0 ? E_FAIL : S_OK;
}

extern "C" __declspec(dllexport) HRESULT WINAPI DllUnregisterServer() { return S_OK; }
