// The component as built registers itself in the real registry: what is written and what is removed, compared whole.
// Whatever was registered of the component before is unregistered here, and nothing of it is left afterwards.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>

#include "baseclasses/dll_setup.h"
#include "component/loaded_component.h"
#include "filter/registration.h"
#include "platform/registration.h"
#include "published/component.h"
#include "support/temporary_folder.h"
#include "windows/registry_snapshot.h"
#include "windows/regsvr32.h"

namespace vantor::test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

#define FILTER "{5E1B2A64-90C3-4D0F-A7E2-6B8D54C9F311}"
#define INTERFACE_ID "{C3D7A1F0-2B46-4E58-9C1D-70A5E4B8D612}"
#define LIBRARY "{8F4A6D3B-15E9-4C72-B0A8-3D92F7C1E564}"
#define STREAM "{E436EB83-524F-11CE-9F53-0020AF0BA770}"
#define PRIVATE_MATROSKA "{49952F4C-3EDC-4A9B-8906-1DE02A3D4BC2}"
#define MATROSKA "{1AC0BEBD-4D2B-45AD-BCEB-F2C41C5E3788}"

constexpr char kClassKey[] = "CLSID\\" FILTER;
constexpr char kInstanceKey[] = "CLSID\\{083863F1-70DE-11D0-BD40-00A0C911CE86}\\Instance\\" FILTER;
constexpr char kStreamKey[] = "Media Type\\" STREAM;
constexpr char kFirstBytesKey[] = "Media Type\\" STREAM "\\" PRIVATE_MATROSKA;
constexpr char kOtherFirstBytesKey[] = "Media Type\\" STREAM "\\" MATROSKA;
constexpr char kExtensionsKey[] = "Media Type\\Extensions";
constexpr char kLibraryKey[] = "TypeLib\\" LIBRARY;
constexpr char kInterfaceKey[] = "Interface\\" INTERFACE_ID;

std::string FolderOf(const std::string& path) { return path.substr(0, path.rfind('\\')); }

// Everything of HKEY_CLASSES_ROOT that registration touches or could touch by mistake.
RegistrySnapshot Everything() {
  return Snapshot(
      {"Media Type", "TypeLib", kInterfaceKey, kClassKey, "Filter", "CLSID\\{083863F1-70DE-11D0-BD40-00A0C911CE86}"});
}

RegistrySnapshot ClassAndLibrary() { return Snapshot({kClassKey, kInstanceKey, kLibraryKey, kInterfaceKey}); }

