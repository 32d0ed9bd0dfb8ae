#include "platform/platform.h"

#include <gtest/gtest.h>

#include <chrono>
#include <cstdint>
#include <cstring>
#include <filesystem>

namespace vantor {
namespace {

TEST(Platform, SleepLastsAtLeastTheTimeAsked) {
  const auto before = std::chrono::steady_clock::now();
  SleepMilliseconds(3);
  EXPECT_GE(std::chrono::steady_clock::now() - before, std::chrono::milliseconds(3));
  SleepMilliseconds(0);
}

TEST(Platform, ModulePathNamesTheFileThatHoldsThisCode) {
  const std::string path = ModulePath();
  EXPECT_NE(path.find("test_platform"), std::string::npos) << path;
  EXPECT_TRUE(std::filesystem::is_regular_file(std::filesystem::path(Utf8ToWide(path)))) << path;
}

TEST(Platform, PagesAreZeroedAlignedAndWritable) {
  const std::size_t size = 3 * PageAlignment() + 1;
  auto* pages = static_cast<std::uint8_t*>(AllocatePages(size));
  ASSERT_NE(pages, nullptr);
  EXPECT_EQ(reinterpret_cast<std::uintptr_t>(pages) % PageAlignment(), 0u);
  EXPECT_EQ(pages[0], 0);
  EXPECT_EQ(pages[size - 1], 0);
  std::memset(pages, 0xA5, size);
  EXPECT_EQ(pages[size - 1], 0xA5);
  FreePages(pages, size);
}

TEST(Platform, PageAlignmentIsAPowerOfTwoOfAtLeast4096) {
  EXPECT_GE(PageAlignment(), 4096u);
  EXPECT_EQ(PageAlignment() & (PageAlignment() - 1), 0u);
}

TEST(Platform, ALargeBlockIsThereAtBothEnds) {
  constexpr std::size_t kSize = std::size_t{256} << 20;
  auto* pages = static_cast<std::uint8_t*>(AllocatePages(kSize));
  ASSERT_NE(pages, nullptr);
  pages[0] = 1;
  pages[kSize - 1] = 2;
  EXPECT_EQ(pages[kSize / 2], 0);
  FreePages(pages, kSize);
}

TEST(Platform, NoPagesForNothingOrForMoreThanThereIs) {
  EXPECT_EQ(AllocatePages(0), nullptr);
  EXPECT_EQ(AllocatePages(SIZE_MAX / 2), nullptr);
  FreePages(nullptr, 0);
}

TEST(Platform, AMissingLibraryIsReportedWithAReason) {
  std::string error;
  EXPECT_EQ(SharedLibrary::Load("/no/such/folder/library.so", &error), nullptr);
  EXPECT_FALSE(error.empty());
  EXPECT_EQ(SharedLibrary::Load("/no/such/folder/library.so"), nullptr);
}

TEST(Platform, ALoadedLibraryFindsItsSymbolsAndNoOthers) {
  const struct {
    const char* path;
    const char* symbol;
  } systemLibraries[] = {{"libm.so.6", "cos"}, {"kernel32.dll", "GetTickCount"}};
  bool loaded = false;
  for (const auto& one : systemLibraries) {
    const auto library = SharedLibrary::Load(one.path);
    if (!library) continue;
    loaded = true;
    EXPECT_NE(library->Find(one.symbol), nullptr);
    EXPECT_NE(library->FindFunction<void()>(one.symbol), nullptr);
    EXPECT_EQ(library->Find("no_such_symbol_in_there"), nullptr);
  }
  EXPECT_TRUE(loaded);
}

TEST(Platform, AnUnknownTypeLibraryFailsAndLeavesNothing) {
  ITypeInfo* info = reinterpret_cast<ITypeInfo*>(1);
  const GUID unknown = {0x12345678, 1, 2, {3, 4, 5, 6, 7, 8, 9, 10}};
  EXPECT_TRUE(FAILED(LoadTypeInfo(unknown, 1, 0, unknown, &info)));
  EXPECT_EQ(info, nullptr);
  EXPECT_EQ(LoadTypeInfo(unknown, 1, 0, unknown, nullptr), E_POINTER);
}

}  // namespace
}  // namespace vantor
