// Small filters and pins that record what happened to them, for tests of the framework.
#pragma once

#include <gtest/gtest.h>

#include <functional>
#include <mutex>
#include <string>
#include <vector>

#include "baseclasses/filter.h"
#include "baseclasses/input_pin.h"
#include "baseclasses/output_pin.h"
#include "platform/com_ptr.h"

namespace vantor::test {

// The calls seen, in order, by everyone who writes to the same log.
class CallLog {
 public:
  void Add(std::string call) {
    const std::lock_guard<std::mutex> lock(mutex_);
    calls_.push_back(std::move(call));
  }
  std::vector<std::string> Take() {
    const std::lock_guard<std::mutex> lock(mutex_);
    return std::exchange(calls_, {});
  }

 private:
  std::mutex mutex_;
  std::vector<std::string> calls_;
};

using Calls = std::vector<std::string>;

inline const GUID kTypeA = {0xAAAAAAAA, 0, 0, {0, 0, 0, 0, 0, 0, 0, 1}};
inline const GUID kTypeB = {0xBBBBBBBB, 0, 0, {0, 0, 0, 0, 0, 0, 0, 2}};
inline const GUID kTypeC = {0xCCCCCCCC, 0, 0, {0, 0, 0, 0, 0, 0, 0, 3}};

// Fully specified, with a format block of 4 bytes.
inline CMediaType MakeType(const GUID& subtype, const GUID& major = MEDIATYPE_Video) {
  CMediaType mt(&major);
  mt.SetSubtype(&subtype);
  mt.SetFormatType(&FORMAT_VideoInfo);
  mt.SetFormat(reinterpret_cast<const BYTE*>("frmt"), 4);
  return mt;
}

inline std::string TypeName(const CMediaType& mt) {
  if (SameGuid(mt.subtype, kTypeA)) return "A";
  if (SameGuid(mt.subtype, kTypeB)) return "B";
  if (SameGuid(mt.subtype, kTypeC)) return "C";
  return "?";
}

class FakeFilter : public CBaseFilter {
 public:
  explicit FakeFilter(LPUNKNOWN outer = nullptr) : CBaseFilter(OLESTR("fake"), outer, &m_Lock, kTypeA) {}
  ~FakeFilter() override {
    while (!m_Pins.empty()) Remove(m_Pins.back());
  }

  template <typename Pin>
  Pin* Add(Pin* pin) {
    pin->HoldByFilter();
    m_Pins.push_back(pin);
    IncrementPinVersion();
    return pin;
  }
  void Remove(CBasePin* pin) {
    std::erase(m_Pins, pin);
    IncrementPinVersion();
    pin->ReleaseByFilter();
  }

  int GetPinCount() override { return static_cast<int>(m_Pins.size()); }
  CBasePin* GetPin(int n) override {
    return n < 0 || n >= GetPinCount() ? nullptr : m_Pins[static_cast<std::size_t>(n)];
  }
  const AMOVIESETUP_FILTER* GetSetupData() override { return m_pSetup; }

  bool OnOwnWorker() const override { return m_OnOwnWorker; }

  REFERENCE_TIME StartTime() const {
    const LockScope hold(m_ClockLock);
    return m_tStart;
  }

  CCritSec m_Lock{LockRank::Filter};
  std::vector<CBasePin*> m_Pins;
  const AMOVIESETUP_FILTER* m_pSetup = nullptr;
  bool m_OnOwnWorker = false;
};

// What both fake pins do the same way: the types they take and offer, and their steps written to a log.
struct PinScript {
  CallLog* log = nullptr;
  std::string name = "pin";
  std::vector<CMediaType> offered;
  std::vector<GUID> accepted{kTypeA, kTypeB, kTypeC};
  HRESULT refusal = S_FALSE;
  HRESULT active = S_OK;
  HRESULT inactive = S_OK;
  HRESULT run = S_OK;
  HRESULT break_result = S_OK;
  std::function<HRESULT(IPin*)> complete = [](IPin*) { return S_OK; };
  std::function<void()> before_step = [] {};