class WindowsRegistration : public LoadedComponent {
 protected:
  WindowsRegistration() : com_(CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED)) {
    Unregister();
    before_ = Everything();
  }
  ~WindowsRegistration() override {
    for (const char* extension : {".webm", ".mkv", ".mka", ".mks"}) {
      DeleteTree(std::string(kExtensionsKey) + "\\" + extension);
    }
    Unregister();
    EXPECT_THAT(Changes(before_, Everything()), IsEmpty());
    if (SUCCEEDED(com_)) CoUninitialize();
  }

  HRESULT Register() const { return Call("DllRegisterServer"); }
  HRESULT Unregister() const { return Call("DllUnregisterServer"); }

  // Everything is as before, but for the component's own keys and values, which are there whole.
  void ExpectRegistered() const {
    RegistrySnapshot expected = before_;
    expected.merge(RegistrySnapshot{
        {"CLSID\\" FILTER " []", "Vantor MKV Demultiplexer"},
        {"CLSID\\" FILTER "\\InprocServer32 []", Path()},
        {"CLSID\\" FILTER "\\InprocServer32 [ThreadingModel]", "Both"},

        {"Media Type\\" STREAM "\\" PRIVATE_MATROSKA " [0]", "0,4,,1A45DFA3"},
        {"Media Type\\" STREAM "\\" PRIVATE_MATROSKA " [Source Filter]", "{E436EBB5-524F-11CE-9F53-0020AF0BA770}"},

        {"TypeLib\\" LIBRARY, ""},
        {"TypeLib\\" LIBRARY "\\1.0 []", "Vantor MKV Demultiplexer"},
        {"TypeLib\\" LIBRARY "\\1.0\\0", ""},
        {"TypeLib\\" LIBRARY "\\1.0\\0\\win" + std::to_string(8 * sizeof(void*)) + " []", Path()},
        {"TypeLib\\" LIBRARY "\\1.0\\FLAGS []", "8"},
        {"TypeLib\\" LIBRARY "\\1.0\\HELPDIR []", FolderOf(Path())},

        {"Interface\\" INTERFACE_ID " []", "IVXMkvDmx"},
        {"Interface\\" INTERFACE_ID "\\ProxyStubClsid []", "{00020424-0000-0000-C000-000000000046}"},
        {"Interface\\" INTERFACE_ID "\\ProxyStubClsid32 []", "{00020424-0000-0000-C000-000000000046}"},
        {"Interface\\" INTERFACE_ID "\\TypeLib []", LIBRARY},
        {"Interface\\" INTERFACE_ID "\\TypeLib [Version]", "1.0"},

        {std::string(kInstanceKey) + " [CLSID]", FILTER},
        {std::string(kInstanceKey) + " [FriendlyName]", "Vantor MKV Demultiplexer"},
        // Version 2, merit, 2 pins; each pin: its mark, flags, counts of instances, types and mediums, category; each
        // type: its mark, where its identifiers are; then those.
        // clang-format off
        {std::string(kInstanceKey) + " [FilterData]",
         "02000000" "00006000" "02000000" "00000000"
         "30706933" "00000000" "00000000" "03000000" "00000000" "00000000"
         "30747933" "00000000" "70000000" "80000000"
         "31747933" "00000000" "70000000" "90000000"
         "32747933" "00000000" "A0000000" "A0000000"
         "31706933" "08000000" "00000000" "00000000" "00000000" "00000000"
         "83EB36E44F52CE119F530020AF0BA770"
         "4C2F9549DC3E9B4A89061DE02A3D4BC2"
         "BDBEC01A2B4DAD45BCEBF2C41C5E3788"
         "00000000000000000000000000000000"},
        // clang-format on
    });
    EXPECT_THAT(Changes(expected, Everything()), IsEmpty());
  }

  RegistrySnapshot before_;

 private:
  const HRESULT com_;
};

TEST_F(WindowsRegistration, WritesEveryKeyAndValue) {
  EXPECT_EQ(Register(), S_OK);
  ExpectRegistered();
}

TEST_F(WindowsRegistration, RegisteringTwiceIsAsRegisteringOnce) {
  EXPECT_EQ(Register(), S_OK);
  EXPECT_EQ(Register(), S_OK);
  ExpectRegistered();
}

TEST_F(WindowsRegistration, StaleExtensionKeysAreGoneAfterRegistering) {
  for (const char* extension : {".webm", ".mkv", ".mka", ".mks"}) {
    MakeKey(std::string(kExtensionsKey) + "\\" + extension, "stale");
    EXPECT_TRUE(KeyExists(std::string(kExtensionsKey) + "\\" + extension)) << extension;
  }
  EXPECT_EQ(Register(), S_OK);
  ExpectRegistered();
}

TEST_F(WindowsRegistration, AnExtensionKeyWithKeysBelowItStays) {
  MakeKey(std::string(kExtensionsKey) + "\\.mkv\\below", "kept");
  EXPECT_EQ(Register(), S_OK);
  EXPECT_TRUE(KeyExists(std::string(kExtensionsKey) + "\\.mkv\\below"));
  DeleteTree(std::string(kExtensionsKey) + "\\.mkv");
  ExpectRegistered();
}

TEST_F(WindowsRegistration, ValuesThatTheFirstBytesKeyHadBeforeAreGone) {
  MakeKey(kFirstBytesKey, "the default value");
  for (const char* name : {"0", "1", "2", "source filter", "Else"}) MakeValue(kFirstBytesKey, name, "0,4,,52494646");
  EXPECT_EQ(Snapshot(kFirstBytesKey).size(), 6u);
  EXPECT_EQ(Register(), S_OK);
  ExpectRegistered();
}

