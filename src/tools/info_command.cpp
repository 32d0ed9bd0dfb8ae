#include <fmt/format.h>

#include <algorithm>
#include <chrono>
#include <cstddef>
#include <iterator>
#include <string>
#include <string_view>
#include <vector>

#include "platform/text.h"
#include "tools/commands.h"
#include "tools/findings_text.h"
#include "tools/header_findings.h"
#include "tools/json_text.h"
#include "tools/listing.h"
#include "tools/media_type_words.h"
#include "tools/messages.h"
#include "tools/opened_file.h"
#include "tools/output.h"
#include "tools/session.h"
#include "tools/text_table.h"
#include "tools/time_text.h"
#include "tools/track_labels.h"
#include "tools/track_pins.h"

namespace vantor::tools {
namespace {

StreamWords WordsOf(const GraphPin& pin, const TrackPins& tracks) {
  const auto track = std::find_if(tracks.tracks.begin(), tracks.tracks.end(),
                                  [&](const TrackPin& candidate) { return candidate.pin == pin.number; });
  return DescribeMediaType(pin.types.empty() ? CMediaType() : pin.types.front(),
                           track == tracks.tracks.end() ? std::string() : CodecText(*track->entry));
}

// File names and what a type holds as bytes need not be valid UTF-8.
std::string ValidText(const std::string& text) { return WideToUtf8(Utf8ToWide(text)); }

// An object over several lines, two blanks a level.
class JsonObject {
 public:
  JsonObject(Buffer& out, std::size_t depth) : out_(out), depth_(depth) { Append("{"); }
  void Text(const char* key, std::string_view utf8) {
    Key(key);
    AppendJsonString(out_, utf8);
  }
  template <typename Number>
  void Value(const char* key, Number number) {
    Key(key);
    fmt::format_to(std::back_inserter(out_), "{}", number);
  }
  // What the media type says nothing about is left out.
  void KnownText(const char* key, std::string_view utf8) {
    if (!utf8.empty()) Text(key, utf8);
  }
  template <typename Number>
  void KnownValue(const char* key, Number number) {
    if (number != 0) Value(key, number);
  }
  // An array of objects, each appended by the callable one level deeper.
  template <typename Items, typename AppendItem>
  void Array(const char* key, const Items& items, AppendItem&& appendItem) {
    Key(key);
    Append("[");
    bool isFirst = true;
    for (const auto& item : items) {
      Append(isFirst ? "" : ",");
      NewLine(depth_ + 2);
      isFirst = false;
      appendItem(depth_ + 2, item);
    }
    if (!isFirst) NewLine(depth_ + 1);
    Append("]");
  }
  void Close() {
    NewLine(depth_);
    Append("}");
  }

 private:
  void Append(std::string_view text) { out_.append(text); }
  void NewLine(std::size_t depth) { fmt::format_to(std::back_inserter(out_), "\n{:{}}", "", 2 * depth); }
  void Key(const char* key) {
    Append(isEmpty_ ? "" : ",");
    isEmpty_ = false;
    NewLine(depth_ + 1);
    AppendJsonString(out_, std::string_view(key));
    Append(": ");
  }

  Buffer& out_;
  const std::size_t depth_;
  bool isEmpty_ = true;
};

void AppendType(Buffer& out, std::size_t depth, const AM_MEDIA_TYPE& type) {
  JsonObject object(out, depth);
  object.Text("major", GuidText(type.majortype));
  object.Text("subtype", GuidText(type.subtype));
  object.Text("format", GuidText(type.formattype));
  object.Value("block_size", type.cbFormat);
  object.Close();
}

void AppendPin(Buffer& out, std::size_t depth, const GraphPin& pin, const TrackPins& tracks) {
  const StreamWords words = WordsOf(pin, tracks);
  JsonObject object(out, depth);
  object.Value("pin", pin.number);
  object.Text("name", WideToUtf8(pin.name));
  object.Text("kind", words.kind);
  object.Text("codec", words.codec);
  object.KnownValue("width", words.width);
  object.KnownValue("height", words.height);
  object.KnownValue("aspect_x", words.aspectX);
  object.KnownValue("aspect_y", words.aspectY);
  object.KnownValue("frame_duration", words.frameDuration);
  object.KnownValue("sample_rate", words.sampleRate);
  object.KnownValue("channels", words.channels);
  object.KnownValue("bits_per_sample", words.bitsPerSample);
  object.KnownValue("bit_rate", words.bitRate);
  object.KnownText("language", ValidText(words.language));
  object.KnownText("title", words.title);
  object.Array("types", pin.types, [&](std::size_t below, const AM_MEDIA_TYPE& type) { AppendType(out, below, type); });
  object.Close();
}

// What the file says of itself, and what became of its tracks.
struct FileWords {
  OpenedFile& file;
  const TrackPins& tracks;
  const TrackLabels& labels;
  const Findings& findings;

