// Cue points are searched from the last to the first, list by list, for one whose time is not after the target, and
// the Cluster it names is walked for key frames. A cue point tells a Cluster, not a block, and many point into the same
// Cluster: one that was walked in vain is not walked again. Positions in the file are taken as they are: what lies
// there must be a Cluster, and a Cluster without a key frame early enough (or one that is damaged) sends the search on
// to an earlier cue point. The walk reads block headers alone, and gives the Cluster up behind the target, so that its
// cost is that of the blocks that are skipped.
#include "streaming/cue_search.h"

#include <limits>
#include <unordered_set>

#include "parser/element_ids.h"
#include "parser/segment.h"
#include "platform/wrapping.h"

namespace vantor {

namespace {

constexpr std::uint8_t kKeyFrameFlag = 0x80;
// How far past the target any block may lie before the search gives the cluster up, 100 ns. Tracks are interleaved
// loosely: a block of another track may lie a little ahead of the key frame that is looked for.
constexpr std::int64_t kSearchMargin = 5'000'000;
// How many times its length the search may read of the file: Clusters that overlap are each walked by themselves.
constexpr std::uint64_t kTimesForSeeking = 4;
constexpr std::uint64_t kSlackForSeeking = std::uint64_t{1} << 20;

// The places walked in vain. Beyond so many, which are those of some days of play, they may be walked again.
class TriedPlaces {
 public:
  bool Has(std::uint64_t position) const { return position == last_ || places_.contains(position); }
  void Add(std::uint64_t position) {
    constexpr std::size_t kMost = 65536;
    last_ = position;
    if (places_.size() < kMost) places_.insert(position);
  }

 private:
  std::unordered_set<std::uint64_t> places_;
  std::uint64_t last_ = std::numeric_limits<std::uint64_t>::max();
};

// The header and the side elements of the block, without frames.
bool ReadBlockHeader(const MkvElement& element, MkvBlock& block) {
  block.Reset();
  if (element.id.value == ids::kBlockGroup) return block.ReadGroup(element, false) == S_OK;
  block.ReadHeader(element);
  MarkUnlessKeyFrame(block);
  return true;
}

// The track whose key frames are looked for.
struct ReferenceTrack {
  std::uint64_t number;
  bool hasOnlyKeyFrames;
};

// A track without an entry has no pin, and its type is as good as another that is not video.
ReferenceTrack ReferenceTrackOf(const MkvSegment& records, const PlaybackPolicy& policy) {
  const std::uint64_t type = HasVideo(records) ? MkvTrackEntry::kTypeVideo : MkvTrackEntry::kTypeAudio;
  return {ReferenceTrackNumber(records), HasOnlyKeyFrames(type, policy)};
}

// Moves the place onto the last key frame of the track at or before the target in the Cluster it stands in.
bool FindKeyFrame(const MkvSegment& records, const ReferenceTrack& track, std::int64_t target, ClusterPlace& place) {
  place.timecode = 0;  // unlike in a walk, there is no Cluster before this one
  ReadClusterTimecode(place.cluster, place.timecode);
  MkvElement found;
  MkvBlock block;
  const CMkvFile& file = *place.cluster.file;
  for (MkvElement child = place.cluster.FirstChild(); child; child.MoveNext()) {
    if (file.interrupted && file.interrupted()) return false;  // asked always: one child may take long to read
    if (!IsBlock(child) || !ReadBlockHeader(child, block)) continue;
    const std::int64_t time = records.TicksToTime(WrappingAdd(place.timecode, block.timecode.value));
    const bool isOfTrack = block.trackNumber.value == track.number;
    if ((isOfTrack && time > target) || time > WrappingAdd(target, kSearchMargin)) break;
    if (isOfTrack && (track.hasOnlyKeyFrames || block.IsKeyFrame())) found = child;
  }
  place.element = found;
  return static_cast<bool>(place.element);
}

}  // namespace

void MarkUnlessKeyFrame(MkvBlock& block) {
  if ((block.flags.value & kKeyFrameFlag) != 0) return;
  block.ReferenceBlock.value = 0;
  block.ReferenceBlock.present = true;
}

std::optional<PlaceInFile> FindPlace(CMkvFile& file, const FirstCluster& first, std::int64_t target) {
  file.RenewAllowance(kTimesForSeeking, kSlackForSeeking);
  file.WatchFlushes();
  const std::int64_t latest = WrappingAdd(target, file.GetStartTime());
  const MkvElement whole = MkvElement::WholeFile(file);
  const MkvElement segment = ElementOf(first.segment, file, &whole);
  const MkvSegment& records = *file.GetSegment();
  const ReferenceTrack track = ReferenceTrackOf(records, file.Policy());
  const auto isGivenUp = [&file] { return file.wasLetGo || (file.interrupted && file.interrupted()); };
  TriedPlaces tried;
  ClusterPlace place;
  for (const MkvCueList& list : records.cues) {
    for (auto point = list.rbegin(); point != list.rend(); ++point) {
      if (records.TicksToTime(static_cast<std::int64_t>(point->CueTime.value)) > latest) continue;
      for (const MkvCueTrackPosition& position : point->trackPositions) {
        if (position.CueTrack.value != track.number || tried.Has(position.CueClusterPosition.value)) continue;
        const std::uint64_t at = records.dataStart + position.CueClusterPosition.value;
        if (at < records.dataStart) continue;  // no place in any file
        if (isGivenUp()) return std::nullopt;
        place.cluster = MkvElement::At(file, &segment, at);
        if (place.cluster.id.value == ids::kCluster && FindKeyFrame(records, track, latest, place)) {
          return place.ByValue();
        }
        tried.Add(position.CueClusterPosition.value);
      }
    }
  }
  return std::nullopt;
}

}  // namespace vantor
