#include "mediatypes/font_installer.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <new>
#include <string>
#include <utility>
#include <vector>

#include "mediatypes/font_attachments.h"
#include "parser/file_root.h"
#include "support/allocation_monitor.h"
#include "support/memory_reader.h"
#include "support/mkv_builder.h"

namespace vantor::test {
namespace {

using Calls = std::vector<std::string>;

// What the recorded system does. The functions are plain pointers, so it is one for the whole program.
struct FontSystem {
  Calls calls;
  int fileFonts = 1;         // what AddFontResourceExA answers
  bool memoryHandle = true;  // whether AddFontMemResourceEx gives a handle
  DWORD memoryFonts = 1;     // and how many fonts it counts
  std::vector<Raw> memoryData;
  std::uintptr_t nextHandle = 1;
};
FontSystem g_system;

std::string TextOf(HANDLE handle) { return std::to_string(reinterpret_cast<std::uintptr_t>(handle)); }

HANDLE WINAPI AddFromMemory(void* data, DWORD size, void* reserved, DWORD* count) {
  EXPECT_EQ(reserved, nullptr);
  const auto* bytes = static_cast<const std::uint8_t*>(data);
  g_system.memoryData.emplace_back(bytes, bytes + size);
  *count = g_system.memoryFonts;
  HANDLE handle = g_system.memoryHandle ? reinterpret_cast<HANDLE>(g_system.nextHandle++) : nullptr;
  g_system.calls.push_back("add memory " + TextOf(handle));
  return handle;
}

int WINAPI AddFromFile(const char* name, DWORD flags, void* reserved) {
  EXPECT_EQ(flags, 0x10U);
  EXPECT_EQ(reserved, nullptr);
  g_system.calls.push_back(std::string("add ") + name);
  return g_system.fileFonts;
}

BOOL WINAPI RemoveFromMemory(HANDLE handle) {
  g_system.calls.push_back("remove memory " + TextOf(handle));
  return TRUE;
}

BOOL WINAPI RemoveFile(const char* name, DWORD flags, void* reserved) {
  EXPECT_EQ(flags, 0x10U);
  EXPECT_EQ(reserved, nullptr);
  g_system.calls.push_back(std::string("remove ") + name);
  return TRUE;
}

BOOL WINAPI MoveAtRestart(const char* from, const char* to, DWORD flags) {
  EXPECT_EQ(to, nullptr);
  EXPECT_EQ(flags, 4U);
  g_system.calls.push_back(std::string("delete at restart ") + from);
  return TRUE;
}

class FakeFiles final : public platform::TemporaryFiles {
 public:
  bool MakeName(const char* prefix, std::string& name) override {
    if (!hasFolder) return false;
    name = prefix + std::to_string(++made_);
    return true;
  }
  bool Write(const std::string& name, const void* data, std::size_t size) override {
    g_system.calls.push_back("write " + name);
    const auto* bytes = static_cast<const std::uint8_t*>(data);
    written.emplace_back(bytes, bytes + size);
    return writable;
  }
  bool Delete(const std::string& name) override {
    g_system.calls.push_back("delete " + name);
    return deletable;
  }

  bool hasFolder = true;
  bool writable = true;
  bool deletable = true;
  std::vector<Raw> written;

 private:
  int made_ = 0;
};

class FontInstaller : public testing::Test {
 protected:
  FontInstaller() { g_system = {}; }

  static platform::FontFunctions All() {
    platform::FontFunctions functions;
    functions.AddFontMemResourceEx = AddFromMemory;
    functions.AddFontResourceExA = AddFromFile;
    functions.RemoveFontMemResourceEx = RemoveFromMemory;
    functions.RemoveFontResourceExA = RemoveFile;
    functions.MoveFileExA = MoveAtRestart;
    return functions;
  }

  static bool Install(CFontInstaller& installer, const Raw& font) {
    return installer.Install(font.data(), font.size());
  }
  static Calls TakeCalls() { return std::exchange(g_system.calls, {}); }

