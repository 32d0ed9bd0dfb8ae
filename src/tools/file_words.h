// What `info` tells of a file, gathered: what the file says of itself, what became of its tracks, what was found.
//
//   const FileWords words{opened, tracks, ReadTrackLabels(root), MeasureFrameRates(root), findings, extras, {}};
//   Print(InfoText(name, summary, graph.Pins(), words, 80));
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>

#include "host/graph.h"
#include "tools/check/findings.h"
#include "tools/file_extras.h"
#include "tools/frame_rates.h"
#include "tools/listing.h"
#include "tools/media_type_words.h"
#include "tools/opened_file.h"
#include "tools/track_labels.h"
#include "tools/track_pins.h"

namespace vantor::tools {

struct FileWords {
  OpenedFile& file;
  const TrackPins& tracks;
  const TrackLabels& labels;
  const FrameRates& rates;
  const Findings& findings;
  const FileExtras& extras;  // what was wanted of them
  const ExtrasWanted& wanted;

  const MkvSegmentInfo& Info() const { return file.Root().segment.info; }
  // Without a look at the whole file: those that the filter finds.
  std::size_t Chapters() const;
  std::size_t Attachments() const;
  bool IsForced(const TrackPin& track) const;
  // What the pin's first media type says, and the track's codec identifier where the type leaves the codec open.
  StreamWords WordsOf(const GraphPin& pin) const;
  std::optional<double> MeasuredRate(const TrackPin& track) const;
};

// "2017-05-31 12:00:00 UTC", of nanoseconds since the first day of 2001.
std::string DateText(std::int64_t nanoseconds);

// For people, with tables of that width (0: as wide as they are), and as a JSON object.
std::string InfoText(const std::string& file, const FilterSummary& summary, const std::vector<GraphPin>& pins,
                     const FileWords& words, std::size_t width);
std::string InfoJson(const std::string& file, const FilterSummary& summary, const std::vector<GraphPin>& pins,
                     const FileWords& words);

}  // namespace vantor::tools