TEST_F(WindowsRegistration, KeysBelowTheFirstBytesKeyStay) {
  const std::string below = std::string(kFirstBytesKey) + "\\below";
  MakeKey(below, "by another program");
  EXPECT_EQ(Register(), S_OK);
  EXPECT_EQ(Snapshot(kFirstBytesKey).size(), 3u) << "two values, and the key below with its own";
  EXPECT_EQ(Unregister(), S_OK);
  EXPECT_TRUE(KeyExists(below));
  EXPECT_THAT(ClassAndLibrary(), IsEmpty());
  DeleteTree(below);
  EXPECT_EQ(Unregister(), S_OK);
  EXPECT_THAT(Changes(before_, Everything()), IsEmpty());
}

TEST_F(WindowsRegistration, UnregisteringLeavesWhatWasThereBefore) {
  EXPECT_EQ(Register(), S_OK);
  EXPECT_EQ(Unregister(), S_OK);
  EXPECT_THAT(Changes(before_, Everything()), IsEmpty());
}

TEST_F(WindowsRegistration, UnregisteringTwiceSucceeds) {
  EXPECT_EQ(Register(), S_OK);
  EXPECT_EQ(Unregister(), S_OK);
  EXPECT_EQ(Unregister(), S_OK);
  EXPECT_THAT(Changes(before_, Everything()), IsEmpty());
}

TEST_F(WindowsRegistration, UnregisteringWhatWasNeverRegisteredSucceeds) {
  EXPECT_THAT(ClassAndLibrary(), IsEmpty());
  EXPECT_EQ(Unregister(), S_OK);
}

TEST_F(WindowsRegistration, UnregisteringRemovesTheOtherSubtypeAndTheExtensionsToo) {
  MakeKey(kOtherFirstBytesKey, "by another program");
  MakeKey(std::string(kExtensionsKey) + "\\.mkv", "stale");
  EXPECT_EQ(Unregister(), S_OK);
  EXPECT_FALSE(KeyExists(kOtherFirstBytesKey));
  EXPECT_FALSE(KeyExists(std::string(kExtensionsKey) + "\\.mkv"));
}

TEST_F(WindowsRegistration, RegisteringKeepsAKeyOfTheOtherSubtype) {
  MakeKey(kOtherFirstBytesKey, "by another program");
  EXPECT_EQ(Register(), S_OK);
  EXPECT_TRUE(KeyExists(kOtherFirstBytesKey));
}

// The running system, but that messages are kept instead of shown.
class KeptMessages final : public platform::RegistrationSystem {
 public:
  std::vector<std::string> messages;

  std::string ModulePath() override { return real_.ModulePath(); }
  HRESULT WriteClassesValue(const std::string& key, const std::string& name, const std::string& text) override {
    return real_.WriteClassesValue(key, name, text);
  }
  bool HasClassesValue(const std::string& key, const std::string& name) override {
    return real_.HasClassesValue(key, name);
  }
  HRESULT ClearClassesKey(const std::string& key) override { return real_.ClearClassesKey(key); }
  bool DeleteClassesKey(const std::string& parent, const std::string& name) override {
    return real_.DeleteClassesKey(parent, name);
  }
  HRESULT DeleteClassesTree(const std::string& key) override { return real_.DeleteClassesTree(key); }
  HRESULT OpenFilterMapper(ComPtr<IFilterMapper2>& mapper) override { return real_.OpenFilterMapper(mapper); }
  HRESULT LoadTypeLibrary(const std::string& path, std::unique_ptr<platform::TypeLibrary>& library) override {
    return real_.LoadTypeLibrary(path, library);
  }
  HRESULT UnregisterTypeLibrary(const GUID& library, WORD major, WORD minor) override {
    return real_.UnregisterTypeLibrary(library, major, minor);
  }
  std::string ErrorText(HRESULT result) override { return real_.ErrorText(result); }
  void ShowError(const std::string& title, const std::string& text) override {
    messages.push_back(title + ": " + text);
  }

 private:
  RegistrationSystem& real_ = *platform::SystemRegistration();
};