  void Note(const std::string& call) const {
    before_step();
    if (log) log->Add(name + "." + call);
  }
  HRESULT Check(const CMediaType& mt) const {
    for (const GUID& subtype : accepted) {
      if (SameGuid(subtype, mt.subtype)) return S_OK;
    }
    return refusal;
  }
  HRESULT Offer(int position, CMediaType* mt) const {
    if (position < 0 || !mt) return E_INVALIDARG;
    if (static_cast<std::size_t>(position) >= offered.size()) return VFW_S_NO_MORE_ITEMS;
    *mt = offered[static_cast<std::size_t>(position)];
    return S_OK;
  }
};

class FakeInputPin : public CBaseInputPin, public PinScript {
 public:
  explicit FakeInputPin(FakeFilter* filter, LPCWSTR pin_name = OLESTR("In"))
      : CBaseInputPin(OLESTR("fake input"), filter, &filter->m_Lock, nullptr, pin_name) {
    name = "in";
  }

  HRESULT CheckMediaType(const CMediaType* pmt) override {
    Note("CheckMediaType " + TypeName(*pmt));
    return Check(*pmt);
  }
  HRESULT GetMediaType(int iPosition, CMediaType* pmt) override { return Offer(iPosition, pmt); }
  HRESULT CompleteConnect(IPin* pPeer) override {
    Note("CompleteConnect");
    const HRESULT hr = complete(pPeer);
    return FAILED(hr) ? hr : CBaseInputPin::CompleteConnect(pPeer);
  }
  HRESULT BreakConnect() override {
    Note("BreakConnect");
    const HRESULT hr = CBaseInputPin::BreakConnect();
    return FAILED(break_result) ? break_result : hr;
  }
  HRESULT Active() override {
    Note("Active");
    return active;
  }
  HRESULT Inactive() override {
    Note("Inactive");
    const HRESULT hr = CBaseInputPin::Inactive();
    return FAILED(inactive) ? inactive : hr;
  }
  HRESULT Run(REFERENCE_TIME) override {
    Note("Run");
    return run;
  }
  STDMETHODIMP Receive(IMediaSample* pSample) override {
    const HRESULT hr = CBaseInputPin::Receive(pSample);
    if (hr != S_OK) return hr;
    Note("Receive");
    return receive(pSample);
  }
  STDMETHODIMP GetAllocator(IMemAllocator** ppAllocator) override {
    if (SUCCEEDED(get_allocator)) return CBaseInputPin::GetAllocator(ppAllocator);
    *ppAllocator = nullptr;
    return get_allocator;
  }
  STDMETHODIMP NotifyAllocator(IMemAllocator* pAllocator, BOOL bReadOnly) override {
    Note("NotifyAllocator");
    if (refused_allocators > 0) {
      --refused_allocators;
      return E_FAIL;
    }
    return CBaseInputPin::NotifyAllocator(pAllocator, bReadOnly);
  }
  STDMETHODIMP GetAllocatorRequirements(ALLOCATOR_PROPERTIES* pProps) override {
    if (required.cBuffers == 0) return CBaseInputPin::GetAllocatorRequirements(pProps);
    *pProps = required;
    return S_OK;
  }
  STDMETHODIMP EndOfStream() override {
    Note("EndOfStream");
    return S_OK;
  }
  STDMETHODIMP BeginFlush() override {
    Note("BeginFlush");
    return CBaseInputPin::BeginFlush();
  }
  STDMETHODIMP EndFlush() override {
    Note("EndFlush");
    return CBaseInputPin::EndFlush();
  }
  STDMETHODIMP NewSegment(REFERENCE_TIME tStart, REFERENCE_TIME tStop, double dRate) override {
    Note("NewSegment");
    return CBaseInputPin::NewSegment(tStart, tStop, dRate);
  }

