#include <fmt/format.h>

#include <string_view>

#include "tools/manual/pages.h"

namespace vantor::tools {
namespace {

// Within single quotes, where colons and brackets have a meaning.
std::string ZshQuoted(std::string_view text) {
  std::string quoted;
  for (const char c : text) {
    if (c == '\'') {
      quoted += "'\\''";
    } else {
      if (c == ':' || c == '[' || c == ']' || c == '\\') quoted += '\\';
      quoted += c;
    }
  }
  return quoted;
}

std::string ZshValue(const OptionWords& option) {
  if (option.value.empty()) return {};
  if (!option.choices.empty()) return fmt::format(":{}:({})", ZshQuoted(option.value), fmt::join(option.choices, " "));
  return fmt::format(":{}:{}", ZshQuoted(option.value),
                     option.kind == ValueKind::kFile     ? "_files"
                     : option.kind == ValueKind::kFolder ? "_files -/"
                                                         : " ");
}

// An argument of _arguments a line: an option, all of its names excluding each other, or what stands for no option.
std::string ZshSpecs(const CommandWords& words, const std::string& indent) {
  std::string specs;
  for (const OptionWords& option : words.options) {
    if (option.positional) {
      specs += fmt::format("{}'{}{}' \\\n", indent, option.repeated ? "*" : "", ZshValue(option));
      continue;
    }
    for (const std::string& name : option.names) {
      specs += fmt::format(
          "{}'{}{}{}[{}]{}' \\\n", indent, option.repeated ? "*" : fmt::format("({})", fmt::join(option.names, " ")),
          name, option.value.empty() || !name.starts_with("--") ? "" : "=", ZshQuoted(option.about), ZshValue(option));
    }
  }
  return specs;
}

}  // namespace

std::string ZshCompletions(const CommandWords& tool) {
  std::string commands;
  std::string cases;
  for (const CommandWords& command : tool.commands) {
    commands += fmt::format("    '{}:{}'\n", command.name, ZshQuoted(command.about));
    cases += fmt::format("        {})\n          _arguments -s \\\n{}{}            && return\n          ;;\n",
                         command.name, ZshSpecs(command, "            "), ZshSpecs(tool, "            "));
  }
  return fmt::format(
      "#compdef vantor-mkv\n# Completions of vantor-mkv for zsh, made of what its --help says.\n\n"
      "_vantor-mkv() {{\n  local curcontext=$curcontext state line\n  local -A opt_args\n  local -a commands=(\n{}  )\n"
      "  _arguments -s -C \\\n{}    '1:command:->command' \\\n    '*::argument:->argument' && return\n"
      "  case $state in\n    command) _describe command commands ;;\n    argument)\n      case $line[1] in\n{}"
      "      esac\n      ;;\n  esac\n}}\n\n_vantor-mkv \"$@\"\n",
      commands, ZshSpecs(tool, "    "), cases);
}

}  // namespace vantor::tools
