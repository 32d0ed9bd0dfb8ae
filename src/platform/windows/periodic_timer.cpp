#include "platform/periodic_timer.h"

#include <windows.h>

#include <utility>

namespace vantor::platform {
namespace {

// Whether the system has ended the process's other threads, as it does before the modules' last calls.
bool OtherThreadsAreGone() {
  using EndingFunction = BOOLEAN WINAPI();
  HMODULE system = GetModuleHandleW(L"ntdll.dll");
  if (system == nullptr) return false;
  const FARPROC ending = GetProcAddress(system, "RtlDllShutdownInProgress");
  return ending != nullptr && reinterpret_cast<EndingFunction*>(reinterpret_cast<void*>(ending))() != FALSE;
}

bool KeepModule() {
  HMODULE module = nullptr;
  return GetModuleHandleExW(GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS | GET_MODULE_HANDLE_EX_FLAG_PIN,
                            reinterpret_cast<LPCWSTR>(&KeepModule), &module) != FALSE;
}

}  // namespace

struct PeriodicTimer::State {
  HANDLE queue = nullptr;
  HANDLE timer = nullptr;
  std::function<void()> callback;

  static void CALLBACK Tick(void* state, BOOLEAN) { static_cast<State*>(state)->callback(); }

  // Ends the calls and waits for the one under way. False when that cannot be had.
  bool EndCalls() {
    if (timer == nullptr) return true;
    if (OtherThreadsAreGone() || !DeleteTimerQueueTimer(queue, timer, INVALID_HANDLE_VALUE)) return false;
    timer = nullptr;
    return true;
  }

  ~State() {
    if (queue != nullptr) DeleteTimerQueueEx(queue, nullptr);
  }
};

PeriodicTimer::PeriodicTimer(std::unique_ptr<State> state) : state_(std::move(state)) {}

std::unique_ptr<PeriodicTimer> PeriodicTimer::Start(unsigned milliseconds, std::function<void()> callback) {
  if (!KeepModule()) return nullptr;
  auto state = std::make_unique<State>();
  state->callback = std::move(callback);
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

PeriodicTimer::~PeriodicTimer() {
  // What a call might still use is not freed.
  if (!state_->EndCalls()) static_cast<void>(state_.release());
}

}  // namespace vantor::platform
