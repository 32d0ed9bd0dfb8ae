// SinkFilter: a filter with one input pin that takes every media type and hands everything it gets to a listener.
//
//   auto sink = ComPtr<SinkFilter>::Adopt(SinkFilter::Create(listener));
//   outputPin->Connect(sink->InputPin(), &type);
//   sink->Gate().Answer(E_FAIL, 100);                  // fail the hundred-and-first sample
//   ... run ...
//   if (sink->Counts().samples > 100) ...
//
// Samples are never timed: they are taken as fast as they come, also while paused.
#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>
#include <utility>

#include "baseclasses/filter.h"
#include "baseclasses/input_pin.h"
#include "host/sample_listener.h"
#include "host/sink_gate.h"
#include "platform/com.h"

namespace vantor {

struct SinkCounts {
  std::uint64_t segments = 0;
  std::uint64_t samples = 0;  // reached the listener
  std::uint64_t bytes = 0;    // of these samples
  std::uint64_t refused = 0;  // answered by the gate
  std::uint64_t ends = 0;
  std::uint64_t flushes = 0;
};

class SinkPin final : public CBaseInputPin {
 public:
  SinkPin(CBaseFilter* filter, CCritSec* lock, std::shared_ptr<SampleListener> listener, HRESULT* result);

  SinkGate& Gate() noexcept { return gate_; }
  SinkCounts Counts() const noexcept;
  // What the connection agreed on; zeros without an allocator.
  ALLOCATOR_PROPERTIES AllocatorProperties() const;
  // Called, on whichever thread it happens, with true when the stream has ended and with false when a new one starts
  // or the old one is flushed. Set it before the pin is connected.
  void OnEnded(std::function<void(bool)> report) { reportEnded_ = std::move(report); }

  HRESULT CheckMediaType(const CMediaType* type) override;
  HRESULT Active() override;
  HRESULT Inactive() override;
  STDMETHODIMP NewSegment(REFERENCE_TIME start, REFERENCE_TIME stop, double rate) override;
  STDMETHODIMP Receive(IMediaSample* sample) override;
  STDMETHODIMP EndOfStream() override;
  STDMETHODIMP BeginFlush() override;
  STDMETHODIMP EndFlush() override;

 private:
  void Report(bool ended);

  const std::shared_ptr<SampleListener> listener_;
  std::function<void(bool)> reportEnded_;
  SinkGate gate_;
  std::uint64_t arrived_ = 0;
  std::atomic<std::uint64_t> segments_{0};
  std::atomic<std::uint64_t> samples_{0};
  std::atomic<std::uint64_t> bytes_{0};
  std::atomic<std::uint64_t> refused_{0};
  std::atomic<std::uint64_t> ends_{0};
  std::atomic<std::uint64_t> flushes_{0};
};

class SinkFilter final : public CBaseFilter {
 public:
  // A new filter with one reference, the caller's; null without memory. A null listener is fine.
  static SinkFilter* Create(std::shared_ptr<SampleListener> listener) noexcept;

  SinkPin* InputPin() noexcept { return pin_; }
  SinkGate& Gate() noexcept { return pin_->Gate(); }
  SinkCounts Counts() const noexcept { return pin_->Counts(); }

  int GetPinCount() override { return 1; }
  CBasePin* GetPin(int n) override { return n == 0 ? pin_ : nullptr; }

 private:
  SinkFilter(std::shared_ptr<SampleListener> listener, HRESULT* result);
  ~SinkFilter() override;

  CCritSec lock_{LockRank::Filter};
  SinkPin* const pin_;  // held
};

}  // namespace vantor
