#include "parser/cue_synthesis.h"

#include <optional>
#include <utility>

#include "parser/block.h"
#include "parser/element_ids.h"

namespace vantor {

namespace {

MkvCuePoint MakeCuePoint(std::uint64_t time, std::uint64_t track, std::uint64_t clusterPosition) {
  MkvCuePoint point;
  point.CueTime = CMkvUInt(time);
  MkvCueTrackPosition& position = point.trackPositions.emplace_back();
  position.CueTrack = CMkvUInt(track);
  position.CueClusterPosition = CMkvUInt(clusterPosition);
  return point;
}

// Whether a seek can lead anywhere: by a position for the track that seeking goes by, where there is a Cluster. A file
// without such a track counts as one whose index does, since none that is made would.
bool LeadsAnywhere(const MkvSegment& segment, CMkvFile& file, const MkvElement& parent) {
  const std::optional<std::uint64_t> track = FindReferenceTrackNumber(segment);
  if (!track) return true;
  for (const MkvCueList& list : segment.cues) {
    for (const MkvCuePoint& point : list) {
      for (const MkvCueTrackPosition& position : point.trackPositions) {
        const std::uint64_t at = segment.dataStart + position.CueClusterPosition.value;
        if (position.CueTrack.value != *track || at < segment.dataStart) continue;
        if (MkvElement::At(file, &parent, at).id.value == ids::kCluster) return true;
      }
    }
  }
  return false;
}

}  // namespace

HRESULT SynthesiseCues(CMkvFileRoot& root) {
  MkvSegment& segment = root.segment;
  const bool hasCues = !segment.cues.empty();
  if (!root.canSeek || (hasCues && !root.Policy().distrustSeekIndex)) return S_OK;
  const MkvElement file = MkvElement::WholeFile(root);
  const MkvElement first = file.FirstChild(ids::kSegment);
  if (hasCues && LeadsAnywhere(segment, root, first)) return S_OK;
  root.RenewReadAhead();
  MkvElement cluster = first.FirstChild(ids::kCluster);
  if (!cluster) return hasCues ? S_OK : E_UNEXPECTED;
  segment.cues.clear();
  segment.isIndexMade = true;
  // What an index that led nowhere says nothing of is as right as before.
  segment.isDurationMade = (!root.Policy().playToEnd && !hasCues) || !segment.info.Duration.present;

  // Not ReferenceTrackNumber: in a file without video and audio that gives 1, no cue made here is of that track, and
  // seeking goes to the start.
  const std::uint64_t track = FindReferenceTrackNumber(segment).value_or(0);
  // Ticks less milliseconds, as it looks: the two agree at the usual scale, and at others the durations of such files
  // have always come out so. Single precision, on both sides of the subtraction, for the same reason.
  const std::int64_t startMilliseconds = root.startTime / 10000;
  MkvCueList cues;
  // By walking only: the seek index names one Cluster and would lead back to it.
  for (; cluster; cluster.MoveNextOfSameId()) {
    std::int64_t ticks = 0;
    (void)ReadClusterTimecode(cluster, ticks);  // a Cluster without a time is at 0
    const float duration = static_cast<float>(ticks) - static_cast<float>(startMilliseconds);
    if (segment.isDurationMade) segment.info.Duration = CMkvFloat(duration);
    // Without room the walk goes on all the same, for the duration.
    if (!root.recordRoom.Take(sizeof(MkvCuePoint) + sizeof(MkvCueTrackPosition))) {
      cluster.NotePassedOver(Tolerated::kCueOverLimit);
      continue;
    }
    cues.push_back(MakeCuePoint(static_cast<std::uint64_t>(ticks), track, cluster.start - segment.dataStart));
  }
  cues.shrink_to_fit();
  segment.cues.push_back(std::move(cues));
  return S_OK;
}

}  // namespace vantor
