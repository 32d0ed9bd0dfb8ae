// Samples, flushes and ends between two connected pins.
#include <gtest/gtest.h>

#include <thread>

#include "baseclasses/allocator.h"
#include "baseclasses/fakes.h"
#include "baseclasses/thread.h"

using namespace vantor::test;
using vantor::ComPtr;

namespace {

// A graph that takes events.
class EventGraph final : public IFilterGraph, public IMediaEventSink {
 public:
  virtual ~EventGraph() = default;
  STDMETHODIMP QueryInterface(REFIID riid, void** ppv) override {
    *ppv = nullptr;
    if (vantor::SameGuid(riid, IID_IMediaEventSink)) *ppv = static_cast<IMediaEventSink*>(this);
    if (!*ppv) return E_NOINTERFACE;
    AddRef();
    return S_OK;
  }
  STDMETHODIMP_(ULONG) AddRef() override { return ++references; }
  STDMETHODIMP_(ULONG) Release() override { return --references; }
  STDMETHODIMP AddFilter(IBaseFilter*, LPCWSTR) override { return E_NOTIMPL; }
  STDMETHODIMP RemoveFilter(IBaseFilter*) override { return E_NOTIMPL; }
  STDMETHODIMP EnumFilters(IEnumFilters**) override { return E_NOTIMPL; }
  STDMETHODIMP FindFilterByName(LPCWSTR, IBaseFilter**) override { return E_NOTIMPL; }
  STDMETHODIMP ConnectDirect(IPin*, IPin*, const AM_MEDIA_TYPE*) override { return E_NOTIMPL; }
  STDMETHODIMP Reconnect(IPin*) override { return E_NOTIMPL; }
  STDMETHODIMP Disconnect(IPin*) override { return E_NOTIMPL; }
  STDMETHODIMP SetDefaultSyncSource() override { return E_NOTIMPL; }
  STDMETHODIMP Notify(LONG code, LONG_PTR first, LONG_PTR) override {
    last_code = code;
    last_parameter = first;
    return S_OK;
  }

