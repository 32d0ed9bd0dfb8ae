// The walk begins at the last place that the index names and goes on to the end of the Segment, as playing would. Only
// where it meets no block of the tracks, it begins again at the place before, and so on; at last at the first Cluster.
// A block is held back until the next of its track is met, since that tells when it stops (frame_times.h).
#include "streaming/played_end.h"

#include <algorithm>
#include <functional>
#include <utility>
#include <vector>

#include "parser/block.h"
#include "parser/element_ids.h"
#include "platform/wrapping.h"
#include "streaming/frame_times.h"

namespace vantor {

namespace {

// How many times its length the search may read of the file.
constexpr std::uint64_t kTimesForEnd = 4;
constexpr std::uint64_t kSlackForEnd = 65536;
constexpr std::uint8_t kLacing = 0x06;

// The positions of Clusters that the index names, each once, the last first.
std::vector<std::uint64_t> PlacesOf(const MkvSegment& segment) {
  std::vector<std::uint64_t> places;
  for (const MkvCueList& list : segment.cues) {
    for (const MkvCuePoint& point : list) {
      for (const MkvCueTrackPosition& position : point.trackPositions) {
        const std::uint64_t at = segment.dataStart + position.CueClusterPosition.value;
        if (at >= segment.dataStart) places.push_back(at);
      }
    }
  }
  std::sort(places.begin(), places.end(), std::greater<>());
  places.erase(std::unique(places.begin(), places.end()), places.end());
  return places;
}

// How many frames the Block or SimpleBlock has whose header was just read.
std::int64_t CountFrames(CMkvFile& file, const MkvBlock& block) {
  std::uint8_t more = 0;
  if ((block.flags.value & kLacing) == 0 || file.Read(&more, sizeof more) != S_OK) return 1;
  return std::int64_t{more} + 1;
}

bool ReadHeader(const MkvElement& element, MkvBlock& block, std::int64_t& frames) {
  block.Reset();
  if (element.id.value == ids::kSimpleBlock) {
    block.ReadHeader(element);
  } else {
    if (block.ReadGroup(element, false) != S_OK) return false;
    frames = 1;
    if ((block.flags.value & kLacing) == 0) return true;
    const MkvElement laced = element.FirstChild(ids::kBlock);
    if (!laced) return true;
    block.ReadHeader(laced);
  }
  frames = CountFrames(*element.file, block);
  return true;
}

// The stops of the blocks of some tracks, in one Cluster.
class Stops {
 public:
  Stops(const MkvSegment& segment, std::int64_t fileStart, std::span<const std::uint64_t> tracks)
      : segment_(segment), fileStart_(fileStart) {
    for (const std::uint64_t track : tracks) ahead_.push_back({.track = track, .block = {}, .frames = 0});
  }

  void Add(const MkvBlock& block, std::int64_t clusterTime, std::int64_t frames) {
    const std::int64_t start = segment_.TicksToTime(WrappingAdd(clusterTime, block.timecode.value));
    for (Ahead& ahead : ahead_) {
      if (ahead.track != block.trackNumber.value) continue;
      ahead.block.next = start;
      Count(ahead);
      ahead.block = {.start = start, .duration = {}, .next = {}, .fileStart = fileStart_};
      if (block.BlockDuration.present) {
        ahead.block.duration = segment_.TicksToTime(static_cast<std::int64_t>(block.BlockDuration.value));
      }
      ahead.frames = frames;
    }
  }

  // The largest, if there was a block; then all over again.
  std::optional<std::int64_t> Take() {
    for (Ahead& ahead : ahead_) Count(ahead);
    return std::exchange(largest_, std::nullopt);
  }

 private:
  // The last block of the track, whose stop is not known yet; without frames there is none.
  struct Ahead {
    std::uint64_t track;
    BlockTiming block;
    std::int64_t frames;
  };

  void Count(Ahead& ahead) {
    if (ahead.frames == 0) return;
    const BlockSpan span = SpanOf(ahead.block);
    // Each frame of a lace lasts at least 100 ns.
    const std::int64_t stop = std::max(span.stop, WrappingAdd(span.start, ahead.frames));
    largest_ = std::max(largest_.value_or(stop), stop);
    ahead.frames = 0;
  }

  const MkvSegment& segment_;
  const std::int64_t fileStart_;
  std::vector<Ahead> ahead_;
  std::optional<std::int64_t> largest_;
};

// The end by the Clusters from the place on that begin before `limit`.
std::optional<std::int64_t> WalkFrom(ClusterPlace& place, std::uint64_t limit, Stops& stops) {
  std::optional<std::int64_t> end;
  MkvBlock block;
  std::int64_t frames = 1;
  while (place.cluster && place.cluster.start < limit) {
    EnterCluster(place);
    for (; place.element; place.element.MoveNext()) {
      if (IsBlock(place.element) && ReadHeader(place.element, block, frames)) stops.Add(block, place.timecode, frames);
    }
    if (const auto largest = stops.Take()) end = std::max(end.value_or(*largest), *largest);
    place.cluster.MoveNext();
  }
  return end;
}

}  // namespace

std::optional<std::int64_t> FindPlayedEnd(CMkvFile& file, const FirstCluster& first,
                                          std::span<const std::uint64_t> tracks) {
  file.RenewAllowance(kTimesForEnd, kSlackForEnd);
  const MkvElement whole = MkvElement::WholeFile(file);
  const MkvElement segment = ElementOf(first.segment, file, &whole);
  const MkvSegment& records = *file.GetSegment();
  Stops stops(records, file.GetStartTime(), tracks);
  ClusterPlace place;
  std::uint64_t limit = ~std::uint64_t{0};
  for (const std::uint64_t at : PlacesOf(records)) {
    place.timecode = 0;
    place.cluster = MkvElement::At(file, &segment, at);
    if (place.cluster.id.value != ids::kCluster) continue;
    if (const auto end = WalkFrom(place, limit, stops)) return end;
    limit = at;
  }
  place.MoveTo(file, segment, first.place);
  return WalkFrom(place, limit, stops);
}

std::int64_t AnnouncedEnd(const MkvSegment& segment, std::int64_t stated, std::optional<std::int64_t> played) {
  if (!played) return stated;
  if (segment.isDurationMade || !segment.info.Duration.present) return *played;
  const std::int64_t tolerated = segment.isIndexMade ? 0 : segment.TicksToTime(1);
  return *played > WrappingAdd(stated, tolerated) ? *played : stated;
}

}  // namespace vantor
