// Standard input and pipes through the whole program: they have no positions to read from.
#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <string>
#include <utility>

#include "support/temporary_folder.h"
#include "tools/checked_file.h"
#include "tools/commands.h"
#include "tools/posix/faulty_tool.h"

namespace vantor::tools {
namespace {

// A pipe with the beginning of a media file in it, whose writer has gone or is still there.
class FedPipe {
 public:
  FedPipe(const std::string& bytes, bool isEnded) {
    EXPECT_EQ(pipe2(ends_.data(), O_CLOEXEC), 0);
    EXPECT_EQ(write(ends_[1], bytes.data(), bytes.size()), static_cast<ssize_t>(bytes.size()));
    if (isEnded) close(std::exchange(ends_[1], -1));
  }
  ~FedPipe() {
    for (const int end : ends_) {
      if (end >= 0) close(end);
    }
  }
  FedPipe(const FedPipe&) = delete;
  FedPipe& operator=(const FedPipe&) = delete;

  int Reader() const { return ends_[0]; }
  // What nobody has read, once the writer has gone.
  std::string Rest() {
    if (ends_[1] >= 0) close(std::exchange(ends_[1], -1));
    std::string rest(65536, '\0');
    const ssize_t count = read(ends_[0], rest.data(), rest.size());
    rest.resize(static_cast<std::size_t>(std::max<ssize_t>(count, 0)));
    return rest;
  }

 private:
  std::array<int, 2> ends_ = {-1, -1};
};

TEST(StandardInput, OfAPipeIsNeitherWaitedForNorRead) {
  const std::string beginning = Slurp(MediaPath("avc_aac.mkv")).substr(0, 4000);
  for (const bool isEnded : {false, true}) {
    for (const char* const name : {"-", "/dev/stdin"}) {
      FedPipe pipe(beginning, isEnded);
      Fault input;
      input.standardInput = pipe.Reader();
      for (const char* const command : {"info", "check", "samples", "play", "extract", "chapters"}) {
        SCOPED_TRACE(std::string(command) + " " + name + (isEnded ? ", ended" : ""));
        const FaultyOutcome outcome = RunFaulty({command, name}, input);
        EXPECT_EQ(outcome.status, kExitUsage);
        EXPECT_EQ(outcome.out, "");
        EXPECT_THAT(outcome.messages, testing::HasSubstr("cannot be read from any position"));
        EXPECT_EQ(std::count(outcome.messages.begin(), outcome.messages.end(), '\n'), 1) << outcome.messages;
      }
      EXPECT_EQ(pipe.Rest(), beginning);
    }
  }
}

TEST(StandardInput, ThatIsAFileIsReadByItsName) {
  Fault input;
  input.standardInput = open(MediaPath("avc_aac.mkv").c_str(), O_RDONLY | O_CLOEXEC);
  ASSERT_GE(input.standardInput, 0);
  const FaultyOutcome outcome = RunFaulty({"samples", "/dev/stdin"}, input);
  close(input.standardInput);
  EXPECT_EQ(outcome.status, 0) << outcome.messages;
  EXPECT_EQ(outcome.out, RunFaulty({"samples", MediaPath("avc_aac.mkv")}, {}).out);
}

TEST(StandardInput, APipeWithANameIsNotWaitedFor) {
  const test::TemporaryFolder folder;
  const std::string path = (folder / "pipe.mkv").string();
  ASSERT_EQ(mkfifo(path.c_str(), 0600), 0);
  const FaultyOutcome outcome = RunFaulty({"check", path}, {});
  EXPECT_EQ(outcome.status, kExitUsage);
  EXPECT_THAT(outcome.messages, testing::HasSubstr("is a pipe or a device"));
}

}  // namespace
}  // namespace vantor::tools