  ULONG references = 0;
  LONG last_code = 0;
  LONG_PTR last_parameter = 0;
};

class Streaming : public PinPair {
 protected:
  Streaming() {
    EXPECT_EQ(Connect(), S_OK);
    log.Take();
  }
  void Start() {
    EXPECT_EQ(sink->Pause(), S_OK);
    EXPECT_EQ(source->Pause(), S_OK);
    log.Take();
  }
  ComPtr<IMediaSample> Sample() {
    ComPtr<IMediaSample> sample;
    EXPECT_EQ(out->GetDeliveryBuffer(sample.Out(), nullptr, nullptr, AM_GBF_NOWAIT), S_OK);
    return sample;
  }
};

TEST_F(Streaming, ASampleArrives) {
  Start();
  const ComPtr<IMediaSample> sample = Sample();
  IMediaSample* received = nullptr;
  in->receive = [&](IMediaSample* arrived) {
    received = arrived;
    return S_OK;
  };
  EXPECT_EQ(out->Deliver(sample.Get()), S_OK);
  EXPECT_EQ(received, sample.Get());
}

TEST_F(Streaming, ThePeersAnswerIsTheAnswer) {
  Start();
  const ComPtr<IMediaSample> sample = Sample();
  in->receive = [](IMediaSample*) { return S_FALSE; };
  EXPECT_EQ(out->Deliver(sample.Get()), S_FALSE);
  in->receive = [](IMediaSample*) { return E_ACCESSDENIED; };
  EXPECT_EQ(out->Deliver(sample.Get()), E_ACCESSDENIED);
}

TEST_F(Streaming, EndsFlushesAndSegmentsReachThePeer) {
  EXPECT_EQ(out->DeliverBeginFlush(), S_OK);
  EXPECT_EQ(out->DeliverEndFlush(), S_OK);
  EXPECT_EQ(out->DeliverNewSegment(10, 20, 2.0), S_OK);
  EXPECT_EQ(out->DeliverEndOfStream(), S_OK);
  EXPECT_EQ(log.Take(), (Calls{"in.BeginFlush", "in.EndFlush", "in.NewSegment", "in.EndOfStream"}));
  EXPECT_EQ(in->CurrentStartTime(), 10);
  EXPECT_EQ(in->CurrentStopTime(), 20);
  EXPECT_EQ(in->CurrentRate(), 2.0);
}

TEST_F(Streaming, WithoutAPeerNothingIsDelivered) {
  FakeOutputPin* lone = source->Add(new FakeOutputPin(source.Get(), OLESTR("Lone")));
  ComPtr<IMediaSample> sample;
  EXPECT_EQ(lone->GetDeliveryBuffer(sample.Out(), nullptr, nullptr, 0), E_NOINTERFACE);
  EXPECT_EQ(lone->Deliver(nullptr), VFW_E_NOT_CONNECTED);
  EXPECT_EQ(lone->DeliverEndOfStream(), VFW_E_NOT_CONNECTED);
  EXPECT_EQ(lone->DeliverBeginFlush(), VFW_E_NOT_CONNECTED);
  EXPECT_EQ(lone->DeliverEndFlush(), VFW_E_NOT_CONNECTED);
  EXPECT_EQ(lone->DeliverNewSegment(0, 0, 1.0), VFW_E_NOT_CONNECTED);
  EXPECT_EQ(lone->CBaseOutputPin::Active(), VFW_E_NO_ALLOCATOR);
  EXPECT_EQ(lone->CBaseOutputPin::Inactive(), VFW_E_NO_ALLOCATOR);
}

TEST_F(Streaming, DataDoesNotFlowIntoAnOutputPin) {
  EXPECT_EQ(out->EndOfStream(), E_UNEXPECTED);
  EXPECT_EQ(out->BeginFlush(), E_UNEXPECTED);
  EXPECT_EQ(out->EndFlush(), E_UNEXPECTED);
}

TEST_F(Streaming, TheAllocatorIsCommittedFromActiveToInactive) {
  ComPtr<IMediaSample> sample;
  EXPECT_EQ(out->GetDeliveryBuffer(sample.Out(), nullptr, nullptr, 0), VFW_E_NOT_COMMITTED);
  Start();
  EXPECT_EQ(out->GetDeliveryBuffer(sample.Out(), nullptr, nullptr, 0), S_OK);
  sample.Reset();
  EXPECT_EQ(source->Stop(), S_OK);
  EXPECT_EQ(out->GetDeliveryBuffer(sample.Out(), nullptr, nullptr, 0), VFW_E_NOT_COMMITTED);
}

TEST_F(Streaming, AStoppedPinRefusesSamples) {
  Start();
  const ComPtr<IMediaSample> sample = Sample();
  sink->Stop();
  EXPECT_EQ(out->Deliver(sample.Get()), VFW_E_WRONG_STATE);
  EXPECT_EQ(in->Receive(nullptr), E_POINTER);
}

TEST_F(Streaming, AFlushingPinTurnsSamplesAway) {
  Start();
  const ComPtr<IMediaSample> sample = Sample();
  in->BeginFlush();
  EXPECT_TRUE(in->IsFlushing());
  EXPECT_EQ(out->Deliver(sample.Get()), S_FALSE);
  in->EndFlush();
  EXPECT_EQ(out->Deliver(sample.Get()), S_OK);
}

TEST_F(Streaming, StoppingEndsAFlush) {
  Start();
  in->BeginFlush();
  sink->Stop();
  EXPECT_FALSE(in->IsFlushing());
}

TEST_F(Streaming, AnAcceptedChangeOfTypePasses) {
  Start();
  const ComPtr<IMediaSample> sample = Sample();
  CMediaType mt = MakeType(kTypeB);
  sample->SetMediaType(&mt);
  EXPECT_EQ(out->Deliver(sample.Get()), S_OK);
  EXPECT_EQ(log.Take(), (Calls{"in.CheckMediaType B", "in.Receive"}));
}

TEST_F(Streaming, ARefusedChangeOfTypeEndsTheStreamAndTellsTheGraph) {
  EventGraph graph;
  sink->JoinFilterGraph(&graph, nullptr);
  Start();
  const ComPtr<IMediaSample> sample = Sample();
  CMediaType mt = MakeType(kTypeB);
  in->accepted = {kTypeA};
  sample->SetMediaType(&mt);
  EXPECT_EQ(out->Deliver(sample.Get()), VFW_E_INVALIDMEDIATYPE);
  EXPECT_EQ(log.Take(), (Calls{"in.CheckMediaType B", "in.EndOfStream"}));
  EXPECT_EQ(graph.last_code, EC_ERRORABORT);
  EXPECT_EQ(static_cast<HRESULT>(graph.last_parameter), VFW_E_TYPE_NOT_ACCEPTED);
  sample->SetMediaType(nullptr);
  EXPECT_EQ(out->Deliver(sample.Get()), VFW_E_RUNTIME_ERROR);
  sink->Stop();
  sink->Pause();
  EXPECT_EQ(out->Deliver(sample.Get()), S_OK);
  sink->JoinFilterGraph(nullptr, nullptr);
  EXPECT_EQ(graph.references, 0u);
}

TEST_F(Streaming, SeveralSamplesAreReceivedUpToTheFirstRefused) {
  Start();
  const ComPtr<IMediaSample> one = Sample();
  const ComPtr<IMediaSample> two = Sample();
  IMediaSample* samples[] = {one.Get(), two.Get(), one.Get()};
  LONG processed = -1;
  EXPECT_EQ(in->ReceiveMultiple(samples, 3, &processed), S_OK);
  EXPECT_EQ(processed, 3);
  int count = 0;
  in->receive = [&](IMediaSample*) { return ++count == 2 ? S_FALSE : S_OK; };
  EXPECT_EQ(in->ReceiveMultiple(samples, 3, &processed), S_FALSE);
  EXPECT_EQ(processed, 1);
  EXPECT_EQ(in->ReceiveMultiple(nullptr, 3, &processed), E_POINTER);
  EXPECT_EQ(in->ReceiveMultiple(samples, 3, nullptr), E_POINTER);
}

TEST_F(Streaming, ReceivingMayBlock) { EXPECT_EQ(in->ReceiveCanBlock(), S_OK); }

TEST_F(Streaming, AnAllocatorNotifiedReplacesTheOneBefore) {
  ComPtr<IMemAllocator> other(new CMemAllocator(OLESTR("other"), nullptr, nullptr));
  EXPECT_EQ(in->NotifyAllocator(nullptr, FALSE), E_POINTER);
  EXPECT_FALSE(in->IsReadOnly());
  EXPECT_EQ(in->NotifyAllocator(other.Get(), TRUE), S_OK);
  EXPECT_TRUE(in->IsReadOnly());
  EXPECT_EQ(in->Allocator(), other.Get());
  EXPECT_EQ(in->GetAllocator(nullptr), E_POINTER);
}

TEST_F(Streaming, AnInactiveInputPinWithoutAllocatorSucceeds) {
  FakeInputPin* lone = sink->Add(new FakeInputPin(sink.Get(), OLESTR("Lone")));
  EXPECT_EQ(lone->CBaseInputPin::Inactive(), S_OK);
  EXPECT_EQ(lone->CheckStreaming(), VFW_E_NOT_CONNECTED);
}

// A source whose worker delivers until told to stop; it is ended with the filter lock held.
class WorkerPin : public FakeOutputPin, public CAMThread {
 public:
  enum Command : DWORD { kExit };

