#include "platform/registration.h"

#include <oleauto.h>

#include "platform/platform.h"
#include "platform/windows/system_message.h"

namespace vantor::platform {
namespace {

constexpr DWORD kLongestValueName = 16383;
constexpr SYSKIND kSystemKind = sizeof(void*) == 8 ? SYS_WIN64 : SYS_WIN32;

class LoadedTypeLibrary final : public TypeLibrary {
 public:
  explicit LoadedTypeLibrary(ComPtr<ITypeLib> library) : library_(std::move(library)) {}
  HRESULT Register(const std::string& path) override {
    return RegisterTypeLib(library_.Get(), Utf8ToWide(path).data(), nullptr);
  }

 private:
  const ComPtr<ITypeLib> library_;
};

// Closes the key, whatever happens while it is used.
class OpenedKey {
 public:
  OpenedKey() = default;
  ~OpenedKey() {
    if (key_) RegCloseKey(key_);
  }
  OpenedKey(const OpenedKey&) = delete;
  OpenedKey& operator=(const OpenedKey&) = delete;

  HKEY Get() const { return key_; }
  HKEY* Out() { return &key_; }

 private:
  HKEY key_ = nullptr;
};

LSTATUS DeleteValues(HKEY key) {
  WideString name(kLongestValueName + 1, 0);
  for (;;) {
    auto length = static_cast<DWORD>(name.size());
    LSTATUS status = RegEnumValueW(key, 0, name.data(), &length, nullptr, nullptr, nullptr, nullptr);
    if (status == ERROR_NO_MORE_ITEMS) return ERROR_SUCCESS;
    if (status == ERROR_SUCCESS) status = RegDeleteValueW(key, name.c_str());
    if (status != ERROR_SUCCESS) return status;
  }
}

class WindowsRegistration final : public RegistrationSystem {
 public:
  std::string ModulePath() override { return vantor::ModulePath(); }

  HRESULT WriteClassesValue(const std::string& key, const std::string& name, const std::string& text) override {
    const WideString data = Utf8ToWide(text);
    OpenedKey opened;
    LSTATUS status = RegCreateKeyExW(HKEY_CLASSES_ROOT, Utf8ToWide(key).c_str(), 0, nullptr, REG_OPTION_NON_VOLATILE,
                                     KEY_SET_VALUE, nullptr, opened.Out(), nullptr);
    if (status != ERROR_SUCCESS) return HRESULT_FROM_WIN32(status);
    status = RegSetValueExW(opened.Get(), name.empty() ? nullptr : Utf8ToWide(name).c_str(), 0, REG_SZ,
                            reinterpret_cast<const BYTE*>(data.c_str()),
                            static_cast<DWORD>((data.size() + 1) * sizeof(WCHAR)));
    return HRESULT_FROM_WIN32(status);
  }

  bool HasClassesValue(const std::string& key, const std::string& name) override {
    OpenedKey opened;
    return RegOpenKeyExW(HKEY_CLASSES_ROOT, Utf8ToWide(key).c_str(), 0, KEY_QUERY_VALUE, opened.Out()) ==
               ERROR_SUCCESS &&
           RegQueryValueExW(opened.Get(), name.empty() ? nullptr : Utf8ToWide(name).c_str(), nullptr, nullptr, nullptr,
                            nullptr) == ERROR_SUCCESS;
  }

  HRESULT ClearClassesKey(const std::string& key) override {
    OpenedKey opened;
    LSTATUS status =
        RegOpenKeyExW(HKEY_CLASSES_ROOT, Utf8ToWide(key).c_str(), 0, KEY_QUERY_VALUE | KEY_SET_VALUE, opened.Out());
    if (status == ERROR_FILE_NOT_FOUND) return S_OK;
    if (status != ERROR_SUCCESS) return HRESULT_FROM_WIN32(status);
    status = DeleteValues(opened.Get());
    return HRESULT_FROM_WIN32(status);
  }

  bool DeleteClassesKey(const std::string& parent, const std::string& name) override {
    OpenedKey opened;
    if (RegOpenKeyExA(HKEY_CLASSES_ROOT, parent.c_str(), 0, KEY_ALL_ACCESS, opened.Out()) != ERROR_SUCCESS) {
      return false;
    }
    return !name.empty() && RegDeleteKeyA(opened.Get(), name.c_str()) == ERROR_SUCCESS;
  }

  HRESULT DeleteClassesTree(const std::string& key) override {
    // HRESULT_FROM_WIN32 may be a macro that evaluates its argument more than once.
    const LSTATUS status = RegDeleteTreeW(HKEY_CLASSES_ROOT, Utf8ToWide(key).c_str());
    return HRESULT_FROM_WIN32(status);
  }

  HRESULT OpenFilterMapper(ComPtr<IFilterMapper2>& mapper) override {
    return CoCreateInstance(CLSID_FilterMapper2, nullptr, CLSCTX_INPROC_SERVER, IID_IFilterMapper2, mapper.Void());
  }

  HRESULT LoadTypeLibrary(const std::string& path, std::unique_ptr<TypeLibrary>& library) override {
    ComPtr<ITypeLib> loaded;
    const HRESULT result = LoadTypeLib(Utf8ToWide(path).c_str(), loaded.Out());
    if (FAILED(result)) return result;
    library = std::make_unique<LoadedTypeLibrary>(std::move(loaded));
    return result;
  }

  HRESULT UnregisterTypeLibrary(const GUID& library, WORD major, WORD minor) override {
    return UnRegisterTypeLib(library, major, minor, LOCALE_NEUTRAL, kSystemKind);
  }

  std::string ErrorText(HRESULT result) override { return SystemMessage(static_cast<DWORD>(result)); }

  void ShowError(const std::string& title, const std::string& text) override {
    MessageBoxW(nullptr, Utf8ToWide(text).c_str(), Utf8ToWide(title).c_str(), MB_OK | MB_ICONERROR);
  }
};

}  // namespace

RegistrationSystem* SystemRegistration() {
  static WindowsRegistration system;
  return &system;
}

}  // namespace vantor::platform
