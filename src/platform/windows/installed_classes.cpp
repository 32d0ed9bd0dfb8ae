#include "platform/installed_classes.h"

#include <dshow.h>
#include <oleauto.h>

#include <cstring>
#include <functional>

#include "platform/com_ptr.h"
#include "platform/text.h"

namespace vantor::platform {
namespace {

constexpr DWORD kLongestName = 16383;
constexpr std::size_t kMostNames = 4096;

// Closes the key, whatever happens while it is used.
class ReadKey {
 public:
  ReadKey(ClassesView view, const std::string& key) {
    const bool isMerged = view.hive == ClassesHive::kMerged;
    const HKEY root = isMerged                          ? HKEY_CLASSES_ROOT
                      : view.hive == ClassesHive::kUser ? HKEY_CURRENT_USER
                                                        : HKEY_LOCAL_MACHINE;
    const REGSAM bits = view.bits == 64 ? KEY_WOW64_64KEY : KEY_WOW64_32KEY;
    const std::string path = isMerged ? key : "Software\\Classes\\" + key;
    status_ = RegOpenKeyExW(root, Utf8ToWide(path).c_str(), 0, KEY_READ | bits, &key_);
  }
  ~ReadKey() {
    if (status_ == ERROR_SUCCESS) RegCloseKey(key_);
  }
  ReadKey(const ReadKey&) = delete;
  ReadKey& operator=(const ReadKey&) = delete;

  bool IsOpen() const { return status_ == ERROR_SUCCESS; }
  HKEY Get() const { return key_; }

 private:
  HKEY key_ = nullptr;
  LSTATUS status_ = ERROR_SUCCESS;
};

std::string WithoutVariables(const WideString& text) {
  const DWORD size = ExpandEnvironmentStringsW(text.c_str(), nullptr, 0);
  WideString expanded(size, 0);
  if (size == 0 || ExpandEnvironmentStringsW(text.c_str(), expanded.data(), size) == 0) return WideToUtf8(text);
  return WideToUtf8(expanded.c_str());
}

using Enumerate = std::function<LSTATUS(HKEY key, DWORD index, WCHAR* name, DWORD* length)>;

std::vector<std::string> Names(ClassesView view, const std::string& key, const Enumerate& enumerate) {
  std::vector<std::string> names;
  const ReadKey opened(view, key);
  WideString name(kLongestName + 1, 0);
  while (opened.IsOpen() && names.size() < kMostNames) {
    auto length = static_cast<DWORD>(name.size());
    if (enumerate(opened.Get(), static_cast<DWORD>(names.size()), name.data(), &length) != ERROR_SUCCESS) break;
    names.push_back(WideToUtf8({name.data(), length}));
  }
  return names;
}

std::string TextProperty(IPropertyBag& bag, const WCHAR* name) {
  VARIANT value;
  VariantInit(&value);
  std::string text;
  if (SUCCEEDED(bag.Read(name, &value, nullptr)) && value.vt == VT_BSTR) text = WideToUtf8(value.bstrVal);
  VariantClear(&value);
  return text;
}

// The second number of the entry, behind its version.
std::uint32_t MeritOf(IPropertyBag& bag) {
  VARIANT value;
  VariantInit(&value);
  std::uint32_t merit = 0;
  void* bytes = nullptr;
  if (SUCCEEDED(bag.Read(OLESTR("FilterData"), &value, nullptr)) && value.vt == (VT_ARRAY | VT_UI1) &&
      value.parray->rgsabound[0].cElements >= 2 * sizeof merit &&
      SUCCEEDED(SafeArrayAccessData(value.parray, &bytes))) {
    std::memcpy(&merit, static_cast<const unsigned char*>(bytes) + sizeof merit, sizeof merit);
    SafeArrayUnaccessData(value.parray);
  }
  VariantClear(&value);
  return merit;
}

// For as long as it lives the thread may use COM, whatever it was before.
class ComForAWhile {
 public:
  ComForAWhile() noexcept : result_(CoInitializeEx(nullptr, COINIT_MULTITHREADED)) {}
  ~ComForAWhile() {
    if (SUCCEEDED(result_)) CoUninitialize();
  }
  ComForAWhile(const ComForAWhile&) = delete;
  ComForAWhile& operator=(const ComForAWhile&) = delete;

