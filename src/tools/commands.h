// The tool's commands. Each prints its data on one stream and its messages on the other and gives the exit
// status.
#pragma once

#include <cstdio>
#include <string>
#include <vector>

#include "tools/command_line.h"

namespace vantor::tools {

int RunInfo(const Options& options, std::FILE* out, std::FILE* messages);
int RunSamples(const Options& options, std::FILE* out, std::FILE* messages);
int RunCheck(const Options& options, std::FILE* out, std::FILE* messages);
int RunExtract(const Options& options, std::FILE* out, std::FILE* messages);
int RunPlay(const Options& options, std::FILE* out, std::FILE* messages);
int RunAttachments(const Options& options, std::FILE* out, std::FILE* messages);
int RunChapters(const Options& options, std::FILE* out, std::FILE* messages);
int RunDoctor(const Options& options, std::FILE* out, std::FILE* messages);
int RunReport(const Options& options, std::FILE* out, std::FILE* messages);

// The whole tool: the command line, the program's name first, and the command it asks for. Lets no exception out: what
// has no exit status of its own has been said, and gives kExitUsage.
int Main(const std::vector<std::string>& arguments, std::FILE* out, std::FILE* messages) noexcept;
// The same with the arguments as main got them.
int Main(int argc, const char* const* argv, std::FILE* out, std::FILE* messages) noexcept;

}  // namespace vantor::tools
