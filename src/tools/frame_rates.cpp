#include "tools/frame_rates.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <iterator>
#include <set>

#include "parser/block.h"
#include "parser/element_ids.h"
#include "parser/element_table.h"
#include "platform/wrapping.h"
#include "tools/check/block_frames.h"
#include "tools/check/block_walk.h"

namespace vantor::tools {
namespace {

// Frames of a track that are looked at, and blocks of all tracks.
constexpr std::size_t kFramesToMeasure = 120;
constexpr std::size_t kMostBlocksToMeasure = 4096;
// Frames are shown in another order than they are stored in: of the latest ones met, others may be missing in between.
constexpr std::size_t kUnsure = 16;
// Bytes of headers that may be read.
constexpr std::uint64_t kRoomForMeasuring = std::uint64_t{1} << 20;

using FrameTimes = std::map<std::uint64_t, std::set<std::int64_t>>;  // ticks, by track number

FrameTimes TracksToMeasure(const MkvSegment& segment) {
  FrameTimes times;
  for (const MkvTrackList& list : segment.tracks) {
    for (const auto& track : list) {
      if (track->TrackType.value == MkvTrackEntry::kTypeVideo && track->DefaultDuration.value == 0) {
        times[track->TrackNumber.value];
      }
    }
  }
  return times;
}

void ReadBlockHeader(const MkvElement& block, BlockFrames& frames) {
  if (block.id.value == ids::kSimpleBlock) return ReadBlockFrames(block, frames);
  ReadRecord(block, {{ids::kBlock, [&](const MkvElement& child) { ReadBlockFrames(child, frames); }}});
}

// A whole number, where the times allow it: each of them is rounded to a tick.
double Rounded(double frames, double seconds, double tick) {
  const double whole = std::round(frames / seconds);
  return whole > 0 && std::abs(frames / whole - seconds) <= tick ? whole : frames / seconds;
}

double RateOf(const std::set<std::int64_t>& times, bool isAll, std::uint64_t nanosecondsATick) {
  const std::size_t unsure = isAll ? 0 : std::min(kUnsure, times.size());
  const std::size_t sure = times.size() - unsure;
  if (sure < 2) return 0;
  const std::int64_t last = *std::prev(times.end(), static_cast<std::ptrdiff_t>(unsure + 1));
  const double ticks = static_cast<double>(last) - static_cast<double>(*times.begin());
  const double tick = static_cast<double>(nanosecondsATick) / 1e9;
  return ticks * tick > 0 ? Rounded(static_cast<double>(sure - 1), ticks * tick, tick) : 0;
}

}  // namespace

FrameRates MeasureFrameRates(CMkvFileRoot& root) {
  FrameTimes times = TracksToMeasure(root.segment);
  std::size_t wanted = times.size();
  CMkvFileClone file(root);
  file.allowance = std::min(root.AllowanceOf(1, 0), kRoomForMeasuring);
  BlockWalk walk(file);
  BlockFrames frames;
  std::size_t blocks = 0;
  bool isAll = false;
  while (wanted > 0 && blocks < kMostBlocksToMeasure) {
    const WalkStep step = walk.Next();
    isAll = step == WalkStep::kEnd;
    if (isAll || walk.Segments() > 1) break;
    if (step != WalkStep::kBlock) continue;
    ++blocks;
    frames = BlockFrames();
    ReadBlockHeader(walk.Block(), frames);
    const auto track = times.find(frames.track);
    if (frames.count == 0 || track == times.end() || track->second.size() >= kFramesToMeasure) continue;
    track->second.insert(WrappingAdd(walk.ClusterTime(), frames.relativeTime));
    if (track->second.size() == kFramesToMeasure) --wanted;
  }
  FrameRates rates;
  for (const auto& [number, ofTrack] : times) {
    const bool isAllOfTrack = isAll || walk.Segments() > 1;
    const double rate = RateOf(ofTrack, isAllOfTrack, root.segment.info.TimecodeScale.value);
    if (rate > 0) rates.emplace(number, rate);
  }
  return rates;
}

}  // namespace vantor::tools
