// The commands and their options, as they are declared to the parser of the command line.
//
//   CLI::App app("Shows what is in a file", "vantor-mkv");
//   Options options;
//   DeclareCommands(app, options);
//   app.parse(argc, argv);   // raises CLI::ParseError with the whole sentence
#pragma once

#include <CLI/CLI.hpp>

#include "tools/command_line.h"

namespace vantor::tools {

// The options outlive the parsing, which sets them.
void DeclareCommands(CLI::App& app, Options& options);

}  // namespace vantor::tools
