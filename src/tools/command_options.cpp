// What a command wants is declared in a function of its own, and the table at the end has them all. Values with a form
// of their own are taken as text and read here, where the message can say what was wanted.
#include "tools/command_options.h"

#include <fmt/format.h>

#include <charconv>
#include <cmath>
#include <functional>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>
#include <vector>

#include "tools/time_text.h"

namespace vantor::tools {
namespace {

// Read as the widest of its kind, then narrowed.
template <typename Number>
std::optional<Number> ParseNumber(std::string_view text) {
  std::conditional_t<std::is_integral_v<Number>, std::int64_t, Number> value = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
  if (error != std::errc() || end != text.data() + text.size()) return std::nullopt;
  if constexpr (std::is_integral_v<Number>) {
    if (!std::in_range<Number>(value)) return std::nullopt;
  }
  return static_cast<Number>(value);
}

std::optional<double> ParseRate(const std::string& text) {
  const std::optional<double> value = ParseNumber<double>(text);
  return value && std::isfinite(*value) && *value > 0 ? value : std::nullopt;
}

std::optional<ChapterFormat> ParseChapterFormat(const std::string& text) {
  if (text == "text") return ChapterFormat::kText;
  if (text == "xml") return ChapterFormat::kXml;
  if (text == "ffmetadata") return ChapterFormat::kMetadata;
  return std::nullopt;
}

// What the text stands for, or an error that says what the option wants.
template <typename Parse>
auto Parsed(const std::string& option, const std::string& wanted, const std::string& text, Parse&& parse) {
  const auto value = parse(text);
  if (!value) throw CLI::ValidationError(fmt::format("{} wants {}, not \"{}\"", option, wanted, text));
  return *value;
}

// An option whose value is read by the callable, which gives nothing for a text that is none.
template <typename Target, typename Parse>
CLI::Option* AddParsed(CLI::App* command, const std::string& name, Target& target, const std::string& wanted,
                       const std::string& about, Parse&& parse) {
  return command->add_option_function<std::string>(
      name, [=, &target](const std::string& text) { target = Parsed(name, wanted, text, parse); }, about);
}

// The same of an option that may be given several times, a number each.
template <typename Number>
CLI::Option* AddNumbers(CLI::App* command, const std::string& name, std::vector<Number>& target,
                        const std::string& wanted, const std::string& about) {
  const auto take = [=, &target](const std::vector<std::string>& texts) {
    target.clear();
    for (const std::string& text : texts) target.push_back(Parsed(name, wanted, text, ParseNumber<Number>));
  };
  return command->add_option_function<std::vector<std::string>>(name, take, about)
      ->type_name("N")
      ->allow_extra_args(false);
}

void AddFile(CLI::App* command, Options& options) {
  command->add_option("FILE", options.file, "The media file")->required()->type_name("");
}

void AddFiles(CLI::App* command, Options& options) {
  command->add_option("FILE", options.files, "The media files")->required()->type_name("");
}

CLI::App* AddCommand(CLI::App& app, Options& options, Command which, const char* name, const char* about) {
  CLI::App* const command = app.add_subcommand(name, about);
  command->parse_complete_callback([&options, which] { options.command = which; });
  return command;
}

// An option that names what is written. An empty name, which comes of a variable that is not set, names nothing, and a
// word that looks like an option is not meant to be a name ("./-x" may be one).
CLI::Option* AddPath(CLI::App* command, const std::string& names, std::string& target, const std::string& wanted,
                     const std::string& about) {
  const std::string shown = names.substr(0, names.find(','));
  const auto take = [=, &target](const std::string& text) {
    if (text.empty() || (text.front() == '-' && text != "-")) {
      throw CLI::ValidationError(fmt::format("{} wants the name of {}", shown, wanted));
    }
    target = text;
  };
  return command->add_option_function<std::string>(names, take, about);
}

// The part of the file, for the commands that run through it.
void AddRange(CLI::App* command, Options& options, Command which) {
  constexpr const char* kWanted = "a time such as 90, 1:30 or 00:01:30.5";
  AddParsed(command, "--from", options.from, kWanted,
            "Seek there first: seconds, M:SS or H:MM:SS, with or without a fraction", ParseTime)
      ->type_name("TIME");
  AddParsed(command, "--to", options.to, kWanted, "End at the first key frame from there on", ParseTime)
      ->type_name("TIME");
  command->parse_complete_callback([&options, which] {
    options.command = which;
    if (options.to && *options.to < options.from.value_or(0)) throw CLI::ValidationError("--to lies before --from");
  });
}

void AddInfo(CLI::App& app, Options& options) {
  CLI::App* const info = AddCommand(app, options, Command::kInfo, "info",
                                    "What is in the file and what the filter makes of it: tracks, pins, durations");
  AddFiles(info, options);
  info->add_flag("--chapters", options.wanted.chapters, "Show the chapters, too");
  info->add_flag("--tags", options.wanted.tags, "Show the tags, too");
  info->add_flag("--attachments", options.wanted.attachments, "Show the attached files, too");
  info->add_flag("--json", options.json, "Print one JSON object for each file");
}

void AddCheck(CLI::App& app, Options& options) {
  CLI::App* const check =
      AddCommand(app, options, Command::kCheck, "check", "What does not play as it should, why, and what to do");
  AddFiles(check, options);
  check->add_flag("--deep", options.deep, "Play the files and compare every packet");
  check->add_flag("--strict", options.strict, "Warnings give exit status 1, too");
  check->add_flag("--json", options.json, "Print one JSON object a line for each file");
}

void AddSamples(CLI::App& app, Options& options) {
  CLI::App* const samples =
      AddCommand(app, options, Command::kSamples, "samples", "Everything that the filter delivers, as JSON Lines");
  AddFile(samples, options);
  AddParsed(samples, "--seek", options.seek, "START or START:STOP, whole numbers of 100 ns",
            "Seek before running; absolute positions in 100 ns units", ParseSeek)
      ->type_name("START[:STOP]");
  AddParsed(samples, "--rate", options.rate, "a number above 0", "Set the playback rate before running", ParseRate)
      ->type_name("R");
}

void AddExtract(CLI::App& app, Options& options) {
  ExtractRequest& request = options.extract;
  CLI::App* const extract =
      AddCommand(app, options, Command::kExtract, "extract", "Write what the pins deliver, as files that players open");
  AddFile(extract, options);
  CLI::Option* const pin = AddNumbers(extract, "--pin", request.pins, "the number of a pin, as info shows it",
                                      "The pin of that number; may be repeated");
  CLI::Option* const track = AddNumbers(extract, "--track", request.tracks, "the number of a track, as info shows it",
                                        "The pin of the track of that number; may be repeated");
  CLI::Option* const all = extract->add_flag("--all", request.all, "Every pin");
  pin->excludes(all);
  track->excludes(pin)->excludes(all);
  CLI::Option* const output =
      AddPath(extract, "-o,--output", request.output, "a file", "The file to write; - for standard output");
  output->type_name("FILE");
  AddPath(extract, "-d,--folder", request.folder, "a folder", "Write files with names of their own into this folder")
      ->type_name("FOLDER")
      ->excludes(output);
  extract->add_flag("--force", request.force, "Overwrite files");
  extract->add_flag("--raw", request.raw, "Write what has no form of its own as samples and a JSON index of them");
  AddRange(extract, options, Command::kExtract);
}

void AddPlay(CLI::App& app, Options& options) {
  CLI::App* const play =
      AddCommand(app, options, Command::kPlay, "play", "Run the file, or a part of it, and sum up each stream");
  AddFile(play, options);
  AddRange(play, options, Command::kPlay);
}

void AddAttachments(CLI::App& app, Options& options) {
  CLI::App* const attachments =
      AddCommand(app, options, Command::kAttachments, "attachments", "The files within the file, and their bytes");
  AddFile(attachments, options);
  CLI::Option* const extract = attachments->add_flag("--extract", options.attachments.extract, "Write them");
  AddPath(attachments, "-d,--folder", options.attachments.folder, "a folder", "Where to; the current folder without it")
      ->type_name("FOLDER")
      ->needs(extract);
  attachments->add_flag("--force", options.attachments.force, "Overwrite files of the same names")->needs(extract);
  attachments->add_flag("--json", options.json, "Print one JSON object");
}

void AddChapters(CLI::App& app, Options& options) {
  CLI::App* const chapters =
      AddCommand(app, options, Command::kChapters, "chapters", "The chapters, for people and for other programs");
  AddFile(chapters, options);
  AddParsed(chapters, "--format", options.chapterFormat, "text, xml or ffmetadata",
            "text, xml (for mkvmerge) or ffmetadata (for ffmpeg)", ParseChapterFormat)
      ->type_name("FORMAT");
}

void AddDoctor(CLI::App& app, Options& options) {
  CLI::App* const doctor =
      AddCommand(app, options, Command::kDoctor, "doctor", "Whether the component is there, works and is registered");
  doctor->add_flag("--json", options.json, "Print one JSON object");
}

void AddReport(CLI::App& app, Options& options) {
  CLI::App* const report =
      AddCommand(app, options, Command::kReport, "report", "A picture of the file: a page for a browser");
  AddFile(report, options);
  AddPath(report, "-o", options.output, "a file", "The page to write; \"-\" is standard output")->type_name("PATH");
  report->add_flag("--json", options.json, "Write the data as one JSON object, to standard output without -o");
  report->add_flag("--force", options.force, "Overwrite a file that is there");
  report->parse_complete_callback([&options] {
    options.command = Command::kReport;
    if (options.output.empty() && !options.json) {
      throw CLI::ValidationError("report wants -o and the page to write, as in -o report.html");
    }
  });
}

// As help shows them.
constexpr void (*kCommands[])(CLI::App&, Options&) = {AddInfo,        AddCheck,    AddSamples, AddExtract, AddPlay,
                                                      AddAttachments, AddChapters, AddDoctor,  AddReport};

}  // namespace

std::optional<SeekRequest> ParseSeek(const std::string& text) {
  const std::size_t colon = text.find(':');
  const std::string_view whole(text);
  const std::optional<std::int64_t> start = ParseNumber<std::int64_t>(whole.substr(0, colon));
  if (!start) return std::nullopt;
  SeekRequest request;
  request.start = *start;
  if (colon != std::string::npos) {
    request.stop = ParseNumber<std::int64_t>(whole.substr(colon + 1));
    if (!request.stop) return std::nullopt;
  }
  return request;
}

void DeclareCommands(CLI::App& app, Options& options) {
  for (const auto declare : kCommands) declare(app, options);
}

}  // namespace vantor::tools
