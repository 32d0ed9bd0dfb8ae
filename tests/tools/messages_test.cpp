#include "tools/messages.h"

#include <gtest/gtest.h>

#include <string>

namespace vantor::tools {
namespace {

// What Say writes of the text.
std::string Said(const std::string& text) {
  std::FILE* const file = std::tmpfile();
  EXPECT_NE(file, nullptr);
  Say(file, text);
  std::string said(static_cast<std::size_t>(std::ftell(file)), '\0');
  std::rewind(file);
  EXPECT_EQ(std::fread(said.data(), 1, said.size(), file), said.size());
  std::fclose(file);
  return said;
}

TEST(Messages, AreOneLineBehindTheProgramsName) {
  EXPECT_EQ(Said("no such file"), "vantor-mkv: no such file\n");
  EXPECT_EQ(Said(""), "vantor-mkv: \n");
  EXPECT_EQ(Said("two\nlines\n"), "vantor-mkv: two\\nlines\\n\n");
}

TEST(Messages, AreWholeWhateverTheirLength) {
  for (std::size_t size = 1000; size < 1040; ++size) {
    const std::string text(size, 'x');
    EXPECT_EQ(Said(text), "vantor-mkv: " + text + "\n");
  }
  const std::string escaped(100000, '\x1b');
  EXPECT_EQ(Said(escaped).size(), 13 + 4 * escaped.size());
}

TEST(Messages, AStreamThatTakesNothingIsNoError) {
  std::FILE* const file = std::fopen("/dev/null", "r");
  if (file == nullptr) {
    GTEST_SKIP();
  }
  Say(file, "nobody hears this");
  std::fclose(file);
}

TEST(PrintableText, ControlCharactersAreEscaped) {
  EXPECT_EQ(Printable(std::string("a\x1b[31m\t\r\x7f\0z", 11)), "a\\x1b[31m\\x09\\x0d\\x7f\\x00z");
  EXPECT_EQ(Printable("\xc2\x9b"
                      "31m"),
            "\\u009b31m")
      << "the second set of controls begins sequences too";
}

TEST(PrintableText, WhatTurnsTheDirectionOfWritingIsEscaped) {
  EXPECT_EQ(Printable("a\xe2\x80\xaegpj.mkv"), "a\\u202egpj.mkv");
  EXPECT_EQ(Printable("\xe2\x81\xa6\xe2\x80\xa8\xef\xbb\xbf"), "\\u2066\\u2028\\ufeff");
}

TEST(PrintableText, TextOfEveryPlaneStaysAsItIs) {
  const std::string text = "C:\\a b \xc3\xa9 \xe4\xb8\x96 \xf0\x9f\x98\x80 \xef\xbf\xbd \xf4\x8f\xbf\xbf";
  EXPECT_EQ(Printable(text), text);
}

TEST(PrintableText, BytesThatAreNotUtf8AreEscapedEachByItself) {
  EXPECT_EQ(Printable("a\xff\xfe"
                      "b"),
            "a\\xff\\xfeb");
  EXPECT_EQ(Printable("\xc3"), "\\xc3") << "cut off";
  EXPECT_EQ(Printable("\xe4\xb8z"), "\\xe4\\xb8z");
  EXPECT_EQ(Printable("\xc0\xaf\xe0\x80\xaf\xf0\x80\x80\xaf"), "\\xc0\\xaf\\xe0\\x80\\xaf\\xf0\\x80\\x80\\xaf")
      << "overlong";
  EXPECT_EQ(Printable("\xed\xa0\x80\xf4\x90\x80\x80"), "\\xed\\xa0\\x80\\xf4\\x90\\x80\\x80") << "no characters";
  EXPECT_EQ(Printable("\xc3\n"), "\\xc3\\n");
}

}  // namespace
}  // namespace vantor::tools
