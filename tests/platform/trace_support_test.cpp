// What the trace log asks of the system.
#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <condition_variable>
#include <filesystem>
#include <fstream>
#include <future>
#include <iterator>
#include <mutex>
#include <string>
#include <thread>

#include "platform/append_file.h"
#include "platform/periodic_timer.h"
#include "platform/process.h"
#include "platform/shared_words.h"
#include "support/temporary_folder.h"

namespace vantor::platform {
namespace {

// ---- Times and identifiers ----

TEST(Process, LocalTimeIsATimeOfDay) {
  const LocalTime time = LocalTimeNow();
  EXPECT_TRUE(time.hour >= 0 && time.hour < 24) << time.hour;
  EXPECT_TRUE(time.minute >= 0 && time.minute < 60) << time.minute;
  EXPECT_TRUE(time.second >= 0 && time.second <= 60) << time.second;
  EXPECT_TRUE(time.millisecond >= 0 && time.millisecond < 1000) << time.millisecond;
}

TEST(Process, ThreadsHaveIdentifiersOfTheirOwn) {
  const std::uint32_t ours = CurrentThreadId();
  EXPECT_EQ(CurrentThreadId(), ours);
  std::thread([ours] { EXPECT_NE(CurrentThreadId(), ours); }).join();
}

TEST(Process, ProcessHasOneIdentifier) {
  const std::uint32_t ours = CurrentProcessId();
  EXPECT_NE(ours, 0u);
  std::thread([ours] { EXPECT_EQ(CurrentProcessId(), ours); }).join();
}

TEST(Process, HandlesAreCounted) { EXPECT_GE(OpenHandleCount(), 0); }

// ---- Files to append to ----

class AppendFileTest : public testing::Test {
 protected:
  std::unique_ptr<AppendFile> Open(const char* name) {
    return AppendFile::Open(Utf8ToWide((folder_ / name).string()), error_);
  }
  std::string Content(const char* name) const {
    std::ifstream file(folder_ / name, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
  }

  const test::TemporaryFolder folder_;
  AppendError error_ = AppendError::kOther;
};

TEST_F(AppendFileTest, MissingFileIsMade) {
  const auto file = Open("new");
  ASSERT_NE(file, nullptr);
  EXPECT_EQ(error_, AppendError::kNone);
  EXPECT_EQ(file->Size(), 0);
}

TEST_F(AppendFileTest, BytesGoToTheEndAsTheyAre) {
  folder_.Write("old", "old");
  {
    const auto file = Open("old");
    ASSERT_NE(file, nullptr);
    EXPECT_EQ(file->Size(), 3);
    EXPECT_TRUE(file->Append("\na\0", 3));
    EXPECT_TRUE(file->Append("b", 1));
    EXPECT_EQ(file->Size(), 7);
  }
  EXPECT_EQ(Content("old"), std::string("old\na\0b", 7));
}

TEST_F(AppendFileTest, OpenFileIsBusyForOthersWhoMayStillReadIt) {
  auto file = Open("held");
  ASSERT_NE(file, nullptr);
  EXPECT_TRUE(file->Append("text", 4));
  EXPECT_EQ(Open("held"), nullptr);
  EXPECT_EQ(error_, AppendError::kBusy);
  EXPECT_EQ(Content("held"), "text");
  file.reset();
  EXPECT_NE(Open("held"), nullptr);
}

TEST_F(AppendFileTest, FolderIsDenied) {
  std::filesystem::create_directory(folder_ / "folder");
  EXPECT_EQ(Open("folder"), nullptr);
  EXPECT_EQ(error_, AppendError::kDenied);
}

TEST_F(AppendFileTest, MissingFolderIsAnotherError) {
  EXPECT_EQ(Open("missing/file"), nullptr);
  EXPECT_EQ(error_, AppendError::kOther);
}

// ---- Shared words ----

TEST(SharedWords, OneNameIsOneSetOfWords) {
  const auto ours = OpenSharedWords("vantor/test/words");
  ASSERT_NE(ours, nullptr);
  EXPECT_EQ(*ours, SharedWords{});
  (*ours)[3] = 7;
  EXPECT_EQ((*OpenSharedWords("vantor/test/words"))[3], 7u);
  EXPECT_EQ((*OpenSharedWords("vantor/test/others"))[3], 0u);
}

TEST(SharedWords, WordsLastAsLongAsSomebodyHoldsThem) {
  auto ours = OpenSharedWords("vantor/test/lasting");
  auto theirs = OpenSharedWords("vantor/test/lasting");
  (*ours)[0] = 7;
  ours.reset();
  EXPECT_EQ((*theirs)[0], 7u);
  theirs.reset();
  EXPECT_EQ((*OpenSharedWords("vantor/test/lasting"))[0], 0u);
}

// ---- Timers ----

TEST(PeriodicTimer, CallsAgainAndAgainOnAnotherThread) {
  std::mutex mutex;
  std::condition_variable called;
  int calls = 0;
  const std::uint32_t ours = CurrentThreadId();
  const auto timer = PeriodicTimer::Start(1, [&] {
    EXPECT_NE(CurrentThreadId(), ours);
    const std::lock_guard<std::mutex> lock(mutex);
    ++calls;
    called.notify_one();
  });
  ASSERT_NE(timer, nullptr);
  std::unique_lock<std::mutex> lock(mutex);
  called.wait(lock, [&] { return calls >= 3; });
}

TEST(PeriodicTimer, EndWaitsForTheCallUnderWay) {
  std::atomic<bool> begun = false;
  std::atomic<bool> ended = false;
  std::promise<void> first;
  auto timer = PeriodicTimer::Start(1, [&] {
    if (!begun.exchange(true)) first.set_value();
    std::this_thread::yield();
    ended = true;
  });
  ASSERT_NE(timer, nullptr);
  first.get_future().wait();
  timer.reset();
  EXPECT_TRUE(ended);
}

TEST(PeriodicTimer, TimerThatNeverCameCallsNothing) {
  std::atomic<int> calls = 0;
  PeriodicTimer::Start(3600000, [&] { ++calls; });
  EXPECT_EQ(calls, 0);
}

}  // namespace
}  // namespace vantor::platform
