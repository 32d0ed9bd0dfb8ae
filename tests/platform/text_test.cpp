#include "platform/text.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <string>

namespace vantor {
namespace {

constexpr WCHAR kBad = 0xFFFD;

WideString Wide(std::initializer_list<unsigned> units) {
  WideString text;
  for (const unsigned unit : units) text.push_back(static_cast<WCHAR>(unit));
  return text;
}

std::string Bytes(std::initializer_list<unsigned> bytes) {
  std::string text;
  for (const unsigned byte : bytes) text.push_back(static_cast<char>(byte));
  return text;
}

TEST(Text, EmptyStaysEmpty) {
  EXPECT_TRUE(Utf8ToWide("").empty());
  EXPECT_TRUE(WideToUtf8(WideString()).empty());
}

TEST(Text, CharactersOfEveryLengthGoThereAndBack) {
  const struct {
    std::string narrow;
    WideString wide;
  } cases[] = {
      {Bytes({0x41}), Wide({0x41})},
      {Bytes({0x7F}), Wide({0x7F})},
      {Bytes({0xC2, 0x80}), Wide({0x80})},
      {Bytes({0xDF, 0xBF}), Wide({0x7FF})},
      {Bytes({0xE0, 0xA0, 0x80}), Wide({0x800})},
      {Bytes({0xE2, 0x82, 0xAC}), Wide({0x20AC})},
      {Bytes({0xED, 0x9F, 0xBF}), Wide({0xD7FF})},
      {Bytes({0xEE, 0x80, 0x80}), Wide({0xE000})},
      {Bytes({0xEF, 0xBF, 0xBF}), Wide({0xFFFF})},
      {Bytes({0xF0, 0x90, 0x80, 0x80}), Wide({0xD800, 0xDC00})},
      {Bytes({0xF0, 0x9F, 0x98, 0x80}), Wide({0xD83D, 0xDE00})},
      {Bytes({0xF4, 0x8F, 0xBF, 0xBF}), Wide({0xDBFF, 0xDFFF})},
  };
  for (const auto& one : cases) {
    EXPECT_EQ(Utf8ToWide(one.narrow), one.wide) << testing::PrintToString(one.narrow);
    EXPECT_EQ(WideToUtf8(one.wide), one.narrow) << testing::PrintToString(one.narrow);
  }
}

TEST(Text, ZeroIsACharacterLikeAnyOther) {
  EXPECT_EQ(Utf8ToWide(Bytes({0x41, 0x00, 0x42})), Wide({0x41, 0x00, 0x42}));
  EXPECT_EQ(WideToUtf8(Wide({0x41, 0x00, 0x42})), Bytes({0x41, 0x00, 0x42}));
}

TEST(Text, EachLongestInvalidRunBecomesOneReplacement) {
  const struct {
    const char* what;
    std::string narrow;
    WideString wide;
  } cases[] = {
      {"a lone continuation byte", Bytes({0x80}), Wide({kBad})},
      {"two lone continuation bytes", Bytes({0x80, 0xBF}), Wide({kBad, kBad})},
      {"bytes that never occur", Bytes({0xFE, 0xFF}), Wide({kBad, kBad})},
      {"an overlong slash of two bytes", Bytes({0xC0, 0xAF}), Wide({kBad, kBad})},
      {"an overlong slash of three bytes", Bytes({0xE0, 0x80, 0xAF}), Wide({kBad, kBad, kBad})},
      {"an overlong slash of four bytes", Bytes({0xF0, 0x80, 0x80, 0xAF}), Wide({kBad, kBad, kBad, kBad})},
      {"an encoded surrogate", Bytes({0xED, 0xA0, 0x80}), Wide({kBad, kBad, kBad})},
      {"beyond the last character", Bytes({0xF4, 0x90, 0x80, 0x80}), Wide({kBad, kBad, kBad, kBad})},
      {"a five byte form", Bytes({0xF8, 0x88, 0x80, 0x80, 0x80}), Wide({kBad, kBad, kBad, kBad, kBad})},
      {"three of four bytes, then text", Bytes({0xF0, 0x9F, 0x98, 0x41}), Wide({kBad, 0x41})},
      {"two of four bytes, then text", Bytes({0xF1, 0x80, 0x41}), Wide({kBad, 0x41})},
      {"two of three bytes, then a lead byte", Bytes({0xE2, 0x82, 0xC3, 0xA9}), Wide({kBad, 0xE9})},
      {"the end after one of two bytes", Bytes({0x41, 0xC3}), Wide({0x41, kBad})},
      {"the end after three of four bytes", Bytes({0xF0, 0x9F, 0x98}), Wide({kBad})},
      {"a mix", Bytes({0x61, 0xF1, 0x80, 0x80, 0xE1, 0x80, 0xC2, 0x62, 0x80, 0x63, 0x80, 0xBF, 0x64}),
       Wide({0x61, kBad, kBad, kBad, 0x62, kBad, 0x63, kBad, kBad, 0x64})},
  };
  for (const auto& one : cases) EXPECT_EQ(Utf8ToWide(one.narrow), one.wide) << one.what;
}

TEST(Text, ALoneSurrogateBecomesAReplacement) {
  const std::string bad = Bytes({0xEF, 0xBF, 0xBD});
  EXPECT_EQ(WideToUtf8(Wide({0xD800})), bad);
  EXPECT_EQ(WideToUtf8(Wide({0xDC00})), bad);
  EXPECT_EQ(WideToUtf8(Wide({0xD800, 0x41})), bad + "A");
  EXPECT_EQ(WideToUtf8(Wide({0xDC00, 0xD800})), bad + bad);
  EXPECT_EQ(WideToUtf8(Wide({0xD800, 0xD800, 0xDC00})), bad + Bytes({0xF0, 0x90, 0x80, 0x80}));
}

TEST(Text, EveryCharacterSurvivesTheRoundTrip) {
  WideString all;
  for (std::uint32_t character = 0; character < 0x110000; ++character) {
    if (character >= 0xD800 && character < 0xE000) continue;
    if (character < 0x10000) {
      all.push_back(static_cast<WCHAR>(character));
    } else {
      all.push_back(static_cast<WCHAR>(0xD800 + ((character - 0x10000) >> 10)));
      all.push_back(static_cast<WCHAR>(0xDC00 + (character & 0x3FF)));
    }
  }
  EXPECT_TRUE(Utf8ToWide(WideToUtf8(all)) == all);
}

}  // namespace
}  // namespace vantor
