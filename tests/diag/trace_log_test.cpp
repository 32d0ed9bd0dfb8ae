#include "diag/trace_log.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdarg>
#include <future>
#include <string>
#include <thread>
#include <vector>

#include "diag/fake_trace_system.h"
#include "diag/trace_folder.h"

namespace vantor::test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

constexpr std::uint32_t kShown = kTraceToDebugger | kTraceFormatted;
constexpr std::uint32_t kEverything = 0xFFFFFFFF & ~kTraceToFile;

class TraceLogTest : public testing::Test {
 protected:
  static void Trace(TraceLog& log, const char* format, ...) {
    va_list arguments;
    va_start(arguments, format);
    log.Trace(format, arguments);
    va_end(arguments);
  }

  // The lines that a log with these flags shows.
  TraceLog Log(std::uint32_t flags) { return TraceLog(flags, path_.c_str(), system_); }

  WideString path_;
  FakeTraceSystem system_;
};

class TraceLogFileTest : public TraceLogTest {
 protected:
  TraceLogFileTest() { path_ = folder_.Path("trace.txt"); }

  TraceFolder folder_;
};

TEST_F(TraceLogFileTest, ShippedFlagsWriteNothingAndAskTheSystemNothing) {
  TraceLog log = Log(0x10);
  Trace(log, "\nformatted %d", 1);
  log.TraceLine("\nline");
  EXPECT_EQ(system_.calls, 0);
  EXPECT_TRUE(folder_.IsEmpty());
}

TEST_F(TraceLogTest, FormattedTextNeedsTheMasterSwitch) {
  TraceLog log = Log(kEverything & ~kTraceFormatted);
  Trace(log, "\nformatted %d", 1);
  EXPECT_EQ(system_.calls, 0);
  log.TraceLine("line");
  EXPECT_THAT(system_.shown, ElementsAre("line"));
}

TEST_F(TraceLogTest, NullTextsAreNotWritten) {
  TraceLog log = Log(kShown);
  Trace(log, nullptr);
  log.TraceLine(nullptr);
  EXPECT_EQ(system_.calls, 0);
}

TEST_F(TraceLogTest, FormatsTheArguments) {
  TraceLog log = Log(kShown);
  Trace(log, "%s %08x %d%%", "text", 0xABCu, -5);
  EXPECT_THAT(system_.shown, ElementsAre("text 00000abc -5%"));
}

TEST_F(TraceLogTest, TextWithoutAnInitialLineFeedGetsNoPrefix) {
  TraceLog log = Log(kEverything);
  Trace(log, "goes on\nhere\n");
  EXPECT_THAT(system_.shown, ElementsAre("goes on\nhere\n"));
}

TEST_F(TraceLogTest, EmptyTextIsAnEmptyLine) {
  TraceLog log = Log(kEverything);
  Trace(log, "%s", "");
  EXPECT_THAT(system_.shown, ElementsAre(""));
}

TEST_F(TraceLogTest, InitialLineFeedsBecomeLineEndsAndInnerOnesStay) {
  TraceLog log = Log(kShown);
  log.TraceLine("\n\n\ntext\n\nmore\n");
  EXPECT_THAT(system_.shown, ElementsAre("\r\n\r\n\r\ntext\n\nmore\n"));
}

TEST_F(TraceLogTest, LineFeedsAloneGetTheirPrefix) {
  TraceLog log = Log(kShown | kTraceThread);
  log.TraceLine("\n");
  EXPECT_THAT(system_.shown, ElementsAre("\r\n00000abc: "));
}

TEST_F(TraceLogTest, PrefixesStandInOrder) {
  TraceLog log = Log(kEverything);
  Trace(log, "\n%s", "text");
  EXPECT_THAT(system_.shown, ElementsAre("\r\n13:14:15.016:   77 00000abc: text"));
}

TEST_F(TraceLogTest, EachPrefixHasItsFlag) {
  TraceLog time = Log(kShown | kTraceTime);
  TraceLog handles = Log(kShown | kTraceHandles);
  TraceLog thread = Log(kShown | kTraceThread);
  time.TraceLine("\nx");
  handles.TraceLine("\nx");
  thread.TraceLine("\nx");
  EXPECT_THAT(system_.shown, ElementsAre("\r\n13:14:15.016: x", "\r\n  77 x", "\r\n00000abc: x"));
}