// This program holds no type library, and registers itself instead of the component.
TEST_F(WindowsRegistration, AModuleWithoutATypeLibraryIsNotRegisteredAsAClass) {
  KeptMessages system;
  const HRESULT result = RegisterServer(system, [&](BOOL registering) {
    return AMovieDllRegisterTemplates(g_Templates, g_cTemplates, registering, system);
  });
  EXPECT_EQ(result, TYPE_E_CANTLOADLIBRARY);
  EXPECT_THAT(system.messages, ElementsAre("Error: Failed  to register type library: " + system.ErrorText(result)));
  EXPECT_THAT(ClassAndLibrary(), IsEmpty());
  EXPECT_TRUE(KeyExists(kFirstBytesKey));
}

TEST_F(WindowsRegistration, TheSystemsProgramRegistersAndUnregistersTheComponent) {
  EXPECT_EQ(RunRegsvr32("/s", Path()), (Regsvr32Run{0, ""}));
  ExpectRegistered();
  EXPECT_EQ(RunRegsvr32("/s /u", Path()), (Regsvr32Run{0, ""}));
  EXPECT_THAT(Changes(before_, Everything()), IsEmpty());
}

TEST_F(WindowsRegistration, TheSystemsProgramFailsForAComponentWithoutATypeLibrary) {
  const std::filesystem::path original(Utf8ToWide(Path()));
  const TemporaryFolder folder;
  const std::filesystem::path bare = folder / L"vantormkv_bare.ax";
  std::filesystem::copy_file(original, bare);
  const HANDLE update = BeginUpdateResourceW(bare.c_str(), TRUE);
  ASSERT_NE(update, nullptr);
  ASSERT_TRUE(EndUpdateResourceW(update, FALSE));
  const Regsvr32Run run = RunRegsvr32("/s", WideToUtf8(bare.native()));
  EXPECT_NE(run.code, 0u);
  const std::string reason = platform::SystemRegistration()->ErrorText(TYPE_E_CANTLOADLIBRARY);
  EXPECT_EQ(run.message, WindowsCanBeMade() ? "Failed  to register type library: " + reason : "");
  EXPECT_THAT(ClassAndLibrary(), IsEmpty());
  EXPECT_TRUE(KeyExists(kFirstBytesKey));
}

TEST_F(WindowsRegistration, TheFilterIsFoundByTheMapperForBothSubtypes) {
  ASSERT_EQ(Register(), S_OK);
  ComPtr<IFilterMapper2> mapper;
  ASSERT_EQ(CoCreateInstance(CLSID_FilterMapper2, nullptr, CLSCTX_INPROC_SERVER, IID_IFilterMapper2, mapper.Void()),
            S_OK);
  constexpr GUID kPrivate = {0x49952f4c, 0x3edc, 0x4a9b, {0x89, 0x06, 0x1d, 0xe0, 0x2a, 0x3d, 0x4b, 0xc2}};
  constexpr GUID kUsual = {0x1ac0bebd, 0x4d2b, 0x45ad, {0xbc, 0xeb, 0xf2, 0xc4, 0x1c, 0x5e, 0x37, 0x88}};
  for (const GUID& subtype : {kPrivate, kUsual}) {
    const GUID types[] = {MEDIATYPE_Stream, subtype};
    ComPtr<IEnumMoniker> found;
    ASSERT_EQ(mapper->EnumMatchingFilters(found.Out(), 0, TRUE, MERIT_NORMAL, TRUE, 1, types, nullptr, nullptr, FALSE,
                                          FALSE, 0, nullptr, nullptr, nullptr),
              S_OK);
    bool ours = false;
    ComPtr<IMoniker> moniker;
    while (found->Next(1, moniker.Out(), nullptr) == S_OK) {
      ComPtr<IBaseFilter> filter;
      CLSID clsid = {};
      if (SUCCEEDED(moniker->BindToObject(nullptr, nullptr, IID_IBaseFilter, filter.Void())) &&
          SUCCEEDED(filter->GetClassID(&clsid))) {
        ours = ours || SameGuid(clsid, kClsidMkvDmx);
      }
    }
    EXPECT_TRUE(ours) << GuidText(subtype);
  }
}

