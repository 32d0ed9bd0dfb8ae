#include "platform/periodic_timer.h"

#include <windows.h>

#include <utility>

namespace vantor::platform {
namespace {

// At the end of a process its threads are gone before the last objects are, and with them a call under way, which
// nobody would ever end.
constexpr DWORD kLongestCall = 5000;

}  // namespace

struct PeriodicTimer::State {
  HANDLE queue = nullptr;
  HANDLE timer = nullptr;
  HANDLE ended = nullptr;
  std::function<void()> callback;

  static void CALLBACK Tick(void* state, BOOLEAN) { static_cast<State*>(state)->callback(); }

  ~State() {
    if (timer != nullptr) {
      DeleteTimerQueueTimer(queue, timer, ended);
      WaitForSingleObject(ended, kLongestCall);
    }
    if (queue != nullptr) DeleteTimerQueueEx(queue, nullptr);
    if (ended != nullptr) CloseHandle(ended);
  }
};

PeriodicTimer::PeriodicTimer(std::unique_ptr<State> state) : state_(std::move(state)) {}

std::unique_ptr<PeriodicTimer> PeriodicTimer::Start(unsigned milliseconds, std::function<void()> callback) {
  auto state = std::make_unique<State>();
  state->callback = std::move(callback);
  state->ended = CreateEventW(nullptr, TRUE, FALSE, nullptr);
  if (state->ended == nullptr) return nullptr;
  // A queue of its own, whose thread makes the calls: nothing else waits for them, and ending needs no new thread.
  state->queue = CreateTimerQueue();
  if (state->queue == nullptr) return nullptr;
  if (!CreateTimerQueueTimer(&state->timer, state->queue, &State::Tick, state.get(), milliseconds, milliseconds,
                             WT_EXECUTEINTIMERTHREAD)) {
    state->timer = nullptr;
    return nullptr;
  }
  return std::unique_ptr<PeriodicTimer>(new PeriodicTimer(std::move(state)));
}

PeriodicTimer::~PeriodicTimer() = default;

}  // namespace vantor::platform
