#include "host/sink_gate.h"

namespace vantor {

void SinkGate::Answer(HRESULT result, std::uint64_t fromSample) {
  const LockScope hold(lock_);
  answer_ = result;
  answerFrom_ = fromSample;
  Update();
}

void SinkGate::Delay(std::chrono::milliseconds delay) {
  const LockScope hold(lock_);
  delay_ = delay;
  Update();
}

void SinkGate::Hold() {
  const LockScope hold(lock_);
  hold_ = true;
  Update();
}

void SinkGate::LetGo() {
  const LockScope hold(lock_);
  hold_ = false;
  Update();
  changed_.NotifyAll();
}

void SinkGate::WaitUntilHeld(int threads) {
  const LockScope hold(lock_);
  while (held_ < threads) changed_.Wait(lock_);
}

// Refusal, then delay, then hold: a sample that is refused is answered at once, and one that is held has had its delay,
// so that letting go lets it through without another.
HRESULT SinkGate::Pass(std::uint64_t sample) {
  if (letsAllPass_) {
    return S_OK;
  }
  const LockScope hold(lock_);
  if (answer_ != S_OK && sample >= answerFrom_) {
    return answer_;
  }
  if (delay_.count() > 0) {
    const Deadline over(static_cast<std::uint32_t>(delay_.count()));
    while (open_ && changed_.WaitFor(lock_, over.Left())) {
    }
  }
  if (hold_) {
    ++held_;
    changed_.NotifyAll();
    while (hold_ && open_) changed_.Wait(lock_);
    --held_;
  }
  return open_ ? S_OK : VFW_E_WRONG_STATE;
}

HRESULT SinkGate::PassEnd() {
  const LockScope hold(lock_);
  return open_ ? S_OK : VFW_E_WRONG_STATE;
}

void SinkGate::Open() {
  const LockScope hold(lock_);
  open_ = true;
  Update();
}

void SinkGate::Close() {
  const LockScope hold(lock_);
  open_ = false;
  Update();
  changed_.NotifyAll();
}

}  // namespace vantor
