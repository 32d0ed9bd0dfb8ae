#include "host/end_watch.h"

#include <gtest/gtest.h>

#include <thread>

namespace vantor::test {
namespace {

constexpr std::chrono::milliseconds kNow(0);

TEST(EndWatchTest, NoStreamsAreEndedAtOnce) {
  EndWatch watch;
  watch.Begin(0);
  EXPECT_EQ(watch.Wait(std::nullopt, false), WaitResult::kEnded);
}

TEST(EndWatchTest, EveryStreamHasToEnd) {
  EndWatch watch;
  watch.Begin(2);
  watch.Report(0, true);
  EXPECT_EQ(watch.Wait(kNow, false), WaitResult::kTimedOut);
  watch.Report(0, true);
  EXPECT_EQ(watch.Wait(kNow, false), WaitResult::kTimedOut);
  watch.Report(1, true);
  EXPECT_EQ(watch.Wait(kNow, false), WaitResult::kEnded);
}

TEST(EndWatchTest, AStreamThatStartsAgainIsWaitedForAgain) {
  EndWatch watch;
  watch.Begin(1);
  watch.Report(0, true);
  watch.Report(0, false);
  EXPECT_EQ(watch.Wait(kNow, false), WaitResult::kTimedOut);
}

TEST(EndWatchTest, ReportsOfUnknownStreamsAreIgnored) {
  EndWatch watch;
  watch.Begin(1);
  watch.Report(7, true);
  EXPECT_EQ(watch.Wait(kNow, false), WaitResult::kTimedOut);
}

TEST(EndWatchTest, AnErrorEndsOnlyTheWaitsThatAskForIt) {
  EndWatch watch;
  watch.Begin(1);
  watch.Fail();
  EXPECT_EQ(watch.Wait(kNow, false), WaitResult::kTimedOut);
  EXPECT_EQ(watch.Wait(std::nullopt, true), WaitResult::kFailed);
  watch.Begin(1);
  EXPECT_EQ(watch.Wait(kNow, true), WaitResult::kTimedOut);
}

TEST(EndWatchTest, ACancellationEndsOneWait) {
  EndWatch watch;
  watch.Begin(1);
  watch.Cancel();
  EXPECT_EQ(watch.Wait(std::nullopt, false), WaitResult::kCancelled);
  EXPECT_EQ(watch.Wait(kNow, false), WaitResult::kTimedOut);
}

TEST(EndWatchTest, AReportWakesTheWaitingThread) {
  EndWatch watch;
  watch.Begin(1);
  std::thread reporter([&] { watch.Report(0, true); });
  EXPECT_EQ(watch.Wait(std::nullopt, false), WaitResult::kEnded);
  reporter.join();
}

}  // namespace
}  // namespace vantor::test
