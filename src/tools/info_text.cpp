#include <fmt/format.h>

#include <cstddef>
#include <string>
#include <vector>

#include "platform/text.h"
#include "tools/extras_text.h"
#include "tools/file_words.h"
#include "tools/findings_text.h"
#include "tools/messages.h"
#include "tools/text_table.h"
#include "tools/time_text.h"
#include "tools/track_words.h"

namespace vantor::tools {
namespace {

std::string FlagsText(const FileWords& words, const TrackPin& track) {
  std::vector<const char*> flags;
  if (track.entry->FlagDefault.value != 0) flags.push_back("default");
  if (words.IsForced(track)) flags.push_back("forced");
  if (track.entry->FlagEnabled.value == 0) flags.push_back("disabled");
  return fmt::format("{}", fmt::join(flags, ", "));
}

std::string TracksText(const FileWords& words, std::size_t width) {
  TextTable table({{"Track", Align::kRight},
                   {"Kind"},
                   {"Codec identifier"},
                   {"Details"},
                   {"Language"},
                   {"Flags"},
                   {"Pin"},
                   {"Name"}});
  for (const TrackPin& track : words.tracks.tracks) {
    const MkvTrackEntry& entry = *track.entry;
    table.Add({std::to_string(entry.TrackNumber.value), TrackKind(entry), CodecText(entry),
               TrackDetails(entry, words.MeasuredRate(track)), LanguageOf(entry, words.labels), FlagsText(words, track),
               track.pin != 0 ? std::to_string(track.pin) : "none", WideToUtf8(entry.Name)});
  }
  return fmt::format("\n{}", table.Text(width));
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

std::string PinsText(const std::vector<GraphPin>& pins, const FileWords& words, std::size_t width) {
  TextTable table({{"Pin", Align::kRight}, {"Kind"}, {"Codec"}, {"Details"}, {"Name"}});
  for (const GraphPin& pin : pins) {
    const StreamWords stream = words.WordsOf(pin);
    table.Add({std::to_string(pin.number), stream.kind, stream.codec, stream.Details(), WideToUtf8(pin.name)});
  }
  return fmt::format("\n{}", table.Text(width));
}

// A part that was asked for, with a line in its place when there is nothing of it.
std::string Section(const char* title, const std::string& table) {
  return fmt::format("\n{}", table.empty() ? fmt::format("no {}\n", title) : table);
}

std::string ExtrasText(const FileWords& words, std::size_t width) {
  std::string text;
  if (words.wanted.chapters) text += Section("chapters", ChaptersText(words.extras.editions, width));
  if (words.wanted.tags) text += Section("tags", TagsText(words.extras.tags, words.file.Root().segment, width));
  if (words.wanted.attachments) {
    text += Section("attachments", AttachmentsText(words.extras.attachments, {}, width));
  }
  return text;
}

}  // namespace

std::string InfoText(const std::string& file, const FilterSummary& summary, const std::vector<GraphPin>& pins,
                     const FileWords& words, std::size_t width) {
  std::string text = Printable(file) + "\n";
  if (words.file.IsOpen()) text += FileText(words);
  text += DurationText(summary, words);
  if (summary.frameDuration > 0) {
    text += fmt::format(", {:.3f} ms a frame", static_cast<double>(summary.frameDuration) / 10000);
  }
  text += fmt::format(", {} stream{}\n", pins.size(), pins.size() == 1 ? "" : "s");
  if (!words.tracks.tracks.empty()) text += TracksText(words, width);
  if (!pins.empty()) text += PinsText(pins, words, width);
  return text + ExtrasText(words, width) + FindingLines(words.findings);
}

}  // namespace vantor::tools
