// SinkGate: tells a sink how to treat the samples that reach it.
//
//   gate.Answer(VFW_E_WRONG_STATE, 10);   // refuse everything from the eleventh sample on
//   gate.Delay(std::chrono::milliseconds(5));
//   gate.Hold();                          // keep every delivering thread inside Receive ...
//   gate.WaitUntilHeld(1);                // ... until one is there ...
//   gate.LetGo();                         // ... and let them go on
//
// A flush or a stop of the sink also frees the held threads. All members may be called from any thread.
#pragma once

#include <atomic>
#include <chrono>
#include <cstdint>

#include "platform/com.h"
#include "platform/lock.h"

namespace vantor {

class SinkGate {
 public:
  // From the sample with this number (the first is 0) on, samples are answered so without reaching the listener. An
  // S_OK takes the refusal back.
  void Answer(HRESULT result, std::uint64_t fromSample = 0) VANTOR_EXCLUDES(lock_);
  // Every sample takes at least this long.
  void Delay(std::chrono::milliseconds delay) VANTOR_EXCLUDES(lock_);
  void Hold() VANTOR_EXCLUDES(lock_);
  void LetGo() VANTOR_EXCLUDES(lock_);
  // Waits until that many threads are held.
  void WaitUntilHeld(int threads) VANTOR_EXCLUDES(lock_);

  // The sink's side. Pass costs no lock while the gate is open and does nothing to samples. It gives S_OK for a sample
  // that is to reach the listener, else what to answer: VFW_E_WRONG_STATE when the gate closed while the thread was
  // held.
  HRESULT Pass(std::uint64_t sample) VANTOR_EXCLUDES(lock_);
  // What the end of a stream is answered: a sink that stops frees its thread first, which may run through refused
  // samples to the end before the sink's state says that it is stopped.
  HRESULT PassEnd() VANTOR_EXCLUDES(lock_);
  // A closed gate holds and delays nobody.
  void Open() VANTOR_EXCLUDES(lock_);
  void Close() VANTOR_EXCLUDES(lock_);

 private:
  // Called after every change.
  void Update() noexcept VANTOR_REQUIRES(lock_) {
    letsAllPass_ = open_ && !hold_ && answer_ == S_OK && delay_.count() == 0;
  }

  Lock lock_{LockRank::Host};
  Condition changed_;
  HRESULT answer_ VANTOR_GUARDED_BY(lock_) = S_OK;
  std::uint64_t answerFrom_ VANTOR_GUARDED_BY(lock_) = 0;
  std::chrono::milliseconds delay_ VANTOR_GUARDED_BY(lock_){0};
  bool hold_ VANTOR_GUARDED_BY(lock_) = false;
  bool open_ VANTOR_GUARDED_BY(lock_) = false;
  int held_ VANTOR_GUARDED_BY(lock_) = 0;
  std::atomic<bool> letsAllPass_{false};  // read without the lock
};

}  // namespace vantor
