// From the command line as it is declared to the words that describe it.
#pragma once

#include <CLI/CLI.hpp>

#include "tools/command_words.h"

namespace vantor::tools {

// What it hides is left out.
CommandWords WordsOf(const CLI::App& app);

}  // namespace vantor::tools
