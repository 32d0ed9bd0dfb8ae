#include "tools/command_line.h"

#include <CLI/CLI.hpp>
#include <charconv>
#include <cmath>
#include <string_view>
#include <tuple>
#include <utility>
#include <vector>

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
    "  vantor-mkv samples movie.mkv                 every sample, as JSON Lines\n"
    "  vantor-mkv samples --seek 50000000 a.mkv     from 5 seconds on (100 ns units)\n"
    "  vantor-mkv samples --seek 0:20000000 a.mkv   the first 2 seconds\n"
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

void AddFile(CLI::App* command, Options& options) {
  command->add_option("FILE", options.file, "The media file")->required()->type_name("");
}

ParseResult Stop(int status, std::string message) {
  ParseResult result;
  result.exitStatus = status;
  result.message = std::move(message);
  return result;
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
ParseResult ParseCommandLine(int argc, const char* const* argv) {
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
  app.add_subcommand("help", "Show this");

  CLI::App* info =
      app.add_subcommand("info", "What is in the file and what the filter makes of it: tracks, pins, durations");
  info->add_option("FILE", options.files, "The media files")->required()->type_name("");
  info->add_flag("--json", options.json, "Print one JSON object for each file");

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

  std::string from;
  std::string to;
  CLI::App* play = app.add_subcommand("play", "Run the file, or a part of it, and sum up each stream");
  AddFile(play, options);
  CLI::Option* fromOption =
      play->add_option("--from", from, "Seek there first: seconds, M:SS or H:MM:SS, with or without a fraction")
          ->type_name("TIME");
  CLI::Option* toOption = play->add_option("--to", to, "End at the first key frame from there on")->type_name("TIME");

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
      return WrongUse(unknown.empty()
                          ? "a command is wanted: info, check, samples or play"
                          : "there is no \"" + unknown.front() + "\": info, check, samples or play is wanted");
    }
    return WrongUse(error.what());
  }

  if (app.got_subcommand("help")) {
    return Stop(kExitDone, help);
  }
  options.command = info->parsed()      ? Command::kInfo
                    : check->parsed()   ? Command::kCheck
                    : samples->parsed() ? Command::kSamples
                                        : Command::kPlay;
  if (seekOption->count() > 0) {
    options.seek = ParseSeek(seek);
    if (!options.seek) {
      return WrongUse("--seek wants START or START:STOP, whole numbers of 100 ns, not \"" + seek + "\"");
    }
  }
  for (const auto& [option, text, time] :
       {std::tuple(fromOption, &from, &options.from), std::tuple(toOption, &to, &options.to)}) {
    if (option->count() > 0) {
      *time = ParseTime(*text);
      if (!*time) {
        return WrongUse(option->get_name() + " wants a time such as 90, 1:30 or 00:01:30.5, not \"" + *text + "\"");
      }
    }
  }
  if (options.to && *options.to < options.from.value_or(0)) {
    return WrongUse("--to lies before --from");
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

}  // namespace vantor::tools
