#include "tools/track_labels.h"

#include <algorithm>
#include <utility>

#include "parser/element_ids.h"
#include "parser/element_table.h"

namespace vantor::tools {
namespace {

constexpr std::size_t kLongestLanguage = 64;

}  // namespace

TrackLabels ReadTrackLabels(CMkvFileRoot& root) {
  TrackLabels labels;
  if (root.segment.tracks.empty()) return labels;
  // A source of its own, whose limits for what is kept are not shared with the records.
  CMkvFileClone file(root);
  file.allowance = root.AllowanceOf(1, CMkvFileRoot::kSlackForKeeping);
  const MkvElement wholeFile = MkvElement::WholeFile(file);
  const MkvElement segment = wholeFile.FirstChild(ids::kSegment);
  const MkvElement tracks = segment.FirstChild(ids::kTracks);
  ReadRecord(tracks, {{0xAE, [&](const MkvElement& entry) {
                         CMkvUInt number;
                         CMkvUInt forced;
                         TrackLabel label;
                         ReadRecord(entry, {{0xD7, number}, {0x55AA, forced}, {0x22B59D, label.languageBcp47}});
                         label.isForced = forced.value != 0;
                         label.languageBcp47.resize(std::min(label.languageBcp47.size(), kLongestLanguage));
                         if (labels.size() < kMaxTracks) labels.emplace(number.value, std::move(label));
                       }}});
  return labels;
}

std::string LanguageOf(const MkvTrackEntry& track, const TrackLabels& labels) {
  const auto label = labels.find(track.TrackNumber.value);
  if (label != labels.end() && !label->second.languageBcp47.empty()) return label->second.languageBcp47;
  return track.Language.empty() ? "eng (by default)" : track.Language.substr(0, kLongestLanguage);
}

}  // namespace vantor::tools
