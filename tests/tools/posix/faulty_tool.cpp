#include "tools/posix/faulty_tool.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <spawn.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <csignal>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <sstream>

#include "support/allocation_monitor.h"
#include "support/temporary_folder.h"
#include "tools/commands.h"

namespace vantor::tools {
namespace {

constexpr std::array<const char*, 9> kKinds = {"allocation", "read",      "short",   "mapping", "thread",
                                               "cut",        "interrupt", "writing", "write"};

std::string Content(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  std::ostringstream text;
  text << file.rdbuf();
  return text.str();
}

// Limits the files that a program may write which is started while this lives. Beyond the limit writing fails here, and
// in the program if it sees to that.
class FileLimit {
 public:
  explicit FileLimit(long bytes) {
    getrlimit(RLIMIT_FSIZE, &before_);
    rlimit limit = before_;
    if (bytes >= 0) limit.rlim_cur = static_cast<rlim_t>(bytes);
    std::signal(SIGXFSZ, SIG_IGN);
    setrlimit(RLIMIT_FSIZE, &limit);
  }
  ~FileLimit() { setrlimit(RLIMIT_FSIZE, &before_); }
  FileLimit(const FileLimit&) = delete;
  FileLimit& operator=(const FileLimit&) = delete;

 private:
  rlimit before_ = {};
};

std::vector<std::string> Environment(const Fault& fault, const std::string& counts) {
  std::vector<std::string> settings;
  for (char** setting = environ; *setting != nullptr; ++setting) settings.emplace_back(*setting);
  settings.emplace_back("LD_PRELOAD=" VANTOR_FAULT_SHIM);
  settings.push_back("VANTOR_FAULT=" + (fault.kind.empty() ? "none" : fault.kind) + ":" + std::to_string(fault.number) +
                     (fault.isOngoing ? ":on:" : ":once:") + (fault.isUnmapped ? "unmapped:" : "") +
                     (fault.isNamed ? "named:" : "") + (fault.isTwice ? "twice" : ""));
  settings.push_back("VANTOR_FAULT_COUNTS=" + counts);
  settings.push_back("VANTOR_FAULT_FILE=" + fault.file);
  // Where what is written is limited, so would be what a tool that is built to measure itself writes at its end.
  if (fault.largestFile >= 0) {
    std::erase_if(settings, [](const std::string& setting) { return setting.starts_with("LLVM_PROFILE_FILE="); });
    settings.emplace_back("LLVM_PROFILE_FILE=/dev/null");
  }
  // A sanitizer wants to be the first library of all, but shares with the shim what it has in common.
  const char* const options = std::getenv("ASAN_OPTIONS");  // NOLINT(concurrency-mt-unsafe): the test has one thread
  settings.push_back("ASAN_OPTIONS=" + std::string(options != nullptr ? options : "") + ":verify_asan_link_order=0");
  return settings;
}

std::vector<char*> Pointers(const std::vector<std::string>& words) {
  std::vector<char*> pointers;
  for (const std::string& word : words) pointers.push_back(const_cast<char*>(word.c_str()));
  pointers.push_back(nullptr);
  return pointers;
}

int Start(const std::vector<std::string>& arguments, const Fault& fault, const test::TemporaryFolder& folder) {
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  if (fault.standardInput >= 0) posix_spawn_file_actions_adddup2(&actions, fault.standardInput, STDIN_FILENO);
  constexpr int kFlags = O_WRONLY | O_CREAT | O_TRUNC;
  posix_spawn_file_actions_addopen(&actions, STDOUT_FILENO, (folder / "out").c_str(), kFlags, 0600);
  // Through a pipe, which no limit on files bounds.
  int pipe[2] = {-1, -1};
  EXPECT_EQ(pipe2(pipe, O_CLOEXEC), 0);
  posix_spawn_file_actions_adddup2(&actions, pipe[1], STDERR_FILENO);
  const std::vector<std::string> settings = Environment(fault, (folder / "counts").string());
  // Whoever runs the tests may be ignoring interrupts, as what a shell runs in the background does; the limit's signal
  // is ignored here.
  posix_spawnattr_t attributes;
  posix_spawnattr_init(&attributes);
  sigset_t signals;
  sigemptyset(&signals);
  sigaddset(&signals, SIGINT);
  sigaddset(&signals, SIGXFSZ);
  posix_spawnattr_setsigdefault(&attributes, &signals);
  posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETSIGDEF);
  pid_t process = -1;
  {
    const FileLimit limit(fault.largestFile);
    EXPECT_EQ(posix_spawn(&process, VANTOR_TOOL, &actions, &attributes, Pointers(arguments).data(),
                          Pointers(settings).data()),
              0);
  }
  posix_spawnattr_destroy(&attributes);
  posix_spawn_file_actions_destroy(&actions);
  close(pipe[1]);
  std::ofstream messages(folder / "messages", std::ios::binary);
  std::array<char, 4096> piece;
  for (ssize_t count = 0; (count = read(pipe[0], piece.data(), piece.size())) > 0;) messages.write(piece.data(), count);
  close(pipe[0]);
  int status = 0;
  while (waitpid(process, &status, 0) < 0 && errno == EINTR) {
  }
  return WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status);
}

class MemoryStream {
 public:
  MemoryStream() : file_(open_memstream(&text_, &size_)) {}
  ~MemoryStream() {
    std::fclose(file_);
    std::free(text_);
  }
  MemoryStream(const MemoryStream&) = delete;
  MemoryStream& operator=(const MemoryStream&) = delete;

