// The process's own trace log: in this process as the build has it, in processes started for the purpose with tracing
// on.
#include "diag/trace.h"

#include <gtest/gtest-spi.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <sstream>
#include <string>
#include <string_view>
#include <vector>

#include "diag/result_names.h"
#include "diag/trace_folder.h"
#include "support/child_process.h"

namespace vantor::test {
namespace {

constexpr bool kTracing = (kTraceFlags & (kTraceFormatted | kTraceToFile | kTraceToDebugger)) != 0;

const std::string kWriter = ProgramBeside("trace_writer");

std::vector<std::string> Lines(const std::string& text) {
  std::vector<std::string> lines;
  std::istringstream stream(text);
  for (std::string line; std::getline(stream, line);) {
    EXPECT_TRUE(line.ends_with('\r') || stream.eof()) << line;
    if (line.ends_with('\r')) line.pop_back();
    lines.push_back(line);
  }
  return lines;
}

// How many of the text's first characters are of that set.
std::size_t LengthOf(std::string_view text, std::string_view set) {
  return std::min(text.find_first_not_of(set), text.size());
}

// "12:34:56.789:   47 0000abcd: TEXT", the number of handles padded with blanks.
void ExpectStamped(std::string_view line, const std::string& text) {
  constexpr std::string_view kDigits = "0123456789";
  std::string time(line.substr(0, 13));
  for (char& c : time) {
    if (kDigits.find(c) != std::string_view::npos) c = '0';
  }
  EXPECT_EQ(time, "00:00:00.000:") << line;
  std::string_view rest = line.substr(time.size());
  const std::size_t blanks = LengthOf(rest, " ");
  const std::size_t digits = LengthOf(rest.substr(blanks), kDigits);
  EXPECT_TRUE(blanks > 0 && digits > 0) << line;
  rest.remove_prefix(blanks + digits);
  ASSERT_TRUE(rest.starts_with(' ')) << line;
  rest.remove_prefix(1);
  EXPECT_EQ(LengthOf(rest, "0123456789abcdef"), 8u) << line;
  EXPECT_EQ(rest.substr(std::min<std::size_t>(rest.size(), 8)), ": " + text) << line;
}

TEST(Trace, FileLiesInAFixedPlace) {
  const std::string path = WideToUtf8(TracePath());
  EXPECT_TRUE(path == "c:\\VantorTrace.txt" || path == "/tmp/VantorTrace.txt") << path;
}

TEST(Trace, AsShippedEvaluatesNoArgumentsAndWritesNothing) {
  if (kTracing) GTEST_SKIP() << "built with tracing";
  const TraceFolder folder;
  const WideString usual = TracePath();
  const WideString path = folder.Path("trace.txt");
  ASSERT_NO_FATAL_FAILURE(TraceTo(path));
  int evaluated = 0;
  VANTOR_TRACE("\n%d", ++evaluated);
  Trace("\n%d", 1);
  Trace(nullptr);
  TraceLine("\nline");
  EXPECT_EQ(evaluated, 0);
  EXPECT_TRUE(folder.IsEmpty());
  TraceTo(usual);
}

TEST(Trace, PathHasRoomFor259Characters) {
  const WideString usual = TracePath();
  const WideString longest(259, 'x');
  TraceTo(longest);
  EXPECT_EQ(WideString(TracePath()), longest);
  EXPECT_FATAL_FAILURE(TraceTo(WideString(260, 'y')), "Set TMPDIR to a shorter path");
  EXPECT_EQ(WideString(TracePath()), longest);
  TraceTo(usual);
}

TEST(Trace, TracingProcessStampsItsLinesAndWritesThemAtItsEnd) {
  const TraceFolder folder;
  ChildProcess writer(kWriter, {"trace", folder.NarrowPath("trace.txt"), "tag", "20"});
  ASSERT_EQ(writer.Wait(), 0);
  const std::string content = TraceFolder::Content(folder.Path("trace.txt"));
  ASSERT_TRUE(content.starts_with("\xEF\xBB\xBF\r\n")) << content;
  std::vector<std::string> lines = Lines(content.substr(5));
  lines.erase(std::remove(lines.begin(), lines.end(), ""), lines.end());  // between bursts
  ASSERT_EQ(lines.size(), 20u);
  for (int i = 0; i < 20; ++i) {
    ExpectStamped(lines[static_cast<std::size_t>(i)], "tag " + std::to_string(i) + " E_FAIL");
  }
}

TEST(Trace, DestructorsMayTraceAfterTheLogsOwnEnding) {
  const TraceFolder folder;
  ChildProcess writer(kWriter, {"late", folder.NarrowPath("trace.txt"), "tag", "3"});
  ASSERT_EQ(writer.Wait(), 0);
  const std::string content = TraceFolder::Content(folder.Path("trace.txt"));
  EXPECT_NE(content.find(": tag 2 E_FAIL"), std::string::npos) << content;
  EXPECT_TRUE(content.ends_with(": late E_FAIL")) << content;
}

TEST(Trace, ThreadsMayTraceWhileTheProcessEnds) {
  const TraceFolder folder;
  ChildProcess writer(kWriter, {"threads", folder.NarrowPath("trace.txt"), "tag", "3"});
  EXPECT_EQ(writer.Wait(), 0);
}

TEST(Trace, ModuleThatIsLetGoStaysForItsTimer) {
  const TraceFolder folder;
  ChildProcess writer(kWriter, {"module", folder.NarrowPath("trace.txt"), "tag", "3"});
  ASSERT_EQ(writer.Wait(), 0);
  const std::string content = TraceFolder::Content(folder.Path("trace.txt"));
  EXPECT_NE(content.find(": tag 0"), std::string::npos) << content;
}

TEST(Trace, ProcessesThatWriteAtOnceLoseNoLine) {
  constexpr int kCount = 1000;
  const TraceFolder folder;
  const std::string path = folder.NarrowPath("trace.txt");
  {
    ChildProcess one(kWriter, {"share", path, "one", std::to_string(kCount)});
    ChildProcess two(kWriter, {"share", path, "two", std::to_string(kCount)});
    EXPECT_EQ(one.Wait(), 0);
    EXPECT_EQ(two.Wait(), 0);
  }
  const std::string content = TraceFolder::Content(folder.Path("trace.txt"));
  ASSERT_TRUE(content.starts_with("\xEF\xBB\xBF")) << content.substr(0, 100);
  EXPECT_EQ(content.find("\xEF\xBB\xBF", 3), std::string::npos);
  int ones = 0;
  int twos = 0;
  for (const std::string& line : Lines(content.substr(3))) {
    int& number = line.starts_with("one ") ? ones : twos;
    EXPECT_EQ(line, (line.starts_with("one ") ? "one " : "two ") + std::to_string(number));
    ++number;
  }
  EXPECT_EQ(ones, kCount);
  EXPECT_EQ(twos, kCount);
}

}  // namespace
}  // namespace vantor::test
