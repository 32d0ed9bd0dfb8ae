#include "tools/text_table.h"

#include <algorithm>
#include <utility>

#include "tools/messages.h"

namespace vantor::tools {

void TextTable::Add(std::vector<std::string> cells) {
  for (std::string& cell : cells) {
    cell = Printable(cell);
  }
  rows_.push_back(std::move(cells));
}

std::string TextTable::Text() const {
  std::vector<std::size_t> widths;
  std::vector<std::string> titles;
  for (const Column& column : columns_) {
    widths.push_back(CharacterCount(column.title));
    titles.push_back(column.title);
  }
  for (const auto& row : rows_) {
    for (std::size_t i = 0; i < row.size(); ++i) {
      widths[i] = std::max(widths[i], CharacterCount(row[i]));
    }
  }
  std::string text;
  const auto append = [&](const std::vector<std::string>& row) {
    std::string line;
    for (std::size_t i = 0; i < row.size(); ++i) {
      const std::string padding(widths[i] - CharacterCount(row[i]), ' ');
      line += i > 0 ? "  " : "";
      line += columns_[i].align == Align::kRight ? padding + row[i] : row[i] + padding;
    }
    line.erase(line.find_last_not_of(' ') + 1);
    text += line + "\n";
  };
  append(titles);
  for (const auto& row : rows_) {
    append(row);
  }
  return text;
}

std::size_t CharacterCount(const std::string& utf8) {
  return static_cast<std::size_t>(std::count_if(utf8.begin(), utf8.end(), [](char c) { return (c & 0xC0) != 0x80; }));
}

}  // namespace vantor::tools
