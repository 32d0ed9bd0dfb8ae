#include "baseclasses/filter.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <functional>
#include <thread>

#include "baseclasses/fakes.h"

using namespace vantor::test;
using vantor::ComPtr;
using vantor::WideString;

namespace {

class Clock final : public IReferenceClock {
 public:
  virtual ~Clock() = default;
  STDMETHODIMP QueryInterface(REFIID, void** ppv) override {
    *ppv = nullptr;
    return E_NOINTERFACE;
  }
  STDMETHODIMP_(ULONG) AddRef() override { return ++references; }
  STDMETHODIMP_(ULONG) Release() override { return --references; }
  STDMETHODIMP GetTime(REFERENCE_TIME*) override { return E_NOTIMPL; }
  STDMETHODIMP AdviseTime(REFERENCE_TIME, REFERENCE_TIME, HEVENT, DWORD_PTR*) override { return E_NOTIMPL; }
  STDMETHODIMP AdvisePeriodic(REFERENCE_TIME, REFERENCE_TIME, HSEMAPHORE, DWORD_PTR*) override { return E_NOTIMPL; }
  STDMETHODIMP Unadvise(DWORD_PTR) override { return E_NOTIMPL; }
  ULONG references = 0;
};

class EventSink final : public IMediaEventSink {
 public:
  virtual ~EventSink() = default;
  STDMETHODIMP QueryInterface(REFIID, void** ppv) override {
    *ppv = nullptr;
    return E_NOINTERFACE;
  }
  STDMETHODIMP_(ULONG) AddRef() override { return ++references; }
  STDMETHODIMP_(ULONG) Release() override { return --references; }
  STDMETHODIMP Notify(LONG code, LONG_PTR first, LONG_PTR second) override {
    last = {code, first, second};
    during();
    return S_OK;
  }
  struct {
    LONG code;
    LONG_PTR first;
    LONG_PTR second;
  } last = {};
  std::function<void()> during = [] {};
  ULONG references = 0;
};

class Graph final : public IFilterGraph {
 public:
  virtual ~Graph() = default;
  STDMETHODIMP QueryInterface(REFIID riid, void** ppv) override {
    *ppv = nullptr;
    if (!takes_events || !vantor::SameGuid(riid, IID_IMediaEventSink)) return E_NOINTERFACE;
    return GetInterface(&sink, ppv);
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
  bool takes_events = true;
  EventSink sink;
  ULONG references = 0;
};

class Filter : public PinPair {
 protected:
  FILTER_STATE StateOf(IBaseFilter* filter) {
    FILTER_STATE state = State_Running;
    EXPECT_EQ(filter->GetState(0, &state), S_OK);
    return state;
  }
};

TEST_F(Filter, ItAnswersItsInterfacesAndNoOthers) {
  for (const IID& iid : {IID_IUnknown, IID_IPersist, IID_IMediaFilter, IID_IBaseFilter, IID_IAMovieSetup}) {
    ComPtr<IUnknown> unknown;
    EXPECT_EQ(source->QueryInterface(iid, unknown.Void()), S_OK);
  }
  void* object = &object;
  EXPECT_EQ(source->QueryInterface(IID_IPin, &object), E_NOINTERFACE);
  EXPECT_EQ(object, nullptr);
  EXPECT_EQ(source->QueryInterface(IID_IBaseFilter, nullptr), E_POINTER);
}

TEST_F(Filter, TheClassIdIsTheOneGiven) {
  CLSID clsid;
  EXPECT_EQ(source->GetClassID(&clsid), S_OK);
  EXPECT_TRUE(vantor::SameGuid(clsid, kTypeA));
  EXPECT_EQ(source->GetClassID(nullptr), E_POINTER);
}

TEST_F(Filter, StatesCallTheConnectedPins) {
  FakeOutputPin* lone = source->Add(new FakeOutputPin(source.Get(), OLESTR("Lone")));
  lone->log = &log;
  lone->name = "lone";
  EXPECT_EQ(Connect(), S_OK);
  log.Take();
  EXPECT_EQ(StateOf(source.Get()), State_Stopped);
  EXPECT_EQ(source->Pause(), S_OK);
  EXPECT_EQ(StateOf(source.Get()), State_Paused);
  EXPECT_EQ(source->Run(5), S_OK);
  EXPECT_EQ(StateOf(source.Get()), State_Running);
  EXPECT_EQ(source->StartTime(), 5);
  EXPECT_EQ(source->Pause(), S_OK);
  EXPECT_EQ(source->Stop(), S_OK);
  EXPECT_EQ(source->Stop(), S_OK);
  EXPECT_EQ(StateOf(source.Get()), State_Stopped);
  EXPECT_EQ(log.Take(), (Calls{"out.Active", "out.Run", "out.Inactive"}));
  EXPECT_EQ(source->GetState(0, nullptr), E_POINTER);
}

TEST_F(Filter, RunningFromStoppedPausesFirst) {
  EXPECT_EQ(Connect(), S_OK);
  log.Take();
  EXPECT_EQ(source->Run(0), S_OK);
  EXPECT_EQ(source->Run(7), S_OK);
  EXPECT_EQ(log.Take(), (Calls{"out.Active", "out.Run"}));
}

TEST_F(Filter, AFailingPinKeepsTheFilterFromStarting) {
  EXPECT_EQ(Connect(), S_OK);
  out->active = E_ACCESSDENIED;
  EXPECT_EQ(source->Pause(), E_ACCESSDENIED);
  EXPECT_EQ(StateOf(source.Get()), State_Stopped);
  EXPECT_EQ(source->Run(0), E_ACCESSDENIED);
  EXPECT_EQ(StateOf(source.Get()), State_Stopped);
  out->active = S_OK;
  out->run = E_FAIL;
  EXPECT_EQ(source->Run(0), E_FAIL);
  EXPECT_EQ(StateOf(source.Get()), State_Paused);
}

TEST_F(Filter, AFailingPinDoesNotKeepTheFilterFromStopping) {
  FakeOutputPin* second = source->Add(new FakeOutputPin(source.Get(), OLESTR("Second")));
  FakeInputPin* target = sink->Add(new FakeInputPin(sink.Get(), OLESTR("Target")));
  second->offered = {MakeType(kTypeA)};
  EXPECT_EQ(Connect(), S_OK);
  EXPECT_EQ(second->Connect(target, nullptr), S_OK);
  second->log = &log;
  second->name = "second";
  EXPECT_EQ(source->Pause(), S_OK);
  log.Take();
  out->inactive = E_ACCESSDENIED;
  second->inactive = E_FAIL;
  EXPECT_EQ(source->Stop(), E_ACCESSDENIED);
  EXPECT_EQ(StateOf(source.Get()), State_Stopped);
  EXPECT_EQ(log.Take(), (Calls{"out.Inactive", "second.Inactive"}));
  second->Disconnect();
  target->Disconnect();
}

TEST_F(Filter, OnItsOwnWorkerChangesOfStateAreRefused) {
  EXPECT_EQ(Connect(), S_OK);
  log.Take();
  source->m_OnOwnWorker = true;
  EXPECT_EQ(source->Pause(), VFW_E_WRONG_STATE);
  EXPECT_EQ(source->Run(1), VFW_E_WRONG_STATE);
  EXPECT_EQ(StateOf(source.Get()), State_Stopped);
  EXPECT_EQ(source->StartTime(), 0);
  EXPECT_EQ(source->Stop(), VFW_E_WRONG_STATE);
  source->m_OnOwnWorker = false;
  EXPECT_EQ(source->Pause(), S_OK);
  source->m_OnOwnWorker = true;
  EXPECT_EQ(source->Stop(), VFW_E_WRONG_STATE);
  EXPECT_EQ(StateOf(source.Get()), State_Paused);
  source->m_OnOwnWorker = false;
  EXPECT_EQ(log.Take(), Calls{"out.Active"});
}

TEST_F(Filter, TheClockIsHeldUntilReplaced) {
  Clock one;
  Clock two;
  EXPECT_EQ(source->SetSyncSource(&one), S_OK);
  EXPECT_EQ(one.references, 1u);
  EXPECT_EQ(source->SetSyncSource(&one), S_OK);
  EXPECT_EQ(one.references, 1u);
  EXPECT_EQ(source->SetSyncSource(&two), S_OK);
  EXPECT_EQ(one.references, 0u);
  IReferenceClock* clock = nullptr;
  EXPECT_EQ(source->GetSyncSource(&clock), S_OK);
  EXPECT_EQ(clock, &two);
  clock->Release();
  EXPECT_EQ(source->SetSyncSource(nullptr), S_OK);
  EXPECT_EQ(two.references, 0u);
  EXPECT_EQ(source->GetSyncSource(&clock), S_OK);
  EXPECT_EQ(clock, nullptr);
  EXPECT_EQ(source->GetSyncSource(nullptr), E_POINTER);
}

TEST(FilterEnd, TheClockIsReleasedWithTheFilter) {
  Clock clock;
  ComPtr<FakeFilter> filter(new FakeFilter);
  filter->SetSyncSource(&clock);
  filter.Reset();
  EXPECT_EQ(clock.references, 0u);
}

TEST_F(Filter, TheGraphAndItsSinkAreNotCounted) {
  Graph graph;
  EXPECT_EQ(source->JoinFilterGraph(&graph, OLESTR("name")), S_OK);
  EXPECT_EQ(graph.references, 0u);
  EXPECT_EQ(graph.sink.references, 0u);
  EXPECT_EQ(source->GetFilterGraph(), &graph);
  FILTER_INFO info = {};
  EXPECT_EQ(source->QueryFilterInfo(&info), S_OK);
  EXPECT_EQ(info.pGraph, &graph);
  EXPECT_EQ(graph.references, 1u);
  info.pGraph->Release();
  EXPECT_EQ(WideString(info.achName), WideString(OLESTR("name")));
  EXPECT_EQ(source->JoinFilterGraph(nullptr, nullptr), S_OK);
  EXPECT_EQ(source->QueryFilterInfo(&info), S_OK);
  EXPECT_EQ(info.pGraph, nullptr);
  EXPECT_EQ(WideString(info.achName), WideString());
  EXPECT_EQ(source->QueryFilterInfo(nullptr), E_POINTER);
}

TEST_F(Filter, ANameTooLongForTheInfoIsCutAndTerminated) {
  const WideString name(128, WCHAR('x'));
  EXPECT_EQ(source->JoinFilterGraph(nullptr, name.c_str()), S_OK);
  FILTER_INFO info = {};
  EXPECT_EQ(source->QueryFilterInfo(&info), S_OK);
  EXPECT_EQ(WideString(info.achName), name.substr(0, 127));
}

TEST_F(Filter, EventsGoToTheGraph) {
  Graph graph;
  EXPECT_EQ(source->NotifyEvent(EC_ERRORABORT, 1, 2), E_NOTIMPL);
  source->JoinFilterGraph(&graph, nullptr);
  EXPECT_EQ(source->NotifyEvent(EC_ERRORABORT, 1, 2), S_OK);
  EXPECT_EQ(graph.sink.last.code, EC_ERRORABORT);
  EXPECT_EQ(graph.sink.last.first, 1);
  EXPECT_EQ(graph.sink.last.second, 2);
  EXPECT_EQ(source->NotifyEvent(EC_COMPLETE, S_OK, 0), S_OK);
  EXPECT_EQ(graph.sink.last.second, reinterpret_cast<LONG_PTR>(static_cast<IBaseFilter*>(source.Get())));
  source->JoinFilterGraph(nullptr, nullptr);
  EXPECT_EQ(source->NotifyEvent(EC_ERRORABORT, 1, 2), E_NOTIMPL);
  graph.takes_events = false;
  source->JoinFilterGraph(&graph, nullptr);
  EXPECT_EQ(source->NotifyEvent(EC_ERRORABORT, 1, 2), E_NOTIMPL);
  source->JoinFilterGraph(nullptr, nullptr);
}

// An event of another thread that stays on its way, in the graph, until the test lets it go.
class EventUnderWay {
 public:
  EventUnderWay(CBaseFilter* filter, EventSink* sink) {
    sink->during = [this] {
      m_Inside.Set();
      m_LetGo.Wait(20000);
      m_Over = true;
    };
    m_Thread = std::thread([filter] { EXPECT_EQ(filter->NotifyEvent(EC_ERRORABORT, 1, 2), S_OK); });
    m_Inside.Wait();
  }
  ~EventUnderWay() {
    LetGo();
    m_Thread.join();
  }
  void LetGo() { m_LetGo.Set(); }
  bool Over() const { return m_Over; }

