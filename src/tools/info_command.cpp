#include <fmt/format.h>

#include <cstddef>
#include <iterator>
#include <string>
#include <string_view>

#include "platform/text.h"
#include "tools/commands.h"
#include "tools/json_text.h"
#include "tools/listing.h"
#include "tools/media_type_words.h"
#include "tools/messages.h"
#include "tools/output.h"
#include "tools/session.h"
#include "tools/text_table.h"
#include "tools/time_text.h"

namespace vantor::tools {
namespace {

StreamWords WordsOf(const GraphPin& pin) {
  return DescribeMediaType(pin.types.empty() ? CMediaType() : pin.types.front());
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

void AppendPin(Buffer& out, std::size_t depth, const GraphPin& pin) {
  const StreamWords words = WordsOf(pin);
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

std::string InfoObject(const std::string& file, const FilterSummary& summary, Graph& graph) {
  Buffer out;
  JsonObject object(out, 0);
  object.Text("file", ValidText(file));
  object.Value("duration", summary.duration);
  object.Value("frame_duration", summary.frameDuration);
  object.Array("pins", graph.Pins(), [&](std::size_t below, const GraphPin& pin) { AppendPin(out, below, pin); });
  object.Close();
  return fmt::to_string(out) + "\n";
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
  return session.Finish();
}

}  // namespace vantor::tools
