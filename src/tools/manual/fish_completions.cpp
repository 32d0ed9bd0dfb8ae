#include <fmt/format.h>

#include <string_view>

#include "tools/manual/pages.h"

namespace vantor::tools {
namespace {

std::string FishQuoted(std::string_view text) {
  std::string quoted = "'";
  for (const char c : text) {
    if (c == '\'' || c == '\\') quoted += '\\';
    quoted += c;
  }
  return quoted + "'";
}

std::string FishValue(const OptionWords& option) {
  if (option.value.empty()) return {};
  if (!option.choices.empty()) {
    return fmt::format(" -x -a {}", FishQuoted(fmt::format("{}", fmt::join(option.choices, " "))));
  }
  return option.kind == ValueKind::kFile     ? " -r -F"
         : option.kind == ValueKind::kFolder ? " -x -a '(__fish_complete_directories)'"
                                             : " -x";
}

std::string FishOptions(const CommandWords& words, const std::string& condition) {
  std::string lines;
  for (const OptionWords& option : words.options) {
    if (option.positional) {
      if (option.kind == ValueKind::kFile) lines += fmt::format("complete -c vantor-mkv{} -F\n", condition);
      continue;
    }
    std::string names;
    for (const std::string& name : option.names) {
      names += name.starts_with("--") ? " -l " + name.substr(2) : " -s " + name.substr(1);
    }
    lines += fmt::format("complete -c vantor-mkv{}{}{} -d {}\n", condition, names, FishValue(option),
                         FishQuoted(option.about));
  }
  return lines;
}

}  // namespace

std::string FishCompletions(const CommandWords& tool) {
  std::string names;
  for (const CommandWords& command : tool.commands) names += " " + command.name;
  std::string text = fmt::format(
      "# Completions of vantor-mkv for fish, made of what its --help says.\n\ncomplete -c vantor-mkv -f\n{}",
      FishOptions(tool, ""));
  for (const CommandWords& command : tool.commands) {
    text += fmt::format("\ncomplete -c vantor-mkv -n 'not __fish_seen_subcommand_from{}' -a {} -d {}\n", names,
                        command.name, FishQuoted(command.about));
    text += FishOptions(command, fmt::format(" -n '__fish_seen_subcommand_from {}'", command.name));
  }
  return text;
}

}  // namespace vantor::tools
