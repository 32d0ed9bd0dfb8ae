#include "tools/cell_width.h"

#include <algorithm>
#include <cstdint>
#include <iterator>

namespace vantor::tools {
namespace {

struct CellRange {
  char32_t first;
  char32_t last;
  std::uint8_t cells;
};

constexpr CellRange kCellRanges[] = {
#include "tools/cell_widths.inc"
};

// Takes the first character off the text and gives its width.
std::size_t TakeCharacter(std::string_view& text) {
  const auto lead = static_cast<unsigned char>(text.front());
  const std::size_t size = lead < 0xC2 ? 1 : lead < 0xE0 ? 2 : lead < 0xF0 ? 3 : lead < 0xF5 ? 4 : 1;
  char32_t character = size == 1 ? lead : lead & (0x7FU >> size);
  for (std::size_t i = 1; i < size; ++i) {
    const auto next = static_cast<unsigned char>(i < text.size() ? text[i] : 0);
    if ((next & 0xC0) != 0x80) {
      text.remove_prefix(1);
      return 1;
    }
    character = character << 6 | (next & 0x3FU);
  }
  text.remove_prefix(size);
  return size == 1 && lead >= 0x80 ? 1 : CellWidth(character);
}

}  // namespace

std::size_t CellWidth(char32_t character) {
  if (character >= 0x20 && character < 0x7F) return 1;
  const CellRange* const range = std::ranges::lower_bound(kCellRanges, character, {}, &CellRange::last);
  return range != std::end(kCellRanges) && range->first <= character ? range->cells : 1;
}

std::size_t CellCount(std::string_view utf8) {
  std::size_t cells = 0;
  while (!utf8.empty()) cells += TakeCharacter(utf8);
  return cells;
}

std::string FitCells(std::string_view utf8, std::size_t cells) {
  std::string_view rest = utf8;
  std::size_t used = 0;
  std::size_t kept = 0;  // bytes that leave a cell for the ellipsis
  while (!rest.empty()) {
    used += TakeCharacter(rest);
    if (used < cells) kept = utf8.size() - rest.size();
    if (used > cells) return std::string(utf8.substr(0, kept)) + (cells == 0 ? "" : "\xE2\x80\xA6");
  }
  return std::string(utf8);
}

}  // namespace vantor::tools