 private:
  const HRESULT result_;
};

class WindowsClasses final : public InstalledClasses {
 public:
  std::vector<int> Bitnesses() override {
    if (sizeof(void*) == 8) return {64, 32};
    BOOL isUnder64 = FALSE;
    if (IsWow64Process(GetCurrentProcess(), &isUnder64) && isUnder64) return {32, 64};
    return {32};
  }

  std::optional<std::string> ReadText(ClassesView view, const std::string& key, const std::string& name) override {
    const ReadKey opened(view, key);
    const WideString valueName = Utf8ToWide(name);
    DWORD type = 0;
    DWORD size = 0;
    const auto query = [&](void* data) {
      return opened.IsOpen() && RegQueryValueExW(opened.Get(), valueName.c_str(), nullptr, &type,
                                                 static_cast<BYTE*>(data), &size) == ERROR_SUCCESS;
    };
    if (!query(nullptr) || (type != REG_SZ && type != REG_EXPAND_SZ)) return std::nullopt;
    WideString text(size / sizeof(WCHAR) + 1, 0);
    if (!query(text.data())) return std::nullopt;
    text = text.c_str();  // up to its first zero, which need not be there
    return type == REG_EXPAND_SZ ? WithoutVariables(text) : WideToUtf8(text);
  }

  std::vector<std::string> Keys(ClassesView view, const std::string& key) override {
    return Names(view, key, [](HKEY opened, DWORD index, WCHAR* name, DWORD* length) {
      return RegEnumKeyExW(opened, index, name, length, nullptr, nullptr, nullptr, nullptr);
    });
  }
  std::vector<std::string> ValueNames(ClassesView view, const std::string& key) override {
    return Names(view, key, [](HKEY opened, DWORD index, WCHAR* name, DWORD* length) {
      return RegEnumValueW(opened, index, name, length, nullptr, nullptr, nullptr, nullptr);
    });
  }

  HRESULT FiltersFor(const GUID& major, const GUID& subtype, std::vector<InstalledFilter>& filters) override {
    const ComForAWhile com;
    ComPtr<IFilterMapper2> mapper;
    HRESULT result =
        CoCreateInstance(CLSID_FilterMapper2, nullptr, CLSCTX_INPROC_SERVER, IID_IFilterMapper2, mapper.Void());
    if (FAILED(result)) return result;
    const GUID types[] = {major, subtype};
    ComPtr<IEnumMoniker> monikers;
    result = mapper->EnumMatchingFilters(monikers.Out(), 0, FALSE, MERIT_DO_NOT_USE + 1, TRUE, 1, types, nullptr,
                                         nullptr, FALSE, FALSE, 0, nullptr, nullptr, nullptr);
    // S_FALSE: there are none, and no enumerator.
    while (result == S_OK && monikers.Get() != nullptr) {
      ComPtr<IMoniker> moniker;
      if (monikers->Next(1, moniker.Out(), nullptr) != S_OK) break;
      ComPtr<IPropertyBag> bag;
      if (FAILED(moniker->BindToStorage(nullptr, nullptr, IID_IPropertyBag, bag.Void()))) continue;
      filters.push_back({TextProperty(*bag.Get(), OLESTR("CLSID")), TextProperty(*bag.Get(), OLESTR("FriendlyName")),
                         MeritOf(*bag.Get())});
    }
    return result;
  }
};

}  // namespace

InstalledClasses* SystemClasses() {
  static WindowsClasses classes;
  return &classes;
}

}  // namespace vantor::platform
