#include "tools/output_file.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#if defined(_WIN32)
#include <windows.h>
#else
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>
#endif

#include "platform/file_path.h"
#include "support/temporary_folder.h"

namespace vantor::tools {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

std::span<const std::uint8_t> SpanOf(const std::string& text) {
  return {reinterpret_cast<const std::uint8_t*>(text.data()), text.size()};
}

std::string ContentOf(const std::filesystem::path& path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

class OutputFileTest : public testing::Test {
 protected:
  std::string PathOf(const std::string& name) const { return platform::FromPath(folder_ / platform::ToPath(name)); }
  std::vector<std::string> NamesInFolder() const {
    std::vector<std::string> names;
    for (const auto& entry : std::filesystem::directory_iterator(folder_.Path())) {
      // One system's file has a name of its own until it is placed, and goes with its handle.
      const std::string name = platform::FromPath(entry.path().filename());
      if (!name.starts_with(".vantor-")) names.push_back(name);
    }
    std::sort(names.begin(), names.end());
    return names;
  }

  test::TemporaryFolder folder_;
};

TEST_F(OutputFileTest, AppearsWhenItIsFinished) {
  {
    OutputFile file;
    ASSERT_TRUE(file.Open(PathOf("a.bin"), Overwrite::kNo)) << file.Trouble();
    file.Append(SpanOf("0123456789"));
    EXPECT_EQ(file.Size(), 10U);
    EXPECT_FALSE(std::filesystem::exists(folder_ / "a.bin"));
    file.Replace(3, SpanOf("xyz"));
    file.Append(SpanOf("ab"));
    ASSERT_TRUE(file.Finish()) << file.Trouble();
  }
  EXPECT_EQ(ContentOf(folder_ / "a.bin"), "012xyz6789ab");
  EXPECT_THAT(NamesInFolder(), ElementsAre("a.bin"));
}

TEST_F(OutputFileTest, LeavesNothingWhenItIsNotFinished) {
  {
    OutputFile file;
    ASSERT_TRUE(file.Open(PathOf("a.bin"), Overwrite::kNo)) << file.Trouble();
    file.Append(SpanOf(std::string(1 << 20, 'x')));
  }
  EXPECT_THAT(NamesInFolder(), IsEmpty());
}

TEST_F(OutputFileTest, HoldsPiecesOfEverySize) {
  std::string whole;
  {
    OutputFile file;
    ASSERT_TRUE(file.Open(PathOf("a.bin"), Overwrite::kNo)) << file.Trouble();
    for (std::size_t size = 1; size < 3'000'000; size = size * 3 + 1) {
      const std::string piece(size, static_cast<char>('a' + size % 26));
      file.Append(SpanOf(piece));
      whole += piece;
      EXPECT_EQ(file.Size(), whole.size());
    }
    ASSERT_TRUE(file.Finish()) << file.Trouble();
  }
  EXPECT_TRUE(ContentOf(folder_ / "a.bin") == whole);
}

TEST_F(OutputFileTest, OverwritesOnlyWhenAsked) {
  folder_.Write("a.bin", "old");
  {
    OutputFile file;
    EXPECT_FALSE(file.MayOpen(PathOf("a.bin"), Overwrite::kNo));
    EXPECT_THAT(file.Trouble(), HasSubstr("a.bin: exists already; --force overwrites it"));
    EXPECT_TRUE(OutputFile().MayOpen(PathOf("a.bin"), Overwrite::kYes));
    EXPECT_TRUE(OutputFile().MayOpen(PathOf("b.bin"), Overwrite::kNo));
    EXPECT_THAT(NamesInFolder(), ElementsAre("a.bin"));
  }
  {
    OutputFile file;
    EXPECT_FALSE(file.Open(PathOf("a.bin"), Overwrite::kNo));
    EXPECT_THAT(file.Trouble(), HasSubstr("a.bin: exists already; --force overwrites it"));
  }
  EXPECT_EQ(ContentOf(folder_ / "a.bin"), "old");
  {
    OutputFile file;
    ASSERT_TRUE(file.Open(PathOf("a.bin"), Overwrite::kYes)) << file.Trouble();
    file.Append(SpanOf("new"));
    EXPECT_EQ(ContentOf(folder_ / "a.bin"), "old");
    ASSERT_TRUE(file.Finish()) << file.Trouble();
  }
  EXPECT_EQ(ContentOf(folder_ / "a.bin"), "new");
  EXPECT_THAT(NamesInFolder(), ElementsAre("a.bin"));
}

TEST_F(OutputFileTest, SparesAFileThatAppearsMeanwhile) {
  {
    OutputFile file;
    ASSERT_TRUE(file.Open(PathOf("a.bin"), Overwrite::kNo)) << file.Trouble();
    file.Append(SpanOf("mine"));
    folder_.Write("a.bin", "theirs");
    EXPECT_FALSE(file.Finish());
    EXPECT_THAT(file.Trouble(), HasSubstr("a.bin: "));
  }
  EXPECT_EQ(ContentOf(folder_ / "a.bin"), "theirs");
  EXPECT_THAT(NamesInFolder(), ElementsAre("a.bin"));
}

TEST_F(OutputFileTest, FilesThatBelongTogetherAppearTogether) {
  OutputFile one;
  OutputFile other;
  ASSERT_TRUE(one.Open(PathOf("a.idx"), Overwrite::kNo)) << one.Trouble();
  ASSERT_TRUE(other.Open(PathOf("a.sub"), Overwrite::kNo)) << other.Trouble();
  one.Append(SpanOf("one"));
  other.Append(SpanOf("other"));
  EXPECT_THAT(NamesInFolder(), IsEmpty());
  EXPECT_EQ(PlaceAll({&one, &other}), nullptr);
  EXPECT_THAT(NamesInFolder(), ElementsAre("a.idx", "a.sub"));
}

TEST_F(OutputFileTest, TheFirstGoesAgainWhenTheSecondCannotBePlaced) {
  OutputFile one;
  OutputFile other;
  ASSERT_TRUE(one.Open(PathOf("a.idx"), Overwrite::kNo)) << one.Trouble();
  ASSERT_TRUE(other.Open(PathOf("a.sub"), Overwrite::kNo)) << other.Trouble();
  folder_.Write("a.sub", "theirs");
  EXPECT_EQ(PlaceAll({&one, &other}), &other);
  EXPECT_THAT(other.Trouble(), HasSubstr("a.sub: "));
  EXPECT_THAT(NamesInFolder(), ElementsAre("a.sub"));
  EXPECT_EQ(ContentOf(folder_ / "a.sub"), "theirs");
}

TEST_F(OutputFileTest, AFileThatReplacedAnotherStaysWhenALaterOneCannotBePlaced) {
  folder_.Write("a.idx", "old");
  OutputFile replacing;
  OutputFile added;
  OutputFile failing;
  ASSERT_TRUE(replacing.Open(PathOf("a.idx"), Overwrite::kYes)) << replacing.Trouble();
  ASSERT_TRUE(added.Open(PathOf("a.sub"), Overwrite::kYes)) << added.Trouble();
  ASSERT_TRUE(failing.Open(PathOf("b.idx"), Overwrite::kNo)) << failing.Trouble();
  replacing.Append(SpanOf("new"));
  folder_.Write("b.idx", "theirs");
  EXPECT_EQ(PlaceAll({&replacing, &added, &failing}), &failing);
  EXPECT_THAT(NamesInFolder(), ElementsAre("a.idx", "b.idx"));
  EXPECT_EQ(ContentOf(folder_ / "a.idx"), "new");
}

TEST_F(OutputFileTest, AFolderOrAMissingOneIsRefused) {
  OutputFile same;
  EXPECT_FALSE(same.Open(platform::FromPath(folder_.Path()), Overwrite::kYes));
  EXPECT_THAT(same.Trouble(), HasSubstr("is a folder"));
  OutputFile missing;
  EXPECT_FALSE(missing.Open(PathOf("missing/a.bin"), Overwrite::kNo));
  EXPECT_THAT(missing.Trouble(), HasSubstr("a.bin: there is no folder "));
}

TEST_F(OutputFileTest, TakesNamesOfEveryScript) {
  OutputFile file;
  ASSERT_TRUE(file.Open(PathOf("\u6F22\u5B57 \U0001F600.bin"), Overwrite::kNo)) << file.Trouble();
  ASSERT_TRUE(file.Finish()) << file.Trouble();
  EXPECT_THAT(NamesInFolder(), ElementsAre("\u6F22\u5B57 \U0001F600.bin"));
}

#if !defined(_WIN32)

TEST(OutputDevice, FullOneGivesTheReason) {
  OutputFile file;
  ASSERT_TRUE(file.Open("/dev/full", Overwrite::kNo)) << file.Trouble();
  file.Append(SpanOf("lost"));
  EXPECT_FALSE(file.HasFailed());  // so far it is in memory
  EXPECT_FALSE(file.Finish());
  EXPECT_EQ(file.Trouble(), "/dev/full: No space left on device");
  file.Append(SpanOf("more"));
  EXPECT_EQ(file.Trouble(), "/dev/full: No space left on device");
}

TEST_F(OutputFileTest, NothingAppearsWhenTheLastOfSeveralCannotBeWritten) {
  OutputFile one;
  OutputFile full;
  ASSERT_TRUE(one.Open(PathOf("a.idx"), Overwrite::kNo)) << one.Trouble();
  ASSERT_TRUE(full.Open("/dev/full", Overwrite::kNo)) << full.Trouble();
  one.Append(SpanOf("one"));
  full.Append(SpanOf("lost"));
  EXPECT_EQ(PlaceAll({&one, &full}), &full);
  EXPECT_EQ(full.Trouble(), "/dev/full: No space left on device");
  EXPECT_THAT(NamesInFolder(), IsEmpty());
}

TEST_F(OutputFileTest, AStreamThatIsOpenIsWrittenToFromWhereItIs) {
  const int stream = open(PathOf("log").c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0600);
  ASSERT_EQ(write(stream, "before ", 7), 7);
  {
    OutputFile file;
    ASSERT_TRUE(file.Open("/dev/fd/" + std::to_string(stream), Overwrite::kNo)) << file.Trouble();
    file.Append(SpanOf("behind"));
    ASSERT_TRUE(file.Finish()) << file.Trouble();
  }
  close(stream);
  EXPECT_EQ(ContentOf(folder_ / "log"), "before behind");
  OutputFile none;
  EXPECT_FALSE(none.Open("/dev/fd/" + std::to_string(stream), Overwrite::kYes));
  EXPECT_THAT(NamesInFolder(), ElementsAre("log"));
}

TEST_F(OutputFileTest, APipeStaysOne) {
  ASSERT_EQ(mkfifo(PathOf("pipe").c_str(), 0600), 0);
  const int reader = open(PathOf("pipe").c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
  {
    OutputFile file;
    ASSERT_TRUE(file.Open(PathOf("pipe"), Overwrite::kYes)) << file.Trouble();
    file.Append(SpanOf("through"));
    ASSERT_TRUE(file.Finish()) << file.Trouble();
  }
  std::string got(20, '\0');
  got.resize(static_cast<std::size_t>(std::max<ssize_t>(read(reader, got.data(), got.size()), 0)));
  close(reader);
  EXPECT_EQ(got, "through");
  EXPECT_TRUE(std::filesystem::is_fifo(folder_ / "pipe"));
  EXPECT_THAT(NamesInFolder(), ElementsAre("pipe"));
}

TEST(OutputDevice, TakesNothingBack) {
  OutputFile file;
  ASSERT_TRUE(file.Open("/dev/null", Overwrite::kNo)) << file.Trouble();
  file.Append(SpanOf("0123456789"));
  file.Replace(3, SpanOf("xyz"));
  EXPECT_TRUE(file.HasFailed());
  EXPECT_FALSE(file.Finish());
}

#else

TEST_F(OutputFileTest, ADeviceOfTheSystemIsWrittenTo) {
  for (const std::string& name : {std::string("NUL"), std::string("nul"), std::string("\\\\.\\NUL")}) {
    OutputFile file;
    ASSERT_TRUE(file.Open(name, Overwrite::kNo)) << file.Trouble();
    file.Append(SpanOf("lost"));
    EXPECT_TRUE(file.Finish()) << file.Trouble();
  }
  EXPECT_FALSE(IsStream(PathOf("null.h264")));
  EXPECT_FALSE(IsStream("\\\\.\\PhysicalDrive0"));
}

TEST_F(OutputFileTest, APipeOfTheSystemIsWrittenTo) {
  const std::string name = "\\\\.\\pipe\\vantor-test-" + std::to_string(GetCurrentProcessId());
  const HANDLE reader =
      CreateNamedPipeA(name.c_str(), PIPE_ACCESS_INBOUND, PIPE_TYPE_BYTE | PIPE_WAIT, 1, 4096, 4096, 0, nullptr);
  ASSERT_NE(reader, INVALID_HANDLE_VALUE);
  {
    OutputFile file;
    ASSERT_TRUE(file.Open(name, Overwrite::kNo)) << file.Trouble();
    file.Append(SpanOf("through"));
    EXPECT_TRUE(file.Finish()) << file.Trouble();
  }
  std::string got(20, '\0');
  DWORD count = 0;
  EXPECT_TRUE(ReadFile(reader, got.data(), static_cast<DWORD>(got.size()), &count, nullptr));
  got.resize(count);
  CloseHandle(reader);
  EXPECT_EQ(got, "through");
}

#endif

}  // namespace
}  // namespace vantor::tools