  std::FILE* File() const { return file_; }
  std::string Text() const {
    std::fflush(file_);
    return {text_, size_};
  }

 private:
  char* text_ = nullptr;
  std::size_t size_ = 0;
  std::FILE* file_;
};

}  // namespace

FaultyOutcome RunFaulty(const std::vector<std::string>& arguments, const Fault& fault) {
  const test::TemporaryFolder folder;
  std::vector<std::string> words = {VANTOR_TOOL};
  words.insert(words.end(), arguments.begin(), arguments.end());
  FaultyOutcome outcome;
  outcome.status = Start(words, fault, folder);
  outcome.out = Content((folder / "out").string());
  outcome.messages = Content((folder / "messages").string());
  // The last line of play tells the time it took.
  if (const std::size_t played = outcome.out.find("\nplayed "); played != std::string::npos) outcome.out.resize(played);
  std::ifstream counts(folder / "counts");
  for (const char* kind : kKinds) counts >> outcome.calls[kind];
  return outcome;
}

FaultyOutcome RunHere(const std::vector<std::string>& arguments, unsigned long failing, bool isOngoing) {
  std::vector<std::string> words = {"vantor-mkv"};
  words.insert(words.end(), arguments.begin(), arguments.end());
  const MemoryStream out;
  const MemoryStream messages;
  FaultyOutcome outcome;
  const std::uint64_t before = test::Allocations();
  isOngoing ? test::FailAllocationsFrom(failing) : test::FailAllocation(failing);
  outcome.status = Main(words, out.File(), messages.File());
  test::FailAllocation(0);
  outcome.calls["allocation"] = test::Allocations() - before;
  outcome.out = out.Text();
  outcome.messages = messages.Text();
  return outcome;
}

std::vector<Fault> FaultsOf(const FaultyOutcome& mapped, const FaultyOutcome& unmapped, std::size_t seed) {
  std::vector<Fault> faults;
  const auto add = [&](const std::string& kind, const FaultyOutcome& run, unsigned long count) {
    for (const unsigned long number : SpreadOver(run.calls.at(kind), count, seed)) {
      for (const bool isOngoing : {false, true}) {
        faults.push_back({kind, number, isOngoing && kind != "cut", &run == &unmapped, "", -1});
      }
    }
  };
  add("read", unmapped, 6);
  add("allocation", mapped, 8);
  add("short", unmapped, 3);
  add("mapping", mapped, 4);
  add("cut", mapped, 4);
  add("thread", mapped, 3);
  add("cut", unmapped, 4);
  add("allocation", unmapped, 4);
  add("write", mapped, 4);
  return faults;
}

std::vector<Fault> Some(const std::vector<Fault>& faults, std::size_t count, std::size_t seed) {
  std::vector<Fault> some;
  for (const unsigned long number : SpreadOver(faults.size(), count, seed)) some.push_back(faults[number - 1]);
  return some;
}

void ExpectAsOfItsKind(const Fault& fault, const FaultyOutcome& outcome) {
  if (fault.kind == "read") {
    EXPECT_EQ(outcome.status, 2);
    EXPECT_THAT(outcome.messages, testing::HasSubstr("Input/output error"));
  } else if (fault.kind == "write") {
    EXPECT_EQ(outcome.status, 2);
    EXPECT_THAT(outcome.messages, testing::HasSubstr("No space left on device"));
  } else if (fault.kind == "short") {
    EXPECT_EQ(outcome.status, 0) << outcome.messages;
  }
}

void ExpectWholeOrTold(const FaultyOutcome& outcome, const FaultyOutcome& whole) {
  if (outcome.status == 0) {
    EXPECT_EQ(outcome.out, whole.out);
    EXPECT_EQ(outcome.messages, whole.messages);
    return;
  }
  EXPECT_TRUE(outcome.status == 1 || outcome.status == 2) << outcome.status << " " << outcome.messages;
  std::istringstream lines(outcome.messages);
  int failures = 0;
  for (std::string line; std::getline(lines, line);) {
    EXPECT_TRUE(line.starts_with("vantor-mkv: ")) << line;
    failures += line.find(": warning: ") == std::string::npos;
  }
  EXPECT_EQ(failures, 1) << outcome.messages;
  EXPECT_TRUE(outcome.messages.ends_with('\n')) << outcome.messages;
}

std::string MediaPath(const std::string& name) { return VANTOR_TEST_MEDIA "/" + name; }

std::vector<unsigned long> SpreadOver(unsigned long last, unsigned long count, std::size_t seed) {
  std::vector<unsigned long> numbers;
  if (last <= count) {
    for (unsigned long number = 1; number <= last; ++number) numbers.push_back(number);
    return numbers;
  }
  const unsigned long step = last / count;
  for (unsigned long i = 0; i < count; ++i) numbers.push_back(1 + i * step + (seed * 7919 + i * 104729) % step);
  return numbers;
}

std::string Describe(const Fault& fault) {
  return fault.kind + " " + std::to_string(fault.number) + (fault.isOngoing ? " and on" : "") +
         (fault.isUnmapped ? ", unmapped" : "") + (fault.isNamed ? ", named" : "") + (fault.isTwice ? ", twice" : "");
}

}  // namespace vantor::tools
