// Where files must not be written, and what must not be removed.
#include <fcntl.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <csignal>
#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include "tools/extract_run.h"
#include "tools/file_signatures.h"
#include "tools/interrupt_watch.h"
#include "tools/output_file.h"

namespace vantor::tools {
namespace {

using testing::HasSubstr;
using testing::IsEmpty;

class OutputPlaces : public ExtractRun {};

std::vector<std::string> NamesIn(const std::filesystem::path& folder) {
  std::vector<std::string> names;
  for (const auto& entry : std::filesystem::directory_iterator(folder)) names.push_back(entry.path().filename());
  return names;
}

TEST_F(OutputPlaces, ALinkThatLeadsNowhereIsNoFolderAndStays) {
  std::filesystem::create_symlink("nowhere", folder_ / "link");
  for (const char* const name : {"link", "link/below"}) {
    const Checked outcome = RunTool(folder_, {"extract", "--pin", "1", "-d", Path(name), Media("avc_aac.mkv")});
    EXPECT_EQ(outcome.status, 2);
    EXPECT_THAT(outcome.messages, HasSubstr("cannot make the folder"));
    EXPECT_TRUE(std::filesystem::is_symlink(folder_ / "link")) << name;
  }
}

TEST_F(OutputPlaces, ALinkThatLeadsNowhereIsToldBeforeTheRun) {
  std::filesystem::create_symlink("nowhere", folder_ / "out.h264");
  EXPECT_THAT(Run({"--pin", "1", "-o", Path("out.h264"), Media("avc_aac.mkv")}).messages,
              HasSubstr("exists already; --force overwrites it"));
}

TEST_F(OutputPlaces, FilesThatWaitForOthersHaveNamesOnlyWhereThereAreMany) {
  const std::filesystem::path folder = folder_ / "waiting";
  std::filesystem::create_directory(folder);
  const int probe = open(folder.c_str(), O_TMPFILE | O_WRONLY | O_CLOEXEC, 0600);
  if (probe < 0) GTEST_SKIP() << "no nameless files here";
  close(probe);
  constexpr std::size_t kFew = 32;
  std::vector<std::unique_ptr<OutputFile>> files;
  std::vector<OutputFile*> together;
  for (std::size_t i = 0; i < kFew + 3; ++i) {
    together.push_back(files.emplace_back(std::make_unique<OutputFile>()).get());
    ASSERT_TRUE(together[i]->Open((folder / ("out" + std::to_string(i))).string(), Overwrite::kNo))
        << together[i]->Trouble();
    ASSERT_TRUE(together[i]->Complete());
    EXPECT_EQ(NamesIn(folder).size(), i < kFew ? 0 : i + 1 - kFew);
  }
  EXPECT_EQ(PlaceAll(together), nullptr);
  EXPECT_EQ(NamesIn(folder).size(), together.size());
  // Those that were placed make room for others.
  OutputFile next;
  ASSERT_TRUE(next.Open((folder / "next").string(), Overwrite::kNo)) << next.Trouble();
  ASSERT_TRUE(next.Complete());
  EXPECT_EQ(NamesIn(folder).size(), together.size());
}

TEST_F(OutputPlaces, AFolderThatMayNotBeLookedIntoIsToldByTheSystem) {
  ASSERT_EQ(symlink("loop", (folder_ / "loop").c_str()), 0);
  OutputFile file;
  EXPECT_FALSE(file.Open(Path("loop/a.h264"), Overwrite::kNo));
  EXPECT_THAT(file.Trouble(), HasSubstr("symbolic links"));
  OutputFile other;
  folder_.Write("file", "bytes");
  EXPECT_FALSE(other.Open(Path("file/a.h264"), Overwrite::kNo));
  EXPECT_THAT(other.Trouble(), HasSubstr("there is no folder "));
}

TEST_F(OutputPlaces, TheSourceIsNotWrittenToThroughAnOpenStream) {
  std::filesystem::copy_file(Media("avc_aac.mkv"), folder_ / "source.mkv");
  const int stream = open(Path("source.mkv").c_str(), O_RDWR | O_CLOEXEC);
  ASSERT_GE(stream, 0);
  const Checked outcome = Run({"--pin", "1", "-o", "/dev/fd/" + std::to_string(stream), Path("source.mkv")});
  close(stream);
  EXPECT_EQ(outcome.status, 2);
  EXPECT_THAT(outcome.messages, HasSubstr("is the file that is read"));
  EXPECT_TRUE(Slurp(folder_ / "source.mkv") == Slurp(Media("avc_aac.mkv")));
}

TEST_F(OutputPlaces, APipeInTheFolderIsNotTakenForAnOutputOfItsName) {
  ASSERT_EQ(Run({"--pin", "2", Media("avc_aac.mkv")}).status, 0);
  const std::vector<std::string> made = Parts();
  ASSERT_EQ(made.size(), 1U);
  std::filesystem::remove(folder_ / "parts" / made[0]);
  ASSERT_EQ(mkfifo((folder_ / "parts" / made[0]).c_str(), 0600), 0);
  const Checked outcome = Run({"--pin", "2", Media("avc_aac.mkv")});
  EXPECT_EQ(outcome.status, 2);
  EXPECT_THAT(outcome.messages, HasSubstr("is a device or a pipe"));
}

TEST_F(OutputPlaces, WhatTellsSizesInFrontDoesNotBeginToGoIntoAPipe) {
  const Checked outcome = Run({"--pin", "1", "-o", "-", Media("vp9_opus.webm")});
  EXPECT_EQ(outcome.status, 2);
  EXPECT_THAT(outcome.messages, HasSubstr("IVF begins with what is known at its end only"));
  EXPECT_THAT(outcome.out, IsEmpty());
}

// Lets files be opened up to so many, those that are open included.
class DescriptorLimit {
 public:
  explicit DescriptorLimit(rlim_t count) {
    getrlimit(RLIMIT_NOFILE, &before_);
    rlimit limit = before_;
    limit.rlim_cur = count;
    setrlimit(RLIMIT_NOFILE, &limit);
  }
  ~DescriptorLimit() { setrlimit(RLIMIT_NOFILE, &before_); }
  DescriptorLimit(const DescriptorLimit&) = delete;
  DescriptorLimit& operator=(const DescriptorLimit&) = delete;

