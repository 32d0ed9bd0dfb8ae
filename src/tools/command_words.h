// CommandWords: the commands and options of the tool, as data: what --help, the manual page and the shells' completions
// are all made of, so that none of them can fall behind.
//
//   const CommandWords tool = DescribeCommandLine();
//   for (const CommandWords& command : tool.commands) std::puts(command.name.c_str());
#pragma once

#include <string>
#include <vector>

namespace vantor::tools {

enum class ValueKind { kNone, kText, kFile, kFolder };

struct OptionWords {
  std::vector<std::string> names;  // with their dashes; of a positional one its word
  std::string about;
  std::string value;                 // what stands for its value, such as PATH; empty for a flag
  std::vector<std::string> choices;  // the values that there are, where they are known
  ValueKind kind = ValueKind::kNone;
  bool positional = false;
  bool required = false;
  bool repeated = false;
};

struct CommandWords {
  std::string name;
  std::string about;  // of the tool itself: paragraphs, examples among them
  std::vector<OptionWords> options;
  std::vector<CommandWords> commands;
};

// Of the whole tool.
CommandWords DescribeCommandLine();

}  // namespace vantor::tools
