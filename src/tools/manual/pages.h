// The texts that are installed beside the tool, each made of the words of its command line.
//
//   std::fputs(BashCompletions(DescribeCommandLine()).c_str(), stdout);
#pragma once

#include <string>

#include "tools/command_words.h"

namespace vantor::tools {

// vantor-mkv(1); the date as the page shows it.
std::string ManualPage(const CommandWords& tool, const std::string& date);

std::string BashCompletions(const CommandWords& tool);
std::string ZshCompletions(const CommandWords& tool);
std::string FishCompletions(const CommandWords& tool);

}  // namespace vantor::tools
