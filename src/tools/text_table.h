// TextTable: rows of cells in columns as wide as their widest cell, fitted to a terminal's line where there is one.
//
//   TextTable table({{"Pin", Align::kRight}, {"Name", Align::kLeft}});
//   table.Add({"1", "AVC video 1"});
//   out += table.Text(TableWidth(stdout));
#pragma once

#include <cstddef>
#include <cstdio>
#include <string>
#include <utility>
#include <vector>

namespace vantor::tools {

enum class Align { kLeft, kRight };

class TextTable {
 public:
  struct Column {
    std::string title;
    Align align = Align::kLeft;
  };

  explicit TextTable(std::vector<Column> columns) : columns_(std::move(columns)) {}
  // As many cells as there are columns. What is not printable in them is escaped.
  void Add(std::vector<std::string> cells);
  bool IsEmpty() const { return rows_.empty(); }
  // Title line and rows, each ended by a line feed, without trailing blanks. Lines that would be longer than the width,
  // in cells of display, have their texts cut with an ellipsis, the widest columns first; 0 cuts nothing.
  std::string Text(std::size_t width = 0) const;

 private:
  std::vector<std::size_t> Widths(std::size_t width) const;
  std::string Line(const std::vector<std::string>& row, const std::vector<std::size_t>& widths, bool isCut) const;

  std::vector<Column> columns_;
  std::vector<std::vector<std::string>> rows_;
};

// The width for a table that goes to the stream: of its terminal's line, and 0 where it is none.
std::size_t TableWidth(std::FILE* out);

}  // namespace vantor::tools
