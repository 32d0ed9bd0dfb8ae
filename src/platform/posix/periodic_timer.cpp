#include "platform/periodic_timer.h"

#include <dlfcn.h>

#include <system_error>
#include <thread>
#include <utility>

#include "platform/lock.h"

namespace vantor::platform {
namespace {

// A program cannot be unloaded, nor be opened so; that is no failure.
void KeepModule() {
  Dl_info info{};
  if (dladdr(reinterpret_cast<const void*>(&KeepModule), &info) == 0 || info.dli_fname == nullptr) return;
  dlopen(info.dli_fname, RTLD_NOW | RTLD_NOLOAD | RTLD_NODELETE);
}

}  // namespace

struct PeriodicTimer::State {
  Lock lock{LockRank::Timer};
  Condition ended;
  bool ending VANTOR_GUARDED_BY(lock) = false;
  std::thread thread;

  // True once the timer ends, false after a period.
  bool WaitForEnd(unsigned milliseconds) VANTOR_EXCLUDES(lock) {
    const Deadline period(milliseconds);
    const LockScope hold(lock);
    while (!ending) {
      if (!ended.WaitFor(lock, period.Left())) break;
    }
    return ending;
  }
};

PeriodicTimer::PeriodicTimer(std::unique_ptr<State> state) : state_(std::move(state)) {}

std::unique_ptr<PeriodicTimer> PeriodicTimer::Start(unsigned milliseconds, std::function<void()> callback) {
  KeepModule();
  auto owned = std::make_unique<State>();
  State* state = owned.get();
  auto timer = std::unique_ptr<PeriodicTimer>(new PeriodicTimer(std::move(owned)));
  try {
    state->thread = std::thread([state, milliseconds, callback = std::move(callback)] {
      while (!state->WaitForEnd(milliseconds)) callback();
    });
  } catch (const std::system_error&) {
    return nullptr;
  }
  return timer;
}

PeriodicTimer::~PeriodicTimer() {
  if (!state_->thread.joinable()) return;
  {
    const LockScope hold(state_->lock);
    state_->ending = true;
  }
  state_->ended.NotifyOne();
  state_->thread.join();
}

}  // namespace vantor::platform
