// Segment discovery: reading a Segment's description and index elements into the file's records.
//
//   MkvSegment segment;
//   DiscoverSegment(element, segment);  // the Segment, at whose payload the cursor stands
//   Use(segment.tracks.size());
#pragma once

#include "parser/element.h"
#include "parser/segment.h"

namespace vantor {

// Reads what the Segment, whose header was just read, tells about itself: first by walking its children up to the third
// of SeekHead, Info and Tracks, then by the seek index. What was read before an end or damage stands. Lists get one
// more entry for each element read; Info is overwritten field by field.
void DiscoverSegment(const MkvElement& segment, MkvSegment& record);

}  // namespace vantor
