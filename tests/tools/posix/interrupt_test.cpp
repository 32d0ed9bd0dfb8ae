// Interrupts (Ctrl-C) through the whole program, in whichever call they come: whole lines and whole files, or none.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <csignal>
#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <map>
#include <string>
#include <vector>

#include "host/fake_splitter.h"
#include "support/mkv_builder.h"
#include "support/temporary_folder.h"
#include "tools/checked_file.h"
#include "tools/commands.h"
#include "tools/posix/faulty_tool.h"

namespace vantor::tools {
namespace {

#if defined(VANTOR_SANITIZED)
constexpr unsigned long kInterruptsOfWriting = 4;
#else
constexpr unsigned long kInterruptsOfWriting = 20;
#endif

// What an interrupt does, whichever call it comes in: the program says so, ends with its status, and has printed whole
// lines or nothing.
void TryInterrupts(const std::vector<std::string>& command, std::size_t seed) {
  const FaultyOutcome whole = RunFaulty(command, {"", 0, false, true, "", -1});
  ASSERT_EQ(whole.messages, "");
  ASSERT_GT(whole.calls.at("interrupt"), 1U);
  // Threads make some calls more or fewer.
  for (const unsigned long number : SpreadOver(whole.calls.at("interrupt") * 3 / 4, 4, seed)) {
    SCOPED_TRACE(command.front() + " interrupted at call " + std::to_string(number));
    const FaultyOutcome outcome = RunFaulty(command, {"interrupt", number, false, true, "", -1});
    EXPECT_EQ(outcome.status, kExitInterrupted);
    EXPECT_EQ(outcome.messages, "vantor-mkv: interrupted\n");
    EXPECT_TRUE(outcome.out.empty() || outcome.out.ends_with('\n')) << outcome.out;
    EXPECT_TRUE(whole.out.starts_with(outcome.out)) << outcome.out;
  }
}

TEST(Interrupts, EndACommandBetweenLines) {
  const std::string media = MediaPath("avc_aac.mkv");
  const std::vector<std::vector<std::string>> commands = {
      {"check", media, media}, {"check", "--deep", media}, {"check", "--json", media}, {"samples", media},
      {"info", media},         {"report", "--json", media}};
  for (std::size_t i = 0; i < commands.size(); ++i) TryInterrupts(commands[i], i);
}

TEST(Interrupts, LeaveNoPageOfAReport) {
  const test::TemporaryFolder folder;
  const std::string page = (folder / "page.html").string();
  const std::vector<std::string> command = {"report", "--force", "-o", page, MediaPath("avc_aac.mkv")};
  const FaultyOutcome whole = RunFaulty(command, {});
  ASSERT_EQ(whole.status, 0) << whole.messages;
  const auto size = std::filesystem::file_size(page);
  for (const unsigned long number : SpreadOver(whole.calls.at("interrupt"), 8, 1)) {
    std::filesystem::remove(page);
    const FaultyOutcome outcome = RunFaulty(command, {"interrupt", number, false, false, "", -1});
    const bool isThere = std::filesystem::exists(page);
    EXPECT_TRUE(outcome.status == kExitInterrupted || (outcome.status == kExitDone && isThere)) << number;
    EXPECT_TRUE(!isThere || std::filesystem::file_size(page) == size) << number;
    EXPECT_EQ(std::distance(std::filesystem::directory_iterator(folder.Path()), {}), isThere ? 1 : 0) << number;
  }
}

std::string MediaWithAttachments(const test::TemporaryFolder& folder) {
  Plan plan;
  plan.more.emplace_back(test::Attachments({test::Attachment("a.ttf", "font/ttf", test::Ramp(3000)),
                                            test::Attachment("b.ttf", "font/ttf", test::Ramp(2 << 20)),
                                            test::Attachment("c.ttf", "font/ttf", {})}));
  const test::Raw bytes = plan.File();
  return folder.Write("attached.mkv", std::string(bytes.begin(), bytes.end())).string();
}

// What is in the folder, and how large it is; nothing when there is no such folder.
std::map<std::string, std::uintmax_t> SizesIn(const std::filesystem::path& folder) {
  std::map<std::string, std::uintmax_t> sizes;
  if (!std::filesystem::exists(folder)) return sizes;
  for (const auto& entry : std::filesystem::directory_iterator(folder)) {
    sizes[entry.path().filename().string()] = entry.file_size();
  }
  return sizes;
}

// The command writes files into the folder that its last argument names. Whichever of the calls that do so an interrupt
// comes in, there are all of them in the end, or none, neither by another name.
void TryInterruptedWriting(const std::vector<std::string>& command, bool makesFolder, bool isNamed) {
  const test::TemporaryFolder folder;
  const std::filesystem::path target = folder / "parts";
  const auto run = [&](unsigned long number) {
    std::filesystem::remove_all(target);
    if (!makesFolder) std::filesystem::create_directory(target);
    Fault fault;
    fault.kind = "writing";
    fault.number = number;
    fault.isNamed = isNamed;
    std::vector<std::string> arguments = command;
    arguments.push_back((makesFolder ? target : target / "page.html").string());
    return RunFaulty(arguments, fault);
  };
  const FaultyOutcome whole = run(0);
  ASSERT_EQ(whole.status, 0) << whole.messages;
  const auto sizes = SizesIn(target);
  ASSERT_FALSE(sizes.empty());
  const unsigned long calls = whole.calls.at("writing");
  int interrupted = 0;
  for (const unsigned long number : SpreadOver(calls, kInterruptsOfWriting, calls)) {
    SCOPED_TRACE(command.front() + (isNamed ? ", named, " : " ") + "interrupted at call " + std::to_string(number) +
                 " of " + std::to_string(calls));
    const FaultyOutcome outcome = run(number);
    const bool isInterrupted = outcome.status == kExitInterrupted;
    interrupted += isInterrupted;
    EXPECT_EQ(outcome.messages, isInterrupted ? "vantor-mkv: interrupted\n" : whole.messages);
    EXPECT_EQ(SizesIn(target), isInterrupted ? decltype(sizes)() : sizes);
    EXPECT_EQ(std::filesystem::exists(target), !isInterrupted || !makesFolder);
    EXPECT_TRUE(isInterrupted || outcome.status == kExitDone) << outcome.status;
  }
  EXPECT_GT(interrupted, 0);
}

TEST(Interrupts, LeaveNoneOfTheFilesThatAreWritten) {
  const test::TemporaryFolder folder;
  const std::string attached = MediaWithAttachments(folder);
  for (const bool isNamed : {false, true}) {
    TryInterruptedWriting({"extract", "--all", MediaPath("avc_aac.mkv"), "-d"}, true, isNamed);
    TryInterruptedWriting({"attachments", "--extract", attached, "-d"}, true, isNamed);
    TryInterruptedWriting({"report", MediaPath("avc_aac.mkv"), "-o"}, false, isNamed);
  }
}

// Whether the second of two interrupts did it. The first may have come through before, on another thread.
bool EndsByTheSecond(const FaultyOutcome& outcome) {
  const bool isBySecond = outcome.status == -SIGINT;
  EXPECT_TRUE(isBySecond || outcome.status == kExitInterrupted) << outcome.status;
  EXPECT_TRUE(outcome.messages == "vantor-mkv: interrupted\n" || (isBySecond && outcome.messages.empty()))
      << outcome.messages;
  return isBySecond;
}

// What writes ends in order at the first interrupt; a second one ends it where it is. Files have their names only when
// they are whole, so that there is never a part of one.
TEST(Interrupts, ASecondOneEndsWhatWritesAtOnce) {
  const test::TemporaryFolder folder;
  const std::filesystem::path target = folder / "parts";
  const auto run = [&](unsigned long number) {
    std::filesystem::remove_all(target);
    Fault fault;
    fault.kind = "writing";
    fault.number = number;
    fault.isTwice = true;
    return RunFaulty({"extract", "--all", MediaPath("avc_aac.mkv"), "-d", target.string()}, fault);
  };
  const FaultyOutcome whole = run(0);
  ASSERT_EQ(whole.status, 0) << whole.messages;
  const auto sizes = SizesIn(target);
  ASSERT_EQ(sizes.size(), 2U);
  int ended = 0;
  for (const unsigned long number : SpreadOver(whole.calls.at("writing"), kInterruptsOfWriting, 2)) {
    SCOPED_TRACE("interrupted twice at call " + std::to_string(number));
    const FaultyOutcome outcome = run(number);
    ended += EndsByTheSecond(outcome);
    // On a file system without nameless files one may be left under its makeshift name.
    for (const auto& [name, size] : SizesIn(target)) {
      EXPECT_TRUE(!sizes.contains(name) || size == sizes.at(name)) << name << " has " << size << " bytes";
    }
  }
  EXPECT_GT(ended, 0);
}

// A command that only shows something ends at the first interrupt, unless it is printing; then the second one ends it.
TEST(Interrupts, ASecondOneEndsEveryCommandAtTheLatest) {
  const std::string media = MediaPath("avc_aac.mkv");
  int ended = 0;
  for (const std::vector<std::string>& command :
       std::vector<std::vector<std::string>>{{"play", media}, {"samples", media}, {"check", "--deep", media}}) {
    const FaultyOutcome whole = RunFaulty(command, {"", 0, false, true, "", -1});
    ASSERT_EQ(whole.status, 0) << whole.messages;
    // Threads make some calls more or fewer.
    for (const unsigned long number : SpreadOver(whole.calls.at("interrupt") * 3 / 4, 4, 3)) {
      SCOPED_TRACE(command.front() + " interrupted twice at call " + std::to_string(number));
      Fault fault = {"interrupt", number, false, true, "", -1};
      fault.isTwice = true;
      const FaultyOutcome outcome = RunFaulty(command, fault);
      ended += EndsByTheSecond(outcome);
    }
  }
  EXPECT_GT(ended, 0);
}

TEST(Interrupts, EndAListingThatWaits) {
  const test::TemporaryFolder folder;
  const auto stream = test::ToyStream('i', 2, 3);
  const std::string toy = folder.Write("toy", std::string(stream.begin(), stream.end())).string();
  const FaultyOutcome outcome = RunFaulty({"--component", VANTOR_TOY_COMPONENT, "samples", toy}, {});
  EXPECT_EQ(outcome.status, kExitInterrupted);
  EXPECT_EQ(outcome.messages, "vantor-mkv: interrupted\n");
  EXPECT_EQ(outcome.out, "");
}

}  // namespace
}  // namespace vantor::tools
