// The search by cues: from a time to the key frame where playing can begin.
//
//   CMkvFileClone file(root);
//   if (const auto place = FindPlace(file, FindFirstCluster(root), 10'000'000)) cursor.MoveTo(*place);
#pragma once

#include <cstdint>
#include <optional>

#include "parser/block.h"
#include "parser/byte_source.h"
#include "parser/playback_policy.h"
#include "parser/track_entry.h"
#include "streaming/cluster_place.h"

namespace vantor {

// The place of the last key frame of the reference track at or before the target (100 ns of stream time, above 0)
// within the Cluster that the latest suitable cue point names; cue points whose Cluster has none give way to earlier
// ones. None when no cue leads anywhere; when it was given up for the file's `interrupted`, or a read was let go by a
// flush of the source (file.wasLetGo), it means nothing. Sets the file's allowance.
std::optional<PlaceInFile> FindPlace(CMkvFile& file, const FirstCluster& first, std::int64_t target);

// Whether every block of a track of that type counts as a key frame, whatever the block says: sound and subtitles refer
// to nothing, and there are writers that do not mark them.
inline bool HasOnlyKeyFrames(std::uint64_t trackType, const PlaybackPolicy& policy) {
  return policy.audioKeyFrames && trackType != MkvTrackEntry::kTypeVideo;
}

// A SimpleBlock without key flag refers, as it were, to another block: so one rule tells key frames of both kinds.
void MarkUnlessKeyFrame(MkvBlock& block);

}  // namespace vantor
