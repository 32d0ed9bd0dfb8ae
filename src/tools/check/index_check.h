// IndexCheck: holds the entries of a file's index against the Clusters and blocks that a walk meets.
//
//   IndexCheck check(root.segment);
//   check.OnCluster(element.start);              // in the file's order
//   check.OnBlock(1, position);                  // of the Cluster that came last
//   IndexFacts facts = check.Finish();
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <set>
#include <vector>

#include "parser/segment.h"

namespace vantor::tools {

struct IndexFacts {
  std::uint64_t entries = 0;
  std::uint64_t wrongPlaces = 0;         // where no Cluster begins
  std::uint64_t wrongTimes = 0;          // Clusters that have no block of the track at the time
  std::uint64_t position = 0;            // where the first wrong one leads
  std::optional<std::int64_t> lastTime;  // the latest, ticks
  std::set<std::uint64_t> tracks;        // that have an entry
};

enum class IndexVerdict { kRight, kWrongPlace, kWrongTime };

struct IndexedPlace {
  std::uint64_t position = 0;
  std::int64_t ticks = 0;
  std::uint64_t track = 0;
  std::uint64_t count = 1;  // of entries that say the same
  IndexVerdict verdict = IndexVerdict::kRight;
};

class IndexCheck {
 public:
  using Told = std::function<void(const IndexedPlace& place)>;

  // `told`, where there is one, learns of every place, in their order.
  explicit IndexCheck(const MkvSegment& segment, Told told = nullptr);

  void OnCluster(std::uint64_t position);
  void OnBlock(std::uint64_t track, std::int64_t ticks);
  IndexFacts Finish();

 private:
  struct Entry {
    std::uint64_t position;
    std::int64_t time;
    std::uint64_t track;
    std::uint64_t count;  // of equal ones
    bool isFound;
  };

  void MergeEqual();
  void Leave(bool isCluster);
  IndexVerdict VerdictOf(const Entry& entry, bool isCluster);
  void Wrong(std::uint64_t& count, const Entry& entry);

  const Told told_;
  std::vector<Entry> entries_;  // by position, track and time
  std::size_t first_ = 0;       // of the current Cluster's
  std::size_t last_ = 0;        // behind them
  IndexFacts facts_;
};

}  // namespace vantor::tools
