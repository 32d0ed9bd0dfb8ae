// Faults of the system while what a file has beside its samples is shown, and while files are written: what the command
// prints is whole, or it says that it failed; and the files that it makes are all there and whole, or none is.
#include <gtest/gtest.h>

#include <filesystem>
#include <map>
#include <string>
#include <vector>

#include "support/allocation_monitor.h"
#include "support/mkv_builder.h"
#include "support/temporary_folder.h"
#include "tools/checked_file.h"
#include "tools/posix/faulty_tool.h"

namespace vantor::tools {
namespace {

#if defined(VANTOR_SANITIZED)
constexpr std::size_t kRunsOfACommand = 5;
constexpr unsigned long kWritesTried = 2;
constexpr unsigned long kAllocationsOfACommand = 3;
#else
constexpr std::size_t kRunsOfACommand = 20;
constexpr unsigned long kWritesTried = 8;
constexpr unsigned long kAllocationsOfACommand = 16;
#endif

// A chapter, a tag, a cover and a font larger than what is copied at a time, apart enough to be read one by one.
std::string FileOfExtras() {
  const test::Raw name = test::Master(0x80, {test::Str(0x85, "First")});
  const test::Raw chapter = test::Master(0xB6, {test::UInt(0x73C4, 1), test::UInt(0x91, 0), name});
  const test::Raw title = test::Master(0x67C8, {test::Str(0x45A3, "TITLE"), test::Str(0x4487, "A film")});
  Plan plan;
  plan.more.emplace_back(test::Void(100000));
  plan.more.emplace_back(test::Master(0x1043A770, {test::Master(0x45B9, {chapter})}));
  plan.more.emplace_back(test::Void(100000));
  plan.more.emplace_back(test::Master(0x1254C367, {test::Master(0x7373, {test::Master(0x63C0, {}), title})}));
  plan.more.emplace_back(test::Attachments({test::Attachment("cover.png", "image/png", test::Ramp(100000)),
                                            test::Attachment("b.ttf", "font/ttf", test::Ramp(3 << 19))}));
  const test::Raw bytes = plan.File();
  return {bytes.begin(), bytes.end()};
}

// A command and the file it is tried on. Where it writes files, its last word asks for a place, which is put behind it.
struct WritingCase {
  std::vector<std::string> command;
  std::string content;  // of the media file
  // The name of the page, or of the folder that the files go to, with a slash; empty when nothing is written.
  std::string place = {};
};

std::vector<WritingCase> WritingCases() {
  const std::string extras = FileOfExtras();
  const std::string media = Slurp(MediaPath("avc_aac.mkv"));
  return {{{"chapters"}, extras},
          {{"chapters", "--format", "xml"}, extras},
          {{"attachments"}, extras},
          {{"attachments", "--json"}, extras},
          {{"report", "--json"}, extras},
          {{"attachments", "--extract", "-d"}, extras, "parts/"},
          {{"report", "-o"}, extras, "page.html"},
          {{"report", "-o"}, media, "page.html"},
          {{"extract", "--all", "-d"}, media, "parts/"},
          {{"extract", "--all", "-d"}, Slurp(MediaPath("flac_laced.mka")), "parts/"},
          {{"extract", "--all", "-d"}, Slurp(MediaPath("subtitles.mks")), "parts/"}};
}

using FilesByName = std::map<std::string, std::string>;

// Runs the command of a case again and again, each time on a copy of its own and with nothing written before.
class WritingRun {
 public:
  explicit WritingRun(const WritingCase& tried) : tried_(tried) {}

  FaultyOutcome Run(Fault fault) const {
    fault.file = (folder_ / "media.mkv").string();
    return RunFaulty(Prepare(), fault);
  }
  FaultyOutcome RunInProcess(unsigned long failing, bool isOngoing) const {
    std::vector<std::string> words = Prepare();
    words.insert(words.begin() + 1, {"--component", VANTOR_COMPONENT});
    return RunHere(words, failing, isOngoing);
  }

