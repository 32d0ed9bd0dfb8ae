// Everything a worker may be held by belongs to a neighbour: a call of Receive, a buffer that does not come home, a
// read that does not end. So a wait for a worker has steps. First the worker is given time to answer by itself. Then
// what may hold it is let go, one thing after the other with a short wait between, the one that costs the neighbours
// least first: the peers are flushed, which a seek has done anyway; the allocators are decommitted, which a stop has
// done anyway; the source is flushed. Each is done for all workers that are late, since they have waited together. A
// worker that answers nothing even then is left to itself.
//
// The clock runs for the call, not for each pin: all workers were told at the same time (Announce), and those that are
// only looked at later have had as much time. That bounds the call however many pins there are.
//
// Flushes are calls into neighbours, which may call back: stop or disconnect the filter, even start it again. So
// nothing is kept across such a call but the hold on the pin it is made for.
#include "filter/worker_call.h"

#include <algorithm>
#include <utility>

namespace vantor {

WorkerCall::WorkerCall(OutputPins& pins, const CMkvFileRoot* root, const Patience& patience)
    : pins_(pins), patience_(patience), begun_(Clock::now()), giveUp_(begun_ + patience.answer) {
  if (root == nullptr) return;
  source_ = ComPtr<IAsyncReader>(root->reader);
  sourceFlushes_ = root->flushes;
}

WorkerCall::~WorkerCall() { EndFlushes(); }

void WorkerCall::Announce() {
  for (std::size_t i = 0; const PinHold pin = pins_.Hold(i); ++i) pin->AnnounceStop();
  giveUp_ = Clock::now() + patience_.answer;
}

HRESULT WorkerCall::StopRun(CVXMkvDmxOutputPin& pin, AfterStop after) {
  HRESULT result = pin.StopRun(Remaining());
  while (result == VFW_E_TIMEOUT && LetNextGo()) result = pin.StopRun(Remaining());
  if (result != VFW_E_TIMEOUT) return result;
  // One that is in no run waits for commands, and answers as soon as the system lets it run.
  if (!pin.OwesAnswer()) return pin.StopRun(INFINITE);
  return pin.LeaveToItself(after == AfterStop::kEnd);
}

HRESULT WorkerCall::EndWorker(CVXMkvDmxOutputPin& pin) {
  // Once more when a neighbour that was called started the worker again.
  HRESULT result = E_UNEXPECTED;
  while (result == E_UNEXPECTED) {
    result = StopRun(pin, AfterStop::kEnd);
    if (SUCCEEDED(result)) result = pin.EndThread();
  }
  return result;
}

// Nothing but the source can hold a search. It is flushed once in a call at most, also when that was for a worker. The
// wait for a search goes on as long as it is seen to read, in all as long as the call would have waited for workers.
HRESULT WorkerCall::FindPlace(SeekSearch& search, std::int64_t target, PlaceInFile& place) {
  using Answer = SeekSearch::Answer;
  EndSourceFlush();
  std::uint32_t number = search.Begin(target);
  if (number == 0) return VFW_E_TIMEOUT;
  Answer answer = WaitWhileItReads(search, number, place);
  if (answer == Answer::kNoAnswer && !wasSourceFlushed_) {
    FlushSource();
    giveUp_ = Clock::now() + patience_.step;
    answer = search.Wait(number, Remaining(), place);
    EndSourceFlush();
    if (answer == Answer::kNoAnswer) answer = search.Wait(number, 0, place);
  }
  if (answer == Answer::kLetGo) {
    number = search.Begin(target);
    if (number == 0) return VFW_E_TIMEOUT;
    giveUp_ = Clock::now() + patience_.step;
    answer = search.Wait(number, Remaining(), place);
  }
  if (answer == Answer::kNoAnswer) {
    search.GiveUp();
    giveUp_ = Clock::now() + patience_.step;
    answer = search.Wait(number, Remaining(), place);
    if (answer == Answer::kNoAnswer && !search.LeaveToItself()) answer = search.Wait(number, INFINITE, place);
  }
  if (answer == Answer::kFound) return S_OK;
  return answer == Answer::kNothing ? S_FALSE : VFW_E_TIMEOUT;
}

SeekSearch::Answer WorkerCall::WaitWhileItReads(SeekSearch& search, std::uint32_t number, PlaceInFile& place) {
  const Clock::time_point latest = begun_ + patience_.answer + 2 * patience_.step + patience_.search;
  for (;;) {
    const std::uint32_t before = search.Steps();
    giveUp_ = std::min(Clock::now() + patience_.search, latest);
    const SeekSearch::Answer answer = search.Wait(number, Remaining(), place);
    const bool isHeld = search.Steps() == before || Clock::now() >= latest;
    if (answer != SeekSearch::Answer::kNoAnswer || isHeld) return answer;
  }
}

DWORD WorkerCall::Remaining() const {
  const auto left = std::chrono::ceil<std::chrono::milliseconds>(giveUp_ - Clock::now()).count();
  return static_cast<DWORD>(std::max<long long>(left, 0));
}

// False when there is nothing left to let go.
bool WorkerCall::LetNextGo() {
  if (step_ == Step::kSource) return false;
  const Step before = step_;
  step_ = before == Step::kAnswer ? Step::kPeers : before == Step::kPeers ? Step::kAllocators : Step::kSource;
  // Peers that are flushed already have had their time.
  if (step_ == Step::kPeers && !FlushPeers()) step_ = Step::kAllocators;
  if (step_ == Step::kAllocators) LetAllocatorsGo();
  if (step_ == Step::kSource) FlushSource();
  giveUp_ = Clock::now() + patience_.step;
  return true;
}

// Whether there was one to flush.
bool WorkerCall::FlushPeers() {
  bool isAny = false;
  for (std::size_t i = 0; const PinHold pin = pins_.Hold(i); ++i) {
    if (pin->OwesAnswer() && pin->BeginPeerFlush(this)) isAny = true;
  }
  return isAny;
}

void WorkerCall::LetAllocatorsGo() {
  for (std::size_t i = 0; const PinHold pin = pins_.Hold(i); ++i) {
    if (pin->OwesAnswer()) pin->LetAllocatorGo();
  }
}

void WorkerCall::FlushSource() {
  if (!source_) return;
  isSourceFlushing_ = true;
  wasSourceFlushed_ = true;
  sourceFlushes_->Begin();
  source_->BeginFlush();
}

void WorkerCall::EndSourceFlush() {
  if (!std::exchange(isSourceFlushing_, false)) return;
  source_->EndFlush();
  sourceFlushes_->End();
}

void WorkerCall::EndFlushes() {
  EndSourceFlush();
  for (std::size_t i = 0; const PinHold pin = pins_.Hold(i); ++i) pin->EndPeerFlush(this);
}

}  // namespace vantor
