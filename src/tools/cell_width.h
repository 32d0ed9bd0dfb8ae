// How much of a terminal's line a text takes: a Chinese character two cells, an accent that joins its letter none.
//
//   CellCount("\u4e16\u754c");      // 4
//   FitCells("a long name", 7);     // "a long…"
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace vantor::tools {

// 0, 1 or 2.
std::size_t CellWidth(char32_t character);

// Of UTF-8; a byte that is none counts as one cell.
std::size_t CellCount(std::string_view utf8);

// The text, or as much of its beginning as fits with an ellipsis behind it.
std::string FitCells(std::string_view utf8, std::size_t cells);

}  // namespace vantor::tools
