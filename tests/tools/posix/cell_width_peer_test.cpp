// The table of widths, held against another maker's of the same characters.
#include <gtest/gtest.h>
#include <utf8proc.h>

#include <cstddef>

#include "tools/cell_width.h"

namespace vantor::tools {
namespace {

// What the other one says; but that it counts vowels and finals of Hangul, which join, as standing alone.
std::size_t PeerWidth(char32_t character) {
  const auto code = static_cast<utf8proc_int32_t>(character);
  if ((character >= 0x1160 && character <= 0x11FF) || (character >= 0xD7B0 && character <= 0xD7FF)) return 0;
  return static_cast<std::size_t>(utf8proc_charwidth(code));
}

// Assigned, to a character, and no mark that takes a place of its own: those join for the other one, and for no
// terminal.
bool IsComparable(char32_t character) {
  const utf8proc_category_t category = utf8proc_category(static_cast<utf8proc_int32_t>(character));
  return category != UTF8PROC_CATEGORY_MC && category != UTF8PROC_CATEGORY_CN && category != UTF8PROC_CATEGORY_CO &&
         category != UTF8PROC_CATEGORY_CS;
}

TEST(CellWidthPeerTest, AgreesWithUtf8proc) {
  std::size_t compared = 0;
  for (char32_t character = 0; character <= 0x10FFFF; ++character) {
    if (!IsComparable(character)) continue;
    ++compared;
    ASSERT_EQ(CellWidth(character), PeerWidth(character)) << std::hex << static_cast<unsigned>(character);
  }
  EXPECT_GT(compared, 140000u);
}

}  // namespace
}  // namespace vantor::tools
