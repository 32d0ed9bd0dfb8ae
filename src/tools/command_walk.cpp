#include "tools/command_walk.h"

#include <string_view>

namespace vantor::tools {
namespace {

// A closed list of values stands in braces behind the type: "TEXT:{one,two}".
std::vector<std::string> ChoicesIn(const std::string& type) {
  std::vector<std::string> choices;
  const std::size_t open = type.find('{');
  const std::size_t close = type.find('}', open);
  if (open == std::string::npos || close == std::string::npos) {
    return choices;
  }
  std::string_view rest = std::string_view(type).substr(open + 1, close - open - 1);
  while (!rest.empty()) {
    const std::size_t comma = rest.find(',');
    choices.emplace_back(rest.substr(0, comma));
    rest = comma == std::string_view::npos ? std::string_view() : rest.substr(comma + 1);
  }
  return choices;
}

ValueKind ValueKindOf(const std::string& value) {
  if (value == "FOLDER" || value == "DIR" || value == "DIRECTORY") return ValueKind::kFolder;
  return value == "FILE" || value == "PATH" ? ValueKind::kFile : ValueKind::kText;
}

OptionWords WordsOf(const CLI::Option& option) {
  OptionWords words;
  for (const std::string& name : option.get_snames()) {
    words.names.push_back("-" + name);
  }
  for (const std::string& name : option.get_lnames()) {
    words.names.push_back("--" + name);
  }
  words.positional = words.names.empty();
  words.about = option.get_description();
  words.required = option.get_required();
  words.repeated = option.get_expected_max() > 1;
  if (words.positional) {
    words.names = {option.get_name(true)};
    words.value = words.names.front();
    words.kind = ValueKindOf(words.value);
  } else if (option.get_items_expected_max() > 0) {
    const std::string type = option.get_type_name();
    words.choices = ChoicesIn(type);
    words.value = words.choices.empty() ? type : "WORD";
    words.kind = ValueKindOf(type);
  }
  return words;
}

}  // namespace

CommandWords WordsOf(const CLI::App& app) {
  CommandWords words;
  words.name = app.get_name();
  words.about = app.get_description();
  // Every command has a help of its own beside the tool's; it is said once.
  const CLI::Option* const said = app.get_parent() != nullptr ? app.get_help_ptr() : nullptr;
  for (const CLI::Option* option : app.get_options()) {
    if (option != said && !option->get_group().empty()) words.options.push_back(WordsOf(*option));
  }
  for (const CLI::App* command : app.get_subcommands([](const CLI::App*) { return true; })) {
    if (!command->get_group().empty()) words.commands.push_back(WordsOf(*command));
  }
  return words;
}

}  // namespace vantor::tools
