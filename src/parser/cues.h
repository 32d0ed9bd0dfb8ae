// Cues: the file's seek index, kept in the file's order.
//
//   for (const MkvCueList& list : file.GetSegment()->cues) {
//     for (const MkvCuePoint& cue : list) Use(cue.CueTime.value);
//   }
#pragma once

#include <cstdint>
#include <vector>

#include "parser/ebml_value.h"

namespace vantor {

struct MkvCueReference {
  CMkvUInt CueRefTime;
  CMkvUInt CueRefCluster;
  CMkvUInt CueRefNumber;
  CMkvUInt CueRefCodecState;
};

struct MkvCueTrackPosition {
  CMkvUInt CueTrack;
  CMkvUInt CueClusterPosition;  // bytes from MkvSegment::dataStart to the Cluster's identifier
  CMkvUInt CueBlockNumber;
  CMkvUInt CueCodecState;
  std::vector<MkvCueReference> references;
};

struct MkvCuePoint {
  CMkvUInt CueTime;  // TimecodeScale ticks
  std::vector<MkvCueTrackPosition> trackPositions;
};

using MkvCueList = std::vector<MkvCuePoint>;

// Reads every CuePoint of the Cues element, in file order. E_POINTER for an empty element. Records stop being kept when
// the file's recordRoom is used up.
[[nodiscard]] HRESULT ReadCues(const MkvElement& cues, MkvCueList& list);

}  // namespace vantor
