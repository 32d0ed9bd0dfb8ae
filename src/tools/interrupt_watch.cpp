#include "tools/interrupt_watch.h"

#include <csignal>

namespace vantor::tools {
namespace {

volatile std::sig_atomic_t interrupted = 0;

extern "C" void OnInterrupt(int) {
  interrupted = 1;
  std::signal(SIGINT, SIG_DFL);
}

}  // namespace

InterruptWatch::InterruptWatch() {
  interrupted = 0;
  previous_ = std::signal(SIGINT, OnInterrupt);
  // What a shell's script runs in the background is started to ignore interrupts.
  if (previous_ == SIG_IGN) std::signal(SIGINT, SIG_IGN);
}

InterruptWatch::~InterruptWatch() {
  std::signal(SIGINT, previous_ == SIG_ERR ? SIG_DFL : previous_);
  interrupted = 0;
}

bool InterruptWatch::Interrupted() { return interrupted != 0; }

}  // namespace vantor::tools
