#include "tools/safe_name.h"

#include <gtest/gtest.h>

#include <set>
#include <string>
#include <vector>

#include "platform/text.h"

namespace vantor::tools {
namespace {

struct NameCase {
  std::string name;
  std::string safe;
};

TEST(SafeName, LeavesNoWayOutOfTheFolder) {
  const std::vector<NameCase> cases = {
      {"Sans.ttf", "Sans.ttf"},
      {"../../etc/passwd", "passwd"},
      {"/etc/passwd", "passwd"},
      {"C:\\Windows\\win.ini", "win.ini"},
      {"C:win.ini", "C_win.ini"},
      {"file.txt:stream", "file.txt_stream"},
      {"..", "other"},
      {".", "other"},
      {"", "other"},
      {"fonts/", "other"},
      {" . . ", "other"},
      {".bashrc", "bashrc"},
      {"...name", "name"},
      {"name. . ", "name"},
      {"-rf", "_rf"},
      {std::string("a\0b", 3), "a_b"},
  };
  for (const NameCase& one : cases) EXPECT_EQ(SafeName(one.name, "other"), one.safe) << one.name;
}

TEST(SafeName, NamesNoDevice) {
  for (const std::string name :
       {"CON", "con.txt", "Aux.tar.gz", "NUL ", "nul .txt", "COM1", "lpt9.ttf", "COM\u00B2", "CONIN$"}) {
    EXPECT_EQ(SafeName(name, "other").front(), '_') << name;
  }
  for (const std::string name : {"CONE", "COM", "COM10", "null", "con_.txt"}) EXPECT_EQ(SafeName(name, "other"), name);
}

TEST(SafeName, ShowsOnATerminalAsItIs) {
  EXPECT_EQ(SafeName("a\x1b[31m.ttf", "other"), "a_[31m.ttf");
  EXPECT_EQ(SafeName("a\u202Egpj.exe", "other"), "a_gpj.exe");
  EXPECT_EQ(SafeName("a\u009B.ttf", "other"), "a_.ttf");
  EXPECT_EQ(SafeName("a\xFF\xFE.ttf", "other"), "a__.ttf");
  EXPECT_EQ(SafeName("\u6F22\u5B57 \U0001F600.ttf", "other"), "\u6F22\u5B57 \U0001F600.ttf");
}

TEST(SafeName, LongOnesKeepTheirExtensionAndWholeCharacters) {
  std::string characters;
  for (int i = 0; i < 200; ++i) characters += "\u00E4";
  const std::string safe = SafeName(characters + ".ttf", "other");
  EXPECT_LE(safe.size(), 200U);
  EXPECT_GT(safe.size(), 195U);
  EXPECT_TRUE(safe.ends_with("\u00E4.ttf"));
  EXPECT_EQ(WideToUtf8(Utf8ToWide(safe)), safe);
  EXPECT_EQ(SafeName(std::string(300, 'a') + "." + std::string(300, 'b'), "other").size(), 200U);
}

TEST(SafePart, KeepsTheWholeTextWithoutItsSeparators) {
  EXPECT_EQ(SafePart("Commentary: A/B"), "Commentary_ A_B");
  EXPECT_EQ(SafePart("../.."), "_");
  EXPECT_EQ(SafePart("  .. "), "");
  EXPECT_LE(SafePart(std::string(300, 'a')).size(), 60U);
}

TEST(UniqueNames, NumbersNamesThatDifferInCaseOnlyInEveryScript) {
  UniqueNames names;
  EXPECT_EQ(names.Take("\u00C4.ttf"), "\u00C4.ttf");
  EXPECT_EQ(names.Take("\u00E4.ttf"), "\u00E4 (2).ttf");
  EXPECT_EQ(names.Take("\u0416\u0436.ttf"), "\u0416\u0436.ttf");
  EXPECT_EQ(names.Take("\u0436\u0416.ttf"), "\u0436\u0416 (2).ttf");
  EXPECT_EQ(names.Take("\u03A3.ttf"), "\u03A3.ttf");
  EXPECT_EQ(names.Take("\u03C3.ttf"), "\u03C3 (2).ttf");
  EXPECT_EQ(names.Take("\u00D6.ttf"), "\u00D6.ttf") << "another letter";
  EXPECT_EQ(names.Take("\u6F22.ttf"), "\u6F22.ttf");
  EXPECT_EQ(names.Take("\U0001F600.ttf"), "\U0001F600.ttf") << "of two units";
}

TEST(UniqueNames, NumbersNamesThatDifferInTheCaseOfLettersOfTwoUnits) {
  struct Letters {
    std::string upper;
    std::string lower;
  };
  const Letters scripts[] = {{"\U00010400", "\U00010428"}, {"\U000104D3", "\U000104FB"}, {"\U00010595", "\U000105BC"},
                             {"\U00010C80", "\U00010CC0"}, {"\U00010D65", "\U00010D85"}, {"\U000118A0", "\U000118C0"},
                             {"\U00016E5F", "\U00016E7F"}, {"\U0001E900", "\U0001E922"}};
  UniqueNames names;
  for (const Letters& letters : scripts) {
    EXPECT_EQ(names.Take(letters.lower + ".ttf"), letters.lower + ".ttf");
    EXPECT_EQ(names.Take(letters.upper + ".TTF"), letters.upper + " (2).TTF");
  }
  EXPECT_EQ(names.Take("\U00010401.ttf"), "\U00010401.ttf") << "another letter";
}

TEST(UniqueNames, NumbersWhatIsTaken) {
  UniqueNames names;
  EXPECT_EQ(names.Take("Sans.ttf"), "Sans.ttf");
  EXPECT_EQ(names.Take("sans.TTF"), "sans (2).TTF");
  EXPECT_EQ(names.Take("Sans.ttf"), "Sans (3).ttf");
  EXPECT_EQ(names.Take("Serif"), "Serif");
  EXPECT_EQ(names.Take("Serif"), "Serif (2)");
  EXPECT_EQ(names.Take("Serif (2)"), "Serif (2) (2)");
}

TEST(UniqueNames, NumbersManyOfOneNameWithoutTryingAllOfThem) {
  UniqueNames names;
  constexpr int kMany = 50000;
  for (int i = 1; i < kMany; ++i) (void)names.Take("a.ttf");
  EXPECT_EQ(names.Take("a.ttf"), "a (50000).ttf");
}

}  // namespace
}  // namespace vantor::tools