  const MkvSegmentInfo& Info() const { return file.Root().segment.info; }
  std::size_t Chapters() const {
    std::size_t count = 0;
    for (const MkvChapterEditions& editions : file.Root().segment.chapters) {
      for (const MkvChapterEdition& edition : editions) count += edition.atoms.size();
    }
    return count;
  }
  std::size_t Attachments() const {
    std::size_t count = 0;
    for (const MkvAttachmentList& list : file.Root().segment.attachments) count += list.size();
    return count;
  }
  bool IsForced(const TrackPin& track) const {
    const auto label = labels.find(track.entry->TrackNumber.value);
    return label != labels.end() && label->second.isForced;
  }
};

// "2017-05-31 12:00:00 UTC", of nanoseconds since the first day of 2001.
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

void AppendTrack(Buffer& out, std::size_t depth, const FileWords& words, const TrackPin& track) {
  const MkvTrackEntry& entry = *track.entry;
  JsonObject object(out, depth);
  object.Value("number", entry.TrackNumber.value);
  object.Text("kind", TrackKind(entry));
  object.Text("codec_id", ValidText(CodecText(entry)));
  object.Text("language", ValidText(LanguageOf(entry, words.labels)));
  object.KnownText("name", WideToUtf8(entry.Name));
  object.Value("default", entry.FlagDefault.value != 0);
  object.Value("forced", words.IsForced(track));
  object.Value("enabled", entry.FlagEnabled.value != 0);
  object.KnownValue("width", entry.video.PixelWidth.value);
  object.KnownValue("height", entry.video.PixelHeight.value);
  object.KnownValue("display_width", entry.video.DisplayWidth.value);
  object.KnownValue("display_height", entry.video.DisplayHeight.value);
  object.KnownValue("pin", track.pin);
  object.Close();
}

void AppendFinding(Buffer& out, std::size_t depth, const Finding& finding) {
  JsonObject object(out, depth);
  object.Text("id", finding.Id());
  object.Text("severity", SeverityName(finding.severity));
  if (finding.position) object.Value("position", *finding.position);
  if (finding.track) object.Value("track", *finding.track);
  object.Text("text", ValidText(finding.text));
  object.Text("advice", finding.Advice());
  object.Close();
}

std::string InfoObject(const std::string& file, const FilterSummary& summary, Graph& graph, const FileWords& words) {
  const MkvSegmentInfo& info = words.Info();
  Buffer out;
  JsonObject object(out, 0);
  object.Value("schema_version", 1);
  object.Text("file", ValidText(file));
  object.Text("container", words.file.Root().ebmlHeader.DocType);
  object.KnownText("title", WideToUtf8(info.Title));
  object.KnownText("muxing_app", WideToUtf8(info.MuxingApp));
  object.KnownText("writing_app", WideToUtf8(info.WritingApp));
  if (info.DateUTC.present) object.Text("date", DateText(info.DateUTC.value));
  object.Value("duration", summary.duration);
  if (info.Duration.present) object.Value("file_duration", words.file.Duration());
  object.Value("frame_duration", summary.frameDuration);
  object.Value("chapters", words.Chapters());
  object.Value("attachments", words.Attachments());
  object.Array("tracks", words.tracks.tracks,
               [&](std::size_t below, const TrackPin& track) { AppendTrack(out, below, words, track); });
  object.Array("pins", graph.Pins(),
               [&](std::size_t below, const GraphPin& pin) { AppendPin(out, below, pin, words.tracks); });
  object.Array("findings", words.findings,
               [&](std::size_t below, const Finding& finding) { AppendFinding(out, below, finding); });
  object.Close();
  return fmt::to_string(out) + "\n";
}

std::string FlagsText(const FileWords& words, const TrackPin& track) {
  std::vector<const char*> flags;
  if (track.entry->FlagDefault.value != 0) flags.push_back("default");
  if (words.IsForced(track)) flags.push_back("forced");
  if (track.entry->FlagEnabled.value == 0) flags.push_back("disabled");
  return fmt::format("{}", fmt::join(flags, ", "));
}

std::string TracksText(const FileWords& words) {
  TextTable table(
      {{"Track", Align::kRight}, {"Kind"}, {"Codec identifier"}, {"Language"}, {"Flags"}, {"Pin"}, {"Name"}});
  for (const TrackPin& track : words.tracks.tracks) {
    const MkvTrackEntry& entry = *track.entry;
    table.Add({std::to_string(entry.TrackNumber.value), TrackKind(entry), CodecText(entry),
               LanguageOf(entry, words.labels), FlagsText(words, track),
               track.pin != 0 ? std::to_string(track.pin) : "none", WideToUtf8(entry.Name)});
  }
  return "\n" + table.Text();
}

// What stands above the streams.
std::string FileText(const FileWords& words) {
  const MkvSegmentInfo& info = words.Info();
  std::vector<std::string> parts = {words.file.Root().ebmlHeader.DocType};
  if (!info.Title.empty()) parts.push_back(fmt::format("\"{}\"", Printable(WideToUtf8(info.Title))));
  const std::string writing = Printable(WideToUtf8(info.WritingApp));
  const std::string muxing = Printable(WideToUtf8(info.MuxingApp));
  if (!writing.empty()) parts.push_back("written by " + writing);
  if (!muxing.empty() && muxing != writing) parts.push_back("muxed by " + muxing);
  if (info.DateUTC.present) parts.push_back(DateText(info.DateUTC.value));
  if (words.Chapters() > 0) parts.push_back(fmt::format("{} chapters", words.Chapters()));
  if (words.Attachments() > 0) parts.push_back(fmt::format("{} attachments", words.Attachments()));
  return fmt::format("{}\n", fmt::join(parts, ", "));
}

std::string DurationText(const FilterSummary& summary, const FileWords& words) {
  // The file's is rounded in other ways.
  constexpr std::int64_t kSame = 10000;
  const std::int64_t ofFile = words.file.Duration();
  const bool isSame = ofFile - kSame <= summary.duration && summary.duration <= ofFile + kSame;
  if (!words.Info().Duration.present || isSame) return "duration " + TimeText(summary.duration);
  return fmt::format("duration: file {}, filter {}", TimeText(ofFile), TimeText(summary.duration));
}

std::string InfoText(const std::string& file, const FilterSummary& summary, Graph& graph, const FileWords& words) {
  std::string text = Printable(file) + "\n";
  if (words.file.IsOpen()) text += FileText(words);
  text += DurationText(summary, words);
  if (summary.frameDuration > 0) {
    text += fmt::format(", {:.3f} ms a frame", static_cast<double>(summary.frameDuration) / 10000);
  }
  text += fmt::format(", {} stream{}\n", graph.Pins().size(), graph.Pins().size() == 1 ? "" : "s");
  if (!words.tracks.tracks.empty()) text += TracksText(words);
  if (graph.Pins().empty()) {
    return text + FindingLines(words.findings);
  }
  TextTable table({{"Pin", Align::kRight}, {"Kind"}, {"Codec"}, {"Details"}, {"Name"}});
  for (const GraphPin& pin : graph.Pins()) {
    const StreamWords stream = WordsOf(pin, words.tracks);
    table.Add({std::to_string(pin.number), stream.kind, stream.codec, stream.Details(), WideToUtf8(pin.name)});
  }
  return text + "\n" + table.Text() + FindingLines(words.findings);
}

int ShowFile(const Options& options, std::FILE* out, std::FILE* messages) {
  Session session(options, messages);
  if (const int opened = session.Open(); opened != kExitDone) {
    return opened;
  }
  session.WarnOfDamage();
  Graph& graph = session.OpenedGraph();
  const FilterSummary summary = Summarize(graph, session.ConnectResult());
  OpenedFile file(session.Bytes(), session.FullFileName(), session.Policy());
  const TrackPins tracks = MatchTracks(file.Root(), file.Upstream(), graph.Pins());
  const TrackLabels labels = ReadTrackLabels(file.Root());
  Findings findings;
  // Another component may read what is no Matroska file.
  if (file.IsOpen()) {
    AppendFileFindings(file, session.Shape(), findings);
    AppendPinFindings(file, tracks, graph.Pins(), findings);
  }
  for (const TrackPin& track : tracks.tracks) AppendTrackFinding(track, std::nullopt, findings);
  SortFindings(findings);
  const FileWords words{file, tracks, labels, findings};
  const std::string text =
      options.json ? InfoObject(options.file, summary, graph, words) : InfoText(options.file, summary, graph, words);
  if (!Print(out, text)) {
    session.Say(CannotWrite("the answer"));
    return kExitUsage;
  }
  return session.Finish();
}

}  // namespace

int RunInfo(const Options& options, std::FILE* out, std::FILE* messages) {
  int status = kExitDone;
  for (std::size_t i = 0; i < options.files.size(); ++i) {
    Options ofFile = options;
    ofFile.file = options.files[i];
    if (i > 0 && !options.json && !Print(out, "\n")) {
      Say(messages, CannotWrite("the answer"));
      return kExitUsage;
    }
    status = std::max(status, ShowFile(ofFile, out, messages));
  }
  return status;
}

}  // namespace vantor::tools
