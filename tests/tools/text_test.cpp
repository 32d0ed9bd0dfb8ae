#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <string>

#include "tools/cell_width.h"
#include "tools/progress_bar.h"
#include "tools/text_table.h"
#include "tools/time_text.h"

namespace vantor::tools {
namespace {

TEST(TimeTextTest, ShowsHoursMinutesSecondsAndMilliseconds) {
  EXPECT_EQ(TimeText(0), "0:00:00.000");
  EXPECT_EQ(TimeText(9999), "0:00:00.000");
  EXPECT_EQ(TimeText(37234560000), "1:02:03.456");
  EXPECT_EQ(TimeText(3600000LL * 10000 * 123), "123:00:00.000");
}

TEST(TimeTextTest, TimesBelowZeroHaveASign) {
  EXPECT_EQ(TimeText(-15000000), "-0:00:01.500");
  EXPECT_EQ(TimeText(INT64_MIN).front(), '-');
}

TEST(TimeTextTest, TimesOfNoFilmAreShownInWords) {
  EXPECT_EQ(SaneTimeText(15000000), "0:00:01.500");
  EXPECT_EQ(SaneTimeText(-15000000), "-0:00:01.500");
  EXPECT_EQ(SaneTimeText(kLongestSaneTime), "8784:00:00.000");
  EXPECT_EQ(SaneTimeText(kLongestSaneTime + 1), "over a year");
  EXPECT_EQ(SaneTimeText(INT64_MAX), "over a year");
  EXPECT_EQ(SaneTimeText(INT64_MIN), "over a year before 0");
}

TEST(ParseTimeTest, ReadsSecondsMinutesAndHours) {
  EXPECT_EQ(ParseTime("0"), 0);
  EXPECT_EQ(ParseTime("90"), 900000000);
  EXPECT_EQ(ParseTime("1:30"), 900000000);
  EXPECT_EQ(ParseTime("00:01:30.5"), 905000000);
  EXPECT_EQ(ParseTime("1:02:03.456"), 37234560000);
  EXPECT_EQ(ParseTime("100:00:00"), 3600000LL * 10000 * 100);
  EXPECT_EQ(ParseTime("90:00"), 90LL * 60 * 10000000) << "the first field may be of any size";
}

TEST(ParseTimeTest, FractionsGoToTheSeventhDigit) {
  EXPECT_EQ(ParseTime("0.0000001"), 1);
  EXPECT_EQ(ParseTime("0.00000019"), 1);
  EXPECT_EQ(ParseTime("1.25"), 12500000);
}

TEST(ParseTimeTest, RefusesWhatIsNoTime) {
  for (const char* text :
       {"",   ".",  "1.", ".5", ":",     "1:",     ":30", "1::2", "1:60", "1:2:60", "1:60:00", "1:2:3:4",
        "-1", "+1", " 1", "1 ", "1.5.5", "1.5:30", "1,5", "1m",   "0x10", "1:-2",   "1e3"}) {
    EXPECT_FALSE(ParseTime(text)) << '"' << text << '"';
  }
}

TEST(ParseTimeTest, ReadsUpToTheLastPositionThereIs) {
  EXPECT_EQ(ParseTime("922337203685.4775807"), INT64_MAX);
  EXPECT_FALSE(ParseTime("922337203685.4775808"));
  EXPECT_FALSE(ParseTime("922337203686"));
  EXPECT_FALSE(ParseTime("9223372036854775808"));
  EXPECT_FALSE(ParseTime("9223372036854775807:59:59"));
}

TEST(ParseTimeTest, ReadsWhatIsShown) {
  for (const std::int64_t time : {0LL, 10000LL, 905000000LL, 37234560000LL}) {
    EXPECT_EQ(ParseTime(TimeText(time)), time);
  }
}

TEST(TimeTextTest, SizesAndRatesGoUpTheUnits) {
  EXPECT_EQ(SizeText(0), "0 B");
  EXPECT_EQ(SizeText(1023), "1023 B");
  EXPECT_EQ(SizeText(1536), "1.50 KiB");
  EXPECT_EQ(SizeText(UINT64_MAX), "16777216.00 TiB");
  EXPECT_EQ(BitRateText(125, 10000000), "1.00 kb/s");
  EXPECT_EQ(BitRateText(100, 10000000), "800 b/s");
  EXPECT_EQ(BitRateText(100, 0), "-");
}

TEST(TextTableTest, ColumnsAreAsWideAsTheirWidestCell) {
  TextTable table({{"N", Align::kRight}, {"Name"}, {"End"}});
  table.Add({"1", "short", "x"});
  table.Add({"100", "a longer name", ""});
  EXPECT_EQ(table.Text(),
            "  N  Name           End\n"
            "  1  short          x\n"
            "100  a longer name\n");
}

TEST(TextTableTest, CountsCharactersNotBytes) {
  TextTable table({{"A"}, {"B"}});
  table.Add({"\xc3\xa9\xc3\xa9", "x"});
  table.Add({"ee", "y"});
  EXPECT_EQ(table.Text(), "A   B\n\xc3\xa9\xc3\xa9  x\nee  y\n");
}

TEST(TextTableTest, ControlCharactersNeverReachTheTerminal) {
  TextTable table({{"A"}});
  table.Add({"a\x1b[31m\nb"});
  EXPECT_EQ(table.Text(), "A\na\\x1b[31m\\nb\n");
}

TEST(ProgressLineTest, FillsTheWidthToTheShare) {
  const std::string half = ProgressLine(50000000, 100000000, 80, false);
  EXPECT_EQ(half.size(), 79u);
  EXPECT_EQ(half.front(), '[');
  EXPECT_NE(half.find(" 50%  0:00:05.000 / 0:00:10.000"), std::string::npos);
  EXPECT_NEAR(std::count(half.begin(), half.end(), '#'), std::count(half.begin(), half.end(), '-'), 1);
}

TEST(ProgressLineTest, StaysWithinTheBarWhateverThePosition) {
  EXPECT_NE(ProgressLine(500, 100, 80, false).find("100%"), std::string::npos);
  EXPECT_NE(ProgressLine(-500, 100, 80, false).find("  0%"), std::string::npos);
}

TEST(ProgressLineTest, LeavesTheBarOutOnANarrowTerminal) {
  EXPECT_EQ(ProgressLine(0, 10000000, 20, false), "   0%  0:00:00.000 / 0:00:01.000");
}

TEST(ProgressLineTest, WithoutADurationShowsTheTimeAlone) {
  EXPECT_EQ(ProgressLine(15000000, 0, 80, true), "0:00:01.500");
}

TEST(ProgressLineTest, ColoursOnlyWhenAsked) {
  EXPECT_EQ(ProgressLine(1, 2, 80, false).find('\x1b'), std::string::npos);
  EXPECT_NE(ProgressLine(1, 2, 80, true).find("\x1b[32m"), std::string::npos);
}

TEST(ProgressBarTest, PrintsNothingWhereThereIsNoTerminal) {
  std::FILE* const file = std::tmpfile();
  ASSERT_NE(file, nullptr);
  ProgressBar bar(file);
  bar.Draw(1, 2);
  bar.Clear();
  EXPECT_EQ(std::ftell(file), 0);
  std::fclose(file);
}

TEST(CellWidthTest, WideCharactersTakeTwoCellsAndJoiningOnesNone) {
  EXPECT_EQ(CellWidth('a'), 1u);
  EXPECT_EQ(CellWidth(0xE9), 1u);
  EXPECT_EQ(CellWidth(0x301), 0u) << "combining acute accent";
  EXPECT_EQ(CellWidth(0x200D), 0u) << "joiner";
  EXPECT_EQ(CellWidth(0x4E16), 2u);
  EXPECT_EQ(CellWidth(0xFF21), 2u) << "fullwidth A";
  EXPECT_EQ(CellWidth(0x1F600), 2u) << "emoji";
  EXPECT_EQ(CellWidth(0x10FFFF), 1u);
  EXPECT_EQ(CellCount("e\xcc\x81\xe4\xb8\x96\xf0\x9f\x98\x80"), 5u);
  EXPECT_EQ(CellCount("\xff\xe4\xb8"), 3u) << "bytes that are no characters";
}

TEST(CellWidthTest, FittedTextEndsInAnEllipsisAndNeverInHalfACharacter) {
  EXPECT_EQ(FitCells("abcdef", 6), "abcdef");
  EXPECT_EQ(FitCells("abcdef", 5), "abcd\xe2\x80\xa6");
  EXPECT_EQ(FitCells("\xe4\xb8\x96\xe4\xb8\x96\xe4\xb8\x96", 5), "\xe4\xb8\x96\xe4\xb8\x96\xe2\x80\xa6");
  EXPECT_EQ(FitCells("\xe4\xb8\x96\xe4\xb8\x96\xe4\xb8\x96", 4), "\xe4\xb8\x96\xe2\x80\xa6");
  EXPECT_EQ(FitCells("ae\xcc\x81xy", 3), "ae\xcc\x81\xe2\x80\xa6") << "the accent stays with its letter";
  EXPECT_EQ(FitCells("ab", 0), "");
}

TEST(TextTableTest, WideCharactersDoNotPushColumnsAside) {
  TextTable table({{"Name"}, {"End"}});
  table.Add({"\xe4\xb8\x96\xe7\x95\x8c", "x"});
  table.Add({"abcd", "y"});
  EXPECT_EQ(table.Text(),
            "Name  End\n"
            "\xe4\xb8\x96\xe7\x95\x8c  x\n"
            "abcd  y\n");
}

TEST(TextTableTest, TextsAreCutToTheLineTheWidestFirstAndNumbersNever) {
  TextTable table({{"Number", Align::kRight}, {"First"}, {"Second"}});
  table.Add({"1234567890", std::string(30, 'a'), std::string(12, 'b')});
  EXPECT_EQ(table.Text(40),
            "    Number  First           Second\n"
            "1234567890  aaaaaaaaaaaaa\xe2\x80\xa6  bbbbbbbbbbbb\n");
  EXPECT_EQ(table.Text(10),
            "    Number  First     Second\n"
            "1234567890  aaaaaaa\xe2\x80\xa6  bbbbbbb\xe2\x80\xa6\n")
      << "no line is that narrow";
  EXPECT_EQ(table.Text(0), table.Text(1000));
}

TEST(TextTableTest, ALongTextDoesNotMakeEveryLineLong) {
  TextTable table({{"First"}, {"Second"}});
  table.Add({std::string(5000, 'a'), "x"});
  table.Add({"b", "y"});
  EXPECT_LT(table.Text().size(), 5500u);
}

}  // namespace
}  // namespace vantor::tools
