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

TEST(UniqueName, NumbersNamesThatDifferInCaseOnlyInEveryScript) {
  std::set<std::string> taken;
  EXPECT_EQ(UniqueName("\u00C4.ttf", taken), "\u00C4.ttf");
  EXPECT_EQ(UniqueName("\u00E4.ttf", taken), "\u00E4 (2).ttf");
  EXPECT_EQ(UniqueName("\u0416\u0436.ttf", taken), "\u0416\u0436.ttf");
  EXPECT_EQ(UniqueName("\u0436\u0416.ttf", taken), "\u0436\u0416 (2).ttf");
  EXPECT_EQ(UniqueName("\u03A3.ttf", taken), "\u03A3.ttf");
  EXPECT_EQ(UniqueName("\u03C2.ttf", taken), "\u03C2 (2).ttf") << "a final sigma";
  EXPECT_EQ(UniqueName("\u00D6.ttf", taken), "\u00D6.ttf") << "another letter";
  EXPECT_EQ(UniqueName("\u6F22.ttf", taken), "\u6F22.ttf");
  EXPECT_EQ(UniqueName("\U0001F600.ttf", taken), "\U0001F600.ttf") << "of two units";
}

TEST(UniqueName, NumbersWhatIsTaken) {
  std::set<std::string> taken;
  EXPECT_EQ(UniqueName("Sans.ttf", taken), "Sans.ttf");
  EXPECT_EQ(UniqueName("sans.TTF", taken), "sans (2).TTF");
  EXPECT_EQ(UniqueName("Sans.ttf", taken), "Sans (3).ttf");
  EXPECT_EQ(UniqueName("Serif", taken), "Serif");
  EXPECT_EQ(UniqueName("Serif", taken), "Serif (2)");
}

}  // namespace
}  // namespace vantor::tools