TEST_F(TraceLogTest, UnknownHandleCountIsMinusOne) {
  system_.handles = -1;
  TraceLog log = Log(kShown | kTraceHandles);
  log.TraceLine("\nx");
  EXPECT_THAT(system_.shown, ElementsAre("\r\n  -1 x"));
}

TEST_F(TraceLogTest, LaterStampsAreTheFirstPlusTheTimeThatPassed) {
  TraceLog log = Log(kShown | kTraceTime);
  log.TraceLine("\na");
  system_.local = {1, 2, 3, 4};  // somebody sets the clock
  system_.now += 100;
  log.TraceLine("\nb");
  EXPECT_THAT(system_.shown, ElementsAre("\r\n13:14:15.016: a", "\r\n13:14:15.116: b"));
}

TEST_F(TraceLogTest, TimeStartsAtTheFirstStampedLine) {
  TraceLog log = Log(kShown | kTraceTime);
  log.TraceLine("no stamp");
  system_.now += 12345;
  system_.local = {20, 0, 0, 0};
  log.TraceLine("\nx");
  EXPECT_THAT(system_.shown, ElementsAre("no stamp", "\r\n20:00:00.000: x"));
}

TEST_F(TraceLogTest, FirstStampsOfTwoThreadsAtOnceLieNotBeforeTheFirst) {
  system_.local = {0, 0, 0, 0};
  TraceLog log = Log(kShown | kTraceTime);
  system_.onLocalTime = [&] {
    system_.onLocalTime = nullptr;
    system_.now += 5;
    log.TraceLine("\nthe other's");
  };
  log.TraceLine("\nours");
  EXPECT_THAT(system_.shown, ElementsAre("\r\n00:00:00.000: the other's", "\r\n00:00:00.000: ours"));
}

TEST_F(TraceLogTest, MillisecondsCarryIntoSecondsMinutesAndHours) {
  system_.local = {9, 59, 59, 999};
  TraceLog log = Log(kShown | kTraceTime);
  log.TraceLine("\na");
  system_.now += 1;
  log.TraceLine("\nb");
  EXPECT_THAT(system_.shown, ElementsAre("\r\n09:59:59.999: a", "\r\n10:00:00.000: b"));
}

TEST_F(TraceLogTest, LinesMoreThan100MillisecondsApartAreSeparatedByAnEmptyLine) {
  TraceLog log = Log(kShown | kTraceTime);
  log.TraceLine("\na");
  system_.now += 100;
  log.TraceLine("\nb");
  system_.now += 101;
  log.TraceLine("\nc");
  log.TraceLine("\nd");
  EXPECT_THAT(system_.shown, ElementsAre("\r\n13:14:15.016: a", "\r\n13:14:15.116: b", "\r\n\n13:14:15.217: c",
                                         "\r\n13:14:15.217: d"));
}

TEST_F(TraceLogTest, OnlyStampedLinesCountForTheEmptyLine) {
  TraceLog log = Log(kShown | kTraceTime);
  log.TraceLine("\na");
  system_.now += 101;
  log.TraceLine("no stamp");
  log.TraceLine("\nb");
  EXPECT_THAT(system_.shown, ElementsAre("\r\n13:14:15.016: a", "no stamp", "\r\n\n13:14:15.117: b"));
}

TEST_F(TraceLogTest, WithoutTimeThereIsNoEmptyLine) {
  TraceLog log = Log(kShown | kTraceThread);
  log.TraceLine("\na");
  system_.now += 5000;
  log.TraceLine("\nb");
  EXPECT_THAT(system_.shown, ElementsAre("\r\n00000abc: a", "\r\n00000abc: b"));
}

TEST_F(TraceLogTest, DaysAreCountedFromTheFirstMidnightOn) {
  system_.local = {23, 59, 59, 999};
  TraceLog log = Log(kShown | kTraceTime);
  log.TraceLine("\na");
  system_.now += 1;
  log.TraceLine("\nb");  // exactly a day: not yet more than one
  system_.now += 1;
  log.TraceLine("\nc");
  system_.now += 2 * 86400000LL - 1 + 3 * 3600000LL;
  log.TraceLine("\nd");
  EXPECT_THAT(system_.shown, ElementsAre("\r\n23:59:59.999: a", "\r\n00:00:00.000: b", "\r\n+1d 00:00:00.001: c",
                                         "\r\n\n+3d 03:00:00.000: d"));
}

