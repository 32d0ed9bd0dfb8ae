// ColumnLane<Cell>: cells along time, so many at the most however long the time gets. They begin short, and where the
// room ends, each takes the next one in.
//
//   ColumnLane<TrackCell> lane;
//   lane.At(position).packets += 1;
//   lane.WidenTo(20);
//   if (const TrackCell* cell = lane.Find(position >> 20)) Use(cell->packets);
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <utility>
#include <vector>

namespace vantor::tools {

inline constexpr std::int64_t kMostColumns = 2000;
// Cells are a power of two of 100 ns long, 0.8 ms at the least.
inline constexpr int kLeastColumnShift = 13;

// Which columns there are: of 2 to the power of `shift`, times 100 ns, from the first to the last.
struct ColumnScale {
  int shift = kLeastColumnShift;
  std::int64_t first = 0;
  std::int64_t last = 0;

  // Widens the columns until the time has one.
  void Include(std::int64_t time) {
    for (;; ++shift, first >>= 1, last >>= 1) {
      const std::int64_t index = time >> shift;
      const std::int64_t newFirst = std::min(first, index);
      const std::int64_t newLast = std::max(last, index);
      if (newLast - newFirst >= kMostColumns) continue;
      first = newFirst;
      last = newLast;
      return;
    }
  }
  std::size_t Count() const { return static_cast<std::size_t>(last - first + 1); }
};

// A Cell begins empty and takes another one in with Add.
template <typename Cell>
class ColumnLane {
 public:
  Cell& At(std::int64_t time) {
    if (cells_.empty()) scale_.first = scale_.last = time >> scale_.shift;
    ColumnScale scale = scale_;
    scale.Include(time);
    WidenTo(scale.shift);
    if (scale.first < scale_.first) {
      cells_.insert(cells_.begin(), static_cast<std::size_t>(scale_.first - scale.first), Cell());
    }
    scale_ = scale;
    cells_.resize(scale_.Count());
    return cells_[static_cast<std::size_t>((time >> scale_.shift) - scale_.first)];
  }

  bool IsEmpty() const { return cells_.empty(); }
  const ColumnScale& Scale() const { return scale_; }
  // Null where nothing was met.
  const Cell* Find(std::int64_t index) const {
    if (cells_.empty() || index < scale_.first || index > scale_.last) return nullptr;
    return &cells_[static_cast<std::size_t>(index - scale_.first)];
  }

  void WidenTo(int shift) {
    while (scale_.shift < shift) Halve();
  }

 private:
  void Halve() {
    std::vector<Cell> halved;
    const std::int64_t first = scale_.first >> 1;
    for (std::size_t i = 0; i < cells_.size(); ++i) {
      const auto target = static_cast<std::size_t>(((scale_.first + static_cast<std::int64_t>(i)) >> 1) - first);
      if (target >= halved.size()) halved.resize(target + 1);
      halved[target].Add(cells_[i]);
    }
    cells_ = std::move(halved);
    ++scale_.shift;
    scale_.first = first;
    scale_.last >>= 1;
  }

  ColumnScale scale_;
  std::vector<Cell> cells_;  // as many as the scale has columns, or none
};

}  // namespace vantor::tools
