#include <gtest/gtest.h>
#include <unistd.h>

#include <array>
#include <csignal>

#include "platform/terminal.h"

namespace vantor::test {
namespace {

bool IsPipeSignalPending() {
  sigset_t pending;
  sigpending(&pending);
  return sigismember(&pending, SIGPIPE) == 1;
}

TEST(WriteMessage, ReachesAPipe) {
  std::array<int, 2> ends{};
  ASSERT_EQ(pipe(ends.data()), 0);
  std::FILE* const stream = fdopen(ends[1], "w");
  platform::WriteMessage(stream, "hello", 5);
  std::array<char, 8> got{};
  EXPECT_EQ(read(ends[0], got.data(), got.size()), 5);
  EXPECT_STREQ(got.data(), "hello");
  std::fclose(stream);
  close(ends[0]);
}

TEST(WriteMessage, ToAPipeThatNobodyReadsEndsNothing) {
  std::array<int, 2> ends{};
  ASSERT_EQ(pipe(ends.data()), 0);
  std::FILE* const stream = fdopen(ends[1], "w");
  close(ends[0]);
  ASSERT_EQ(std::signal(SIGPIPE, SIG_DFL), SIG_DFL) << "which would end this program";
  platform::WriteMessage(stream, "hello", 5);
  EXPECT_FALSE(IsPipeSignalPending());
  sigset_t mask;
  pthread_sigmask(SIG_SETMASK, nullptr, &mask);
  EXPECT_EQ(sigismember(&mask, SIGPIPE), 0) << "held back for the writing only";
  std::fclose(stream);
}

}  // namespace
}  // namespace vantor::test
