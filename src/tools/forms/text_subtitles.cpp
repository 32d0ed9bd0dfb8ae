// SubRip and WebVTT: a time line, the text, and an empty line. So an empty line inside a text would end it, and is
// given a space.
#include <fmt/format.h>

#include "tools/forms/subtitle_forms.h"

namespace vantor::tools {
namespace {

std::string CueTime(std::int64_t time, char separator) {
  const std::int64_t milliseconds = time / 10'000;
  return fmt::format("{:02}:{:02}:{:02}{}{:03}", milliseconds / 3'600'000, milliseconds / 60'000 % 60,
                     milliseconds / 1000 % 60, separator, milliseconds % 1000);
}

std::string WithoutEmptyLines(std::string_view text) {
  std::string lines;
  for (const char letter : text) {
    if (letter == '\n' && (lines.empty() || lines.back() == '\n')) lines += ' ';
    lines += letter;
  }
  return lines;
}

class SubRipWriter final : public TrackWriter {
 public:
  explicit SubRipWriter(OutputBytes& out) : out_(out) {}

  void Write(const TrackSample& sample) override {
    const std::optional<ShownTime> shown = ShownTimeOf(sample);
    const std::string text = WithoutEmptyLines(SubtitleText(sample.payload));
    if (!shown || text.empty()) return;
    AppendText(out_, fmt::format("{}\n{} --> {}\n{}\n\n", ++number_, CueTime(shown->start, ','),
                                 CueTime(shown->stop, ','), text));
  }

  void Finish() override {}

 private:
  OutputBytes& out_;
  std::uint64_t number_ = 0;
};

// A cue of a file's own form has its identifier and settings in two lines of the sample; else they are not in it.
class WebVttWriter final : public TrackWriter {
 public:
  WebVttWriter(OutputBytes& out, std::string_view header) : out_(out), hasCueLines_(header.empty()) {
    AppendText(out_, hasCueLines_ ? "WEBVTT\n\n" : fmt::format("{}\n\n", header));
  }

  void Write(const TrackSample& sample) override {
    const std::optional<ShownTime> shown = ShownTimeOf(sample);
    std::string text = SubtitleText(sample.payload);
    std::string identifier = hasCueLines_ ? TakeLine(text) : std::string();
    std::string settings = hasCueLines_ ? TakeLine(text) : std::string();
    text = WithoutEmptyLines(text);
    if (!shown || text.empty()) return;
    if (!identifier.empty()) identifier += '\n';
    if (!settings.empty()) settings.insert(0, 1, ' ');
    AppendText(out_, fmt::format("{}{} --> {}{}\n{}\n\n", identifier, CueTime(shown->start, '.'),
                                 CueTime(shown->stop, '.'), settings, text));
  }

  void Finish() override {}

 private:
  static std::string TakeLine(std::string& text) {
    std::string line = text.substr(0, text.find('\n'));
    text.erase(0, line.size() + 1);
    return line;
  }

  OutputBytes& out_;
  const bool hasCueLines_;
};

}  // namespace

TrackForm SubRipForm() {
  return TrackForm{.name = "SubRip", .extension = "srt", .companion = {}, .make = [](OutputBytes& out, OutputBytes*) {
                     return std::make_unique<SubRipWriter>(out);
                   }};
}

TrackForm WebVttForm(std::string_view privateData) {
  const auto* const bytes = reinterpret_cast<const std::uint8_t*>(privateData.data());
  std::string header = SubtitleText({bytes, privateData.size()});
  if (!header.starts_with("WEBVTT")) header.clear();
  return TrackForm{.name = "WebVTT",
                   .extension = "vtt",
                   .companion = {},
                   .make = [kept = std::move(header)](OutputBytes& out, OutputBytes*) {
                     return std::make_unique<WebVttWriter>(out, kept);
                   }};
}

}  // namespace vantor::tools
