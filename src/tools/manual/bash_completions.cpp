#include <fmt/format.h>

#include "tools/manual/pages.h"

namespace vantor::tools {
namespace {

// What follows is written once for all commands; the tables that it asks are made of the words.
constexpr const char* kBashEngine = R"bash(_vantor_mkv() {
  local word=${COMP_WORDS[COMP_CWORD]} before=${COMP_WORDS[COMP_CWORD - 1]} command= index value
  # "--option=value" comes in three words.
  if [[ $word == = ]]; then
    word=
  elif [[ $before == = ]]; then
    before=${COMP_WORDS[COMP_CWORD - 2]}
  fi
  for ((index = 1; index < COMP_CWORD; ++index)); do
    if [[ ${COMP_WORDS[index]} != -* ]]; then
      command=${COMP_WORDS[index]}
      break
    fi
    if [[ -n $(_vantor_mkv_value "" "${COMP_WORDS[index]}") ]]; then
      ((++index))
      [[ ${COMP_WORDS[index]} != = ]] || ((++index))
    fi
  done
  COMPREPLY=()
  value=$(_vantor_mkv_value "$command" "$before")
  if [[ -z $value && $word == -* ]]; then
    mapfile -t COMPREPLY < <(compgen -W "$(_vantor_mkv_options "$command")" -- "$word")
    return
  fi
  [[ -n $value ]] || value=$(_vantor_mkv_argument "$command")
  case $value in
    file)
      compopt -o filenames 2>/dev/null
      mapfile -t COMPREPLY < <(compgen -f -- "$word")
      ;;
    folder)
      compopt -o filenames 2>/dev/null
      mapfile -t COMPREPLY < <(compgen -d -- "$word")
      ;;
    words\ *) mapfile -t COMPREPLY < <(compgen -W "${value#words }" -- "$word") ;;
  esac
}
complete -F _vantor_mkv vantor-mkv
)bash";

std::string BashValue(const OptionWords& option) {
  if (!option.choices.empty()) return fmt::format("'words {}'", fmt::join(option.choices, " "));
  return option.kind == ValueKind::kFile ? "file" : option.kind == ValueKind::kFolder ? "folder" : "text";
}

// The lines of a table that say what the options of a command take.
std::string BashValues(const std::string& command, const CommandWords& words) {
  std::string lines;
  for (const OptionWords& option : words.options) {
    if (option.positional || option.value.empty()) continue;
    std::string pattern;
    for (const std::string& name : option.names) {
      pattern += fmt::format("{}{}:{}", pattern.empty() ? "" : " | ", command, name);
    }
    lines += fmt::format("    {}) echo {} ;;\n", pattern, BashValue(option));
  }
  return lines;
}

std::string BashNames(const CommandWords& words) {
  std::string names;
  for (const OptionWords& option : words.options) {
    if (!option.positional) names += fmt::format("{} ", fmt::join(option.names, " "));
  }
  if (!names.empty()) names.pop_back();
  return names;
}

std::string BashArgument(const CommandWords& command) {
  for (const OptionWords& option : command.options) {
    if (option.positional) return BashValue(option);
  }
  return {};
}

}  // namespace

std::string BashCompletions(const CommandWords& tool) {
  std::string values = BashValues("*", tool);
  std::string options;
  std::string arguments;
  std::string commands;
  for (const CommandWords& command : tool.commands) {
    values += BashValues(command.name, command);
    options += fmt::format("    {}) echo {} {} ;;\n", command.name, BashNames(command), BashNames(tool));
    if (const std::string argument = BashArgument(command); !argument.empty()) {
      arguments += fmt::format("    {}) echo {} ;;\n", command.name, argument);
    }
    commands += " " + command.name;
  }
  options += fmt::format("    *) echo {} ;;\n", BashNames(tool));
  arguments += fmt::format("    '') echo words{} ;;\n", commands);
  return fmt::format(
      "# Completions of vantor-mkv for bash, made of what its --help says.\n\n"
      "# What the option of a command takes; nothing for a flag.\n"
      "_vantor_mkv_value() {{  # COMMAND OPTION\n  case $1:$2 in\n{}  esac\n}}\n\n"
      "_vantor_mkv_options() {{  # COMMAND\n  case $1 in\n{}  esac\n}}\n\n"
      "# What stands where no option does.\n"
      "_vantor_mkv_argument() {{  # COMMAND\n  case $1 in\n{}  esac\n}}\n\n{}",
      values, options, arguments, kBashEngine);
}

}  // namespace vantor::tools
