// What a file says of its tracks to people and the filter never reads: languages by BCP 47, and the forced flag.
//
//   const TrackLabels labels = ReadTrackLabels(root);
//   Use(LanguageOf(*track.entry, labels));
#pragma once

#include <cstdint>
#include <map>
#include <string>

#include "parser/file_root.h"
#include "parser/track_entry.h"

namespace vantor::tools {

struct TrackLabel {
  std::string languageBcp47;
  bool isForced = false;
};
using TrackLabels = std::map<std::uint64_t, TrackLabel>;  // by track number

// Of the file's first Tracks element. The file has been opened.
TrackLabels ReadTrackLabels(CMkvFileRoot& root);

// "de-AT", "ger", or "eng (by default)" for a track that says nothing.
std::string LanguageOf(const MkvTrackEntry& track, const TrackLabels& labels);

}  // namespace vantor::tools
