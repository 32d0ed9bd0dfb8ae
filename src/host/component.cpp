#include "host/component.h"

#include <array>
#include <cstddef>
#include <filesystem>
#include <system_error>
#include <type_traits>

#include "platform/com_ptr.h"
#include "platform/file_path.h"

namespace vantor {
namespace {

// What a component's file is called, by platform.
using FileNames = std::array<const char*, 2>;
constexpr FileNames kFileNames = {"libvantormkv.so", "vantormkv.ax"};
constexpr FileNames kCompleteFileNames = {"libvantormkv-complete.so", "vantormkv-complete.ax"};

// Where it lies, from the folder of the program or library: beside it, as it is built; installed, in a folder of its
// own for which the build gives the ways from programs and from libraries.
#if defined(VANTOR_INSTALLED_FOR_PROGRAMS)
constexpr std::array<const char*, 3> kFolders = {"", VANTOR_INSTALLED_FOR_PROGRAMS, VANTOR_INSTALLED_FOR_LIBRARIES};
#else
constexpr std::array<const char*, 1> kFolders = {""};
#endif

}  // namespace

std::unique_ptr<Component> Component::Load(const std::string& path, std::string& error) {
  std::unique_ptr<SharedLibrary> library = SharedLibrary::Load(path, &error);
  if (!library) {
    if (error.find(path) == std::string::npos) {
      error = path + ": " + error;
    }
    return nullptr;
  }
  const auto getClassObject = library->FindFunction<std::remove_pointer_t<GetClassObjectFunction>>("DllGetClassObject");
  const auto canUnloadNow = library->FindFunction<std::remove_pointer_t<CanUnloadNowFunction>>("DllCanUnloadNow");
  if (getClassObject == nullptr || canUnloadNow == nullptr) {
    error = path + " is not a component: it exports no DllGetClassObject or no DllCanUnloadNow";
    return nullptr;
  }
  auto component = std::make_unique<Component>(getClassObject, canUnloadNow);
  component->library_ = std::move(library);
  return component;
}

std::unique_ptr<Component> Component::LoadBesideProgram(std::string& error, const ComponentIdentity& identity) {
  const std::string path = PathBesideProgram(error, identity);
  return path.empty() ? nullptr : Load(path, error);
}

std::string Component::PathBesideProgram(std::string& error, const ComponentIdentity& identity) {
  const FileNames& names = SameGuid(identity.classId, kMkvDmxComplete.classId) ? kCompleteFileNames : kFileNames;
  const std::filesystem::path here = platform::ToPath(ModulePath()).parent_path();
  for (const char* folder : kFolders) {
    for (const char* name : names) {
      const std::filesystem::path file = (here / folder).lexically_normal() / name;
      std::error_code ignored;
      if (std::filesystem::exists(file, ignored)) {
        return platform::FromPath(file);
      }
    }
  }
  error = "no component (" + std::string(names[0]) + " or " + names[1] + ") in " + platform::FromPath(here);
  for (std::size_t number = 1; number < kFolders.size(); ++number) {
    error += " or " + platform::FromPath((here / kFolders[number]).lexically_normal());
  }
  return {};
}

Component::Component(GetClassObjectFunction getClassObject, CanUnloadNowFunction canUnloadNow) noexcept
    : getClassObject_(getClassObject), canUnloadNow_(canUnloadNow) {}

Component::~Component() {
  // Objects may still be alive whose code would go with the library: others', or forgotten ones.
  if (library_ && !CanUnloadNow()) library_->Keep();
}

HRESULT Component::CreateFilter(REFCLSID classId, IBaseFilter** filter) const noexcept {
  *filter = nullptr;
  ComPtr<IClassFactory> factory;
  const HRESULT hr = getClassObject_(classId, IID_IClassFactory, factory.Void());
  if (FAILED(hr)) {
    return hr;
  }
  return factory->CreateInstance(nullptr, IID_IBaseFilter, reinterpret_cast<void**>(filter));
}

bool Component::CanUnloadNow() const noexcept { return canUnloadNow_() == S_OK; }

}  // namespace vantor