 private:
  rlimit before_ = {};
};

TEST_F(OutputPlaces, MoreAttachmentsThanFilesMayBeOpenAreWrittenTogether) {
  constexpr int kMany = 200;
  std::vector<test::Raw> attached(kMany, test::Attachment("a.ttf", "font/ttf", test::Ramp(5)));
  Plan plan;
  plan.more.emplace_back(test::Attachments(attached));
  const test::Raw bytes = plan.File();
  const auto path = folder_.Write("many.mkv", std::string(bytes.begin(), bytes.end()));
  const DescriptorLimit limit(64);
  const Checked outcome = RunTool(folder_, {"attachments", "--extract", "-d", Path("parts"), path.string()});
  EXPECT_EQ(outcome.status, 0);
  EXPECT_EQ(outcome.messages, "");
  EXPECT_EQ(Parts().size(), std::size_t{kMany});
}

TEST(InterruptWatch, LeavesIgnoredWhatTheProgramWasStartedToIgnore) {
  const auto before = std::signal(SIGINT, SIG_IGN);
  {
    const InterruptWatch watch;
    std::raise(SIGINT);
    EXPECT_FALSE(InterruptWatch::Interrupted());
  }
  EXPECT_EQ(std::signal(SIGINT, before), SIG_IGN);
}

TEST(FileSignatures, TextOfSixteenBitsIsNoSound) {
  const auto nameOf = [](std::vector<std::uint8_t> bytes) { return SignatureName(bytes); };
  EXPECT_EQ(nameOf({0xFF, 0xFE, 'H', 0, 'i', 0}), nullptr);
  EXPECT_EQ(nameOf({0xFF, 0xFF, 0xFF, 0xFF}), nullptr);
  EXPECT_THAT(nameOf({0xFF, 0xFB, 0x90, 0x64}), HasSubstr("MP3"));
}

}  // namespace
}  // namespace vantor::tools
