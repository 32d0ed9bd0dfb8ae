// What the file properties of the component show.
#include <gtest/gtest.h>

#include <vector>

#include "component/loaded_component.h"
#include "platform/text.h"

namespace vantor::test {
namespace {

class VersionInformation : public LoadedComponent {
 protected:
  VersionInformation() {
    const WideString path = Utf8ToWide(Path());
    DWORD unused = 0;
    data_.resize(GetFileVersionInfoSizeW(path.c_str(), &unused));
    EXPECT_TRUE(GetFileVersionInfoW(path.c_str(), 0, static_cast<DWORD>(data_.size()), data_.data()));
  }
  std::string Text(const std::string& name) {
    WCHAR* text = nullptr;
    UINT length = 0;
    if (!VerQueryValueW(data_.data(), Utf8ToWide("\\StringFileInfo\\040904B0\\" + name).c_str(),
                        reinterpret_cast<void**>(&text), &length)) {
      return "(none)";
    }
    return WideToUtf8(WideString(text));
  }
  std::vector<BYTE> data_;
};

TEST_F(VersionInformation, NamesTheProductAndTheProjectsVersion) {
  EXPECT_EQ(Text("ProductName"), "Vantor MKV Demultiplexer");
  EXPECT_EQ(Text("ProductVersion"), VANTOR_VERSION);
  EXPECT_EQ(Text("FileVersion"), VANTOR_VERSION);
  EXPECT_EQ(Text("OriginalFilename"), "vantormkv.ax");
}

TEST_F(VersionInformation, TheNumbersAreThoseOfTheText) {
  VS_FIXEDFILEINFO* fixed = nullptr;
  UINT length = 0;
  ASSERT_TRUE(VerQueryValueW(data_.data(), L"\\", reinterpret_cast<void**>(&fixed), &length));
  const std::string numbers = std::to_string(HIWORD(fixed->dwFileVersionMS)) + "." +
                              std::to_string(LOWORD(fixed->dwFileVersionMS)) + "." +
                              std::to_string(HIWORD(fixed->dwFileVersionLS));
  EXPECT_EQ(numbers, VANTOR_VERSION);
  EXPECT_EQ(fixed->dwFileType, static_cast<DWORD>(VFT_DLL));
}

}  // namespace
}  // namespace vantor::test
