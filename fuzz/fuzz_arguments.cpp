// The tool's command line: the input's lines are its arguments. Nothing is opened.
//
// Besides what the sanitizers find: there are options or a text to print, never both, and what the options say is
// what the commands rely on.
#include <cmath>
#include <cstdint>
#include <string>
#include <vector>

#include "fuzz/expect.h"
#include "tools/command_line.h"
#include "tools/time_text.h"

namespace vantor::fuzz {

namespace {

constexpr std::size_t kMostArguments = 40;

// A zero byte ends an argument as it does in a program's.
std::vector<std::string> Arguments(const std::uint8_t* data, std::size_t size) {
  std::vector<std::string> arguments = {"vantor-mkv"};
  std::string argument;
  for (std::size_t i = 0; i < size && arguments.size() < kMostArguments; ++i) {
    if (data[i] != '\n' && data[i] != 0) {
      argument.push_back(static_cast<char>(data[i]));
      continue;
    }
    arguments.push_back(argument);
    argument.clear();
  }
  if (!argument.empty()) arguments.push_back(argument);
  return arguments;
}

void CheckOptions(const tools::Options& options) {
  Expect(!options.rate || (std::isfinite(*options.rate) && *options.rate > 0), "a rate is a number above 0");
  Expect(!options.from || *options.from >= 0, "play begins at 0 or later");
  Expect(!options.to || *options.to >= options.from.value_or(0), "play does not end before it begins");
  for (const auto& time : {options.from, options.to}) {
    // Down to the millisecond a time reads as it is shown.
    if (time) Expect(tools::ParseTime(tools::TimeText(*time)) == *time / 10000 * 10000, "a time reads as it is shown");
  }
  const bool isSamples = options.command == tools::Command::kSamples;
  const bool isPart = options.command == tools::Command::kPlay || options.command == tools::Command::kExtract;
  Expect(isSamples || (!options.seek && !options.rate), "only samples is sought and has a rate");
  Expect(isPart || (!options.from && !options.to), "only play and extract have a part");
}

}  // namespace

}  // namespace vantor::fuzz

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace vantor;
  const std::vector<std::string> arguments = fuzz::Arguments(data, size);
  std::vector<const char*> texts;
  for (const std::string& argument : arguments) texts.push_back(argument.c_str());
  const tools::ParseResult result = tools::ParseCommandLine(static_cast<int>(texts.size()), texts.data());
  if (result.options) {
    fuzz::Expect(result.message.empty(), "options come without a text");
    fuzz::CheckOptions(*result.options);
  } else {
    fuzz::Expect(!result.message.empty(), "a refusal says why");
    fuzz::Expect(result.exitStatus == tools::kExitDone || result.exitStatus == tools::kExitUsage,
                 "a refusal is help or wrong use");
  }
  return 0;
}
