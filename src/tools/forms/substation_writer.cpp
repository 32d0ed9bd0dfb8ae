// SubStation Alpha: the script as the private data has it, but for its lines, which are the samples: the number of the
// line in the script, the layer, and the fields behind the times. Scripts give meaning to the order of their lines, so
// they are put back into it. They wait in memory for that, 64 MiB of them at the most: a longer script is sorted in
// parts.
#include <fmt/format.h>

#include <algorithm>
#include <charconv>
#include <vector>

#include "tools/forms/subtitle_forms.h"

namespace vantor::tools {
namespace {

bool IsSection(std::string_view line, std::string_view name) {
  return line.size() >= name.size() && std::equal(name.begin(), name.end(), line.begin(), [](char lower, char letter) {
           return lower == (letter >= 'A' && letter <= 'Z' ? letter - 'A' + 'a' : letter);
         });
}

// The script without its events; empty when it has no section of information on itself.
std::string ScriptHeader(std::string_view script) {
  constexpr std::string_view kMark = "\xEF\xBB\xBF";
  if (script.starts_with(kMark)) script.remove_prefix(kMark.size());
  const std::string text = SubtitleText({reinterpret_cast<const std::uint8_t*>(script.data()), script.size()});
  std::string header;
  bool isScript = false;
  bool isInEvents = false;
  for (std::size_t at = 0; at < text.size();) {
    const std::size_t end = std::min(text.find('\n', at), text.size());
    const std::string_view line = std::string_view(text).substr(at, end - at);
    at = end + 1;
    if (line.starts_with('[')) isInEvents = IsSection(line, "[events]");
    isScript = isScript || IsSection(line, "[script info]");
    if (!isInEvents) header.append(line).append("\n");
  }
  if (!isScript) return {};
  header.erase(header.find_last_not_of('\n') + 1);
  return header;
}

// Hours, minutes, seconds and hundredths.
std::string ScriptTime(std::int64_t time) {
  const std::int64_t hundredths = time / 100'000;
  return fmt::format("{}:{:02}:{:02}.{:02}", hundredths / 360'000, hundredths / 6000 % 60, hundredths / 100 % 60,
                     hundredths % 100);
}

struct ScriptLine {
  std::int64_t number = 0;
  std::string text;
};

class SubStationWriter final : public TrackWriter {
 public:
  SubStationWriter(OutputBytes& out, const std::string& header, bool isAdvanced, std::size_t mostBytes)
      : out_(out), isAdvanced_(isAdvanced), mostBytes_(mostBytes) {
    AppendText(out_, fmt::format("{}\n\n[Events]\nFormat: {}, Start, End, Style, Name, MarginL, MarginR, MarginV, "
                                 "Effect, Text\n",
                                 header, isAdvanced ? "Layer" : "Marked"));
  }

  void Write(const TrackSample& sample) override {
    const std::optional<ShownTime> shown = ShownTimeOf(sample);
    std::string fields = SubtitleText(sample.payload);
    ScriptLine line;
    const char* const numberEnd = std::from_chars(fields.data(), fields.data() + fields.size(), line.number).ptr;
    const std::size_t layerAt = static_cast<std::size_t>(numberEnd - fields.data()) + 1;
    const std::size_t layerEnd = layerAt <= fields.size() ? fields.find(',', layerAt) : std::string::npos;
    if (!shown || layerAt == 1 || fields[layerAt - 1] != ',' || layerEnd == std::string::npos) return;
    line.text = fmt::format("Dialogue: {},{},{}{}\n", OneLine(Layer(fields.substr(layerAt, layerEnd - layerAt))),
                            ScriptTime(shown->start), ScriptTime(shown->stop), OneLine(fields.substr(layerEnd)));
    bytes_ += sizeof(ScriptLine) + line.text.size();
    lines_.push_back(std::move(line));
    if (bytes_ >= mostBytes_) WriteLines();
  }

  void Finish() override { WriteLines(); }

 private:
  std::string Layer(std::string layer) const {
    if (!isAdvanced_) return layer.starts_with("Marked=") ? layer : "Marked=0";
    return layer.empty() ? "0" : layer;
  }

  static std::string OneLine(std::string_view text) {
    std::string line;
    for (const char letter : text) letter == '\n' ? line += "\\N" : line += letter;
    return line;
  }

  void WriteLines() {
    std::ranges::stable_sort(lines_, {}, &ScriptLine::number);
    for (const ScriptLine& line : lines_) AppendText(out_, line.text);
    lines_.clear();
    bytes_ = 0;
  }

  OutputBytes& out_;
  const bool isAdvanced_;
  const std::size_t mostBytes_;
  std::vector<ScriptLine> lines_;
  std::size_t bytes_ = 0;
};

}  // namespace

std::optional<TrackForm> SubStationForm(std::string_view privateData, bool isAdvanced, std::size_t mostBytes) {
  std::string header = ScriptHeader(privateData);
  if (header.empty()) return std::nullopt;
  return TrackForm{.name = isAdvanced ? "Advanced SubStation Alpha" : "SubStation Alpha",
                   .extension = isAdvanced ? "ass" : "ssa",
                   .companion = {},
                   .make = [kept = std::move(header), isAdvanced, mostBytes](OutputBytes& out, OutputBytes*) {
                     return std::make_unique<SubStationWriter>(out, kept, isAdvanced, mostBytes);
                   }};
}

}  // namespace vantor::tools
