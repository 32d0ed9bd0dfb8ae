#include "tools/text_table.h"

#include <algorithm>

#include "platform/terminal.h"
#include "tools/cell_width.h"
#include "tools/messages.h"

namespace vantor::tools {
namespace {

constexpr std::size_t kGap = 2;
// What is longer runs over its column: a single text would make every line of a long table as long as itself.
constexpr std::size_t kWidestColumn = 120;
// No column is cut below it, however narrow the terminal.
constexpr std::size_t kNarrowestCut = 8;

}  // namespace

void TextTable::Add(std::vector<std::string> cells) {
  for (std::string& cell : cells) {
    cell = Printable(cell);
  }
  rows_.push_back(std::move(cells));
}

std::vector<std::size_t> TextTable::Widths(std::size_t width) const {
  std::vector<std::size_t> widths;
  for (std::size_t i = 0; i < columns_.size(); ++i) {
    std::size_t widest = CellCount(columns_[i].title);
    for (const auto& row : rows_) widest = std::max(widest, CellCount(row[i]));
    widths.push_back(std::min(widest, width == 0 ? kWidestColumn : std::max(width, kNarrowestCut)));
  }
  if (width == 0) return widths;
  // Cell by cell off the widest of the texts; numbers stay whole.
  std::size_t total = kGap * (widths.size() - 1);
  for (const std::size_t each : widths) total += each;
  while (total > width) {
    std::size_t widest = columns_.size();
    std::size_t second = kNarrowestCut;
    for (std::size_t i = 0; i < columns_.size(); ++i) {
      if (columns_[i].align == Align::kRight || widths[i] <= kNarrowestCut) continue;
      if (widest == columns_.size() || widths[i] > widths[widest]) {
        if (widest != columns_.size()) second = std::max(second, widths[widest]);
        widest = i;
      } else {
        second = std::max(second, widths[i]);
      }
    }
    if (widest == columns_.size()) break;
    const std::size_t step = std::clamp<std::size_t>(widths[widest] - second, 1, total - width);
    widths[widest] -= step;
    total -= step;
  }
  return widths;
}

std::string TextTable::Line(const std::vector<std::string>& row, const std::vector<std::size_t>& widths,
                            bool isCut) const {
  std::string line;
  for (std::size_t i = 0; i < row.size(); ++i) {
    const std::string cell = isCut ? FitCells(row[i], widths[i]) : row[i];
    const std::size_t cells = CellCount(cell);
    const std::string padding(widths[i] - std::min(widths[i], cells), ' ');
    line.append(i > 0 ? kGap : 0, ' ');
    line += columns_[i].align == Align::kRight ? padding + cell : cell + padding;
  }
  line.erase(line.find_last_not_of(' ') + 1);
  return line + "\n";
}

std::string TextTable::Text(std::size_t width) const {
  const std::vector<std::size_t> widths = Widths(width);
  std::vector<std::string> titles;
  titles.reserve(columns_.size());
  for (const Column& column : columns_) titles.push_back(column.title);
  std::string text = Line(titles, widths, width > 0);
  for (const auto& row : rows_) text += Line(row, widths, width > 0);
  return text;
}

std::size_t TableWidth(std::FILE* out) {
  constexpr int kUsualWidth = 80;
  if (!platform::IsTerminal(out)) return 0;
  return static_cast<std::size_t>(std::max(platform::TerminalWidth(out, kUsualWidth), 1));
}

}  // namespace vantor::tools
