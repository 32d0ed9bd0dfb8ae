#include "tools/file_words.h"

#include <fmt/format.h>

#include <algorithm>
#include <chrono>

namespace vantor::tools {

std::size_t FileWords::Chapters() const {
  if (wanted.chapters) return CountChapters(extras.editions);
  std::size_t count = 0;
  for (const MkvChapterEditions& editions : file.Root().segment.chapters) {
    for (const MkvChapterEdition& edition : editions) count += edition.atoms.size();
  }
  return count;
}

std::size_t FileWords::Attachments() const {
  if (wanted.attachments) return extras.attachments.size();
  std::size_t count = 0;
  for (const MkvAttachmentList& list : file.Root().segment.attachments) count += list.size();
  return count;
}

bool FileWords::IsForced(const TrackPin& track) const {
  const auto label = labels.find(track.entry->TrackNumber.value);
  return label != labels.end() && label->second.isForced;
}

StreamWords FileWords::WordsOf(const GraphPin& pin) const {
  const auto track = std::find_if(tracks.tracks.begin(), tracks.tracks.end(),
                                  [&](const TrackPin& candidate) { return candidate.pin == pin.number; });
  return DescribeMediaType(pin.types.empty() ? CMediaType() : pin.types.front(),
                           track == tracks.tracks.end() ? std::string() : CodecText(*track->entry));
}

std::optional<double> FileWords::MeasuredRate(const TrackPin& track) const {
  const auto rate = rates.find(track.entry->TrackNumber.value);
  const bool isVideo = track.entry->TrackType.value == MkvTrackEntry::kTypeVideo;
  return isVideo && rate != rates.end() ? std::optional(rate->second) : std::nullopt;
}

std::string DateText(std::int64_t nanoseconds) {
  using namespace std::chrono;  // NOLINT(google-build-using-namespace): calendar arithmetic
  const auto time = sys_days(year(2001) / 1 / 1) + duration_cast<seconds>(std::chrono::nanoseconds(nanoseconds));
  const auto day = floor<days>(time);
  const year_month_day date(day);
  const hh_mm_ss clock(time - day);
  return fmt::format("{:04}-{:02}-{:02} {:02}:{:02}:{:02} UTC", static_cast<int>(date.year()),
                     static_cast<unsigned>(date.month()), static_cast<unsigned>(date.day()), clock.hours().count(),
                     clock.minutes().count(), clock.seconds().count());
}

}  // namespace vantor::tools
