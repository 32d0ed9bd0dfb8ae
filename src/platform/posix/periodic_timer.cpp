#include "platform/periodic_timer.h"

#include <dlfcn.h>

#include <chrono>
#include <condition_variable>
#include <mutex>
#include <system_error>
#include <thread>
#include <utility>

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
  std::mutex mutex;
  std::condition_variable ended;
  bool ending = false;
  std::thread thread;
};

PeriodicTimer::PeriodicTimer(std::unique_ptr<State> state) : state_(std::move(state)) {}

std::unique_ptr<PeriodicTimer> PeriodicTimer::Start(unsigned milliseconds, std::function<void()> callback) {
  KeepModule();
  auto owned = std::make_unique<State>();
  State* state = owned.get();
  auto timer = std::unique_ptr<PeriodicTimer>(new PeriodicTimer(std::move(owned)));
  try {
    state->thread = std::thread([state, milliseconds, callback = std::move(callback)] {
      std::unique_lock<std::mutex> lock(state->mutex);
      while (!state->ended.wait_for(lock, std::chrono::milliseconds(milliseconds), [state] { return state->ending; })) {
        lock.unlock();
        callback();
        lock.lock();
      }
    });
  } catch (const std::system_error&) {
    return nullptr;
  }
  return timer;
}

PeriodicTimer::~PeriodicTimer() {
  if (!state_->thread.joinable()) return;
  {
    const std::lock_guard<std::mutex> lock(state_->mutex);
    state_->ending = true;
  }
  state_->ended.notify_one();
  state_->thread.join();
}

}  // namespace vantor::platform