  FakeFiles files_;
};

TEST_F(FontInstaller, FontIsInstalledFromATemporaryFileFirst) {
  CFontInstaller installer(All(), files_);
  EXPECT_TRUE(Install(installer, Ramp(100)));
  EXPECT_EQ(TakeCalls(), (Calls{"write g_font1", "add g_font1"}));
  EXPECT_EQ(files_.written, std::vector<Raw>{Ramp(100)});
}

TEST_F(FontInstaller, FileThatIsRefusedIsDeletedAndMemoryIsTried) {
  for (const int answer : {0, -1}) {
    g_system = {};
    g_system.fileFonts = answer;
    FakeFiles files;
    CFontInstaller installer(All(), files);
    EXPECT_TRUE(Install(installer, Ramp(50)));
    EXPECT_EQ(TakeCalls(), (Calls{"write g_font1", "add g_font1", "delete g_font1", "add memory 1"}));
    EXPECT_EQ(g_system.memoryData, std::vector<Raw>{Ramp(50)});
  }
}

TEST_F(FontInstaller, FileThatCannotBeWrittenIsDeletedAndMemoryIsTried) {
  files_.writable = false;
  CFontInstaller installer(All(), files_);
  EXPECT_TRUE(Install(installer, Ramp(50)));
  EXPECT_EQ(TakeCalls(), (Calls{"write g_font1", "delete g_font1", "add memory 1"}));
}

TEST_F(FontInstaller, WithoutAFolderForTemporaryFilesMemoryIsTried) {
  files_.hasFolder = false;
  CFontInstaller installer(All(), files_);
  EXPECT_TRUE(Install(installer, Ramp(50)));
  EXPECT_EQ(TakeCalls(), (Calls{"add memory 1"}));
}

TEST_F(FontInstaller, WithoutTheFileFunctionMemoryIsTried) {
  platform::FontFunctions functions = All();
  functions.AddFontResourceExA = nullptr;
  CFontInstaller installer(functions, files_);
  EXPECT_TRUE(Install(installer, Ramp(50)));
  EXPECT_EQ(TakeCalls(), (Calls{"add memory 1"}));
}

TEST_F(FontInstaller, MemoryNeedsAHandleAndACount) {
  g_system.fileFonts = 0;
  CFontInstaller installer(All(), files_);
  g_system.memoryFonts = 0;
  EXPECT_FALSE(Install(installer, Ramp(5)));
  g_system.memoryFonts = 1;
  g_system.memoryHandle = false;
  EXPECT_FALSE(Install(installer, Ramp(5)));
  TakeCalls();
  installer.RemoveAll();
  EXPECT_EQ(TakeCalls(), Calls{});
}

TEST_F(FontInstaller, MemoryThatRunsOutLeavesNoFontBehind) {
  if (!WatchesAllocations()) GTEST_SKIP();
  const auto begins = [](const char* with) {
    return [with](const std::string& call) { return call.rfind(with, 0) == 0; };
  };
  for (const bool asFile : {true, false}) {
    g_system.calls.reserve(50);
    g_system.memoryData.reserve(50);
    {
      platform::FontFunctions functions = All();
      if (!asFile) functions.AddFontResourceExA = nullptr;
      CFontInstaller installer(functions, files_);
      const Raw font = Ramp(5);
      for (std::uint64_t n = 1;; ++n) {
        FailAllocation(n);
        bool isInstalled = true;
        try {
          EXPECT_TRUE(Install(installer, font));
        } catch (const std::bad_alloc&) {
          isInstalled = false;
        }
        FailAllocation(0);
        if (isInstalled) break;
      }
    }
    const Calls calls = TakeCalls();
    EXPECT_EQ(std::count_if(calls.begin(), calls.end(), begins("add ")),
              std::count_if(calls.begin(), calls.end(), begins("remove ")));
  }
}

TEST_F(FontInstaller, WithoutTheMemoryFunctionARefusedFileIsAFailure) {
  g_system.fileFonts = 0;
  platform::FontFunctions functions = All();
  functions.AddFontMemResourceEx = nullptr;
  CFontInstaller installer(functions, files_);
  EXPECT_FALSE(Install(installer, Ramp(5)));
  EXPECT_EQ(TakeCalls(), (Calls{"write g_font1", "add g_font1", "delete g_font1"}));
}

TEST_F(FontInstaller, WithoutAnyFunctionEveryInstallFailsAndRemovalDoesNothing) {
  CFontInstaller installer(platform::FontFunctions{}, files_);
  EXPECT_FALSE(Install(installer, Ramp(5)));
  installer.RemoveAll();
  EXPECT_EQ(TakeCalls(), Calls{});
}

TEST_F(FontInstaller, RemovalTakesMemoryFontsThenFilesInTheOrderOfInstallation) {
  CFontInstaller installer(All(), files_);
  EXPECT_TRUE(Install(installer, Ramp(1)));
  g_system.fileFonts = 0;
  EXPECT_TRUE(Install(installer, Ramp(2)));
  EXPECT_TRUE(Install(installer, Ramp(3)));
  g_system.fileFonts = 1;
  EXPECT_TRUE(Install(installer, Ramp(4)));
  TakeCalls();
  installer.RemoveAll();
  EXPECT_EQ(TakeCalls(), (Calls{"remove memory 1", "remove memory 2", "remove g_font1", "delete g_font1",
                                "remove g_font4", "delete g_font4"}));
  installer.RemoveAll();
  EXPECT_EQ(TakeCalls(), Calls{});
}

TEST_F(FontInstaller, FileStillInUseIsDeletedAtTheNextRestart) {
  files_.deletable = false;
  CFontInstaller installer(All(), files_);
  EXPECT_TRUE(Install(installer, Ramp(1)));
  TakeCalls();
  installer.RemoveAll();
  EXPECT_EQ(TakeCalls(), (Calls{"remove g_font1", "delete g_font1", "delete at restart g_font1"}));
}

TEST_F(FontInstaller, WithoutTheMoveFunctionAFileStillInUseIsLeft) {
  files_.deletable = false;
  platform::FontFunctions functions = All();
  functions.MoveFileExA = nullptr;
  CFontInstaller installer(functions, files_);
  EXPECT_TRUE(Install(installer, Ramp(1)));
  TakeCalls();
  installer.RemoveAll();
  EXPECT_EQ(TakeCalls(), (Calls{"remove g_font1", "delete g_font1"}));
}

TEST_F(FontInstaller, MissingRemovalFunctionsDisableTheirWay) {
  platform::FontFunctions functions = All();
  functions.RemoveFontMemResourceEx = nullptr;
  functions.RemoveFontResourceExA = nullptr;
  CFontInstaller installer(functions, files_);
  EXPECT_TRUE(Install(installer, Ramp(1)));
  g_system.fileFonts = 0;
  EXPECT_TRUE(Install(installer, Ramp(2)));
  TakeCalls();
  installer.RemoveAll();
  EXPECT_EQ(TakeCalls(), Calls{});
}

TEST_F(FontInstaller, DestructionRemovesWhatIsInstalled) {
  {
    CFontInstaller installer(All(), files_);
    EXPECT_TRUE(Install(installer, Ramp(1)));
    TakeCalls();
  }
  EXPECT_EQ(TakeCalls(), (Calls{"remove g_font1", "delete g_font1"}));
}

TEST_F(FontInstaller, TemporaryFilesOfTheSystemAreWrittenAnewAndDeleted) {
  platform::TemporaryFiles& files = platform::SystemTemporaryFiles();
  std::string first;
  std::string second;
  ASSERT_TRUE(files.MakeName("g_font", first));
  ASSERT_TRUE(files.Write(first, "longer", 6));
  ASSERT_TRUE(files.MakeName("g_font", second));
  EXPECT_NE(first, second);
  EXPECT_TRUE(files.Delete(second));
  EXPECT_TRUE(files.Write(first, "new", 3));
  std::FILE* file = std::fopen(first.c_str(), "rb");
  ASSERT_NE(file, nullptr);
  char content[10];
  EXPECT_EQ(std::fread(content, 1, sizeof(content), file), 3U);
  std::fclose(file);
  EXPECT_EQ(std::string(content, 3), "new");
  EXPECT_TRUE(files.Delete(first));
  EXPECT_FALSE(files.Delete(first));
  EXPECT_FALSE(files.Write(first + "/nowhere", "x", 1));
}

// ---- The attachments of a file ----

constexpr std::string_view kTrueType = "application/x-truetype-font";

class FontAttachments : public FontInstaller {
 protected:
  // A file whose attachments are found through its index.
  static Raw File(const Raw& attachments) {
    return MkvFile({{"seek", [](const Positions& at) { return SeekHead({SeekEntry(0x1941A469, at["attachments"])}); }},
                    Info(),
                    Tracks({Track(1, 17, "S_TEXT/UTF8")}),
                    {"attachments", attachments}});
  }