  explicit WorkerPin(FakeFilter* filter) : FakeOutputPin(filter, OLESTR("Worker")) {}
  HRESULT Active() override {
    const HRESULT hr = FakeOutputPin::Active();
    if (FAILED(hr)) return hr;
    return Create() ? S_OK : E_FAIL;
  }
  HRESULT Inactive() override {
    const HRESULT hr = FakeOutputPin::Inactive();
    if (ThreadExists()) {
      CallWorker(kExit);
      Close();
    }
    return hr;
  }

 protected:
  DWORD ThreadProc() override {
    while (!CheckRequest(nullptr)) {
      ComPtr<IMediaSample> sample;
      if (SUCCEEDED(GetDeliveryBuffer(sample.Out(), nullptr, nullptr, 0))) Deliver(sample.Get());
    }
    GetRequest();
    Reply(S_OK);
    return 0;
  }
};

TEST_F(Streaming, DownstreamMayAskThePinFromReceiveWhileTheFilterIsBeingStopped) {
  auto* worker = source->Add(new WorkerPin(source.Get()));
  auto* target = sink->Add(new FakeInputPin(sink.Get(), OLESTR("Target")));
  worker->offered = {MakeType(kTypeA)};
  ASSERT_EQ(worker->Connect(target, nullptr), S_OK);

  CAMEvent inside;
  CAMEvent stopping;
  bool asked = false;
  target->receive = [&](IMediaSample*) {
    if (asked) return S_OK;
    inside.Set();
    // The stopping thread now takes, or already holds, the filter lock; whichever it is, every answer must come.
    stopping.Wait();
    ComPtr<IPin> peer;
    EXPECT_EQ(worker->ConnectedTo(peer.Out()), S_OK);
    AM_MEDIA_TYPE mt;
    EXPECT_EQ(worker->ConnectionMediaType(&mt), S_OK);
    EXPECT_EQ(worker->QueryAccept(&mt), S_OK);
    FreeMediaType(mt);
    ComPtr<IEnumMediaTypes> types;
    EXPECT_EQ(worker->EnumMediaTypes(types.Out()), S_OK);
    AM_MEDIA_TYPE* offered = nullptr;
    EXPECT_EQ(types->Next(1, &offered, nullptr), S_OK);
    DeleteMediaType(offered);
    PIN_INFO info;
    EXPECT_EQ(worker->QueryPinInfo(&info), S_OK);
    FILTER_INFO filter_info;
    EXPECT_EQ(info.pFilter->QueryFilterInfo(&filter_info), S_OK);
    FILTER_STATE state;
    EXPECT_EQ(info.pFilter->GetState(0, &state), S_OK);
    info.pFilter->Release();
    PIN_DIRECTION direction;
    EXPECT_EQ(worker->QueryDirection(&direction), S_OK);
    LPWSTR id = nullptr;
    EXPECT_EQ(worker->QueryId(&id), S_OK);
    CoTaskMemFree(id);
    asked = true;
    return S_OK;
  };
  EXPECT_EQ(sink->Pause(), S_OK);
  EXPECT_EQ(source->Pause(), S_OK);
  inside.Wait();
  {
    const CAutoLock lock(&source->m_Lock);  // as Stop holds it while it waits for the worker
    stopping.Set();
    EXPECT_EQ(source->Stop(), S_OK);
  }
  EXPECT_TRUE(asked);
  sink->Stop();
  worker->Disconnect();
  target->Disconnect();
}

}  // namespace