  IMemAllocator* Allocator() const { return m_pAllocator; }
  IQualityControl* Sink() const { return m_pQSink; }

  HRESULT get_allocator = S_OK;
  int refused_allocators = 0;
  ALLOCATOR_PROPERTIES required = {};
  std::function<HRESULT(IMediaSample*)> receive = [](IMediaSample*) { return S_OK; };
};

class FakeOutputPin : public CBaseOutputPin, public PinScript {
 public:
  explicit FakeOutputPin(FakeFilter* filter, LPCWSTR pin_name = OLESTR("Out"))
      : CBaseOutputPin(OLESTR("fake output"), filter, &filter->m_Lock, nullptr, pin_name) {
    name = "out";
  }

  HRESULT CheckMediaType(const CMediaType* pmt) override {
    Note("CheckMediaType " + TypeName(*pmt));
    return Check(*pmt);
  }
  HRESULT GetMediaType(int iPosition, CMediaType* pmt) override { return Offer(iPosition, pmt); }
  HRESULT CompleteConnect(IPin* pPeer) override {
    Note("CompleteConnect");
    const HRESULT hr = complete(pPeer);
    return FAILED(hr) ? hr : CBaseOutputPin::CompleteConnect(pPeer);
  }
  HRESULT BreakConnect() override {
    Note("BreakConnect");
    const HRESULT hr = CBaseOutputPin::BreakConnect();
    return FAILED(break_result) ? break_result : hr;
  }
  HRESULT DecideBufferSize(IMemAllocator* pAlloc, ALLOCATOR_PROPERTIES* pRequest) override {
    Note("DecideBufferSize");
    request = *pRequest;
    pRequest->cBuffers = 2;
    pRequest->cbBuffer = 100;
    ALLOCATOR_PROPERTIES actual;
    const HRESULT hr = pAlloc->SetProperties(pRequest, &actual);
    return FAILED(decide) ? decide : hr;
  }
  HRESULT Active() override {
    Note("Active");
    return FAILED(active) ? active : CBaseOutputPin::Active();
  }
  HRESULT Inactive() override {
    Note("Inactive");
    const HRESULT hr = CBaseOutputPin::Inactive();
    return FAILED(inactive) ? inactive : hr;
  }
  HRESULT Run(REFERENCE_TIME) override {
    Note("Run");
    return run;
  }

  IMemAllocator* Allocator() const { return m_pAllocator; }
  IMemInputPin* InputPin() const { return m_pInputPin; }
  void TryMyTypesFirst() { m_bTryMyTypesFirst = true; }

  HRESULT decide = S_OK;
  ALLOCATOR_PROPERTIES request = {};  // as DecideBufferSize found it
};

// Two filters with one pin each, which offer and take A, B and C.
class PinPair : public testing::Test {
 protected:
  PinPair() {
    out->log = in->log = &log;
    out->offered = {MakeType(kTypeA)};
  }
  ~PinPair() override {
    source->Stop();
    sink->Stop();
    out->Disconnect();
    in->Disconnect();
    source.Reset();
    sink.Reset();
    EXPECT_EQ(CBaseObject::ObjectsActive(), 0);
  }

  HRESULT Connect(const AM_MEDIA_TYPE* pmt = nullptr) { return out->Connect(in, pmt); }
  void ExpectNothingConnected() {
    EXPECT_FALSE(out->IsConnected());
    EXPECT_FALSE(in->IsConnected());
    EXPECT_EQ(out->Allocator(), nullptr);
    EXPECT_EQ(out->InputPin(), nullptr);
    EXPECT_EQ(in->Allocator(), nullptr);
  }

  CallLog log;
  ComPtr<FakeFilter> source{new FakeFilter};
  ComPtr<FakeFilter> sink{new FakeFilter};
  FakeOutputPin* out = source->Add(new FakeOutputPin(source.Get()));
  FakeInputPin* in = sink->Add(new FakeInputPin(sink.Get()));
};

}  // namespace vantor::test
