// What the file properties of the component and of the tool show.
#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <utility>
#include <vector>

#include "platform/platform.h"
#include "platform/text.h"

namespace vantor::test {
namespace {

// Parameter: the file and what kind of file it is.
class VersionInformation : public testing::TestWithParam<std::pair<std::string, DWORD>> {
 protected:
  VersionInformation() {
    const std::filesystem::path path =
        std::filesystem::path(Utf8ToWide(ModulePath())).replace_filename(GetParam().first);
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

TEST_P(VersionInformation, NamesTheProductAndTheProjectsVersion) {
  EXPECT_EQ(Text("ProductName"), "Vantor MKV Demultiplexer");
  EXPECT_EQ(Text("ProductVersion"), VANTOR_VERSION);
  EXPECT_EQ(Text("FileVersion"), VANTOR_VERSION);
  EXPECT_EQ(Text("OriginalFilename"), GetParam().first);
  EXPECT_NE(Text("FileDescription"), "(none)");
}

TEST_P(VersionInformation, TheNumbersAreThoseOfTheText) {
  VS_FIXEDFILEINFO* fixed = nullptr;
  UINT length = 0;
  ASSERT_TRUE(VerQueryValueW(data_.data(), L"\\", reinterpret_cast<void**>(&fixed), &length));
  const std::string numbers = std::to_string(HIWORD(fixed->dwFileVersionMS)) + "." +
                              std::to_string(LOWORD(fixed->dwFileVersionMS)) + "." +
                              std::to_string(HIWORD(fixed->dwFileVersionLS));
  EXPECT_EQ(numbers, VANTOR_VERSION);
  EXPECT_EQ(fixed->dwProductVersionMS, fixed->dwFileVersionMS);
  EXPECT_EQ(fixed->dwProductVersionLS, fixed->dwFileVersionLS);
  EXPECT_EQ(fixed->dwFileType, GetParam().second);
}

INSTANTIATE_TEST_SUITE_P(Files, VersionInformation,
                         testing::Values(std::pair<std::string, DWORD>("vantormkv.ax", VFT_DLL),
                                         std::pair<std::string, DWORD>("vantor-mkv.exe", VFT_APP)));

}  // namespace
}  // namespace vantor::test