TEST_F(TraceLogTest, FormattedTextIsCutTo2047Bytes) {
  TraceLog log = Log(kShown);
  const std::string text(5000, 'x');
  Trace(log, "%s", text.c_str());
  EXPECT_THAT(system_.shown, ElementsAre(std::string(2047, 'x')));
}

TEST_F(TraceLogTest, LineIsCutTo2047BytesPrefixIncluded) {
  TraceLog log = Log(kShown | kTraceThread);
  log.TraceLine(("\n" + std::string(5000, 'x')).c_str());
  EXPECT_THAT(system_.shown, ElementsAre("\r\n00000abc: " + std::string(2047 - 12, 'x')));
}

TEST_F(TraceLogTest, TextWithoutAPrefixIsNotCut) {
  TraceLog log = Log(kShown);
  log.TraceLine(std::string(5000, 'x').c_str());
  EXPECT_THAT(system_.shown, ElementsAre(std::string(5000, 'x')));
}

// ---- Prefixes of 50 bytes and more ----

std::string LineEnds(int count) {
  std::string text;
  for (int i = 0; i < count; ++i) text += "\r\n";
  return text;
}

TEST_F(TraceLogTest, PrefixHoldsFiftyBytesOfLineEnds) {
  TraceLog log = Log(kShown);
  log.TraceLine((std::string(25, '\n') + "x").c_str());
  EXPECT_THAT(system_.shown, ElementsAre(LineEnds(25) + "x"));
}

TEST_F(TraceLogTest, PrefixHoldsFiftyBytesWithItsTime) {
  TraceLog log = Log(kShown | kTraceTime);
  log.TraceLine((std::string(18, '\n') + "x").c_str());
  EXPECT_THAT(system_.shown, ElementsAre(LineEnds(18) + "13:14:15.016: x"));
}

using TraceLogDeathTest = TraceLogTest;

TEST_F(TraceLogDeathTest, MoreLineFeedsThanThePrefixHoldsEndTheProcess) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  TraceLog log = Log(kShown);
  EXPECT_DEATH(log.TraceLine(std::string(26, '\n').c_str()), "");
}

TEST_F(TraceLogDeathTest, LineFeedsThatLeaveTheTimeNoRoomEndTheProcess) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  TraceLog log = Log(kShown | kTraceTime);
  EXPECT_DEATH(log.TraceLine(std::string(19, '\n').c_str()), "");
}

TEST_F(TraceLogDeathTest, EmptyLineThatLeavesTheTimeNoRoomEndsTheProcess) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  TraceLog log = Log(kShown | kTraceTime);
  log.TraceLine("\nearlier");
  system_.now += 101;
  EXPECT_DEATH(log.TraceLine(std::string(18, '\n').c_str()), "");
}

TEST_F(TraceLogFileTest, TheDebuggerAloneIsFollowedByLettingOthersRun) {
  TraceLog shown = Log(kTraceToDebugger);
  shown.TraceLine("x");
  EXPECT_THAT(system_.slept, ElementsAre(0u));
  system_.slept.clear();
  TraceLog both = Log(kTraceToDebugger | kTraceToFile);
  both.TraceLine("x");
  EXPECT_THAT(system_.slept, IsEmpty());
}

TEST_F(TraceLogFileTest, FileFlagWritesToTheFileAlone) {
  {
    TraceLog log = Log(kTraceToFile | kTraceFormatted);
    Trace(log, "\n%d", 42);
    log.TraceLine(" and more");
  }
  EXPECT_EQ(TraceFolder::Content(path_), "\xEF\xBB\xBF\r\n42 and more");
  EXPECT_THAT(system_.shown, IsEmpty());
}

TEST_F(TraceLogFileTest, EmptyLineBetweenBurstsIsOneInTheFile) {
  {
    TraceLog log = Log(kTraceToFile | kTraceTime);
    log.TraceLine("\na");
    system_.now += 101;
    log.TraceLine("\nb");
  }
  EXPECT_EQ(TraceFolder::Content(path_), "\xEF\xBB\xBF\r\n13:14:15.016: a\r\n\r\n13:14:15.117: b");
}

