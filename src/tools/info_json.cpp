#include <fmt/format.h>

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

#include "platform/text.h"
#include "tools/extras_json.h"
#include "tools/file_words.h"
#include "tools/findings_text.h"
#include "tools/json_object.h"
#include "tools/media_type_words.h"
#include "tools/track_words.h"

namespace vantor::tools {
namespace {

void AppendType(Buffer& out, std::size_t depth, const AM_MEDIA_TYPE& type) {
  JsonObject object(out, depth);
  object.Text("major", GuidText(type.majortype));
  object.Text("subtype", GuidText(type.subtype));
  object.Text("format", GuidText(type.formattype));
  object.Value("block_size", type.cbFormat);
  object.Close();
}

void AppendPin(Buffer& out, std::size_t depth, const GraphPin& pin, const StreamWords& words) {
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
  object.KnownText("language", words.language);
  object.KnownText("title", words.title);
  object.Array("types", pin.types, [&](std::size_t below, const AM_MEDIA_TYPE& type) { AppendType(out, below, type); });
  object.Close();
}

// Of pictures and of sound.
void AppendRates(JsonObject& object, const FileWords& words, const TrackPin& track) {
  const MkvTrackEntry& entry = *track.entry;
  object.KnownValue("default_duration", entry.DefaultDuration.value);
  if (const double rate = FrameRateOf(entry); rate > 0) {
    object.Real("frame_rate", rate);
  } else if (const std::optional<double> measured = words.MeasuredRate(track)) {
    object.Real("measured_frame_rate", *measured);
  }
  if (entry.TrackType.value != MkvTrackEntry::kTypeAudio) return;
  object.Real("sample_rate", entry.audio.SamplingFrequency.value);
  if (entry.audio.OutputSamplingFrequency.present) {
    object.Real("output_sample_rate", entry.audio.OutputSamplingFrequency.value);
  }
  object.Value("channels", entry.audio.Channels.value);
  object.KnownValue("bits_per_sample", entry.audio.BitDepth.value);
}

void AppendTrack(Buffer& out, std::size_t depth, const FileWords& words, const TrackPin& track) {
  const MkvTrackEntry& entry = *track.entry;
  JsonObject object(out, depth);
  object.Value("number", entry.TrackNumber.value);
  object.Text("kind", TrackKind(entry));
  object.Text("codec_id", CodecText(entry));
  object.Text("language", LanguageOf(entry, words.labels));
  object.KnownText("name", WideToUtf8(entry.Name));
  object.Value("default", entry.FlagDefault.value != 0);
  object.Value("forced", words.IsForced(track));
  object.Value("enabled", entry.FlagEnabled.value != 0);
  object.KnownValue("width", entry.video.PixelWidth.value);
  object.KnownValue("height", entry.video.PixelHeight.value);
  object.KnownValue("display_width", entry.video.DisplayWidth.value);
  object.KnownValue("display_height", entry.video.DisplayHeight.value);
  object.KnownValue("display_unit", entry.video.DisplayUnit.value);
  AppendRates(object, words, track);
  object.KnownValue("pin", track.pin);
  object.Close();
}

}  // namespace

std::string InfoJson(const std::string& file, const FilterSummary& summary, const std::vector<GraphPin>& pins,
                     const FileWords& words) {
  const MkvSegmentInfo& info = words.Info();
  Buffer out;
  JsonObject object(out, 0);
  object.Value("schema_version", 1);
  object.Text("file", file);
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
  object.Array("pins", pins,
               [&](std::size_t below, const GraphPin& pin) { AppendPin(out, below, pin, words.WordsOf(pin)); });
  AppendExtras(object, out, words.extras, words.wanted, words.file.Root().segment);
  object.Objects("findings", words.findings, AppendFinding);
  object.Close();
  return fmt::to_string(out) + "\n";
}

}  // namespace vantor::tools
