#include "tools/check/packet_reader.h"

#include "parser/block.h"
#include "parser/element_ids.h"
#include "parser/element_table.h"
#include "platform/wrapping.h"

namespace vantor::tools {
namespace {

// As for the pass over all headers, so that both end at the same place.
constexpr std::uint64_t kTimesForPackets = 4;
constexpr std::uint64_t kSlackForPackets = 65536;
// Of one BlockGroup; others are not looked at.
constexpr std::size_t kMostReady = 65536;

}  // namespace

PacketReader::PacketReader(CMkvFileRoot& root, std::uint64_t track)
    : root_(root), file_(root), track_(track), walk_(file_) {
  file_.allowance = root.AllowanceOf(kTimesForPackets, kSlackForPackets);
  file_.tolerated.Collect(1);  // to know whether it gave up
}

bool PacketReader::Next(Packet& packet) {
  while (ready_.empty()) {
    const WalkStep step = walk_.Next();
    if (step == WalkStep::kEnd) return false;
    if (step != WalkStep::kBlock) continue;
    const MkvElement& block = walk_.Block();
    if (block.id.value == ids::kSimpleBlock) {
      TakeBlock(block);
    } else {
      ReadRecord(block, {{ids::kBlock, [&](const MkvElement& child) { TakeBlock(child); }}});
    }
  }
  packet = ready_.front();
  ready_.pop_front();
  return true;
}

void PacketReader::TakeBlock(const MkvElement& element) {
  ReadBlockFrames(element, frames_);
  if (frames_.track != track_) return;
  const std::int64_t ticks = WrappingAdd(walk_.ClusterTime(), frames_.relativeTime);
  const std::int64_t start = WrappingSubtract(root_.segment.TicksToTime(ticks), root_.startTime);
  std::uint64_t position = frames_.firstFrame;
  for (std::size_t i = 0; i < frames_.whole && ready_.size() < kMostReady; ++i) {
    ready_.push_back({frames_.start, position, frames_.sizes.size[i], start, i == 0});
    position += frames_.sizes.size[i];
  }
}

}  // namespace vantor::tools
