// The tool's three commands. Each prints its data on one stream and its messages on the other and gives the exit
// status.
#pragma once

#include <cstdio>

#include "tools/command_line.h"

namespace vantor::tools {

int RunInfo(const Options& options, std::FILE* out, std::FILE* messages);
int RunSamples(const Options& options, std::FILE* out, std::FILE* messages);
int RunPlay(const Options& options, std::FILE* out, std::FILE* messages);

// The whole tool: the command line and the command it asks for.
int Main(int argc, const char* const* argv, std::FILE* out, std::FILE* messages);

}  // namespace vantor::tools
