#include "diag/file_logger.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <future>
#include <new>
#include <string>
#include <thread>
#include <vector>

#include "diag/fake_trace_system.h"
#include "diag/patient_system.h"
#include "diag/trace_folder.h"

namespace vantor::test {
namespace {

using platform::AppendError;
using testing::Each;
using testing::ElementsAre;
using testing::IsEmpty;

#define MARK "\xEF\xBB\xBF"

constexpr std::size_t kLock = 3;  // of the shared words

class FileLoggerTest : public testing::Test {
 protected:
  void Write(const char* text) { Write(path_, text); }
  void Write(const WideString& path, const char* text) {
    FileLogger logger(path, system_);
    logger.Append(text);
  }
  std::string Content() const { return TraceFolder::Content(path_); }

  // The words that the loggers of the path share.
  std::shared_ptr<platform::SharedWords> Words() {
    CBuffer name;
    FileLogger::FormatName(name, system_.process, path_);
    return platform::OpenSharedWords(reinterpret_cast<const char*>(name.Data()));
  }

  TraceFolder folder_;
  WideString path_ = folder_.Path("trace.txt");
  FakeTraceSystem system_;
};

// ---- What is in the file ----

TEST_F(FileLoggerTest, NewFileStartsWithAByteOrderMark) {
  Write("text");
  EXPECT_EQ(Content(), MARK "text");
}

TEST_F(FileLoggerTest, ExistingFileIsAppendedToWithoutASecondMark) {
  Write("one");
  Write(" two");
  EXPECT_EQ(Content(), MARK "one two");
}

TEST_F(FileLoggerTest, FileOfSomebodyElseIsAppendedToWithoutAMark) {
  std::ofstream(std::filesystem::path(path_)) << "theirs";
  Write(" ours");
  EXPECT_EQ(Content(), "theirs ours");
}

TEST_F(FileLoggerTest, EmptyFileGetsAMark) {
  std::ofstream(std::filesystem::path(path_)).flush();
  Write("text");
  EXPECT_EQ(Content(), MARK "text");
}

TEST_F(FileLoggerTest, MarkIsWrittenOnceByOneLogger) {
  FileLogger logger(path_, system_);
  logger.Append("a");
  logger.Flush();
  logger.Append("b");
  logger.Flush();
  EXPECT_EQ(Content(), MARK "ab");
}

TEST_F(FileLoggerTest, EveryLineEndBecomesCarriageReturnAndLineFeed) {
  Write("\na\nb\r\nc\rd\n\ne\r\n");
  EXPECT_EQ(Content(), MARK "\r\na\r\nb\r\nc\r\nd\r\n\r\ne\r\n");
}

TEST_F(FileLoggerTest, NonAsciiTextAndPathsKeepTheirBytes) {
  const WideString path = folder_.Path("sp\xC3\xBCr \xE4\xB8\xAD.txt");
  Write(path, "\n\xC3\xA4 \xF0\x9F\x98\x80");
  EXPECT_EQ(TraceFolder::Content(path), MARK "\r\n\xC3\xA4 \xF0\x9F\x98\x80");
}

TEST_F(FileLoggerTest, MuchTextIsCollectedWhole) {
  std::string expected = MARK;
  {
    FileLogger logger(path_, system_);
    for (int i = 0; i < 3000; ++i) {
      const std::string line = "line " + std::to_string(i);
      logger.Append(("\n" + line).c_str());
      expected += "\r\n" + line;
    }
    const std::string huge(100000, 'x');
    logger.Append(huge.c_str());
    expected += huge;
  }
  EXPECT_EQ(Content(), expected);
}

// ---- When it is written ----

TEST_F(FileLoggerTest, TextIsCollectedUntilTheTimerComes) {
  FileLogger logger(path_, system_);
  logger.Append("a");
  logger.Append("b");
  EXPECT_THAT(system_.opened, IsEmpty());
  ASSERT_TRUE(system_.tick);
  system_.tick();
  EXPECT_EQ(Content(), MARK "ab");
  EXPECT_THAT(system_.opened, ElementsAre(path_));
}

TEST_F(FileLoggerTest, TimerWithNothingToWriteLeavesTheFileAlone) {
  FileLogger logger(path_, system_);
  system_.tick();
  EXPECT_TRUE(folder_.IsEmpty());
  EXPECT_THAT(system_.opened, IsEmpty());
}

TEST_F(FileLoggerTest, TextIsWrittenAtTheEndAndTheTimerEnded) {
  Write("text");
  EXPECT_FALSE(system_.tick);
  EXPECT_EQ(Content(), MARK "text");
}

TEST_F(FileLoggerTest, WithoutATimerTextIsWrittenAtOnce) {
  system_.hasTimer = false;
  FileLogger logger(path_, system_);
  logger.Append("text");
  EXPECT_EQ(Content(), MARK "text");
}

TEST_F(FileLoggerTest, FileIsOpenForEachWriteOnly) {
  FileLogger logger(path_, system_);
  logger.Append("a");
  logger.Flush();
  EXPECT_TRUE(std::filesystem::remove(std::filesystem::path(path_)));
  logger.Append("b");
  logger.Flush();
  EXPECT_EQ(Content(), MARK "b");
}

// ---- One logger a process and path ----

TEST_F(FileLoggerTest, NameHoldsProcessNumberAndPathWithoutBackslashes) {
  CBuffer name;
  FileLogger::FormatName(name, 0xBEEF, OLESTR("c:\\folder\\VantorTrace.txt"));
  EXPECT_STREQ(reinterpret_cast<const char*>(name.Data()), "0000BEEF.642.c:/folder/VantorTrace.txt");
}

TEST_F(FileLoggerTest, EachPathHasOneLoggerWhileItIsHeld) {
  const auto first = FileLogger::ForPath(path_, system_);
  EXPECT_EQ(FileLogger::ForPath(path_, system_), first);
  EXPECT_NE(FileLogger::ForPath(folder_.Path("other.txt"), system_), first);
}

TEST_F(FileLoggerTest, LoggerEndsWithItsLastHolder) {
  auto first = FileLogger::ForPath(path_, system_);
  auto second = FileLogger::ForPath(path_, system_);
  first->Append("text");
  first.reset();
  EXPECT_TRUE(folder_.IsEmpty());
  second.reset();
  EXPECT_EQ(Content(), MARK "text");
}

TEST_F(FileLoggerTest, UsersAreCountedInTheSharedWords) {
  const auto words = Words();
  EXPECT_EQ((*words)[0], 0u);
  {
    FileLogger ours(path_, system_);
    EXPECT_EQ((*words)[0], 1u);
    FileLogger anotherModules(path_, system_);
    EXPECT_EQ((*words)[0], 2u);
  }
  EXPECT_EQ((*words)[0], 0u);
}

TEST_F(FileLoggerTest, LoggerThatCannotBeMadeIsNotCounted) {
  const auto words = Words();
  system_.onStartTimer = [&] {
    EXPECT_EQ((*words)[0], 1u);
    throw std::bad_alloc();
  };
  EXPECT_THROW(FileLogger(path_, system_), std::bad_alloc);
  EXPECT_EQ((*words)[0], 0u);
}

TEST_F(FileLoggerTest, WhereNoWordsAreSharedALoggerHasItsOwn) {
  const auto words = Words();
  (*words)[kLock] = 1;
  system_.hasWords = false;
  Write("one");
  Write(" two");
  EXPECT_EQ(Content(), MARK "one two");
  EXPECT_THAT(system_.slept, IsEmpty());
  EXPECT_EQ(*words, (platform::SharedWords{0, 0, 0, 1}));
}

TEST_F(FileLoggerTest, LockLeavesTheWordsThatCountAlone) {
  const auto words = Words();
  FileLogger logger(path_, system_);
  std::vector<platform::SharedWords> seen;
  system_.openFailures = {AppendError::kBusy};
  system_.onSleep = [&] { seen.push_back(*words); };
  logger.Append("text");
  logger.Flush();
  EXPECT_THAT(seen, ElementsAre(platform::SharedWords{1, 0, 0, 1}));
  EXPECT_EQ(*words, (platform::SharedWords{1, 0, 0, 0}));
}

TEST_F(FileLoggerTest, LinesOfManyThreadsStayWhole) {
  constexpr int kThreads = 4;
  constexpr int kLines = 100;
  {
    PatientSystem system;
    FileLogger logger(path_, system);
    std::vector<std::thread> threads;
    threads.reserve(kThreads);
    for (int t = 0; t < kThreads; ++t) {
      threads.emplace_back([&logger, t] {
        for (int i = 0; i < kLines; ++i) logger.Append((std::to_string(t) + ":" + std::to_string(i) + "\n").c_str());
        logger.Flush();
      });
    }
    for (std::thread& thread : threads) thread.join();
  }
  std::ifstream file(std::filesystem::path(path_), std::ios::binary);
  std::string line;
  std::vector<int> next(kThreads);
  for (int count = 0; std::getline(file, line); ++count) {
    if (count == 0) line.erase(0, 3);
    int thread = -1;
    int number = -1;
    ASSERT_EQ(std::sscanf(line.c_str(), "%d:%d\r", &thread, &number), 2) << line;
    EXPECT_EQ(number, next.at(static_cast<std::size_t>(thread))++) << line;
  }
  EXPECT_THAT(next, Each(kLines));
}

// ---- Files that cannot be opened ----

TEST_F(FileLoggerTest, BusyFileIsTriedAgainEveryMillisecond) {
  system_.openFailures = {AppendError::kBusy, AppendError::kBusy, AppendError::kBusy};
  Write("text");
  EXPECT_EQ(Content(), MARK "text");
  EXPECT_THAT(system_.slept, ElementsAre(1u, 1u, 1u));
}

TEST_F(FileLoggerTest, FileBusyForASecondLosesTheText) {
  system_.openFailures.assign(1001, AppendError::kBusy);
  Write("lost");
  EXPECT_EQ(system_.slept.size(), 1000u);
  EXPECT_THAT(system_.slept, Each(1u));
  EXPECT_TRUE(system_.openFailures.empty());
  EXPECT_TRUE(folder_.IsEmpty());
  Write("kept");
  EXPECT_EQ(Content(), MARK "kept");
}

TEST_F(FileLoggerTest, FileHeldBySomebodyIsWaitedFor) {
  AppendError error = AppendError::kOther;
  auto theirs = platform::AppendFile::Open(path_, error);
  ASSERT_NE(theirs, nullptr);
  system_.onSleep = [&] {
    if (system_.slept.size() == 3) theirs.reset();
  };
  Write("text");
  EXPECT_EQ(Content(), MARK "text");
  EXPECT_THAT(system_.slept, ElementsAre(1u, 1u, 1u));
}

TEST_F(FileLoggerTest, OtherErrorLosesTheTextAtOnce) {
  system_.openFailures = {AppendError::kOther};
  Write("lost");
  EXPECT_THAT(system_.slept, IsEmpty());
  EXPECT_TRUE(folder_.IsEmpty());
}

TEST_F(FileLoggerTest, MissingFolderLosesTheText) {
  const WideString path = folder_.Path("missing/trace.txt");
  Write(path, "lost");
  EXPECT_THAT(system_.opened, ElementsAre(path));
  EXPECT_TRUE(folder_.IsEmpty());
}

TEST_F(FileLoggerTest, LostTextIsNotWrittenLater) {
  FileLogger logger(path_, system_);
  system_.openFailures = {AppendError::kOther};
  logger.Append("lost");
  logger.Flush();
  logger.Append("kept");
  logger.Flush();
  EXPECT_EQ(Content(), MARK "kept");
}

TEST_F(FileLoggerTest, PathThatNamesAFolderMeansAFileOfThatNameInside) {
  std::filesystem::create_directory(std::filesystem::path(path_));
  Write("text");
  const WideString inside = folder_.Path("trace.txt/trace.txt");
  EXPECT_EQ(TraceFolder::Content(inside), MARK "text");
  EXPECT_EQ(system_.opened.size(), 2u);
}

TEST_F(FileLoggerTest, WhereNoFileMayBeMadeAFolderIs) {
  system_.openFailures = {AppendError::kDenied};
  Write("text");
  EXPECT_EQ(TraceFolder::Content(folder_.Path("trace.txt/trace.txt")), MARK "text");
}

TEST_F(FileLoggerTest, ThePathIsRebuiltOnceOnly) {
  for (const AppendError error : {AppendError::kDenied, AppendError::kBusy}) {
    system_.openFailures = {AppendError::kDenied, error};
    system_.opened.clear();
    Write("lost");
    EXPECT_EQ(system_.opened.size(), 2u);
    EXPECT_THAT(system_.slept, IsEmpty());
    EXPECT_TRUE(std::filesystem::is_empty(std::filesystem::path(path_)));
  }
}

TEST_F(FileLoggerTest, DeniedFileWhereNoFolderCanBeMadeLosesTheText) {
  const WideString path = folder_.Path("missing/trace.txt");
  system_.openFailures = {AppendError::kDenied};
  Write(path, "lost");
  EXPECT_THAT(system_.opened, ElementsAre(path));
  EXPECT_TRUE(folder_.IsEmpty());
}

TEST_F(FileLoggerTest, DenialAfterBusynessRebuildsThePathToo) {
  system_.openFailures = {AppendError::kBusy, AppendError::kDenied};
  Write("text");
  EXPECT_EQ(TraceFolder::Content(folder_.Path("trace.txt/trace.txt")), MARK "text");
}

// ---- The lock ----

TEST_F(FileLoggerTest, LockHeldForASecondLosesTheText) {
  FileLogger logger(path_, system_);
  const auto words = Words();
  (*words)[kLock] = 1;
  logger.Append("lost");
  logger.Flush();
  EXPECT_EQ(system_.slept, std::vector<unsigned>(10, 100));
  EXPECT_TRUE(folder_.IsEmpty());
  (*words)[kLock] = 0;
  logger.Append("kept");
  logger.Flush();
  EXPECT_EQ(Content(), MARK "kept");
}

TEST_F(FileLoggerTest, LockIsWaitedForBySteps) {
  FileLogger logger(path_, system_);
  const auto words = Words();
  (*words)[kLock] = 1;
  system_.onSleep = [&] {
    if (system_.slept.size() == 2) (*words)[kLock] = 0;
  };
  logger.Append("text");
  logger.Flush();
  EXPECT_THAT(system_.slept, ElementsAre(100u, 100u));
  EXPECT_EQ(Content(), MARK "text");
  EXPECT_EQ((*words)[kLock], 0u);
}

// ---- The end of the process ----

// A logger whose buffer is locked, as by a thread that was ended while it appended.
class LeftLogger : public FileLogger {
 public:
  using FileLogger::FileLogger;
  void Leave() VANTOR_ACQUIRE(collecting_) { collecting_.Acquire(); }
  void Return() VANTOR_RELEASE(collecting_) { collecting_.Release(); }
};

TEST_F(FileLoggerTest, LastFlushWritesWhatWasCollected) {
  FileLogger logger(path_, system_);
  logger.Append("text");
  logger.FlushLast();
  EXPECT_EQ(Content(), MARK "text");
}

TEST_F(FileLoggerTest, LastFlushGivesUpOnABufferThatNobodyUnlocks) {
  const auto words = Words();
  LeftLogger logger(path_, system_);
  logger.Append("text");
  logger.Leave();
  std::thread([&] { logger.FlushLast(); }).join();
  EXPECT_EQ(system_.slept, std::vector<unsigned>(10, 100));
  EXPECT_TRUE(folder_.IsEmpty());
  EXPECT_EQ((*words)[kLock], 0u);
  logger.Return();
}

TEST_F(FileLoggerTest, LastFlushWaitsForABufferThatSomebodyStillUses) {
  LeftLogger logger(path_, system_);
  logger.Append("text");
  logger.Leave();
  std::promise<void> awaited;
  std::promise<void> returned;
  system_.onSleep = [&] {
    if (system_.slept.size() != 2) return;
    awaited.set_value();
    returned.get_future().wait();
  };
  std::thread flushing([&] { logger.FlushLast(); });
  awaited.get_future().wait();
  logger.Return();
  returned.set_value();
  flushing.join();
  EXPECT_EQ(Content(), MARK "text");
}

}  // namespace
}  // namespace vantor::test
