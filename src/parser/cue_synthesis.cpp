#include <utility>

#include "parser/block.h"
#include "parser/element_ids.h"
#include "parser/file_root.h"
#include "parser/record_room.h"

namespace vantor {

namespace {

// Clusters without content take more memory than their own size allows; this many bytes of it are no matter.
constexpr std::uint64_t kSlack = 65536;

MkvCuePoint MakeCuePoint(std::uint64_t time, std::uint64_t track, std::uint64_t clusterPosition) {
  MkvCuePoint point;
  point.CueTime = CMkvUInt(time);
  MkvCueTrackPosition& position = point.trackPositions.emplace_back();
  position.CueTrack = CMkvUInt(track);
  position.CueClusterPosition = CMkvUInt(clusterPosition);
  return point;
}

}  // namespace

HRESULT CMkvFileRoot::SynthesiseCues() {
  if (!canSeek || !segment.cues.empty()) return S_OK;
  const MkvElement file = MkvElement::WholeFile(*this);
  const MkvElement first = file.FirstChild(ids::kSegment);
  MkvElement cluster = first.FirstChild(ids::kCluster);
  if (!cluster) return E_UNEXPECTED;

  segment.info.Duration = CMkvFloat(0.0);
  std::uint64_t track = 0;
  FindReferenceTrackNumber(segment, track);
  // Ticks less milliseconds, in single precision: durations are compared with what such files always showed.
  const std::int64_t startMilliseconds = startTime / 10000;
  RecordRoom room(first, kSlack);
  MkvCueList cues;
  for (; cluster; cluster.MoveNextOfSameId()) {
    std::int64_t ticks = 0;
    ReadClusterTimecode(cluster, ticks);
    const float duration = static_cast<float>(ticks) - static_cast<float>(startMilliseconds);
    segment.info.Duration = CMkvFloat(duration);
    if (!room.Take(sizeof(MkvCuePoint) + sizeof(MkvCueTrackPosition))) continue;
    cues.push_back(MakeCuePoint(static_cast<std::uint64_t>(ticks), track, cluster.start - segment.dataStart));
  }
  cues.shrink_to_fit();
  segment.cues.push_back(std::move(cues));
  return S_OK;
}

}  // namespace vantor
