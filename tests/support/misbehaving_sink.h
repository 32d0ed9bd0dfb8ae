// A filter with one input pin that holds on to what it is given and calls back where it should not.
//
//   const auto sink = MisbehavingSink::Create();
//   pin->Connect(sink->Pin(), nullptr);
//   sink->Misbehave({Hold::kTheCall, Callback::kReceive, [](Callback, IPin* peer) { StopFilterOf(peer); }});
//   ... filter->Stop() ...
//   sink->Behave();                     // gives back and lets go; from now on a sink like any
//
// Two things go together: what is held (nothing, one sample for good, the call itself until the next flush, the last
// sample until the next comes, every sample whatever is flushed), and what is called from inside one of the callbacks.
// A held call is that callback, or Receive when the callback is one of a flush.
//
// Speaks to the filter through COM alone. All members may be called from any thread.
#pragma once

#include <atomic>
#include <condition_variable>
#include <functional>
#include <mutex>
#include <string>
#include <vector>

#include "platform/com_ptr.h"
#include "support/mkv_builder.h"
#include "support/one_pin_sink.h"

namespace vantor::test {

enum class Hold { kNothing, kOneSample, kTheCall, kTheLastSample, kEverySample };
enum class Callback { kReceive, kNewSegment, kEndOfStream, kBeginFlush, kEndFlush };

struct Misbehaviour {
  Hold hold = Hold::kNothing;
  Callback where = Callback::kReceive;
  // Called with the filter's pin, not from inside itself; a few times in all, so that everything ends. Absent: nothing.
  std::function<void(Callback where, IPin* peer)> action;
};

class MisbehavingSink;

class MisbehavingSinkPin final : public SinkPinOf<MisbehavingSink> {
 public:
  using SinkPinOf::SinkPinOf;

  // Drops this side of the connection in whatever state, as a neighbour that goes away does.
  void Forget();
  HRESULT Inactive() override;
  STDMETHODIMP NewSegment(REFERENCE_TIME start, REFERENCE_TIME stop, double rate) override;
  STDMETHODIMP Receive(IMediaSample* sample) override;
  STDMETHODIMP EndOfStream() override;
  STDMETHODIMP BeginFlush() override;
  STDMETHODIMP EndFlush() override;

 private:
  // A flush ends with the sink's own stop too, and with the connection.
  void EndOpenFlush();
};

class MisbehavingSink final : public OnePinSink<MisbehavingSinkPin> {
 public:
  static ComPtr<MisbehavingSink> Create();

  // Both begin a new record.
  void Misbehave(Misbehaviour how);
  void Behave();
  void Forget() { Pin()->Forget(); }

  // Since the record began: payloads in their order, ends of the stream, actions begun, samples kept now.
  std::vector<Raw> Played() const;
  int Ends() const;
  int Acts() const;
  std::size_t Kept() const;
  // A call is held now.
  bool IsHolding() const;
  // What is wrong with the flushes of this record: one inside another, an end without a beginning, one that is open
  // now. Empty: none.
  std::string FaultOfFlushes() const;

 private:
  friend class MisbehavingSinkPin;
  MisbehavingSink() = default;

  // The action, and the held call around it, as they apply to this callback. Whether the call may go on.
  bool Pass(Callback callback);
  void Act(Callback callback);
  bool HoldTheCall();
  void Keep(IMediaSample* sample);
  void StartRecord(std::unique_lock<std::mutex>& hold, Misbehaviour how);

  mutable std::mutex lock_;
  std::condition_variable changed_;
  Misbehaviour how_;
  unsigned record_ = 0;  // counts records: a call is held within one only
  std::vector<ComPtr<IMediaSample>> kept_;
  std::vector<Raw> played_;
  int ends_ = 0;
  int acts_ = 0;
  int holding_ = 0;
  int openFlushes_ = 0;
  unsigned flushes_ = 0;
  std::string fault_;
};

}  // namespace vantor::test