// ---- The registered class.

class RegisteredFilter : public WindowsRegistration {
 protected:
  RegisteredFilter() { EXPECT_EQ(Register(), S_OK); }

  static ComPtr<IDispatch> Dispatch() {
    ComPtr<IDispatch> dispatch;
    EXPECT_EQ(CoCreateInstance(kClsidMkvDmx, nullptr, CLSCTX_INPROC_SERVER, IID_IDispatch, dispatch.Void()), S_OK);
    return dispatch;
  }
  // By a library with the right identifiers, and by its one description.
  static void ExpectDescribed(IDispatch& dispatch) {
    UINT count = 0;
    EXPECT_EQ(dispatch.GetTypeInfoCount(&count), S_OK);
    EXPECT_EQ(count, 1u);
    ComPtr<ITypeInfo> info;
    ASSERT_EQ(dispatch.GetTypeInfo(0, LOCALE_NEUTRAL, info.Out()), S_OK);
    TYPEATTR* attributes = nullptr;
    ASSERT_EQ(info->GetTypeAttr(&attributes), S_OK);
    EXPECT_TRUE(SameGuid(attributes->guid, kIidMkvDmx));
    EXPECT_EQ(attributes->typekind, TKIND_DISPATCH);
    info->ReleaseTypeAttr(attributes);
    ComPtr<ITypeLib> library;
    UINT index = 1;
    ASSERT_EQ(info->GetContainingTypeLib(library.Out(), &index), S_OK);
    EXPECT_EQ(index, 0u);
    EXPECT_EQ(library->GetTypeInfoCount(), 1u);
    TLIBATTR* identity = nullptr;
    ASSERT_EQ(library->GetLibAttr(&identity), S_OK);
    EXPECT_TRUE(SameGuid(identity->guid, kTypeLibraryId));
    EXPECT_EQ(identity->wMajorVerNum, kTypeLibraryMajor);
    EXPECT_EQ(identity->wMinorVerNum, kTypeLibraryMinor);
    EXPECT_EQ(identity->lcid, static_cast<LCID>(LOCALE_NEUTRAL));
    library->ReleaseTLibAttr(identity);
  }
};

TEST_F(RegisteredFilter, DescribesItselfByTheRegisteredLibrary) {
  ComPtr<ITypeLib> registered;
  EXPECT_EQ(LoadRegTypeLib(kTypeLibraryId, kTypeLibraryMajor, kTypeLibraryMinor, LOCALE_NEUTRAL, registered.Out()),
            S_OK);
  const ComPtr<IDispatch> dispatch = Dispatch();
  ASSERT_TRUE(dispatch);
  ExpectDescribed(*dispatch);
}

TEST_F(RegisteredFilter, DescribesItselfByItsOwnLibraryWhenNoneIsRegistered) {
  const ComPtr<IDispatch> dispatch = Dispatch();
  ASSERT_TRUE(dispatch);
  EXPECT_EQ(Unregister(), S_OK);
  ComPtr<ITypeLib> registered;
  EXPECT_EQ(LoadRegTypeLib(kTypeLibraryId, kTypeLibraryMajor, kTypeLibraryMinor, LOCALE_NEUTRAL, registered.Out()),
            TYPE_E_LIBNOTREGISTERED);
  ExpectDescribed(*dispatch);
}

TEST_F(RegisteredFilter, KnowsNoNameOfItsOwn) {
  const ComPtr<IDispatch> dispatch = Dispatch();
  ASSERT_TRUE(dispatch);
  WideString name = L"Duration";
  LPOLESTR names[] = {name.data()};
  DISPID id = 0;
  EXPECT_EQ(dispatch->GetIDsOfNames(IID_NULL, names, 1, LOCALE_NEUTRAL, &id), DISP_E_UNKNOWNNAME);
  DISPPARAMS none = {};
  EXPECT_EQ(dispatch->Invoke(1, IID_NULL, LOCALE_NEUTRAL, DISPATCH_METHOD, &none, nullptr, nullptr, nullptr),
            DISP_E_MEMBERNOTFOUND);
}

}  // namespace
}  // namespace vantor::test
