#include <exception>
#include <new>

#include "platform/program.h"
#include "tools/commands.h"
#include "tools/memory_watch.h"
#include "tools/messages.h"
#include "tools/output.h"

namespace vantor::tools {
namespace {

int RunCommand(const Options& options, std::FILE* out, std::FILE* messages) {
  switch (options.command) {
    case Command::kInfo:
      return RunInfo(options, out, messages);
    case Command::kSamples:
      return RunSamples(options, out, messages);
    case Command::kCheck:
      return RunCheck(options, out, messages);
    case Command::kExtract:
      return RunExtract(options, out, messages);
    case Command::kPlay:
      return RunPlay(options, out, messages);
    case Command::kAttachments:
      return RunAttachments(options, out, messages);
    case Command::kChapters:
      return RunChapters(options, out, messages);
    case Command::kDoctor:
      return RunDoctor(options, out, messages);
    case Command::kReport:
      return RunReport(options, out, messages);
  }
  return kExitUsage;
}

int ParseAndRun(const std::vector<std::string>& arguments, std::FILE* out, std::FILE* messages) {
  std::vector<const char*> texts;
  texts.reserve(arguments.size());
  for (const std::string& argument : arguments) {
    texts.push_back(argument.c_str());
  }
  const ParseResult parsed = ParseCommandLine(static_cast<int>(texts.size()), texts.data());
  if (parsed.options) {
    return RunCommand(*parsed.options, out, messages);
  }
  if (parsed.exitStatus != kExitDone) {
    Say(messages, parsed.message);
    return parsed.exitStatus;
  }
  if (!Print(out, parsed.message)) {
    Say(messages, CannotWrite("the answer"));
    return kExitUsage;
  }
  return kExitDone;
}

// Whatever escapes from the callable is said and gives an exit status.
template <typename Callable>
int Told(std::FILE* messages, Callable&& callable) noexcept {
  try {
    return callable();
  } catch (const std::bad_alloc&) {
    Say(messages, "out of memory");
  } catch (const std::exception& error) {
    Say(messages, error.what());
  } catch (...) {
    Say(messages, "ended by an unknown error");
  }
  return kExitUsage;
}

}  // namespace

int Main(const std::vector<std::string>& arguments, std::FILE* out, std::FILE* messages) noexcept {
  const MemoryWatch watch;
  return Told(messages, [&] { return ParseAndRun(arguments, out, messages); });
}

int Main(int argc, const char* const* argv, std::FILE* out, std::FILE* messages) noexcept {
  const MemoryWatch watch;
  return Told(messages, [&] { return ParseAndRun(platform::Arguments(argc, argv), out, messages); });
}

}  // namespace vantor::tools
