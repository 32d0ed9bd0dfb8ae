// TextTable: rows of cells in columns as wide as their widest cell.
//
//   TextTable table({{"Pin", Align::kRight}, {"Name", Align::kLeft}});
//   table.Add({"1", "AVC video 1"});
//   out += table.Text();
#pragma once

#include <string>
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
  // Title line and rows, each ended by a line feed, without trailing blanks.
  std::string Text() const;

 private:
  std::vector<Column> columns_;
  std::vector<std::vector<std::string>> rows_;
};

// The number of characters in UTF-8 text.
std::size_t CharacterCount(const std::string& utf8);

}  // namespace vantor::tools
