#include "platform/profile_file.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <string_view>

#include "platform/text.h"
#include "support/temporary_folder.h"

namespace vantor::test {
namespace {

// Where the system has a reader of its own, that decides how it takes 8-bit text and big-endian files.
constexpr bool kOwnReader = sizeof(wchar_t) != sizeof(WCHAR);

class ProfileFileTest : public testing::Test {
 protected:
  void Write(std::string_view text) { folder_.Write("a.conf", text); }

  WideString ReadWide(std::string_view section, std::string_view key, std::size_t capacity = 1024) {
    return platform::ProfileFile(path_.string<WCHAR>()).Value(Utf8ToWide(section), Utf8ToWide(key), capacity);
  }
  std::string Read(std::string_view section, std::string_view key, std::size_t capacity = 1024) {
    return WideToUtf8(ReadWide(section, key, capacity));
  }

  const TemporaryFolder folder_;
  const std::filesystem::path path_ = folder_ / "a.conf";
};

TEST_F(ProfileFileTest, KeyOfTheSectionGivesItsValue) {
  Write("[a]\nx=1\ny=2\n[b]\nx=3\n");
  EXPECT_EQ(Read("a", "x"), "1");
  EXPECT_EQ(Read("a", "y"), "2");
  EXPECT_EQ(Read("b", "x"), "3");
  EXPECT_EQ(Read("b", "y"), "");
  EXPECT_EQ(Read("c", "x"), "");
}

TEST_F(ProfileFileTest, FirstOfSeveralSectionsOfANameCounts) {
  Write("[a]\ny=1\n[a]\nx=2\ny=3\n");
  EXPECT_EQ(Read("a", "y"), "1");
  EXPECT_EQ(Read("a", "x"), "");
}

TEST_F(ProfileFileTest, TextBehindASectionsBracketIsSteppedOver) {
  Write("[a] of the first\nx=1\n");
  EXPECT_EQ(Read("a", "x"), "1");
}

TEST_F(ProfileFileTest, OwnReaderComparesLettersOfEveryScriptWithoutRegardToCase) {
  if (!kOwnReader) GTEST_SKIP() << "the system's own reader decides";
  std::string bytes("\xFF\xFE", 2);
  for (const WCHAR letter : Utf8ToWide("[\xC3\x89T\xC3\x89 \xD0\x96]\r\nx=1\r\n")) {
    bytes += static_cast<char>(letter & 0xFF);
    bytes += static_cast<char>(letter >> 8);
  }
  Write(bytes);
  EXPECT_EQ(Read("\xC3\xA9t\xC3\xA9 \xD0\xB6", "X"), "1");
}

TEST_F(ProfileFileTest, RelativePathsCountFromTheCurrentFolder) {
  const std::filesystem::path before = std::filesystem::current_path();
  Write("[a]\nx=1\n");
  std::filesystem::current_path(path_.parent_path());
  const WideString value = platform::ProfileFile(path_.filename().string<WCHAR>()).Value(OLESTR("a"), OLESTR("x"), 9);
  std::filesystem::current_path(before);
  EXPECT_EQ(WideToUtf8(value), "1");
}

TEST_F(ProfileFileTest, OwnReaderTakesCarriageReturnsAloneAndBracketsThatAreNotClosed) {
  if (!kOwnReader) GTEST_SKIP() << "the system's own reader decides";
  Write("[a]\rx=1\r[b]\rx=2\r");
  EXPECT_EQ(Read("b", "x"), "2");
  Write("[a]\n[y=5\nx=1\n");
  EXPECT_EQ(Read("a", "x"), "1");
  EXPECT_EQ(Read("a", "[y"), "5");
}

TEST_F(ProfileFileTest, FileThatIsTooLargeForAProfileCountsAsMissing) {
  Write("[a]\nx=1\n");
  std::filesystem::resize_file(path_, platform::ProfileFile::kLargestFile);
  EXPECT_EQ(Read("a", "x"), "1");
  std::filesystem::resize_file(path_, platform::ProfileFile::kLargestFile + 1);
  EXPECT_EQ(Read("a", "x"), "");
}

TEST_F(ProfileFileTest, OwnReaderReadsTheFileOnceForAllValues) {
  if (!kOwnReader) GTEST_SKIP() << "the system's own reader decides";
  Write("[a]\nx=1\ny=2\n");
  const platform::ProfileFile file(path_.string<WCHAR>());
  Write("");
  EXPECT_EQ(WideToUtf8(file.Value(OLESTR("a"), OLESTR("x"), 9)), "1");
  EXPECT_EQ(WideToUtf8(file.Value(OLESTR("a"), OLESTR("y"), 9)), "2");
}

TEST_F(ProfileFileTest, MissingFileHasNoValues) { EXPECT_EQ(Read("a", "x"), ""); }

TEST_F(ProfileFileTest, FolderInPlaceOfAFileHasNoValues) {
  std::filesystem::create_directory(path_);
  EXPECT_EQ(Read("a", "x"), "");
}

TEST_F(ProfileFileTest, EmptyFileHasNoValues) {
  Write("");
  EXPECT_EQ(Read("a", "x"), "");
}

TEST_F(ProfileFileTest, NamesAreComparedWithoutRegardToCase) {
  Write("[Stream.Main]\nCodecData=1\n");
  EXPECT_EQ(Read("STREAM.main", "codecdata"), "1");
}

TEST_F(ProfileFileTest, LinesEndWithOrWithoutCarriageReturnAndTheLastMayHaveNone) {
  Write("[a]\r\nx=1\r\ny=2\nz=3");
  EXPECT_EQ(Read("a", "x"), "1");
  EXPECT_EQ(Read("a", "y"), "2");
  EXPECT_EQ(Read("a", "z"), "3");
}

TEST_F(ProfileFileTest, WhiteSpaceAroundNamesAndValuesIsTakenOff) {
  Write("  [a]  \n \t x \t = \t one two \t \n");
  EXPECT_EQ(Read("a", "x"), "one two");
}

TEST_F(ProfileFileTest, OnePairOfQuotesIsTakenOff) {
  Write("[a]\nd=\" one \"\ns=' two '\nn=\"'x'\"\no=\"open\nm=\"mixed'\ne=\"\"\nq=\"\n");
  EXPECT_EQ(Read("a", "d"), " one ");
  EXPECT_EQ(Read("a", "s"), " two ");
  EXPECT_EQ(Read("a", "n"), "'x'");
  EXPECT_EQ(Read("a", "o"), "\"open");
  EXPECT_EQ(Read("a", "m"), "\"mixed'");
  EXPECT_EQ(Read("a", "e"), "");
}

TEST_F(ProfileFileTest, LinesThatBeginWithASemicolonAreComments) {
  Write("[a]\n;x=1\n ; x=2\nx=3;4\n");
  EXPECT_EQ(Read("a", "x"), "3;4");
}

TEST_F(ProfileFileTest, OnlyTheFirstEqualsSignSeparates) {
  Write("[a]\nx=AAA=\ny==\n");
  EXPECT_EQ(Read("a", "x"), "AAA=");
  EXPECT_EQ(Read("a", "y"), "=");
}

TEST_F(ProfileFileTest, FirstOfSeveralKeysCounts) {
  Write("[a]\nx=1\nx=2\n");
  EXPECT_EQ(Read("a", "x"), "1");
}

TEST_F(ProfileFileTest, KeysBeforeAnySectionBelongToNone) {
  Write("x=1\n[a]\nx=2\n");
  EXPECT_EQ(Read("a", "x"), "2");
}

TEST_F(ProfileFileTest, LinesThatAreNeitherAreSteppedOver) {
  Write("[a]\nnonsense\n=5\n\n\nx=1\n");
  EXPECT_EQ(Read("a", "x"), "1");
}

TEST_F(ProfileFileTest, ValueIsCutToTheCapacityLessItsTerminator) {
  Write("[a]\nx=" + std::string(3000, 'v') + "\n");
  EXPECT_EQ(Read("a", "x"), std::string(1023, 'v'));
  EXPECT_EQ(Read("a", "x", 3001), std::string(3000, 'v'));
  EXPECT_EQ(Read("a", "x", 3000), std::string(2999, 'v'));
  EXPECT_EQ(Read("a", "x", 2), "v");
  EXPECT_EQ(Read("a", "x", 1), "");
  EXPECT_EQ(Read("a", "x", 0), "");
}

// "[a]", "x=" and a character beyond 8 bits, after a byte order mark.
constexpr std::string_view kLittleEndian("\xFF\xFE[\0a\0]\0\r\0\n\0x\0=\0\x2D\x4E", 18);
constexpr std::string_view kBigEndian("\xFE\xFF\0[\0a\0]\0\r\0\n\0x\0=\x4E\x2D", 18);

TEST_F(ProfileFileTest, SixteenBitFilesAreKnownByTheirMark) {
  Write(kLittleEndian);
  EXPECT_EQ(ReadWide("a", "x"), WideString(1, WCHAR{0x4E2D}));
}

TEST_F(ProfileFileTest, BigEndianFilesAreKnownByTheirMark) {
  if (!kOwnReader) GTEST_SKIP() << "left to the system";
  Write(kBigEndian);
  EXPECT_EQ(ReadWide("a", "x"), WideString(1, WCHAR{0x4E2D}));
}

TEST_F(ProfileFileTest, OddByteAtTheEndOfASixteenBitFileIsDropped) {
  if (!kOwnReader) GTEST_SKIP() << "left to the system";
  Write(std::string(kLittleEndian) + "x");
  EXPECT_EQ(ReadWide("a", "x"), WideString(1, WCHAR{0x4E2D}));
}

TEST_F(ProfileFileTest, EightBitTextIsUtf8OrElseACharacterAByte) {
  if (!kOwnReader) GTEST_SKIP() << "left to the system";
  Write("[a]\nx=\xE4\xB8\xAD\n");
  EXPECT_EQ(ReadWide("a", "x"), WideString(1, WCHAR{0x4E2D}));
  Write("\xEF\xBB\xBF[a]\nx=\xE4\xB8\xAD\n");
  EXPECT_EQ(ReadWide("a", "x"), WideString(1, WCHAR{0x4E2D}));
  Write("[a]\nx=\xE4\n");
  EXPECT_EQ(ReadWide("a", "x"), WideString(1, WCHAR{0xE4}));
}

}  // namespace
}  // namespace vantor::test
