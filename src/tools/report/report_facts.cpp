#include "tools/report/report_facts.h"

#include <utility>

#include "parser/element_ids.h"
#include "platform/text.h"
#include "platform/wrapping.h"

namespace vantor::tools {
namespace {

constexpr std::int64_t kOneSecond = 10000000;
constexpr std::uint64_t kLayoutColumns = 1000;
constexpr std::size_t kMostListed = 200;
constexpr std::size_t kMostMarks = 500;
// A pause is a gap when it is longer than this, and than so many of the track's usual times between packets.
constexpr std::int64_t kLeastGap = kOneSecond;
constexpr double kGapInSteps = 8;
// Longer ones are drawn as long as this.
constexpr std::int64_t kLongestCover = 60 * kOneSecond;

std::uint8_t LayoutBitOf(std::uint32_t id) {
  switch (id) {
    case ids::kCluster:
      return kClusterBytes;
    case ids::kCues:
      return kIndexBytes;
    case ids::kAttachments:
      return kAttachmentBytes;
    case ids::kSeekHead:
    case ids::kInfo:
    case ids::kTracks:
      return kHeaderBytes;
    default:
      return kOtherBytes;
  }
}

}  // namespace

std::optional<std::int64_t> ReportFacts::TimeOfByte(std::uint64_t position) const {
  std::optional<std::int64_t> time;
  std::uint64_t nearest = 0;
  for (std::int64_t column = scale.first; column <= scale.last; ++column) {
    const ClusterCell* const cell = clusters.Find(column);
    if (cell == nullptr || cell->clusters == 0 || position < cell->lowest || position >= cell->end) continue;
    if (time && cell->lowest <= nearest) continue;
    nearest = cell->lowest;
    time = column * (std::int64_t{1} << scale.shift);
  }
  return time;
}

ReportGatherer::ReportGatherer(OpenedFile& file, const TrackPins& tracks, const TrackLabels& labels)
    : file_(file), quiet_(file.Root()) {
  quiet_.allowance = file.Root().AllowanceOf(1, CMkvFileRoot::kSlackForKeeping);
  quiet_.payloadRoom = KeepingRoom(quiet_.allowance);
  quiet_.tolerated.Collect(1);
  facts_.size = file.Root().length;
  facts_.layout.resize(kLayoutColumns);
  for (const TrackPin& track : tracks.tracks) AddTrack(track, labels);
  NoteHeaders();
}

void ReportGatherer::AddTrack(const TrackPin& pin, const TrackLabels& labels) {
  const MkvTrackEntry& entry = *pin.entry;
  ReportTrack track;
  track.number = entry.TrackNumber.value;
  track.kind = TrackKind(entry);
  track.codec = CodecText(entry);
  track.language = LanguageOf(entry, labels);
  track.name = WideToUtf8(entry.Name);
  track.pin = pin.pin;
  track.frameDuration = static_cast<std::int64_t>(entry.DefaultDuration.value / 100);
  // Of several with one number, the blocks are told of the first that has a pin.
  const auto [place, isNew] = places_.emplace(track.number, facts_.tracks.size());
  if (!isNew && facts_.tracks[place->second].pin == 0) place->second = facts_.tracks.size();
  facts_.tracks.push_back(std::move(track));
  paces_.emplace_back();
}

void ReportGatherer::AddChapters(const MkvChapterAtom& atom) {
  ++facts_.chapterCount;
  if (facts_.chapters.size() < kMostListed) {
    const auto start = static_cast<std::int64_t>(atom.ChapterTimeStart.value / 100);
    facts_.chapters.push_back({start, atom.displays.empty() ? "" : WideToUtf8(atom.displays.front())});
  }
  for (const MkvChapterAtom& below : atom.atoms) AddChapters(below);
}

void ReportGatherer::NoteHeaders() {
  const MkvSegment& segment = file_.Root().segment;
  facts_.container = file_.Root().ebmlHeader.DocType;
  facts_.title = WideToUtf8(segment.info.Title);
  facts_.writingApp = WideToUtf8(segment.info.WritingApp);
  facts_.fileDuration = file_.Duration();
  facts_.hasIndex = !segment.isIndexMade && !segment.cues.empty();
}

// Whether the seek index leads there or not, and without a note of damage, which is no business of the pass.
void ReportGatherer::ReadLists(const MkvElement& met) {
  MkvElement element = met;
  element.file = &quiet_;
  if (element.id.value == ids::kChapters) {
    MkvChapterEditions editions;
    (void)ReadChapters(element, editions);
    for (const MkvChapterEdition& edition : editions) {
      for (const MkvChapterAtom& atom : edition.atoms) AddChapters(atom);
    }
  } else if (element.id.value == ids::kAttachments) {
    MkvAttachmentList list;
    (void)ReadAttachments(element, list);
    for (const MkvAttachedFile& attached : list) {
      if (++facts_.attachmentCount > kMostListed) continue;
      facts_.attachments.push_back(
          {WideToUtf8(attached.FileName), attached.FileMimeType, attached.dataSize, attached.dataPosition});
    }
  }
}

void ReportGatherer::OnElement(const MkvElement& element, std::int64_t time) {
  const std::uint64_t end = std::min(element.DataEnd(), facts_.size);
  if (facts_.size > 0 && element.start < facts_.size) {
    const auto column = [&](std::uint64_t position) {
      return static_cast<std::size_t>(static_cast<double>(position) / static_cast<double>(facts_.size) *
                                      static_cast<double>(kLayoutColumns));
    };
    const std::size_t last = std::min<std::size_t>(column(end > element.start ? end - 1 : end), kLayoutColumns - 1);
    for (std::size_t i = column(element.start); i <= last; ++i) facts_.layout[i] |= LayoutBitOf(element.id.value);
  }
  ReadLists(element);
  if (element.id.value != ids::kCluster) return;
  ++facts_.clusterCount;
  ClusterCell cell;
  cell.clusters = 1;
  cell.lowest = cell.highest = element.start;
  cell.end = end;
  facts_.clusters.At(time).Add(cell);
}

void ReportGatherer::OnPackets(const MetPackets& met) {
  auto place = places_.find(met.track);
  if (place == places_.end()) {
    if (!others_) {
      others_ = facts_.tracks.size();
      ReportTrack others;
      others.hasEntry = false;
      others.kind = "other";
      facts_.tracks.push_back(std::move(others));
      paces_.emplace_back();
    }
  }
  const std::size_t index = place == places_.end() ? *others_ : place->second;
  ReportTrack& track = facts_.tracks[index];
  TrackCell cell;
  cell.bytes = met.bytes;
  cell.packets = static_cast<std::uint32_t>(met.packets);
  cell.keys = met.isKey ? 1 : 0;
  cell.lost = static_cast<std::uint32_t>(met.lost);
  cell.preroll = met.start < 0 ? cell.packets : 0;
  track.cells.At(met.start).Add(cell);
  track.firstStart = track.blocks == 0 ? met.start : std::min(track.firstStart, met.start);
  track.lastStart = track.blocks == 0 ? met.start : std::max(track.lastStart, met.start);
  ++track.blocks;
  track.keys += cell.keys;
  track.packets += met.packets;
  track.bytes += met.bytes;
  track.lost += met.lost;
  track.preroll += cell.preroll;
  NotePace(track, paces_[index], met);
}

// Packets of video come out of the order of their times; only what comes after all before it tells of a pause.
void ReportGatherer::NotePace(ReportTrack& track, Pace& pace, const MetPackets& met) {
  const std::int64_t told =
      met.duration > 0 ? met.duration : WrappingMultiply(track.frameDuration, static_cast<std::int64_t>(met.packets));
  const std::int64_t end = WrappingAdd(met.start, told);
  const bool isFirst = pace.count++ == 0;
  track.lastEnd = isFirst ? end : std::max(track.lastEnd, end);
  if (!track.IsContinuous()) {
    NoteCover(track, met);
    return;
  }
  const std::int64_t step = isFirst ? 0 : WrappingSubtract(met.start, pace.previous);
  if (!isFirst && step <= 0) return;
  const std::int64_t pause = isFirst ? 0 : WrappingSubtract(met.start, pace.end);
  if (pace.count > 3 && pause > kLeastGap && static_cast<double>(pause) > kGapInSteps * pace.mean) {
    if (++track.gapCount <= kMostMarks) track.gaps.emplace_back(pace.end, met.start);
  } else if (!isFirst) {
    pace.mean += (static_cast<double>(step) - pace.mean) / static_cast<double>(std::min<std::uint64_t>(pace.count, 64));
  }
  pace.previous = met.start;
  pace.end = std::max(end, WrappingAdd(met.start, static_cast<std::int64_t>(pace.mean)));
  // The last packet lasts as long as those before it.
  if (told == 0) track.lastEnd = std::max(track.lastEnd, pace.end);
}

void ReportGatherer::NoteCover(ReportTrack& track, const MetPackets& met) {
  const std::int64_t end = WrappingAdd(met.start, std::clamp<std::int64_t>(met.duration, 0, kLongestCover));
  if (end <= met.start) return;
  (void)track.cells.At(end - 1);  // the columns are now as wide as they will be
  const std::int64_t width = std::int64_t{1} << track.cells.Scale().shift;
  for (std::int64_t time = met.start; time < end; time += width) track.cells.At(time).isCovered = true;
}

void ReportGatherer::OnIndexed(const IndexedPlace& place, std::int64_t time) {
  if (!facts_.hasIndex) return;
  const bool isRight = place.verdict == IndexVerdict::kRight;
  IndexCell& cell = facts_.index.At(time);
  (isRight ? cell.right : cell.wrong) += static_cast<std::uint32_t>(place.count);
  (isRight ? facts_.indexRight : facts_.indexWrong) += place.count;
  if (isRight || facts_.wrongEntries.size() >= kMostMarks) return;
  facts_.wrongEntries.push_back({time, place.position, place.track, place.verdict == IndexVerdict::kWrongPlace});
}

// One scale for all, wide enough for each.
void ReportGatherer::FitScale() {
  ColumnScale& scale = facts_.scale;
  const auto include = [&](const ColumnScale& lane) {
    const std::int64_t width = std::int64_t{1} << lane.shift;
    scale.Include(lane.first * width);
    scale.Include(lane.last * width + (width - 1));
  };
  scale.Include(std::max<std::int64_t>(facts_.duration - 1, 0));
  scale.Include(std::max<std::int64_t>(facts_.stop - 1, 0));
  scale.Include(std::max<std::int64_t>(facts_.lastEnd - 1, 0));
  for (const ReportTrack& track : facts_.tracks) {
    if (!track.cells.IsEmpty()) include(track.cells.Scale());
  }
  if (!facts_.clusters.IsEmpty()) include(facts_.clusters.Scale());
  if (!facts_.index.IsEmpty()) include(facts_.index.Scale());
  for (ReportTrack& track : facts_.tracks) track.cells.WidenTo(scale.shift);
  facts_.clusters.WidenTo(scale.shift);
  facts_.index.WidenTo(scale.shift);
}

ReportFacts ReportGatherer::Finish(const FilterSummary& summary, Findings findings) {
  facts_.duration = summary.duration;
  facts_.stop = summary.stop;
  facts_.findings = std::move(findings);
  for (const ReportTrack& track : facts_.tracks) {
    facts_.lastStart = std::max(facts_.lastStart, track.lastStart);
    facts_.lastEnd = std::max(facts_.lastEnd, track.lastEnd);
  }
  FitScale();
  return std::move(facts_);
}

}  // namespace vantor::tools
