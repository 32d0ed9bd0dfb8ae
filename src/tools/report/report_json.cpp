#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "tools/findings_text.h"
#include "tools/json_object.h"
#include "tools/report/report_text.h"

namespace vantor::tools {
namespace {

// One number a column, of all columns that there are.
template <typename Cell, typename Value>
void AppendColumns(JsonObject& object, const char* key, const ReportFacts& facts, const ColumnLane<Cell>& lane,
                   Value Cell::*value) {
  std::vector<Value> numbers;
  numbers.reserve(static_cast<std::size_t>(facts.scale.Count()));
  for (std::int64_t index = facts.scale.first; index <= facts.scale.last; ++index) {
    const Cell* const cell = lane.Find(index);
    numbers.push_back(cell == nullptr ? 0 : cell->*value);
  }
  object.Values(key, numbers);
}

void AppendTrackColumns(JsonObject& object, const ReportFacts& facts, const ReportTrack& track) {
  AppendColumns(object, "packets", facts, track.cells, &TrackCell::packets);
  AppendColumns(object, "key_frames", facts, track.cells, &TrackCell::keys);
  AppendColumns(object, "lost", facts, track.cells, &TrackCell::lost);
  AppendColumns(object, "preroll", facts, track.cells, &TrackCell::preroll);
  AppendColumns(object, "bytes", facts, track.cells, &TrackCell::bytes);
}

void AppendReportTrack(JsonObject& object, Buffer& out, const ReportFacts& facts, const ReportTrack& track) {
  object.Optional("number", track.hasEntry ? std::optional(track.number) : std::nullopt);
  object.Text("kind", track.kind);
  object.Text("codec_id", track.codec);
  object.Text("language", track.language);
  object.TextOrNull("name", track.name);
  object.Optional("pin", track.pin != 0 ? std::optional(track.pin) : std::nullopt);
  object.Value("packets", track.packets);
  object.Value("lost", track.lost);
  object.Value("blocks", track.blocks);
  object.Value("key_frames", track.keys);
  object.Value("preroll", track.preroll);
  object.Value("bytes", track.bytes);
  object.Value("start", track.firstStart);
  object.Value("end", track.lastEnd);
  object.Value("gap_count", track.gapCount);
  object.Array("gaps", track.gaps, [&](std::size_t, const auto& gap) {
    fmt::format_to(std::back_inserter(out), "[{},{}]", gap.first, gap.second);
  });
  object.Object("columns", [&](JsonObject& columns) { AppendTrackColumns(columns, facts, track); });
}

struct ClusterColumn {
  std::int64_t column = 0;
  const ClusterCell* cell = nullptr;
};

void AppendClusters(JsonObject& object, const ReportFacts& facts) {
  std::vector<ClusterColumn> columns;
  for (std::int64_t index = facts.scale.first; index <= facts.scale.last; ++index) {
    const ClusterCell* const cell = facts.clusters.Find(index);
    if (cell != nullptr && cell->clusters > 0) columns.push_back({index - facts.scale.first, cell});
  }
  object.Value("count", facts.clusterCount);
  object.Objects("columns", columns, [](JsonObject& below, const ClusterColumn& column) {
    below.Value("column", column.column);
    below.Value("clusters", column.cell->clusters);
    below.Value("lowest", column.cell->lowest);
    below.Value("highest", column.cell->highest);
  });
}

void AppendWrongEntry(JsonObject& object, const WrongIndexEntry& entry) {
  object.Value("time", entry.time);
  object.Value("position", entry.position);
  object.Value("track", entry.track);
  object.Text("what", entry.isPlaceWrong ? "place" : "time");
}

void AppendIndex(JsonObject& object, const ReportFacts& facts) {
  object.Value("right", facts.indexRight);
  object.Value("wrong", facts.indexWrong);
  object.Objects("wrong_entries", facts.wrongEntries, AppendWrongEntry);
  object.Object("columns", [&](JsonObject& columns) {
    AppendColumns(columns, "right", facts, facts.index, &IndexCell::right);
    AppendColumns(columns, "wrong", facts, facts.index, &IndexCell::wrong);
  });
}

void AppendReportChapter(JsonObject& object, const ReportChapter& chapter) {
  object.Value("start", chapter.start);
  object.Text("name", chapter.name);
}

void AppendReportAttachment(JsonObject& object, const ReportAttachment& attached) {
  object.Text("name", attached.name);
  object.Text("type", attached.type);
  object.Value("size", attached.size);
  object.Value("position", attached.position);
}

// As `check` has it, with the time of its place.
void AppendPlacedFinding(JsonObject& object, const ReportFacts& facts, const Finding& finding) {
  AppendFinding(object, finding);
  object.Optional("time", finding.position ? facts.TimeOfByte(*finding.position) : std::nullopt);
}

void AppendLists(JsonObject& object, const ReportFacts& facts) {
  object.Value("chapter_count", facts.chapterCount);
  object.Objects("chapters", facts.chapters, AppendReportChapter);
  object.Value("attachment_count", facts.attachmentCount);
  object.Objects("attachments", facts.attachments, AppendReportAttachment);
  object.Objects("findings", facts.findings,
                 [&](JsonObject& below, const Finding& finding) { AppendPlacedFinding(below, facts, finding); });
}

void AppendScale(JsonObject& object, const ReportFacts& facts) {
  object.Value("start", facts.Start());
  object.Value("column", std::int64_t{1} << facts.scale.shift);
  object.Value("columns", facts.scale.Count());
}

}  // namespace

std::string ReportJson(const std::string& file, const ReportFacts& facts) {
  Buffer out;
  JsonObject object(out, JsonObject::kOneLine);
  object.Value("schema_version", 1);
  object.Text("file", file);
  object.Text("container", facts.container);
  object.TextOrNull("title", facts.title);
  object.Value("size", facts.size);
  object.Value("duration", facts.duration);
  object.Value("file_duration", facts.fileDuration);
  object.Value("announced_end", facts.stop);
  object.Value("last_start", facts.lastStart);
  object.Value("last_end", facts.lastEnd);
  object.Object("scale", [&](JsonObject& scale) { AppendScale(scale, facts); });
  object.Objects("tracks", facts.tracks,
                 [&](JsonObject& below, const ReportTrack& track) { AppendReportTrack(below, out, facts, track); });
  object.Object("clusters", [&](JsonObject& clusters) { AppendClusters(clusters, facts); });
  if (facts.hasIndex) {
    object.Object("index", [&](JsonObject& index) { AppendIndex(index, facts); });
  } else {
    object.Null("index");
  }
  AppendLists(object, facts);
  object.Close();
  return fmt::to_string(out) + "\n";
}

}  // namespace vantor::tools