TEST_F(TraceLogFileTest, EndWritesWhatWasCollectedAndLaterLinesAtOnce) {
  TraceLog log = Log(kTraceToFile);
  log.TraceLine("one");
  EXPECT_TRUE(folder_.IsEmpty());
  log.End();
  EXPECT_EQ(TraceFolder::Content(path_), "\xEF\xBB\xBFone");
  log.TraceLine(" two");
  EXPECT_EQ(TraceFolder::Content(path_), "\xEF\xBB\xBFone two");
}

TEST_F(TraceLogFileTest, EndOfALogThatWroteNothingLeavesTheFileAlone) {
  TraceLog log = Log(kTraceToFile);
  log.End();
  EXPECT_EQ(system_.calls, 0);
  EXPECT_TRUE(folder_.IsEmpty());
}

// A log whose lock is left, as by a thread that was ended while it traced.
class LeftLog : public TraceLog {
 public:
  using TraceLog::TraceLog;
  void Leave() VANTOR_ACQUIRE(lock_) { lock_.Acquire(); }
  void Return() VANTOR_RELEASE(lock_) { lock_.Release(); }
};

TEST_F(TraceLogFileTest, AfterTheEndLinesDoNotNeedTheLogThatAThreadLeft) {
  LeftLog log(kTraceToFile, path_.c_str(), system_);
  log.TraceLine("one");
  log.Leave();
  std::thread([&] {
    log.End();
    EXPECT_EQ(system_.slept, std::vector<unsigned>(10, 100));
    EXPECT_TRUE(folder_.IsEmpty());
    log.TraceLine(" two");
  }).join();
  EXPECT_EQ(TraceFolder::Content(path_), "\xEF\xBB\xBFone two");
  log.Return();
}

TEST_F(TraceLogFileTest, AfterTheEndLinesAreLostWhileAThreadThatWasEndedHoldsTheLoggers) {
  TraceLog log = Log(kTraceToFile);
  std::promise<void> held;
  std::promise<void> letGo;
  std::thread holding([&] {
    FakeTraceSystem system;
    system.onStartTimer = [&] {
      held.set_value();
      letGo.get_future().wait();
    };
    FileLogger::ForPath(folder_.Path("other.txt"), system);
  });
  held.get_future().wait();
  log.End();
  log.TraceLine("lost");
  EXPECT_EQ(system_.slept, std::vector<unsigned>(10, 100));
  letGo.set_value();
  holding.join();
  log.TraceLine("kept");
  EXPECT_EQ(TraceFolder::Content(path_), "\xEF\xBB\xBFkept");
}

// Reaches a logger's buffer.
struct LeftBuffer : FileLogger {
  static Lock& Of(FileLogger& logger) { return logger.*&LeftBuffer::collecting_; }
};

TEST_F(TraceLogFileTest, AfterTheEndLinesAreLostWhileAThreadThatWasEndedHoldsTheBuffer) {
  TraceLog log = Log(kTraceToFile);
  log.End();
  const auto logger = FileLogger::ForPath(path_, system_);
  Lock& buffer = LeftBuffer::Of(*logger);
  buffer.Acquire();
  std::thread([&] { log.TraceLine("lost"); }).join();
  EXPECT_EQ(system_.slept, std::vector<unsigned>(10, 100));
  buffer.Release();
  log.TraceLine("kept");
  EXPECT_EQ(TraceFolder::Content(path_), "\xEF\xBB\xBFkept");
}

TEST_F(TraceLogFileTest, ThePathIsReadForEveryLine) {
  {
    WideString path = path_;
    TraceLog log(kTraceToFile, path.c_str(), system_);
    log.TraceLine("a");
    path.back() = 'u';
    log.TraceLine("b");
  }
  EXPECT_EQ(TraceFolder::Content(path_),
            "\xEF\xBB\xBF"
            "a");
  EXPECT_EQ(TraceFolder::Content(folder_.Path("trace.txu")),
            "\xEF\xBB\xBF"
            "b");
}

}  // namespace
}  // namespace vantor::test
