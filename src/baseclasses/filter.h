// The base of every filter.
//
// Locks. The filter lock, which the derived class owns and passes in, is held for state changes; pins take it for
// connection. It is held across calls out and across waits for workers, so nothing that a neighbour may call from
// inside a call of a worker needs it: pins are enumerated and found over HoldPin; clock and start time, and graph, sink
// and name, have small locks of their own, held for no call out but AddRef. Any thread may call these at any time.
//
// Events. NotifyEvent calls the graph with no lock held. JoinFilterGraph waits until no call is on its way to the graph
// that the filter leaves: neither graph nor sink is counted, so the graph may be gone when it returns.
//
// Workers. Control calls (states here, connection in the pins) from one of the filter's own workers would wait for
// themselves: they are refused with VFW_E_WRONG_STATE where OnOwnWorker says so.
#pragma once

#include <atomic>
#include <thread>

#include "baseclasses/setup_data.h"
#include "baseclasses/sync.h"
#include "baseclasses/unknown.h"
#include "platform/com.h"

class CBasePin;

class CBaseFilter : public CUnknown, public IBaseFilter, public IAMovieSetup {
 public:
  // The lock is only kept here; it is used after construction and not by the destructor.
  CBaseFilter(LPCWSTR pName, LPUNKNOWN pUnk, CCritSec* pLock, REFCLSID clsid, HRESULT* phr = nullptr);
  ~CBaseFilter() override;

  DECLARE_IUNKNOWN
  // IBaseFilter, IMediaFilter, IPersist, IAMovieSetup, IUnknown.
  STDMETHODIMP NonDelegatingQueryInterface(REFIID riid, void** ppv) override;

  // The pins: 0 to GetPinCount() - 1; null beyond. GetPin adds no reference: what it gave stays while the caller keeps
  // the set from changing. Both are also called without the filter lock. A derived class calls IncrementPinVersion
  // whenever the set changes.
  virtual int GetPinCount() = 0;
  virtual CBasePin* GetPin(int n) = 0;
  // The pin with a hold on it (HoldByFilter), for the caller to give back with ReleaseByFilter; null beyond the end.
  // Any thread may call it at any time; it takes no lock that is held across a call out. As it is here it serves
  // filters whose set of pins never changes while others may ask; any other guards its list with a small lock.
  virtual CBasePin* HoldPin(int n);

  // Whether the calling thread is one of this filter's own worker threads.
  virtual bool OnOwnWorker() const { return false; }

  // IPersist
  STDMETHODIMP GetClassID(CLSID* pClsID) override;

  // IMediaFilter. Changes of state are refused on the filter's own workers: VFW_E_WRONG_STATE, nothing changed.
  // Inactive on every connected pin; the first failure is returned, the state becomes stopped all the same.
  STDMETHODIMP Stop() override;
  // From stopped: Active on every connected pin; the first failure is returned at once and the filter stays stopped.
  STDMETHODIMP Pause() override;
  // From stopped through Pause. Run on every connected pin; the first failure is returned at once.
  STDMETHODIMP Run(REFERENCE_TIME tStart) override;
  STDMETHODIMP GetState(DWORD dwMilliSecsTimeout, FILTER_STATE* pState) override;
  STDMETHODIMP SetSyncSource(IReferenceClock* pClock) override VANTOR_EXCLUDES(m_ClockLock);
  STDMETHODIMP GetSyncSource(IReferenceClock** ppClock) override VANTOR_EXCLUDES(m_ClockLock);

  // IBaseFilter
  STDMETHODIMP EnumPins(IEnumPins** ppEnum) override;
  // The pin of that name; VFW_E_NOT_FOUND when there is none.
  STDMETHODIMP FindPin(LPCWSTR Id, IPin** ppPin) override;
  STDMETHODIMP QueryFilterInfo(FILTER_INFO* pInfo) override VANTOR_EXCLUDES(m_InfoLock);
  // Graph and sink are not counted: the graph owns the filter and leaves it with null before it goes. Events that other
  // threads have on their way to the old graph are waited for, one second at most.
  STDMETHODIMP JoinFilterGraph(IFilterGraph* pGraph, LPCWSTR pName) override VANTOR_EXCLUDES(m_InfoLock);
  STDMETHODIMP QueryVendorInfo(LPWSTR* pVendorInfo) override;

  // IAMovieSetup, over GetSetupData; S_FALSE without data.
  STDMETHODIMP Register() override;
  STDMETHODIMP Unregister() override;
  virtual const AMOVIESETUP_FILTER* GetSetupData() { return nullptr; }

  bool IsActive() const { return m_State != State_Stopped; }
  bool IsStopped() const { return m_State == State_Stopped; }

  // Tells the graph; E_NOTIMPL without a graph that takes events. EC_COMPLETE gets this filter as its second parameter.
  HRESULT NotifyEvent(long EventCode, LONG_PTR EventParam1, LONG_PTR EventParam2) VANTOR_EXCLUDES(m_InfoLock);

  // The graph joined, not counted; null outside a graph.
  IFilterGraph* GetFilterGraph() const { return m_pGraph; }

  // Enumerators made under another version are out of date.
  LONG GetPinVersion() const { return m_PinVersion; }
  void IncrementPinVersion() { ++m_PinVersion; }

  CCritSec* GetLock() const { return m_pLock; }

 protected:
  std::atomic<FILTER_STATE> m_State{State_Stopped};  // written with the filter lock held, read without it
  mutable vantor::Lock m_ClockLock{LockRank::Clock};
  IReferenceClock* m_pClock VANTOR_GUARDED_BY(m_ClockLock) = nullptr;  // counted
  REFERENCE_TIME m_tStart VANTOR_GUARDED_BY(m_ClockLock) = 0;          // of the last Run, 100 ns
  const CLSID m_clsid;
  CCritSec* const m_pLock;

 private:
  // A call of NotifyEvent, listed while it is in the graph.
  struct EventCall {
    IMediaEventSink* sink;
    std::thread::id thread;
    EventCall* next;
  };

  HRESULT ChangeRegistration(BOOL bRegister);
  void EndEventCall(EventCall* pCall) VANTOR_EXCLUDES(m_InfoLock);
  // Whether another thread is in that sink.
  bool EventUnderWay(const IMediaEventSink* pSink) const VANTOR_REQUIRES(m_InfoLock);

  mutable vantor::Lock m_InfoLock{LockRank::Info};
  vantor::WideString m_Name VANTOR_GUARDED_BY(m_InfoLock);
  IMediaEventSink* m_pSink VANTOR_GUARDED_BY(m_InfoLock) = nullptr;
  EventCall* m_pEventCalls VANTOR_GUARDED_BY(m_InfoLock) = nullptr;
  vantor::Condition m_EventOver;
  std::atomic<IFilterGraph*> m_pGraph{nullptr};  // written with the lock held, read without it
  std::atomic<LONG> m_PinVersion{1};
};
