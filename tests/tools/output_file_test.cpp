#include "tools/output_file.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

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
      names.push_back(platform::FromPath(entry.path().filename()));
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

TEST_F(OutputFileTest, AFolderOrAMissingOneIsRefused) {
  OutputFile same;
  EXPECT_FALSE(same.Open(platform::FromPath(folder_.Path()), Overwrite::kYes));
  EXPECT_THAT(same.Trouble(), HasSubstr("is a folder"));
  OutputFile missing;
  EXPECT_FALSE(missing.Open(PathOf("missing/a.bin"), Overwrite::kNo));
  EXPECT_THAT(missing.Trouble(), HasSubstr("a.bin: "));
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

TEST(OutputDevice, TakesNothingBack) {
  OutputFile file;
  ASSERT_TRUE(file.Open("/dev/null", Overwrite::kNo)) << file.Trouble();
  file.Append(SpanOf("0123456789"));
  file.Replace(3, SpanOf("xyz"));
  EXPECT_TRUE(file.HasFailed());
  EXPECT_FALSE(file.Finish());
}

#endif

}  // namespace
}  // namespace vantor::tools
