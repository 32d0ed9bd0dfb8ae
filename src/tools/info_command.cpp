#include <fmt/format.h>

#include <nlohmann/json.hpp>
#include <string>
#include <utility>

#include "platform/text.h"
#include "tools/commands.h"
#include "tools/json_text.h"
#include "tools/listing.h"
#include "tools/media_type_words.h"
#include "tools/output.h"
#include "tools/session.h"
#include "tools/text_table.h"
#include "tools/time_text.h"

namespace vantor::tools {
namespace {

using Json = nlohmann::ordered_json;

StreamWords WordsOf(const GraphPin& pin) {
  return DescribeMediaType(pin.types.empty() ? CMediaType() : pin.types.front());
}

template <typename Value>
void SetKnown(Json& object, const char* key, const Value& value) {
  if (value != Value{}) {
    object[key] = value;
  }
}

Json TypeObject(const AM_MEDIA_TYPE& type) {
  return {{"major", GuidText(type.majortype)},
          {"subtype", GuidText(type.subtype)},
          {"format", GuidText(type.formattype)},
          {"block_size", type.cbFormat}};
}

Json PinObject(const GraphPin& pin) {
  const StreamWords words = WordsOf(pin);
  Json object = {{"pin", pin.number}, {"name", WideToUtf8(pin.name)}, {"kind", words.kind}, {"codec", words.codec}};
  SetKnown(object, "width", words.width);
  SetKnown(object, "height", words.height);
  SetKnown(object, "aspect_x", words.aspectX);
  SetKnown(object, "aspect_y", words.aspectY);
  SetKnown(object, "frame_duration", words.frameDuration);
  SetKnown(object, "sample_rate", words.sampleRate);
  SetKnown(object, "channels", words.channels);
  SetKnown(object, "bits_per_sample", words.bitsPerSample);
  SetKnown(object, "bit_rate", words.bitRate);
  SetKnown(object, "language", words.language);
  SetKnown(object, "title", words.title);
  Json types = Json::array();
  for (const AM_MEDIA_TYPE& type : pin.types) {
    types.push_back(TypeObject(type));
  }
  object["types"] = std::move(types);
  return object;
}

std::string InfoObject(const std::string& file, const FilterSummary& summary, Graph& graph) {
  Json object = {{"file", file}, {"duration", summary.duration}, {"frame_duration", summary.frameDuration}};
  Json pins = Json::array();
  for (const GraphPin& pin : graph.Pins()) {
    pins.push_back(PinObject(pin));
  }
  object["pins"] = std::move(pins);
  // File names and stored texts need not be valid UTF-8.
  return object.dump(2, ' ', false, Json::error_handler_t::replace) + "\n";
}

std::string InfoText(const std::string& file, const FilterSummary& summary, Graph& graph) {
  std::string text = Printable(file) + "\n";
  text += fmt::format("duration {}", TimeText(summary.duration));
  if (summary.frameDuration > 0) {
    text += fmt::format(", {:.3f} ms a frame", static_cast<double>(summary.frameDuration) / 10000);
  }
  text += fmt::format(", {} stream{}\n", graph.Pins().size(), graph.Pins().size() == 1 ? "" : "s");
  if (graph.Pins().empty()) {
    return text;
  }
  TextTable table({{"Pin", Align::kRight}, {"Kind"}, {"Codec"}, {"Details"}, {"Name"}});
  for (const GraphPin& pin : graph.Pins()) {
    const StreamWords words = WordsOf(pin);
    table.Add({std::to_string(pin.number), words.kind, words.codec, words.Details(), WideToUtf8(pin.name)});
  }
  return text + "\n" + table.Text();
}

}  // namespace

int RunInfo(const Options& options, std::FILE* out, std::FILE* messages) {
  Session session(options, messages);
  if (const int opened = session.Open(); opened != kExitDone) {
    return opened;
  }
  session.WarnOfDamage();
  const FilterSummary summary = Summarize(session.OpenedGraph(), session.ConnectResult());
  const std::string text = options.json ? InfoObject(options.file, summary, session.OpenedGraph())
                                        : InfoText(options.file, summary, session.OpenedGraph());
  if (!Print(out, text)) {
    session.Say("cannot write the answer");
    return kExitUsage;
  }
  return kExitDone;
}

}  // namespace vantor::tools
