// The base of every filter.
//
// Locks: the filter lock, which the derived class owns and passes in, is held for state changes, joining a graph and
// walking the pins; pins take it for connection. GetState, GetClassID, QueryFilterInfo and NotifyEvent take no lock
// that is held across a call out, so any thread may call them at any time.
#pragma once

#include <atomic>

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

  // The pins: 0 to GetPinCount() - 1; null beyond. GetPin adds no reference. Called with the filter lock held. A
  // derived class calls IncrementPinVersion whenever the set changes.
  virtual int GetPinCount() = 0;
  virtual CBasePin* GetPin(int n) = 0;

  // IPersist
  STDMETHODIMP GetClassID(CLSID* pClsID) override;

  // IMediaFilter
  // Inactive on every connected pin; the first failure is returned, the state becomes stopped all the same.
  STDMETHODIMP Stop() override;
  // From stopped: Active on every connected pin; the first failure is returned at once and the filter stays stopped.
  STDMETHODIMP Pause() override;
  // From stopped through Pause. Run on every connected pin; the first failure is returned at once.
  STDMETHODIMP Run(REFERENCE_TIME tStart) override;
  STDMETHODIMP GetState(DWORD dwMilliSecsTimeout, FILTER_STATE* pState) override;
  STDMETHODIMP SetSyncSource(IReferenceClock* pClock) override;
  STDMETHODIMP GetSyncSource(IReferenceClock** ppClock) override;

  // IBaseFilter
  STDMETHODIMP EnumPins(IEnumPins** ppEnum) override;
  // The pin of that name; VFW_E_NOT_FOUND when there is none.
  STDMETHODIMP FindPin(LPCWSTR Id, IPin** ppPin) override;
  STDMETHODIMP QueryFilterInfo(FILTER_INFO* pInfo) override;
  // Graph and sink are not counted: the graph owns the filter and leaves it with null before it goes.
  STDMETHODIMP JoinFilterGraph(IFilterGraph* pGraph, LPCWSTR pName) override;
  STDMETHODIMP QueryVendorInfo(LPWSTR* pVendorInfo) override;

  // IAMovieSetup, over GetSetupData; S_FALSE without data.
  STDMETHODIMP Register() override;
  STDMETHODIMP Unregister() override;
  virtual const AMOVIESETUP_FILTER* GetSetupData() { return nullptr; }

  bool IsActive() const { return m_State != State_Stopped; }
  bool IsStopped() const { return m_State == State_Stopped; }

  // Tells the graph; E_NOTIMPL without a graph that takes events. EC_COMPLETE gets this filter as its second parameter.
  HRESULT NotifyEvent(long EventCode, LONG_PTR EventParam1, LONG_PTR EventParam2);

  // The graph joined, not counted; null outside a graph.
  IFilterGraph* GetFilterGraph() const { return m_pGraph; }

  // Enumerators made under another version are out of date.
  LONG GetPinVersion() const { return m_PinVersion; }
  void IncrementPinVersion() { ++m_PinVersion; }

  CCritSec* GetLock() const { return m_pLock; }

 protected:
  std::atomic<FILTER_STATE> m_State{State_Stopped};  // written with the filter lock held
  IReferenceClock* m_pClock = nullptr;               // counted; guarded by the filter lock
  REFERENCE_TIME m_tStart = 0;                       // of the last Run, 100 ns; guarded by the filter lock
  const CLSID m_clsid;
  CCritSec* const m_pLock;

 private:
  HRESULT ChangeRegistration(BOOL bRegister);

  mutable CCritSec m_InfoLock{
      LockRank::Info};  // name and graph; never held across a call out but QueryFilterInfo's AddRef
  vantor::WideString m_Name VANTOR_GUARDED_BY(m_InfoLock);
  std::atomic<IFilterGraph*> m_pGraph{nullptr};
  std::atomic<IMediaEventSink*> m_pSink{nullptr};
  std::atomic<LONG> m_PinVersion{1};
};
