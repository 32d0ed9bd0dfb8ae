#include "tools/interrupt_exit.h"

#include <atomic>
#include <csignal>

#include "platform/program.h"
#include "tools/command_line.h"

namespace vantor::tools {
namespace {

std::atomic<int> holds{0};
std::atomic<bool> isDue{false};
static_assert(std::atomic<int>::is_always_lock_free && std::atomic<bool>::is_always_lock_free, "for a handler");

[[noreturn]] void End() noexcept { platform::EndProcess("vantor-mkv: interrupted\n", kExitInterrupted); }

extern "C" void EndOnInterrupt(int) {
  std::signal(SIGINT, SIG_DFL);
  isDue = true;
  if (holds == 0) End();
}

}  // namespace

InterruptExit::InterruptExit() noexcept : previous_(std::signal(SIGINT, EndOnInterrupt)) {
  if (previous_ == SIG_IGN) std::signal(SIGINT, SIG_IGN);
}

InterruptExit::~InterruptExit() { std::signal(SIGINT, previous_ == SIG_ERR ? SIG_DFL : previous_); }

InterruptHold::InterruptHold() noexcept { ++holds; }

InterruptHold::~InterruptHold() {
  if (--holds == 0 && isDue) End();
}

}  // namespace vantor::tools
