// A filter with one input pin that records what reaches it and misbehaves where a test wants it to.
//
//   const auto sink = FakeSink::Create();
//   sink->onReceive = [](IMediaSample*) { return E_FAIL; };
//   pin->Connect(sink->Pin(), nullptr);
//   sink->WaitForEnds(1);
//   EXPECT_EQ(sink->Samples().size(), 1u);
//
// The public members are set before the sink is connected. Records may be read from any thread.
#pragma once

#include <condition_variable>
#include <functional>
#include <mutex>
#include <string>
#include <vector>

#include "platform/com_ptr.h"
#include "support/mkv_builder.h"
#include "support/one_pin_sink.h"

namespace vantor::test {

struct ReceivedSample {
  REFERENCE_TIME start = 0;
  REFERENCE_TIME stop = 0;
  Raw bytes;
  bool syncPoint = false;
  bool preroll = false;
  bool discontinuity = false;
  bool hasMediaTime = false;
  bool hasMediaType = false;
};

class FakeSink;

class FakeSinkPin final : public SinkPinOf<FakeSink> {
 public:
  using SinkPinOf::SinkPinOf;

  HRESULT CheckMediaType(const CMediaType* type) override;
  HRESULT CompleteConnect(IPin* connector) override;
  HRESULT BreakConnect() override;
  HRESULT Active() override;
  STDMETHODIMP Disconnect() override;
  STDMETHODIMP QueryPinInfo(PIN_INFO* info) override;
  STDMETHODIMP GetAllocator(IMemAllocator** allocator) override;
  STDMETHODIMP NotifyAllocator(IMemAllocator* allocator, BOOL readOnly) override;
  STDMETHODIMP NewSegment(REFERENCE_TIME start, REFERENCE_TIME stop, double rate) override;
  STDMETHODIMP Receive(IMediaSample* sample) override;
  STDMETHODIMP EndOfStream() override;
  STDMETHODIMP BeginFlush() override;
  STDMETHODIMP EndFlush() override;
};

class FakeSink final : public OnePinSink<FakeSinkPin> {
 public:
  static ComPtr<FakeSink> Create();

  STDMETHODIMP QueryFilterInfo(FILTER_INFO* info) override;

  std::function<HRESULT(const CMediaType&)> checkType;  // absent: every type is accepted
  std::function<HRESULT(IPin*)> onConnect;              // inside the peer's Connect; its result is the step's
  std::function<HRESULT(IMediaSample*)> onReceive;      // after recording, on the worker; its result is Receive's
  std::function<void()> onBeginFlush;
  std::function<void(const std::string&)> onCall;  // with the name of each entry of the log
  ComPtr<IMemAllocator> allocator;                 // offered in place of the framework's own
  bool keepsSamples = true;                        // false: samples are only counted, without memory
  HRESULT notifyAllocatorResult = S_OK;
  HRESULT newSegmentResult = S_OK;
  HRESULT beginFlushResult = S_OK;  // a sink that refuses a flush is not flushed
  HRESULT endFlushResult = S_OK;
  HRESULT pinInfoResult = S_OK;
  bool pinHasFilter = true;
  HRESULT filterInfoResult = S_OK;
  WideString filterName;

  // What the hooks refer to may go now; nothing streams any more.
  void ForgetHooks();

  // The agreed allocator; counted for the caller.
  ComPtr<IMemAllocator> Agreed() const;
  std::vector<ReceivedSample> Samples() const;
  // What happened, in order: "segment 0-100 x1", "sample", "end", "begin flush", "end flush", "break".
  std::vector<std::string> Log() const;
  std::size_t SampleCount() const;
  int Ends() const;
  int Segments() const;
  void WaitForSegments(int count);
  void WaitForEnds(int count);
  void WaitForSamples(std::size_t count);

 private:
  friend class FakeSinkPin;
  FakeSink() = default;
  void Record(const std::string& entry);

  mutable std::mutex recordLock_;
  std::condition_variable recorded_;
  std::size_t sampleCount_ = 0;
  std::vector<ReceivedSample> samples_;
  std::vector<std::string> log_;
  int ends_ = 0;
  int segments_ = 0;
  ComPtr<IMemAllocator> agreed_;
};

}  // namespace vantor::test
