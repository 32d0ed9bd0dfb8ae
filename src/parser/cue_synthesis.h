// Cues for a file without an index: one cue point for each Cluster, so that seeking finds its way all the same.
//
//   CMkvFileRoot root(reader, true);
//   if (SUCCEEDED(root.Open()) && SynthesiseCues(root) == S_OK) Use(root.GetSegment()->cues.size());
#pragma once

#include "parser/file_root.h"

namespace vantor {

// Gives an opened file without Cues one cue point per Cluster, and the last Cluster's time for its duration, also where
// it states one: playing ends where seeking can lead. S_OK, also when there was nothing to do; E_UNEXPECTED without a
// Segment or Cluster. Raises running out of memory.
//
// With playToEnd a duration that the file states is kept: where playing ends is found otherwise. With distrustSeekIndex
// Cues of which none leads to a Cluster are replaced.
[[nodiscard]] HRESULT SynthesiseCues(CMkvFileRoot& root);

}  // namespace vantor
