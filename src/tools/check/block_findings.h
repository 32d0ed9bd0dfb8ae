// What the blocks of a file tell, against what its pins deliver.
//
//   AppendBlockFindings({opened, tracks, facts, summary, nullptr}, findings);
#pragma once

#include "tools/check/findings.h"
#include "tools/file_facts.h"
#include "tools/listing.h"
#include "tools/opened_file.h"
#include "tools/played_file.h"
#include "tools/track_pins.h"

namespace vantor::tools {

struct CheckedFile {
  OpenedFile& file;
  const TrackPins& tracks;
  const FileFacts& facts;
  const FilterSummary& summary;
  const PlayedPackets* played;  // null: it was not played
};

void AppendBlockFindings(const CheckedFile& checked, Findings& findings);

}  // namespace vantor::tools