  // All that is there beside the media file, with what it holds; a folder is named with a slash.
  FilesByName Written() const {
    FilesByName files;
    for (const auto& entry : std::filesystem::recursive_directory_iterator(folder_.Path())) {
      const std::string name = entry.path().lexically_relative(folder_.Path()).string();
      if (name != "media.mkv") files[name] = entry.is_directory() ? "" : Slurp(entry.path());
    }
    return files;
  }

 private:
  std::vector<std::string> Prepare() const {
    for (const auto& [name, content] : Written()) std::filesystem::remove_all(folder_ / name);
    std::vector<std::string> words = tried_.command;
    if (!tried_.place.empty()) words.push_back((folder_ / tried_.place).string());
    words.push_back(folder_.Write("media.mkv", tried_.content).string());
    return words;
  }

  const WritingCase& tried_;
  const test::TemporaryFolder folder_;
};

void ExpectAllFilesOrNone(const FaultyOutcome& outcome, const FilesByName& written, const FilesByName& whole) {
  const bool isWhole = written == whole;
  EXPECT_TRUE(isWhole || (outcome.status != 0 && written.empty()))
      << outcome.status << " " << outcome.messages << written.size() << " files";
}

class EveryCommand : public testing::TestWithParam<std::size_t> {
 protected:
  const WritingCase tried_ = WritingCases()[GetParam()];
  const WritingRun runs_{tried_};
};

INSTANTIATE_TEST_SUITE_P(Faults, EveryCommand, testing::Range(std::size_t{0}, WritingCases().size()),
                         [](const auto& tested) {
                           return WritingCases()[tested.param].command.front() + "_" + std::to_string(tested.param);
                         });

TEST_P(EveryCommand, ShowsAndWritesAllOrTellsTheFaultAndLeavesNothing) {
  const FaultyOutcome unmapped = runs_.Run({"", 0, false, true, "", -1});
  ASSERT_EQ(unmapped.status, 0) << unmapped.messages;
  const FaultyOutcome whole = runs_.Run({});
  ASSERT_EQ(whole.status, 0) << whole.messages;
  ASSERT_EQ(unmapped.out, whole.out);
  const FilesByName files = runs_.Written();
  ASSERT_EQ(files.empty(), tried_.place.empty());
  ASSERT_GT(whole.calls.at("write"), 0U);
  std::vector<Fault> faults = Some(FaultsOf(whole, unmapped, GetParam()), kRunsOfACommand, GetParam());
  for (const unsigned long number : SpreadOver(whole.calls.at("write"), kWritesTried, GetParam())) {
    for (const bool isOngoing : {false, true}) faults.push_back({"write", number, isOngoing, false, "", -1});
  }
  for (const Fault& fault : faults) {
    SCOPED_TRACE(Describe(fault));
    const FaultyOutcome outcome = runs_.Run(fault);
    ExpectWholeOrTold(outcome, whole);
    ExpectAsOfItsKind(fault, outcome);
    ExpectAllFilesOrNone(outcome, runs_.Written(), files);
  }
}

TEST_P(EveryCommand, ShowsAndWritesAllOrTellsTheLackOfMemory) {
  if (!test::WatchesAllocations()) GTEST_SKIP();
  const FaultyOutcome whole = runs_.RunInProcess(0, false);
  ASSERT_EQ(whole.status, 0) << whole.messages;
  const FilesByName files = runs_.Written();
  int told = 0;
  for (const bool isOngoing : {false, true}) {
    for (const unsigned long number : SpreadOver(whole.calls.at("allocation"), kAllocationsOfACommand, GetParam())) {
      SCOPED_TRACE(Describe({"allocation", number, isOngoing, false, "", -1}));
      const FaultyOutcome outcome = runs_.RunInProcess(number, isOngoing);
      ExpectWholeOrTold(outcome, whole);
      ExpectAllFilesOrNone(outcome, runs_.Written(), files);
      told += outcome.messages.find("out of memory") != std::string::npos;
    }
  }
  EXPECT_GT(told, 0);
}

}  // namespace
}  // namespace vantor::tools
