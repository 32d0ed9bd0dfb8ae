// Renderer: a filter with one input pin that ends a stream in the platform's filter graph as a renderer does, and
// records what reaches it.
//
//   const auto renderer = Renderer::Create();
//   graph->AddFilter(renderer.Get(), L"Renderer");
//   demultiplexer_pin->Connect(renderer->Pin(), nullptr);
//   ... EC_COMPLETE ...
//   renderer->Log()                        // {"connect", "active", "segment", "sample", ..., "end", "inactive"}
//
// Samples are never timed: they are taken as they come, also while paused. The end of a stream is announced with
// EC_COMPLETE once the filter runs. Asked for IMediaSeeking, the filter passes the call on upstream through the
// platform's own helper, so that the graph can seek through it.
//
// Hooks are set before the pin is connected. Records may be read from any thread.
#pragma once

#include <condition_variable>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "baseclasses/filter.h"
#include "baseclasses/input_pin.h"
#include "host/sample_listener.h"
#include "host/sink_gate.h"
#include "platform/com_ptr.h"

namespace vantor::test {

class Renderer;

class RendererPin final : public CBaseInputPin {
 public:
  RendererPin(Renderer* renderer, CCritSec* lock, HRESULT* result);

  HRESULT CheckMediaType(const CMediaType* type) override;
  HRESULT CompleteConnect(IPin* connector) override;
  HRESULT BreakConnect() override;
  HRESULT Active() override;
  HRESULT Inactive() override;
  STDMETHODIMP GetAllocator(IMemAllocator** allocator) override;
  STDMETHODIMP NewSegment(REFERENCE_TIME start, REFERENCE_TIME stop, double rate) override;
  STDMETHODIMP Receive(IMediaSample* sample) override;
  STDMETHODIMP EndOfStream() override;
  STDMETHODIMP BeginFlush() override;
  STDMETHODIMP EndFlush() override;

  // What the connection agreed on; zeros without an allocator.
  ALLOCATOR_PROPERTIES AllocatorProperties() const;

 private:
  Renderer* const renderer_;
};

class Renderer final : public CBaseFilter, public IAMFilterMiscFlags {
 public:
  // The listener, which may be null, hears what the pin accepts.
  static ComPtr<Renderer> Create(std::shared_ptr<SampleListener> listener = nullptr);

  DECLARE_IUNKNOWN
  STDMETHODIMP NonDelegatingQueryInterface(REFIID riid, void** object) override;
  STDMETHODIMP Run(REFERENCE_TIME start) override;
  STDMETHODIMP_(ULONG) GetMiscFlags() override { return AM_FILTER_MISC_FLAGS_IS_RENDERER; }
  int GetPinCount() override { return 1; }
  CBasePin* GetPin(int n) override { return n == 0 ? pin_ : nullptr; }

  RendererPin* Pin() { return pin_; }
  SinkGate& Gate() { return gate_; }

  std::function<HRESULT(const CMediaType&)> checkType;  // absent: every type is accepted
  std::function<HRESULT(IPin*)> onConnect;              // inside the peer's Connect; its result is the step's
  std::function<void()> onDisconnect;
  std::function<void()> onInactive;  // as the graph stops it, before the filters above
  std::function<HRESULT(IMediaSample*)> onReceive;
  HRESULT allocatorResult = S_OK;  // a failure leaves the allocator to the peer

  std::vector<std::string> Log() const;
  int Count(const std::string& entry) const;
  void WaitFor(const std::string& entry, int count);

 private:
  friend class RendererPin;
  Renderer(std::shared_ptr<SampleListener> listener, HRESULT* result);
  ~Renderer() override;
  void Record(const std::string& entry);
  void Ended();

  CCritSec lock_;
  RendererPin* pin_;  // held
  const std::shared_ptr<SampleListener> listener_;
  ComPtr<IUnknown> seeking_;  // aggregated
  SinkGate gate_;
  std::uint64_t arrived_ = 0;
  mutable std::mutex recordLock_;
  std::condition_variable recorded_;
  std::vector<std::string> log_;
  bool ended_ = false;      // and not announced yet
  bool announced_ = false;  // in this run
};

}  // namespace vantor::test