 private:
  CAMEvent m_Inside;
  CAMEvent m_LetGo{TRUE};
  std::atomic<bool> m_Over{false};
  std::thread m_Thread;
};

TEST_F(Filter, LeavingTheGraphWaitsForAnEventOnItsWayThere) {
  for (const bool forAnother : {false, true}) {
    Graph graph;
    Graph other;
    source->JoinFilterGraph(&graph, nullptr);
    EventUnderWay event(source.Get(), &graph.sink);
    CAMEvent left(TRUE);
    std::thread leaving([&] {
      EXPECT_EQ(source->JoinFilterGraph(forAnother ? &other : nullptr, nullptr), S_OK);
      EXPECT_TRUE(event.Over());
      left.Set();
    });
    while (source->GetFilterGraph() == &graph) std::this_thread::yield();
    EXPECT_FALSE(left.Wait(20));
    event.LetGo();
    leaving.join();
    source->JoinFilterGraph(nullptr, nullptr);
  }
}

TEST_F(Filter, LeavingTheGraphDoesNotWaitForAnEventForGood) {
  Graph graph;
  source->JoinFilterGraph(&graph, nullptr);
  const EventUnderWay event(source.Get(), &graph.sink);
  EXPECT_EQ(source->JoinFilterGraph(nullptr, nullptr), S_OK);
  EXPECT_FALSE(event.Over());
}

TEST_F(Filter, JoiningTheSameGraphAgainWaitsForNoEvent) {
  Graph graph;
  source->JoinFilterGraph(&graph, nullptr);
  const EventUnderWay event(source.Get(), &graph.sink);
  for (int i = 0; i < 100; ++i) EXPECT_EQ(source->JoinFilterGraph(&graph, OLESTR("again")), S_OK);
  EXPECT_FALSE(event.Over());
  source->JoinFilterGraph(nullptr, nullptr);
}

TEST_F(Filter, AnEventMayLeaveTheGraphItself) {
  Graph graph;
  auto shortest = std::chrono::steady_clock::duration::max();
  graph.sink.during = [&] {
    const auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(source->JoinFilterGraph(nullptr, nullptr), S_OK);
    shortest = std::min(shortest, std::chrono::steady_clock::now() - start);
  };
  // Of several, for a busy machine may hold one up as long as a wait would.
  for (int i = 0; i < 5; ++i) {
    source->JoinFilterGraph(&graph, nullptr);
    EXPECT_EQ(source->NotifyEvent(EC_ERRORABORT, 1, 2), S_OK);
  }
  EXPECT_LT(shortest, std::chrono::milliseconds(900));
  EXPECT_EQ(source->NotifyEvent(EC_ERRORABORT, 1, 2), E_NOTIMPL);
}

TEST_F(Filter, APinIsFoundByItsId) {
  LPWSTR id = nullptr;
  EXPECT_EQ(out->QueryId(&id), S_OK);
  ComPtr<IPin> found;
  EXPECT_EQ(source->FindPin(id, found.Out()), S_OK);
  EXPECT_EQ(found.Get(), out);
  CoTaskMemFree(id);
  IPin* none = out;
  EXPECT_EQ(source->FindPin(OLESTR("out"), &none), VFW_E_NOT_FOUND);
  EXPECT_EQ(none, nullptr);
  EXPECT_EQ(source->FindPin(nullptr, &none), E_POINTER);
  EXPECT_EQ(source->FindPin(OLESTR("Out"), nullptr), E_POINTER);
}

TEST_F(Filter, ThereIsNoVendorInformation) {
  LPWSTR vendor = nullptr;
  EXPECT_EQ(source->QueryVendorInfo(&vendor), E_NOTIMPL);
  EXPECT_EQ(source->QueryVendorInfo(nullptr), E_POINTER);
}

TEST_F(Filter, WithoutSetupDataThereIsNothingToRegister) {
  EXPECT_EQ(source->Register(), S_FALSE);
  EXPECT_EQ(source->Unregister(), S_FALSE);
}

}  // namespace
