#include "tools/command_line.h"

#include <fmt/format.h>

#include <CLI/CLI.hpp>
#include <charconv>
#include <cmath>
#include <iterator>
#include <string_view>
#include <tuple>
#include <utility>
#include <vector>

#include "tools/command_walk.h"
#include "tools/time_text.h"

namespace vantor::tools {
namespace {

constexpr const char* kAbout =
    "Shows what the Vantor MKV Demultiplexer makes of a Matroska or WebM file.\n"
    "\n"
    "Examples:\n"
    "  vantor-mkv info movie.mkv                    streams, codecs, sizes, rates\n"
    "  vantor-mkv info --json movie.mkv             the same for programs\n"
    "  vantor-mkv check movie.mkv                   what does not play as it should, why, and what to do\n"
    "  vantor-mkv check --deep *.mkv                the same, with every packet compared\n"
    "  vantor-mkv play movie.mkv                    run the whole file and count what comes\n"
    "  vantor-mkv play --complete movie.mkv         the same by the complete component\n"
    "  vantor-mkv play --from 1:30 --to 2:00 a.mkv  half a minute of it\n"
    "  vantor-mkv extract --pin 2 movie.mkv         one stream, as a file that players open\n"
    "  vantor-mkv extract --all -d parts movie.mkv  all streams, each a file in that folder\n"
    "  vantor-mkv chapters --format xml movie.mkv   the chapters as mkvmerge reads them\n"
    "  vantor-mkv attachments --extract -d fonts movie.mkv   the files within the file\n"
    "  vantor-mkv samples movie.mkv                 every sample, as JSON Lines\n"
    "  vantor-mkv samples --seek 50000000 a.mkv     from 5 seconds on (100 ns units)\n"
    "  vantor-mkv samples --seek 0:20000000 a.mkv   the first 2 seconds\n"
    "  vantor-mkv report movie.mkv -o movie.html    a picture of the file, as a page for a browser\n"
    "  vantor-mkv doctor                            whether the component is there, works and is registered\n"
    "\n"
    "Exit status: 0 done, 1 the file was refused, or the filter announced an error or lost frames, or check found\n"
    "errors, 2 wrong use, no component, or a fault of the system: a read that failed, no memory, output that cannot\n"
    "be written.\n";

std::optional<std::int64_t> WholeNumber(std::string_view text) {
  std::int64_t value = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
  if (error != std::errc() || end != text.data() + text.size()) {
    return std::nullopt;
  }
  return value;
}

std::optional<double> ParseRate(std::string_view text) {
  double value = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
  if (error != std::errc() || end != text.data() + text.size() || !std::isfinite(value) || value <= 0) {
    return std::nullopt;
  }
  return value;
}

std::optional<ChapterFormat> ParseChapterFormat(std::string_view text) {
  if (text == "text") return ChapterFormat::kText;
  if (text == "xml") return ChapterFormat::kXml;
  if (text == "ffmetadata") return ChapterFormat::kMetadata;
  return std::nullopt;
}

void AddFile(CLI::App* command, Options& options) {
  command->add_option("FILE", options.file, "The media file")->required()->type_name("");
}

// The part of the file, for the commands that run through it.
struct RangeTexts {
  std::string from;
  std::string to;
};

void AddRange(CLI::App* command, RangeTexts& range) {
  command->add_option("--from", range.from, "Seek there first: seconds, M:SS or H:MM:SS, with or without a fraction")
      ->type_name("TIME");
  command->add_option("--to", range.to, "End at the first key frame from there on")->type_name("TIME");
}

CLI::App* AddExtract(CLI::App& app, Options& options, RangeTexts& range) {
  ExtractRequest& request = options.extract;
  CLI::App* const command = app.add_subcommand("extract", "Write what the pins deliver, as files that players open");
  AddFile(command, options);
  CLI::Option* const pin = command->add_option("--pin", request.pins, "The pin of that number; may be repeated");
  CLI::Option* const track =
      command->add_option("--track", request.tracks, "The pin of the track of that number; may be repeated");
  CLI::Option* const all = command->add_flag("--all", request.all, "Every pin");
  pin->type_name("N")->allow_extra_args(false)->excludes(all);
  track->type_name("N")->allow_extra_args(false)->excludes(pin)->excludes(all);
  CLI::Option* const output =
      command->add_option("-o,--output", request.output, "The file to write; - for standard output");
  output->type_name("FILE");
  command->add_option("-d,--folder", request.folder, "Write files with names of their own into this folder")
      ->type_name("FOLDER")
      ->excludes(output);
  command->add_flag("--force", request.force, "Overwrite files");
  command->add_flag("--raw", request.raw, "Write what has no form of its own as samples and a JSON index of them");
  AddRange(command, range);
  return command;
}

void AddInfo(CLI::App& app, Options& options) {
  CLI::App* info =
      app.add_subcommand("info", "What is in the file and what the filter makes of it: tracks, pins, durations");
  info->add_option("FILE", options.files, "The media files")->required()->type_name("");
  info->add_flag("--chapters", options.wanted.chapters, "Show the chapters, too");
  info->add_flag("--tags", options.wanted.tags, "Show the tags, too");
  info->add_flag("--attachments", options.wanted.attachments, "Show the attached files, too");
  info->add_flag("--json", options.json, "Print one JSON object for each file");
  info->parse_complete_callback([&options] { options.command = Command::kInfo; });
}

void AddAttachments(CLI::App& app, Options& options) {
  CLI::App* attachments = app.add_subcommand("attachments", "The files within the file, and their bytes");
  AddFile(attachments, options);
  CLI::Option* extract = attachments->add_flag("--extract", options.attachments.extract, "Write them");
  attachments->add_option("-d,--folder", options.attachments.folder, "Where to; the current folder without it")
      ->type_name("FOLDER")
      ->needs(extract);
  attachments->add_flag("--force", options.attachments.force, "Overwrite files of the same names")->needs(extract);
  attachments->add_flag("--json", options.json, "Print one JSON object");
  attachments->parse_complete_callback([&options] { options.command = Command::kAttachments; });
}

void AddChapters(CLI::App& app, Options& options) {
  CLI::App* chapters = app.add_subcommand("chapters", "The chapters, for people and for other programs");
  AddFile(chapters, options);
  const auto take = [&options](const std::string& text) {
    const std::optional<ChapterFormat> format = ParseChapterFormat(text);
    if (!format) {
      throw CLI::ValidationError("--format wants text, xml or ffmetadata, not \"" + text + "\"");
    }
    options.chapterFormat = *format;
  };
  chapters->add_option_function<std::string>("--format", take, "text, xml (for mkvmerge) or ffmetadata (for ffmpeg)")
      ->type_name("FORMAT");
  chapters->parse_complete_callback([&options] { options.command = Command::kChapters; });
}

// "info, check or play"
std::string CommandsText(const CLI::App& app) {
  std::vector<std::string> names;
  for (const CLI::App* command : app.get_subcommands(nullptr)) {
    if (command->get_name() != "help") names.push_back(command->get_name());
  }
  const std::string last = names.back();
  names.pop_back();
  return fmt::format("{} or {}", fmt::join(names, ", "), last);
}

void AddDoctor(CLI::App& app, Options& options) {
  CLI::App* doctor = app.add_subcommand("doctor", "Whether the component is there, works and is registered");
  doctor->add_flag("--json", options.json, "Print one JSON object");
  doctor->parse_complete_callback([&options] { options.command = Command::kDoctor; });
}

void AddReport(CLI::App& app, Options& options) {
  CLI::App* report = app.add_subcommand("report", "A picture of the file: a page for a browser");
  AddFile(report, options);
  report->add_option("-o", options.output, "The page to write; \"-\" is standard output")->type_name("PATH");
  report->add_flag("--json", options.json, "Write the data as one JSON object, to standard output without -o");
  report->add_flag("--force", options.force, "Overwrite a file that is there");
  report->parse_complete_callback([&options] { options.command = Command::kReport; });
}

ParseResult Stop(int status, std::string message) {
  ParseResult result;
  result.exitStatus = status;
  result.message = std::move(message);
  return result;
}

// What is wrong with them; nothing if they are fine.
std::string ParseRange(const CLI::App& command, const RangeTexts& range, Options& options) {
  for (const auto& [name, text, time] :
       {std::tuple("--from", &range.from, &options.from), std::tuple("--to", &range.to, &options.to)}) {
    if (command.count(name) == 0) continue;
    *time = ParseTime(*text);
    if (!*time) {
      return std::string(name) + " wants a time such as 90, 1:30 or 00:01:30.5, not \"" + *text + "\"";
    }
  }
  return options.to && *options.to < options.from.value_or(0) ? "--to lies before --from" : std::string();
}

ParseResult WrongUse(const std::string& what) { return Stop(kExitUsage, what + "; see vantor-mkv --help"); }

}  // namespace

std::optional<SeekRequest> ParseSeek(const std::string& text) {
  const std::size_t colon = text.find(':');
  const std::string_view whole(text);
  SeekRequest request;
  const std::optional<std::int64_t> start = WholeNumber(whole.substr(0, colon));
  if (!start) {
    return std::nullopt;
  }
  request.start = *start;
  if (colon != std::string::npos) {
    request.stop = WholeNumber(whole.substr(colon + 1));
    if (!request.stop) {
      return std::nullopt;
    }
  }
  return request;
}

// Numbers with a form of their own are taken as text and read here, where the message can say what was wanted.
ParseResult ParseCommandLine(int argc, const char* const* argv, CommandWords* words) {
  CLI::App app(kAbout, "vantor-mkv");
  Options options;
  std::string seek;
  std::string rate;
  app.allow_windows_style_options(false);  // a path may begin with a slash on every system
  app.set_version_flag("--version", "vantor-mkv " VANTOR_VERSION);
  app.add_option("--component", options.component, "Use this component instead of the one beside the tool")
      ->type_name("PATH");
  app.add_flag("--complete", options.complete, "Use the complete component, which plays more of what files hold");
  app.fallthrough();
  app.require_subcommand(1);
  std::string helpWanted;
  CLI::App* helpCommand = app.add_subcommand("help", "Show this, or what there is to a command");
  helpCommand->add_option("COMMAND", helpWanted, "The command")->type_name("");

  AddInfo(app, options);

  CLI::App* check = app.add_subcommand("check", "What does not play as it should, why, and what to do");
  check->add_option("FILE", options.files, "The media files")->required()->type_name("");
  check->add_flag("--deep", options.deep, "Play the files and compare every packet");
  check->add_flag("--strict", options.strict, "Warnings give exit status 1, too");
  check->add_flag("--json", options.json, "Print one JSON object a line for each file");

  CLI::App* samples = app.add_subcommand("samples", "Everything that the filter delivers, as JSON Lines");
  AddFile(samples, options);
  CLI::Option* seekOption =
      samples->add_option("--seek", seek, "Seek before running; absolute positions in 100 ns units")
          ->type_name("START[:STOP]");
  CLI::Option* rateOption = samples->add_option("--rate", rate, "Set the playback rate before running")->type_name("R");

  RangeTexts range;
  CLI::App* extract = AddExtract(app, options, range);
  CLI::App* play = app.add_subcommand("play", "Run the file, or a part of it, and sum up each stream");
  AddFile(play, options);
  AddRange(play, range);

  AddAttachments(app, options);
  AddChapters(app, options);
  AddDoctor(app, options);
  AddReport(app, options);

  if (words != nullptr) {
    *words = WordsOf(app);
    return {};
  }
  const std::string help = app.help();  // later it would be that of the command given
  try {
    app.parse(argc, argv);
  } catch (const CLI::CallForHelp&) {
    return Stop(kExitDone, app.help());
  } catch (const CLI::CallForAllHelp&) {
    return Stop(kExitDone, app.help("", CLI::AppFormatMode::All));
  } catch (const CLI::CallForVersion& version) {
    return Stop(kExitDone, std::string(version.what()) + "\n");
  } catch (const CLI::ParseError& error) {
    if (app.get_subcommands().empty()) {
      const std::vector<std::string> unknown = app.remaining();
      const std::string commands = CommandsText(app);
      return WrongUse(unknown.empty() ? "a command is wanted: " + commands
                                      : "there is no \"" + unknown.front() + "\": " + commands + " is wanted");
    }
    const CLI::App* const given = app.get_subcommands().front();
    const std::vector<std::string> left = app.remaining(true);
    if (!left.empty() && !left.front().starts_with('-') && given->get_option_no_throw("FILE") != nullptr) {
      return WrongUse(given->get_name() + " takes one file at a time, and \"" + left.front() + "\" is one more");
    }
    return WrongUse(error.what());
  }

  if (app.got_subcommand("help")) {
    if (helpWanted.empty()) return Stop(kExitDone, help);
    const auto isAsked = [&](const CLI::App* command) { return command->get_name() == helpWanted; };
    if (std::as_const(app).get_subcommands(isAsked).empty()) return WrongUse("there is no \"" + helpWanted + "\"");
    const char* const asked[] = {argv[0], helpWanted.c_str(), "--help"};
    return ParseCommandLine(static_cast<int>(std::size(asked)), asked);
  }
  if (check->parsed()) options.command = Command::kCheck;
  if (samples->parsed()) options.command = Command::kSamples;
  if (extract->parsed()) options.command = Command::kExtract;
  if (play->parsed()) options.command = Command::kPlay;
  if (options.command == Command::kReport && options.output.empty() && !options.json) {
    return WrongUse("report wants -o and the page to write, as in -o report.html");
  }
  if (seekOption->count() > 0) {
    options.seek = ParseSeek(seek);
    if (!options.seek) {
      return WrongUse("--seek wants START or START:STOP, whole numbers of 100 ns, not \"" + seek + "\"");
    }
  }
  CLI::App* const given = app.get_subcommands().front();
  if (given == play || given == extract) {
    if (const std::string wrong = ParseRange(*given, range, options); !wrong.empty()) return WrongUse(wrong);
  }
  if (rateOption->count() > 0) {
    options.rate = ParseRate(rate);
    if (!options.rate) {
      return WrongUse("--rate wants a number above 0, not \"" + rate + "\"");
    }
  }
  ParseResult result;
  result.options = std::move(options);
  return result;
}

CommandWords DescribeCommandLine() {
  CommandWords words;
  ParseCommandLine(0, nullptr, &words);
  return words;
}

}  // namespace vantor::tools
