#include <cstdio>
#include <string>
#include <vector>

#include "platform/program.h"
#include "tools/commands.h"

int main(int argc, char** argv) {
  const vantor::platform::StandardStreams streams;
  const std::vector<std::string> arguments = vantor::platform::Arguments(argc, argv);
  std::vector<const char*> texts;
  texts.reserve(arguments.size());
  for (const std::string& argument : arguments) {
    texts.push_back(argument.c_str());
  }
  return vantor::tools::Main(static_cast<int>(texts.size()), texts.data(), stdout, stderr);
}
