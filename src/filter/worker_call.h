// One control call's dealings with the filter's workers, for as long as the call lasts: it tells them to stop, waits
// for them, lets go what may hold one of them, and leaves to itself who does not answer even then. So it does with the
// thread that searches for the place of a seek.
//
//   WorkerCall call(pins, root, patience);
//   call.Announce();
//   for (std::size_t i = 0; const PinHold pin = pins.Hold(i); ++i) result = call.StopRun(*pin, AfterStop::kGoOn);
//
// Used with the filter lock held. Its bound is the patience's: one answer, a search and five steps.
#pragma once

#include <chrono>
#include <memory>

#include "filter/output_pins.h"
#include "parser/file_root.h"
#include "platform/com_ptr.h"
#include "streaming/patience.h"
#include "streaming/seek_search.h"

namespace vantor {

// What a worker does that comes back after it was left to itself: wait for commands, or end its thread.
enum class AfterStop { kGoOn, kEnd };

class WorkerCall {
 public:
  // List and patience outlive the call. `root` is the open file, or null; a neighbour may close it meanwhile.
  WorkerCall(OutputPins& pins, const CMkvFileRoot* root, const Patience& patience);
  // Ends what flushes are left.
  ~WorkerCall();
  WorkerCall(const WorkerCall&) = delete;
  WorkerCall& operator=(const WorkerCall&) = delete;

  // Tells all workers that they are to stop. The patience counts from here.
  void Announce();

  // Sends CMD_STOP to the pin's worker and waits for the answer; S_OK without a worker. VFW_E_TIMEOUT: it was left to
  // itself.
  HRESULT StopRun(CVXMkvDmxOutputPin& pin, AfterStop after);
  // The same, CMD_EXIT, and the end of the thread.
  HRESULT EndWorker(CVXMkvDmxOutputPin& pin);

  // Looks for the place of a target above 0, once the workers are stopped. S_OK; S_FALSE when there is none;
  // VFW_E_TIMEOUT: the search was given up, perhaps left to itself, or an earlier one is under way.
  HRESULT FindPlace(SeekSearch& search, std::int64_t target, PlaceInFile& place);

 private:
  using Clock = std::chrono::steady_clock;
  enum class Step { kAnswer, kPeers, kAllocators, kSource };

  DWORD Remaining() const;
  SeekSearch::Answer WaitWhileItReads(SeekSearch& search, std::uint32_t number, PlaceInFile& place);
  bool LetNextGo();
  bool FlushPeers();
  void LetAllocatorsGo();
  void FlushSource();
  void EndSourceFlush();
  void EndFlushes();

  OutputPins& pins_;
  ComPtr<IAsyncReader> source_;
  std::shared_ptr<SourceFlushes> sourceFlushes_;
  const Patience& patience_;
  Step step_ = Step::kAnswer;  // what is being waited behind
  const Clock::time_point begun_;
  Clock::time_point giveUp_;  // when that wait ends
  bool isSourceFlushing_ = false;
  bool wasSourceFlushed_ = false;
};

}  // namespace vantor
