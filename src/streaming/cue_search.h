// The search by cues: from a time to the key frame where playing can begin.
#pragma once

#include <cstdint>

#include "parser/block.h"
#include "parser/element.h"
#include "parser/segment.h"
#include "streaming/cluster_place.h"

namespace vantor {

// Moves the place onto the last key frame of the reference track at or before the target (100 ns, of the file: the
// start time is not taken off) within the Cluster that the latest suitable cue point names; cue points whose Cluster
// has none give way to earlier ones. False when no cue leads anywhere; the place is then undefined. `segment` is read
// through the byte source of the walk, and outlives the place.
bool SeekByCues(const MkvSegment& records, const MkvElement& segment, std::int64_t target, ClusterPlace& place);

// A SimpleBlock without key flag refers, as it were, to another block: so one rule tells key frames of both kinds.
void MarkUnlessKeyFrame(MkvBlock& block);

}  // namespace vantor
