#include "tools/end_padding.h"

#include "parser/element_ids.h"
#include "parser/element_table.h"
#include "platform/wrapping.h"
#include "tools/check/block_frames.h"
#include "tools/check/block_walk.h"
#include "tools/interrupt_watch.h"

namespace vantor::tools {
namespace {

// As for the pass over all headers.
constexpr std::uint64_t kTimesForPadding = 4;
constexpr std::uint64_t kSlackForPadding = 65536;
constexpr std::uint32_t kDiscardPadding = 0x75A2;

}  // namespace

void ReadEndPadding(CMkvFileRoot& root, const std::vector<TrackEnd*>& ends) {
  CMkvFileClone file(root);
  file.allowance = root.AllowanceOf(kTimesForPadding, kSlackForPadding);
  const std::int64_t halfTick = root.segment.TicksToTime(1) / 2;
  BlockWalk walk(file);
  BlockFrames frames;
  for (WalkStep step = walk.Next(); step != WalkStep::kEnd; step = walk.Next()) {
    if (InterruptWatch::Interrupted()) return;
    if (step != WalkStep::kBlock) continue;
    const MkvElement& block = walk.Block();
    CMkvInt padding;
    if (block.id.value == ids::kSimpleBlock) {
      ReadBlockFrames(block, frames);
    } else {
      ReadRecord(block, {{ids::kBlock, [&](const MkvElement& child) { ReadBlockFrames(child, frames); }},
                         {kDiscardPadding, padding}});
    }
    const std::int64_t ticks = WrappingAdd(walk.ClusterTime(), frames.relativeTime);
    const std::int64_t start = WrappingSubtract(root.segment.TicksToTime(ticks), root.startTime);
    for (TrackEnd* const end : ends) {
      if (frames.track != end->track || start < end->blockStart) continue;
      if (start > WrappingAdd(end->lastStart, halfTick)) continue;
      end->blockStart = start;
      end->padding = padding.value;
    }
  }
}

}  // namespace vantor::tools
