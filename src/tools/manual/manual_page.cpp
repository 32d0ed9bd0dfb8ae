// The manual page, in the macros of man(7). The tool's own description comes as --help shows it: paragraphs, of which
// the one that begins with "Examples:" and the one that begins with "Exit status:" have sections of their own here.
#include <fmt/format.h>

#include <algorithm>
#include <cctype>
#include <string_view>
#include <vector>

#include "tools/manual/pages.h"

namespace vantor::tools {
namespace {

// As it is to be read: dashes are those of the keyboard, and no line is taken for a request.
std::string Escaped(std::string_view text) {
  std::string escaped;
  for (const char c : text) {
    if ((c == '.' || c == '\'') && (escaped.empty() || escaped.back() == '\n')) escaped += "\\&";
    if (c == '-') {
      escaped += "\\-";
    } else if (c == '\\') {
      escaped += "\\e";
    } else {
      escaped += c;
    }
  }
  return escaped;
}

std::vector<std::string> Paragraphs(const std::string& text) {
  std::vector<std::string> paragraphs;
  std::size_t begin = 0;
  while (begin < text.size()) {
    const std::size_t end = text.find("\n\n", begin);
    std::string paragraph = text.substr(begin, end == std::string::npos ? end : end - begin);
    while (!paragraph.empty() && paragraph.back() == '\n') paragraph.pop_back();
    if (!paragraph.empty()) paragraphs.push_back(std::move(paragraph));
    begin = end == std::string::npos ? text.size() : end + 2;
  }
  return paragraphs;
}

// What stands behind the label that the paragraph begins with, if it does.
bool TakeLabel(std::string_view paragraph, std::string_view label, std::string_view& rest) {
  if (!paragraph.starts_with(label)) {
    return false;
  }
  rest = paragraph.substr(label.size());
  rest.remove_prefix(std::min(rest.find_first_not_of(" \n"), rest.size()));
  return true;
}

std::string WithoutIndent(std::string_view lines) {
  std::string text;
  bool begin = true;
  for (const char c : lines) {
    if (begin && c == ' ') continue;
    begin = c == '\n';
    text += c;
  }
  return text;
}

std::string Term(const OptionWords& option) {
  std::string term;
  for (const std::string& name : option.names) {
    term += fmt::format("{}\\fB{}\\fR", term.empty() ? "" : ", ", Escaped(name));
  }
  if (!option.value.empty()) term += fmt::format(" \\fI{}\\fR", Escaped(option.value));
  return term;
}

std::string Options(const CommandWords& command) {
  std::string text;
  for (const OptionWords& option : command.options) {
    if (option.positional) continue;
    text += fmt::format(".TP\n{}\n{}.\n", Term(option), Escaped(option.about));
    if (!option.choices.empty()) {
      text += fmt::format("One of {}.\n", Escaped(fmt::format("{}", fmt::join(option.choices, ", "))));
    }
  }
  return text;
}

std::string Positionals(const CommandWords& command) {
  std::string text;
  for (const OptionWords& option : command.options) {
    if (!option.positional) continue;
    const std::string word = fmt::format("\\fI{}\\fR{}", Escaped(option.value), option.repeated ? "..." : "");
    text += option.required ? " " + word : " [" + word + "]";
  }
  return text;
}

std::string Command(const CommandWords& command) {
  return fmt::format(".SS \\fB{}\\fR [\\fIOPTION\\fR]...{}\n{}.\n{}", Escaped(command.name), Positionals(command),
                     Escaped(command.about), Options(command));
}

}  // namespace

std::string ManualPage(const CommandWords& tool, const std::string& date) {
  std::string title;
  for (const char c : tool.name) title += static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
  std::string summary;
  std::string description;
  std::string examples;
  std::string status;
  for (const std::string& paragraph : Paragraphs(tool.about)) {
    std::string_view rest;
    if (TakeLabel(paragraph, "Examples:", rest)) {
      examples = fmt::format(".SH EXAMPLES\n.EX\n{}\n.EE\n", Escaped(WithoutIndent(rest)));
    } else if (TakeLabel(paragraph, "Exit status:", rest)) {
      status = fmt::format(".SH EXIT STATUS\n{}\n", Escaped(rest));
    } else {
      description += fmt::format("{}{}\n", description.empty() ? "" : ".PP\n", Escaped(paragraph));
      if (summary.empty()) summary = paragraph.substr(0, paragraph.find_first_of(".\n"));
    }
  }
  if (!summary.empty()) summary[0] = static_cast<char>(std::tolower(static_cast<unsigned char>(summary[0])));
  std::string page = fmt::format(
      ".TH {0} 1 {1} \"{2} " VANTOR_VERSION
      "\" \"User Commands\"\n.SH NAME\n{2} \\- {3}\n.SH SYNOPSIS\n"
      "\\fB{2}\\fR [\\fIOPTION\\fR]... \\fICOMMAND\\fR [\\fIOPTION\\fR]... [\\fIFILE\\fR]...\n.SH DESCRIPTION\n{4}",
      Escaped(title), date, Escaped(tool.name), Escaped(summary), description);
  page += ".SH COMMANDS\n";
  for (const CommandWords& command : tool.commands) page += Command(command);
  return page + ".SH OPTIONS\nThese stand before the command or behind it.\n" + Options(tool) + examples + status;
}

}  // namespace vantor::tools
