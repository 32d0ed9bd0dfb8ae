// A component as built, loaded from beside the test program, for a test's fixture.
#pragma once

#include <gtest/gtest.h>

#include <filesystem>
#include <memory>
#include <string>

#include "platform/file_path.h"
#include "platform/platform.h"

namespace vantor::test {

// Every test ends with the component ready to be unloaded.
class LoadedComponent : public testing::Test {
 protected:
  explicit LoadedComponent(const char* file = VANTOR_COMPONENT_FILE) {
    std::string error;
    library_ = SharedLibrary::Load(Path(file), &error);
    EXPECT_TRUE(library_) << Path(file) << ": " << error;
  }
  ~LoadedComponent() override { EXPECT_EQ(Call("DllCanUnloadNow"), S_OK); }

  static std::string Path(const char* file = VANTOR_COMPONENT_FILE) { return PathOf(file); }

 public:
  // Of a file beside the program.
  static std::string PathOf(const char* file) {
    std::filesystem::path path = platform::ToPath(ModulePath());
    path.replace_filename(file);
    return platform::FromPath(path);
  }

 protected:
  // Calls an exported function without arguments; E_NOINTERFACE when there is none of the name.
  HRESULT Call(const char* name) const {
    auto* function = library_ ? library_->FindFunction<HRESULT WINAPI()>(name) : nullptr;
    return function ? function() : E_NOINTERFACE;
  }
  HRESULT GetClassObject(REFCLSID clsid, REFIID riid, void** object) const {
    auto* function =
        library_ ? library_->FindFunction<HRESULT WINAPI(REFCLSID, REFIID, void**)>("DllGetClassObject") : nullptr;
    return function ? function(clsid, riid, object) : E_NOINTERFACE;
  }

 private:
  std::unique_ptr<SharedLibrary> library_;
};

}  // namespace vantor::test
