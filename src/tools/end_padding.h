// What the last sample of a track holds beyond the sound's end. Nothing that a pin delivers tells it: the file keeps it
// with the block, as DiscardPadding.
//
//   TrackEnd end = {.track = 2, .lastStart = position};
//   ReadEndPadding(root, {&end});
//   Use(end.padding);
#pragma once

#include <cstdint>
#include <limits>
#include <vector>

#include "parser/file_root.h"

namespace vantor::tools {

struct TrackEnd {
  std::uint64_t track = 0;
  std::int64_t lastStart = 0;  // of the last sample, 100 ns from the file's first Cluster
  std::int64_t padding = 0;    // nanoseconds; 0: the file tells none
  // The start of the latest block that is not behind that sample.
  std::int64_t blockStart = std::numeric_limits<std::int64_t>::min();
};

// One pass over the headers of all blocks. The file has been opened.
void ReadEndPadding(CMkvFileRoot& root, const std::vector<TrackEnd*>& ends);

}  // namespace vantor::tools