  void Install(const Raw& attachments) {
    MemoryReader reader(File(attachments));
    CMkvFileRoot root(&reader, true);
    ASSERT_EQ(root.Open(), S_OK);
    ASSERT_FALSE(root.GetSegment()->attachments.empty());
    prepare(root, reader);
    CFontInstaller installer(All(), files_);
    InstallFontAttachments(root, installer);
  }

  std::function<void(CMkvFileRoot& root, MemoryReader& reader)> prepare = [](CMkvFileRoot&, MemoryReader&) {};
};

TEST_F(FontAttachments, TrueTypeFontsAreInstalledInFileOrder) {
  Install(Attachments({Attachment("a.ttf", kTrueType, Ramp(1000)), Attachment("b.jpg", "image/jpeg", Ramp(10)),
                       Attachment("c.ttf", kTrueType, Ramp(77))}));
  EXPECT_EQ(files_.written, (std::vector<Raw>{Ramp(1000), Ramp(77)}));
}

TEST_F(FontAttachments, OnlyTheExactTypeNameCounts) {
  Install(Attachments({Attachment("a.ttf", "application/x-font-ttf", Ramp(1)), Attachment("b.ttf", "font/ttf", Ramp(1)),
                       Attachment("c.ttf", "application/x-truetype-font2", Ramp(1)),
                       Attachment("d.ttf", "application/x-truetype-fon", Ramp(1)),
                       Attachment("e.ttf", "Application/x-truetype-font", Ramp(1)), Attachment("f.ttf", "", Ramp(1))}));
  EXPECT_EQ(files_.written, std::vector<Raw>{});
}

TEST_F(FontAttachments, EachFontIsOneReadAtItsPlace) {
  std::vector<std::int32_t> sizes;
  prepare = [&](CMkvFileRoot&, MemoryReader& reader) {
    reader.OnRead([&](std::int64_t, std::int32_t size) { sizes.push_back(size); });
  };
  Install(Attachments({Attachment("a.ttf", kTrueType, Ramp(1000)), Attachment("c.ttf", kTrueType, Ramp(77))}));
  EXPECT_EQ(sizes, (std::vector<std::int32_t>{1000, 77}));
}

TEST_F(FontAttachments, FontThatCannotBeReadIsPassedOver) {
  prepare = [](CMkvFileRoot&, MemoryReader& reader) { reader.FailRead(1, E_ABORT); };
  Install(Attachments({Attachment("a.ttf", kTrueType, Ramp(1000)), Attachment("c.ttf", kTrueType, Ramp(77))}));
  EXPECT_EQ(files_.written, std::vector<Raw>{Ramp(77)});
}

TEST_F(FontAttachments, FontWithoutMemoryToReadItIntoIsPassedOver) {
  if (!WatchesAllocations()) GTEST_SKIP();
  std::vector<std::int32_t> sizes;
  sizes.reserve(10);
  prepare = [&](CMkvFileRoot&, MemoryReader& reader) {
    reader.OnRead([&](std::int64_t, std::int32_t size) { sizes.push_back(size); });
    FailAllocation(1);
  };
  Install(Attachments({Attachment("a.ttf", kTrueType, Ramp(1000)), Attachment("c.ttf", kTrueType, Ramp(77))}));
  FailAllocation(0);
  EXPECT_EQ(sizes, std::vector<std::int32_t>{77}) << "not even read";
  EXPECT_EQ(files_.written, std::vector<Raw>{Ramp(77)});
}

TEST_F(FontAttachments, FontReadShortIsPassedOver) {
  prepare = [](CMkvFileRoot&, MemoryReader& reader) { reader.ShortenRead(1); };
  Install(Attachments({Attachment("a.ttf", kTrueType, Ramp(1000)), Attachment("c.ttf", kTrueType, Ramp(77))}));
  EXPECT_EQ(files_.written, std::vector<Raw>{Ramp(77)});
}

TEST_F(FontAttachments, FontThatRunsPastTheEndIsPassedOverUnread) {
  std::uint64_t reads = 0;
  prepare = [&](CMkvFileRoot& root, MemoryReader& reader) {
    std::vector<MkvAttachedFile>& list = root.segment.attachments.at(0);
    ASSERT_EQ(list.size(), 3U);
    list[0].dataSize = root.length - list[0].dataPosition + 1;
    list[1].dataSize = 0xFFFFFFFFFFFFFFFF;
    list[2].dataPosition = root.length;
    reader.OnRead([&](std::int64_t, std::int32_t) { ++reads; });
  };
  Install(Attachments({Attachment("a.ttf", kTrueType, Ramp(5)), Attachment("b.ttf", kTrueType, Ramp(5)),
                       Attachment("c.ttf", kTrueType, Ramp(5))}));
  EXPECT_EQ(files_.written, std::vector<Raw>{});
  EXPECT_EQ(reads, 0U);
}

TEST_F(FontAttachments, FontThatIsRefusedDoesNotStopTheNext) {
  g_system.fileFonts = 0;
  g_system.memoryHandle = false;
  Install(Attachments({Attachment("a.ttf", kTrueType, Ramp(5)), Attachment("b.ttf", kTrueType, Ramp(6))}));
  EXPECT_EQ(files_.written, (std::vector<Raw>{Ramp(5), Ramp(6)}));
}

TEST_F(FontAttachments, EveryAttachmentsListIsWalked) {
  prepare = [](CMkvFileRoot& root, MemoryReader&) {
    auto& lists = root.segment.attachments;
    lists.push_back(lists.at(0));
  };
  Install(Attachments({Attachment("a.ttf", kTrueType, Ramp(5))}));
  EXPECT_EQ(files_.written, (std::vector<Raw>{Ramp(5), Ramp(5)}));
}

TEST_F(FontAttachments, FontsThatClaimEachOthersBytesAreNotAllInstalled) {
  constexpr std::size_t kSize = 3 << 20;
  prepare = [](CMkvFileRoot& root, MemoryReader&) {
    std::vector<MkvAttachedFile>& list = root.segment.attachments.at(0);
    const MkvAttachedFile last = list.back();
    for (MkvAttachedFile& file : list) {
      file.dataPosition = last.dataPosition;
      file.dataSize = last.dataSize;
    }
  };
  const Raw one = Attachment("a.ttf", kTrueType, {1});
  Install(Attachments({one, one, one, one, Attachment("z.ttf", kTrueType, Ramp(kSize))}));
  EXPECT_EQ(files_.written, std::vector<Raw>{Ramp(kSize)});
}

TEST_F(FontAttachments, InstalledAnewTheyHaveTheSameRoom) {
  constexpr std::size_t kSize = 3 << 20;
  prepare = [&](CMkvFileRoot& root, MemoryReader&) {
    CFontInstaller first(All(), files_);
    InstallFontAttachments(root, first);
  };
  Install(Attachments({Attachment("a.ttf", kTrueType, Ramp(kSize))}));
  EXPECT_EQ(files_.written, (std::vector<Raw>{Ramp(kSize), Ramp(kSize)}));
}

}  // namespace
}  // namespace vantor::test
