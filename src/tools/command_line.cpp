#include "tools/command_line.h"

#include <fmt/format.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <iterator>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "tools/command_options.h"
#include "tools/command_walk.h"

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
    "be written, 130 interrupted.\n";

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

ParseResult Stop(int status, std::string message) {
  ParseResult result;
  result.exitStatus = status;
  result.message = std::move(message);
  return result;
}

// Where there is help is said with the command, if one was given.
ParseResult WrongUse(const std::string& what, const std::string& command = {}) {
  return Stop(kExitUsage, fmt::format("{}; see vantor-mkv {}--help", what, command.empty() ? "" : command + " "));
}

// What is wrong with the options of a command, none of which is unknown: in the parser's words where there are none
// that say it better.
std::string OptionsText(const CLI::App& command, const CLI::ParseError& error) {
  constexpr std::string_view kExcludes = " excludes ";
  std::string text = error.what();
  if (error.get_name() == "RequiredError") return command.get_name() + " wants the name of a file";
  if (const std::size_t at = text.find(kExcludes); at != std::string::npos && error.get_name() == "ExcludesError") {
    return text.replace(at, kExcludes.size(), " and ") + " exclude each other";
  }
  if (const std::size_t at = text.find(": "); at != std::string::npos && error.get_name() == "ArgumentMismatch") {
    return text.substr(0, at) + (text.ends_with("missing") ? " wants a value" : " may be given once");
  }
  return text;
}

// What the parser refused, in words of this tool where its own would not say enough.
std::string RefusalText(const CLI::App& app, const CLI::ParseError& error) {
  if (app.get_subcommands().empty()) {
    const std::vector<std::string> unknown = app.remaining();
    const std::string commands = CommandsText(app);
    return unknown.empty() ? "a command is wanted: " + commands
                           : "there is no \"" + unknown.front() + "\": " + commands + " is wanted";
  }
  const CLI::App& given = *app.get_subcommands().front();
  const std::vector<std::string> left = app.remaining(true);
  const auto unknown = std::find_if(left.begin(), left.end(), [](const auto& word) { return word.starts_with('-'); });
  if (unknown != left.end()) return given.get_name() + " has no option " + *unknown;
  if (left.empty()) return OptionsText(given, error);
  const char* const takes = given.get_option_no_throw("FILE") != nullptr ? "file" : "command";
  if (given.get_options([](const CLI::Option* option) { return option->get_positional(); }).empty()) {
    return given.get_name() + " takes no file, and \"" + left.front() + "\" was given";
  }
  return fmt::format("{} takes one {} at a time, and \"{}\" is one more", given.get_name(), takes, left.front());
}

// The help of a command that was asked for by name; the tool's own for none.
ParseResult HelpWith(const CLI::App& app, const std::string& wanted, const std::string& help, const char* program) {
  if (wanted.empty()) return Stop(kExitDone, help);
  const auto isAsked = [&](const CLI::App* command) { return command->get_name() == wanted; };
  if (app.get_subcommands(isAsked).empty()) {
    return WrongUse("there is no \"" + wanted + "\": " + CommandsText(app) + " is wanted");
  }
  const char* const asked[] = {program, wanted.c_str(), "--help"};
  return ParseCommandLine(static_cast<int>(std::size(asked)), asked);
}

// The refusal of an option that is given as "--name=", as a shell leaves it of a variable that is not set, but wants a
// value: the parser would take the next word for that.
std::optional<ParseResult> RefuseWithoutValue(const CLI::App& app, int argc, const char* const* argv) {
  const CLI::App* command = nullptr;
  for (int i = 1; i < argc && std::string_view(argv[i]) != "--"; ++i) {
    const std::string word = argv[i];
    if (command == nullptr && !word.starts_with('-')) {
      const auto named = app.get_subcommands([&](const CLI::App* one) { return one->get_name() == word; });
      if (!named.empty()) command = named.front();
    }
    if (!word.starts_with("--") || word.find('=') != word.size() - 1) continue;
    const std::string name = word.substr(0, word.size() - 1);
    const CLI::Option* option = command == nullptr ? nullptr : command->get_option_no_throw(name);
    if (option == nullptr) option = app.get_option_no_throw(name);
    if (option == nullptr || option->get_items_expected_max() == 0) continue;
    return WrongUse(name + " wants a value", command == nullptr ? std::string() : command->get_name());
  }
  return std::nullopt;
}

}  // namespace

ParseResult ParseCommandLine(int argc, const char* const* argv, CommandWords* words) {
  CLI::App app(kAbout, "vantor-mkv");
  Options options;
  app.allow_windows_style_options(false);  // a path may begin with a slash on every system
  app.set_version_flag("--version", "vantor-mkv " VANTOR_VERSION);
  app.add_option("--component", options.component, "Use this component instead of the one beside the tool")
      ->type_name("PATH");
  app.add_flag("--complete", options.complete, "Use the complete component, which plays more of what files hold");
  app.fallthrough();
  app.require_subcommand(1);
  std::string helpWanted;
  CLI::App* const helpCommand = app.add_subcommand("help", "Show this, or what there is to a command");
  helpCommand->add_option("COMMAND", helpWanted, "The command")->type_name("");
  DeclareCommands(app, options);
  if (words != nullptr) {
    *words = WordsOf(app);
    return {};
  }
  if (const auto refusal = RefuseWithoutValue(app, argc, argv)) return *refusal;
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
    const std::vector<CLI::App*> given = app.get_subcommands();
    return WrongUse(RefusalText(app, error), given.empty() ? std::string() : given.front()->get_name());
  }
  if (helpCommand->parsed()) return HelpWith(app, helpWanted, help, argv[0]);
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
