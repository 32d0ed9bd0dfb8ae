#include <fmt/format.h>

#include <exception>
#include <string>

#include "tools/commands.h"

namespace vantor::tools {

int Main(int argc, const char* const* argv, std::FILE* out, std::FILE* messages) {
  try {
    const ParseResult parsed = ParseCommandLine(argc, argv);
    if (!parsed.options) {
      fmt::print(parsed.exitStatus == kExitDone ? out : messages, "{}", parsed.message);
      return parsed.exitStatus;
    }
    switch (parsed.options->command) {
      case Command::kInfo:
        return RunInfo(*parsed.options, out, messages);
      case Command::kSamples:
        return RunSamples(*parsed.options, out, messages);
      case Command::kPlay:
        return RunPlay(*parsed.options, out, messages);
    }
    return kExitUsage;
  } catch (const std::exception& error) {
    fmt::print(messages, "vantor-mkv: {}\n", error.what());
    return kExitUsage;
  }
}

}  // namespace vantor::tools
