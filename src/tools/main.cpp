#include <cstdio>

#include "platform/program.h"
#include "tools/commands.h"
#include "tools/interrupt_exit.h"
#include "tools/messages.h"

int main(int argc, char** argv) {
  vantor::platform::ShareFreedMemory();
  vantor::platform::LetWritesFail();
  const vantor::platform::StandardStreams streams;
  const vantor::tools::InterruptExit onInterrupt;
  const int status = vantor::tools::Main(argc, argv, stdout, stderr);
  // Some file systems, those of a network above all, tell only here that earlier writes failed.
  if (std::fclose(stdout) != 0 && status == vantor::tools::kExitDone) {
    vantor::tools::Say(stderr, "cannot write the answer");
    return vantor::tools::kExitUsage;
  }
  return status;
}
