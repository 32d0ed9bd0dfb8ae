#include "host/sink_gate.h"

namespace vantor {

void SinkGate::Answer(HRESULT result, std::uint64_t from_sample) {
  const std::lock_guard<std::mutex> hold(lock_);
  answer_ = result;
  answer_from_ = from_sample;
  Update();
}

void SinkGate::Delay(std::chrono::milliseconds delay) {
  const std::lock_guard<std::mutex> hold(lock_);
  delay_ = delay;
  Update();
}

void SinkGate::Hold() {
  const std::lock_guard<std::mutex> hold(lock_);
  hold_ = true;
  Update();
}

void SinkGate::LetGo() {
  const std::lock_guard<std::mutex> hold(lock_);
  hold_ = false;
  Update();
  changed_.notify_all();
}

void SinkGate::WaitUntilHeld(int threads) {
  std::unique_lock<std::mutex> hold(lock_);
  changed_.wait(hold, [&] { return held_ >= threads; });
}

HRESULT SinkGate::Pass(std::uint64_t sample) {
  if (lets_all_pass_) {
    return S_OK;
  }
  std::unique_lock<std::mutex> hold(lock_);
  if (answer_ != S_OK && sample >= answer_from_) {
    return answer_;
  }
  if (delay_.count() > 0) {
    changed_.wait_for(hold, delay_, [&] { return !open_; });
  }
  if (hold_) {
    ++held_;
    changed_.notify_all();
    changed_.wait(hold, [&] { return !hold_ || !open_; });
    --held_;
  }
  return open_ ? S_OK : VFW_E_WRONG_STATE;
}

void SinkGate::Open() {
  const std::lock_guard<std::mutex> hold(lock_);
  open_ = true;
  Update();
}

void SinkGate::Close() {
  const std::lock_guard<std::mutex> hold(lock_);
  open_ = false;
  Update();
  changed_.notify_all();
}

}  // namespace vantor
