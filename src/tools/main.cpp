#include <cstdio>

#include "platform/program.h"
#include "tools/commands.h"

int main(int argc, char** argv) {
  const vantor::platform::StandardStreams streams;
  return vantor::tools::Main(argc, argv, stdout, stderr);
}
