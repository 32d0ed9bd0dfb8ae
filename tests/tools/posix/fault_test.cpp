// Faults of the system through the whole program: whichever call fails, the tool prints the whole result, or says that
// it failed.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <filesystem>
#include <string>
#include <vector>

#include "support/allocation_monitor.h"
#include "support/temporary_folder.h"
#include "tools/checked_file.h"
#include "tools/commands.h"
#include "tools/posix/faulty_tool.h"

namespace vantor::tools {
namespace {

using testing::HasSubstr;

#if defined(VANTOR_SANITIZED)
constexpr std::size_t kRunsOfAFile = 10;
constexpr unsigned long kAllocationsOfAFile = 6;
#else
constexpr std::size_t kRunsOfAFile = 50;
constexpr unsigned long kAllocationsOfAFile = 24;
#endif

std::vector<std::string> MediaNames() {
  std::vector<std::string> names;
  for (const auto& entry : std::filesystem::directory_iterator(VANTOR_TEST_MEDIA)) {
    const std::string kind = entry.path().extension().string();
    if (kind == ".mkv" || kind == ".mka" || kind == ".mks" || kind == ".webm") {
      names.push_back(entry.path().filename().string());
    }
  }
  std::sort(names.begin(), names.end());
  return names;
}

void TryFaults(const std::vector<std::string>& command, const std::string& name, std::size_t runs, std::size_t seed) {
  const test::TemporaryFolder folder;
  const std::string path = (folder / name).string();
  // A cut changes the file, so each run has its own copy.
  const auto run = [&](Fault fault) {
    std::filesystem::copy_file(MediaPath(name), path, std::filesystem::copy_options::overwrite_existing);
    fault.file = path;
    std::vector<std::string> arguments = command;
    arguments.push_back(path);
    return RunFaulty(arguments, fault);
  };
  const FaultyOutcome whole = run({});
  const FaultyOutcome unmapped = run({"", 0, false, true, "", -1});
  ASSERT_EQ(whole.status, 0) << whole.messages;
  ASSERT_EQ(unmapped.status, 0) << unmapped.messages;
  ASSERT_EQ(unmapped.out, whole.out);
  ASSERT_GT(unmapped.calls.at("read"), 0U);
  ASSERT_GT(whole.calls.at("mapping"), 0U);
  for (const Fault& fault : Some(FaultsOf(whole, unmapped, seed), runs, seed)) {
    SCOPED_TRACE(command.front() + " " + name + ": " + Describe(fault));
    const FaultyOutcome outcome = run(fault);
    ExpectWholeOrTold(outcome, whole);
    ExpectAsOfItsKind(fault, outcome);
  }
}

class EveryFile : public testing::TestWithParam<std::string> {
 protected:
  static std::size_t Seed() {
    const std::vector<std::string> names = MediaNames();
    return static_cast<std::size_t>(std::find(names.begin(), names.end(), GetParam()) - names.begin());
  }
};

INSTANTIATE_TEST_SUITE_P(Faults, EveryFile, testing::ValuesIn(MediaNames()), [](const auto& tested) {
  std::string name = tested.param;
  std::replace(name.begin(), name.end(), '.', '_');
  return name;
});

TEST_P(EveryFile, IsListedWholeOrTheFaultIsTold) { TryFaults({"samples"}, GetParam(), kRunsOfAFile, Seed()); }

TEST(Faults, OfOtherCommandsAreTold) {
  const std::vector<std::vector<std::string>> commands = {
      {"info"},  {"info", "--json"},  {"play"},           {"play", "--from", "1"}, {"samples", "--seek", "10000000"},
      {"check"}, {"check", "--deep"}, {"check", "--json"}};
  for (std::size_t i = 0; i < commands.size(); ++i) TryFaults(commands[i], "avc_aac.mkv", kRunsOfAFile / 2, i);
}

TEST(Faults, OutputThatIsNotWrittenWholeIsTold) {
  const std::string media = MediaPath("languages.mkv");
  for (const std::vector<std::string>& command : std::vector<std::vector<std::string>>{{"samples", media},
                                                                                       {"info", media},
                                                                                       {"info", "--json", media},
                                                                                       {"play", media},
                                                                                       {"check", media},
                                                                                       {"--help"}}) {
    const FaultyOutcome whole = RunFaulty(command, {});
    ASSERT_EQ(whole.status, 0);
    // The last line of play is of no certain length.
    const auto size = static_cast<long>(whole.out.size());
    for (const long limit : {0L, 1L, size / 3, size - 1}) {
      SCOPED_TRACE(command.front() + " limited to " + std::to_string(limit));
      Fault fault;
      fault.largestFile = limit;
      const FaultyOutcome outcome = RunFaulty(command, fault);
      EXPECT_EQ(outcome.status, 2);
      EXPECT_THAT(outcome.messages, HasSubstr("cannot write"));
      ExpectWholeOrTold(outcome, whole);
    }
  }
}

TEST(Faults, AFileThatGrowsBeyondItsLimitIsToldAndLeavesNothing) {
  const test::TemporaryFolder folder;
  Fault fault;
  fault.largestFile = 5000;
  const FaultyOutcome outcome =
      RunFaulty({"extract", "--all", "-d", (folder / "parts").string(), MediaPath("avc_aac.mkv")}, fault);
  EXPECT_EQ(outcome.status, 2);
  EXPECT_THAT(outcome.messages, HasSubstr(".h264: File too large\n"));
  EXPECT_FALSE(std::filesystem::exists(folder / "parts"));
}

TEST(Faults, StandardOutputByItsNameIsWrittenTo) {
  const FaultyOutcome piped = RunFaulty({"extract", "--pin", "2", "-o", "-", MediaPath("avc_aac.mkv")}, {});
  const FaultyOutcome named = RunFaulty({"extract", "--pin", "2", "-o", "/dev/stdout", MediaPath("avc_aac.mkv")}, {});
  EXPECT_EQ(named.status, 0);
  EXPECT_EQ(named.messages, "");
  EXPECT_GT(piped.out.size(), 1000U);
  EXPECT_TRUE(named.out == piped.out);
}

// ---- Operator new, in this process: sanitizers see what becomes of it. ----

TEST_P(EveryFile, IsListedWholeOrTheLackOfMemoryIsTold) {
  if (!test::WatchesAllocations()) {
    GTEST_SKIP();
  }
  const std::vector<std::string> command = {"samples", "--component", VANTOR_COMPONENT, MediaPath(GetParam())};
  const FaultyOutcome whole = RunHere(command, 0, false);
  ASSERT_EQ(whole.status, 0) << whole.messages;
  int told = 0;
  for (const bool isOngoing : {false, true}) {
    for (const unsigned long number : SpreadOver(whole.calls.at("allocation"), kAllocationsOfAFile, Seed())) {
      SCOPED_TRACE(Describe({"allocation", number, isOngoing, false, "", -1}));
      const FaultyOutcome outcome = RunHere(command, number, isOngoing);
      ExpectWholeOrTold(outcome, whole);
      told += outcome.messages.find("out of memory") != std::string::npos;
    }
  }
  EXPECT_GT(told, 0);
}

}  // namespace
}  // namespace vantor::tools
