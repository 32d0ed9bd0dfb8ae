// What the blocks of a file tell, against what its pins deliver.
//
//   AppendBlockFindings({opened, tracks, facts, summary, nullptr}, findings);
#pragma once

#include <cstdint>
#include <map>

#include "tools/file_facts.h"
#include "tools/findings.h"
#include "tools/listing.h"
#include "tools/opened_file.h"
#include "tools/packet_check.h"
#include "tools/track_pins.h"

namespace vantor::tools {

// Of each track number that has a pin: what became of its packets when the file was played.
using PlayedPackets = std::map<std::uint64_t, PacketTotals>;

struct CheckedFile {
  OpenedFile& file;
  const TrackPins& tracks;
  const FileFacts& facts;
  const FilterSummary& summary;
  const PlayedPackets* played;  // null: it was not played
};

void AppendBlockFindings(const CheckedFile& checked, Findings& findings);

}  // namespace vantor::tools
