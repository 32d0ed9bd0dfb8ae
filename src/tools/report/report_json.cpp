#include "tools/json_writer.h"
#include "tools/report/report_text.h"

namespace vantor::tools {
namespace {

// One number a column, of all columns that there are.
template <typename Cell, typename Value>
void AppendColumns(JsonWriter& json, const char* key, const ReportFacts& facts, const ColumnLane<Cell>& lane,
                   Value&& value) {
  json.Key(key).BeginArray();
  const Cell none;
  for (std::int64_t index = facts.scale.first; index <= facts.scale.last; ++index) {
    const Cell* const cell = lane.Find(index);
    json.Number(static_cast<std::uint64_t>(value(cell == nullptr ? none : *cell)));
  }
  json.End();
}

void AppendReportTrack(JsonWriter& json, const ReportFacts& facts, const ReportTrack& track) {
  json.BeginObject().Key("number");
  if (track.hasEntry) {
    json.Number(track.number);
  } else {
    json.Null();
  }
  json.Key("kind").Text(track.kind).Key("codec_id").Text(track.codec).Key("language").Text(track.language);
  json.Key("name").TextOrNull(track.name).Key("pin");
  if (track.pin != 0) {
    json.Number(track.pin);
  } else {
    json.Null();
  }
  json.Key("packets").Number(track.packets).Key("lost").Number(track.lost).Key("blocks").Number(track.blocks);
  json.Key("key_frames").Number(track.keys).Key("preroll").Number(track.preroll).Key("bytes").Number(track.bytes);
  json.Key("start").Number(track.firstStart).Key("end").Number(track.lastEnd);
  json.Key("gap_count").Number(track.gapCount).Key("gaps").BeginArray();
  for (const auto& [begin, end] : track.gaps) json.BeginArray().Number(begin).Number(end).End();
  json.End().Key("columns").BeginObject();
  AppendColumns(json, "packets", facts, track.cells, [](const TrackCell& cell) { return cell.packets; });
  AppendColumns(json, "key_frames", facts, track.cells, [](const TrackCell& cell) { return cell.keys; });
  AppendColumns(json, "lost", facts, track.cells, [](const TrackCell& cell) { return cell.lost; });
  AppendColumns(json, "preroll", facts, track.cells, [](const TrackCell& cell) { return cell.preroll; });
  AppendColumns(json, "bytes", facts, track.cells, [](const TrackCell& cell) { return cell.bytes; });
  json.End().End();
}

void AppendClusters(JsonWriter& json, const ReportFacts& facts) {
  json.Key("clusters").BeginObject().Key("count").Number(facts.clusterCount).Key("columns").BeginArray();
  for (std::int64_t index = facts.scale.first; index <= facts.scale.last; ++index) {
    const ClusterCell* const cell = facts.clusters.Find(index);
    if (cell == nullptr || cell->clusters == 0) continue;
    json.BeginObject().Key("column").Number(index - facts.scale.first);
    json.Key("clusters").Number(static_cast<std::uint64_t>(cell->clusters));
    json.Key("lowest").Number(cell->lowest).Key("highest").Number(cell->highest).End();
  }
  json.End().End();
}

void AppendIndex(JsonWriter& json, const ReportFacts& facts) {
  json.Key("index");
  if (!facts.hasIndex) {
    json.Null();
    return;
  }
  json.BeginObject().Key("right").Number(facts.indexRight).Key("wrong").Number(facts.indexWrong);
  json.Key("wrong_entries").BeginArray();
  for (const WrongIndexEntry& entry : facts.wrongEntries) {
    json.BeginObject().Key("time").Number(entry.time).Key("position").Number(entry.position);
    json.Key("track").Number(entry.track).Key("what").Text(entry.isPlaceWrong ? "place" : "time").End();
  }
  json.End().Key("columns").BeginObject();
  AppendColumns(json, "right", facts, facts.index, [](const IndexCell& cell) { return cell.right; });
  AppendColumns(json, "wrong", facts, facts.index, [](const IndexCell& cell) { return cell.wrong; });
  json.End().End();
}

void AppendLists(JsonWriter& json, const ReportFacts& facts) {
  json.Key("chapter_count").Number(facts.chapterCount).Key("chapters").BeginArray();
  for (const ReportChapter& chapter : facts.chapters) {
    json.BeginObject().Key("start").Number(chapter.start).Key("name").Text(chapter.name).End();
  }
  json.End().Key("attachment_count").Number(facts.attachmentCount).Key("attachments").BeginArray();
  for (const ReportAttachment& attached : facts.attachments) {
    json.BeginObject().Key("name").Text(attached.name).Key("type").Text(attached.type);
    json.Key("size").Number(attached.size).Key("position").Number(attached.position).End();
  }
  json.End().Key("findings").BeginArray();
  for (const Finding& finding : facts.findings) {
    json.BeginObject().Key("id").Text(finding.Id()).Key("severity").Text(SeverityName(finding.severity));
    json.Key("position").NumberOrNull(finding.position).Key("track").NumberOrNull(finding.track).Key("time");
    json.NumberOrNull(finding.position ? facts.TimeOfByte(*finding.position) : std::optional<std::int64_t>());
    json.Key("text").Text(finding.text).Key("advice").Text(finding.Advice()).End();
  }
  json.End();
}

}  // namespace

std::string ReportJson(const std::string& file, const ReportFacts& facts) {
  JsonWriter json;
  json.BeginObject().Key("schema_version").Number(1).Key("file").Text(file).Key("container").Text(facts.container);
  json.Key("title").TextOrNull(facts.title).Key("size").Number(facts.size).Key("duration").Number(facts.duration);
  json.Key("file_duration").Number(facts.fileDuration).Key("announced_end").Number(facts.stop);
  json.Key("last_start")
      .Number(facts.lastStart)
      .Key("last_end")
      .Number(facts.lastEnd)
      .Key("scale")
      .BeginObject()
      .Key("start")
      .Number(facts.Start());
  json.Key("column").Number(std::int64_t{1} << facts.scale.shift);
  json.Key("columns").Number(static_cast<std::uint64_t>(facts.scale.Count())).End().Key("tracks").BeginArray();
  for (const ReportTrack& track : facts.tracks) AppendReportTrack(json, facts, track);
  json.End();
  AppendClusters(json, facts);
  AppendIndex(json, facts);
  AppendLists(json, facts);
  json.End();
  return json.Line();
}

}  // namespace vantor::tools
