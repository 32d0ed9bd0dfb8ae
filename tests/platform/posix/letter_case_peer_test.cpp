// The cases of letters of two units against those that the C library knows.
#include <gtest/gtest.h>

#include <clocale>
#include <cwctype>

#include "platform/letter_case.h"

namespace vantor::test {
namespace {

WideString OfTwoUnits(std::uint32_t letter) {
  return {static_cast<WCHAR>(0xD800 + ((letter - 0x10000) >> 10)), static_cast<WCHAR>(0xDC00 + (letter & 0x3FF))};
}

TEST(LetterCasePeer, LettersOfTwoUnitsHaveTheCasesThatTheLibraryKnows) {
  const locale_t locale = newlocale(LC_CTYPE_MASK, "C.UTF-8", nullptr);
  if (locale == nullptr) GTEST_SKIP() << "there is no locale for it";
  int pairs = 0;
  for (std::uint32_t letter = 0x10000; letter <= 0x1FFFF; ++letter) {
    const auto lower = static_cast<std::uint32_t>(towlower_l(static_cast<wint_t>(letter), locale));
    if (lower == letter) continue;
    ++pairs;
    EXPECT_EQ(platform::WithoutCase(OfTwoUnits(letter)), platform::WithoutCase(OfTwoUnits(lower))) << letter;
    EXPECT_NE(platform::WithoutCase(OfTwoUnits(letter)), platform::WithoutCase(OfTwoUnits(letter + 1))) << letter;
  }
  EXPECT_GT(pairs, 200);
  freelocale(locale);
}

}  // namespace
}  // namespace vantor::test
