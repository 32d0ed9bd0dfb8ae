// What the headers of a file tell: all that there is to find without a look at its blocks.
//
//   AppendFileFindings(opened, shape, findings);
//   AppendPinFindings(opened, tracks, graph.Pins(), findings);
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "tools/check/findings.h"
#include "tools/file_shape.h"
#include "tools/opened_file.h"
#include "tools/track_pins.h"

namespace vantor::tools {

// Why the file was refused; the result of the connection is told where nothing better is known.
Finding RefusalFinding(const FileShape& refusal, HRESULT result);
// The track whose private data ends the connection, if that is why, in words; and the finding made one of it.
std::string BrokenTrackText(const TrackPins& tracks);
void NameBrokenTrack(const TrackPins& tracks, Finding& refusal);

// Index, times, chapters, attachments and the like.
void AppendFileFindings(OpenedFile& file, const FileShape& shape, Findings& findings);
// Why a track has no pin, or what is wrong with its frames: nothing for one of which neither is so. What is lost is
// said behind the sentence: an error, a note where it is nothing, and a warning where the blocks were not read.
void AppendTrackFinding(const TrackPin& track, const std::optional<std::string>& lost, Findings& findings);
// Of the tracks' headers and the pins that came of them, whatever is in the blocks.
void AppendPinFindings(OpenedFile& file, const TrackPins& tracks, const std::vector<GraphPin>& pins,
                       Findings& findings);

}  // namespace vantor::tools
