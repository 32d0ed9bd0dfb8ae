#include "baseclasses/filter.h"

#include <utility>

#include "baseclasses/enum_pins.h"
#include "baseclasses/info_name.h"
#include "baseclasses/pin.h"
#include "platform/result.h"

using vantor::Guarded;
using vantor::LockScope;
using vantor::SameGuid;

namespace {

// How long a filter waits for its events before it leaves the graph; milliseconds.
constexpr unsigned kLongestEvent = 1000;

}  // namespace

CBaseFilter::CBaseFilter(LPCWSTR pName, LPUNKNOWN pUnk, CCritSec* pLock, REFCLSID clsid, HRESULT*)
    : CUnknown(pName, pUnk), m_clsid(clsid), m_pLock(pLock) {}

CBaseFilter::~CBaseFilter() { CBaseFilter::SetSyncSource(nullptr); }

STDMETHODIMP CBaseFilter::NonDelegatingQueryInterface(REFIID riid, void** ppv) {
  if (SameGuid(riid, IID_IBaseFilter)) return GetInterface(static_cast<IBaseFilter*>(this), ppv);
  if (SameGuid(riid, IID_IMediaFilter)) return GetInterface(static_cast<IMediaFilter*>(this), ppv);
  if (SameGuid(riid, IID_IPersist)) return GetInterface(static_cast<IPersist*>(this), ppv);
  if (SameGuid(riid, IID_IAMovieSetup)) return GetInterface(static_cast<IAMovieSetup*>(this), ppv);
  return CUnknown::NonDelegatingQueryInterface(riid, ppv);
}

STDMETHODIMP CBaseFilter::GetClassID(CLSID* pClsID) {
  if (!pClsID) return E_POINTER;
  *pClsID = m_clsid;
  return S_OK;
}

STDMETHODIMP CBaseFilter::Stop() {
  if (OnOwnWorker()) return VFW_E_WRONG_STATE;
  return Guarded([this] {
    CAutoLock lock(m_pLock);
    HRESULT hr = S_OK;
    if (!IsStopped()) {
      const int cPins = GetPinCount();
      for (int i = 0; i < cPins; ++i) {
        CBasePin* pPin = GetPin(i);
        if (!pPin) break;
        if (!pPin->IsConnected()) continue;
        const HRESULT hrPin = Guarded([pPin] { return pPin->Inactive(); });
        if (FAILED(hrPin) && SUCCEEDED(hr)) hr = hrPin;
      }
    }
    m_State = State_Stopped;
    return hr;
  });
}

STDMETHODIMP CBaseFilter::Pause() {
  if (OnOwnWorker()) return VFW_E_WRONG_STATE;
  return Guarded([this]() -> HRESULT {
    CAutoLock lock(m_pLock);
    if (IsStopped()) {
      const int cPins = GetPinCount();
      for (int i = 0; i < cPins; ++i) {
        CBasePin* pPin = GetPin(i);
        if (!pPin) break;
        if (!pPin->IsConnected()) continue;
        const HRESULT hr = pPin->Active();
        if (FAILED(hr)) return hr;
      }
    }
    m_State = State_Paused;
    return S_OK;
  });
}

STDMETHODIMP CBaseFilter::Run(REFERENCE_TIME tStart) {
  if (OnOwnWorker()) return VFW_E_WRONG_STATE;
  return Guarded([this, tStart]() -> HRESULT {
    CAutoLock lock(m_pLock);
    {
      const LockScope hold(m_ClockLock);
      m_tStart = tStart;
    }
    if (IsStopped()) {
      const HRESULT hr = Pause();
      if (FAILED(hr)) return hr;
    }
    if (m_State != State_Running) {
      const int cPins = GetPinCount();
      for (int i = 0; i < cPins; ++i) {
        CBasePin* pPin = GetPin(i);
        if (!pPin) break;
        if (!pPin->IsConnected()) continue;
        const HRESULT hr = pPin->Run(tStart);
        if (FAILED(hr)) return hr;
      }
    }
    m_State = State_Running;
    return S_OK;
  });
}

STDMETHODIMP CBaseFilter::GetState(DWORD, FILTER_STATE* pState) {
  if (!pState) return E_POINTER;
  *pState = m_State;
  return S_OK;
}

STDMETHODIMP CBaseFilter::SetSyncSource(IReferenceClock* pClock) {
  if (pClock) pClock->AddRef();
  {
    const LockScope hold(m_ClockLock);
    std::swap(m_pClock, pClock);
  }
  if (pClock) pClock->Release();
  return S_OK;
}

STDMETHODIMP CBaseFilter::GetSyncSource(IReferenceClock** ppClock) {
  if (!ppClock) return E_POINTER;
  const LockScope hold(m_ClockLock);
  if (m_pClock) m_pClock->AddRef();
  *ppClock = m_pClock;
  return S_OK;
}

CBasePin* CBaseFilter::HoldPin(int n) {
  CBasePin* pPin = GetPin(n);
  if (pPin) pPin->HoldByFilter();
  return pPin;
}

STDMETHODIMP CBaseFilter::EnumPins(IEnumPins** ppEnum) {
  if (!ppEnum) return E_POINTER;
  *ppEnum = nullptr;
  return Guarded([this, ppEnum] {
    *ppEnum = new CEnumPins(this, nullptr);
    (*ppEnum)->AddRef();
    return S_OK;
  });
}

STDMETHODIMP CBaseFilter::FindPin(LPCWSTR Id, IPin** ppPin) {
  if (!ppPin) return E_POINTER;
  *ppPin = nullptr;
  if (!Id) return E_POINTER;
  return Guarded([this, Id, ppPin]() -> HRESULT {
    const vantor::WideString wanted = Id;
    int n = 0;
    while (CBasePin* pPin = HoldPin(n++)) {
      const bool found = wanted == pPin->Name();
      if (found) {
        *ppPin = pPin;
        pPin->AddRef();
      }
      pPin->ReleaseByFilter();
      if (found) return S_OK;
    }
    return VFW_E_NOT_FOUND;
  });
}

STDMETHODIMP CBaseFilter::QueryFilterInfo(FILTER_INFO* pInfo) {
  if (!pInfo) return E_POINTER;
  const LockScope hold(m_InfoLock);
  CopyInfoName(pInfo->achName, m_Name);
  pInfo->pGraph = m_pGraph;
  if (pInfo->pGraph) pInfo->pGraph->AddRef();
  return S_OK;
}

STDMETHODIMP CBaseFilter::JoinFilterGraph(IFilterGraph* pGraph, LPCWSTR pName) {
  return Guarded([&] {
    vantor::WideString name = pName ? pName : OLESTR("");
    IMediaEventSink* pSink = nullptr;
    // The sink is part of the graph and as little counted.
    if (pGraph && SUCCEEDED(pGraph->QueryInterface(IID_IMediaEventSink, reinterpret_cast<void**>(&pSink)))) {
      pSink->Release();
    }
    const vantor::Deadline limit(kLongestEvent);
    const LockScope hold(m_InfoLock);
    m_pGraph = pGraph;
    IMediaEventSink* const pOld = std::exchange(m_pSink, pSink);
    m_Name.swap(name);
    if (pOld == pSink) return S_OK;
    while (EventUnderWay(pOld) && m_EventOver.WaitFor(m_InfoLock, limit.Left())) {
    }
    return S_OK;
  });
}

bool CBaseFilter::EventUnderWay(const IMediaEventSink* pSink) const {
  // A call of this very thread could not end before this one does.
  for (const EventCall* pCall = m_pEventCalls; pCall; pCall = pCall->next) {
    if (pCall->sink == pSink && pCall->thread != std::this_thread::get_id()) return true;
  }
  return false;
}

STDMETHODIMP CBaseFilter::QueryVendorInfo(LPWSTR* pVendorInfo) {
  if (!pVendorInfo) return E_POINTER;
  *pVendorInfo = nullptr;
  return E_NOTIMPL;
}

HRESULT CBaseFilter::ChangeRegistration(BOOL bRegister) {
  const AMOVIESETUP_FILTER* pSetupData = GetSetupData();
  if (!pSetupData) return S_FALSE;
  IFilterMapper2* pMapper = nullptr;
  HRESULT hr = CoCreateInstance(CLSID_FilterMapper2, nullptr, CLSCTX_INPROC_SERVER, IID_IFilterMapper2,
                                reinterpret_cast<void**>(&pMapper));
  if (FAILED(hr)) return hr;
  hr = AMovieSetupRegisterFilter2(pSetupData, pMapper, bRegister);
  pMapper->Release();
  return hr;
}

STDMETHODIMP CBaseFilter::Register() {
  return Guarded([this] { return ChangeRegistration(TRUE); });
}

STDMETHODIMP CBaseFilter::Unregister() {
  return Guarded([this] { return ChangeRegistration(FALSE); });
}

HRESULT CBaseFilter::NotifyEvent(long EventCode, LONG_PTR EventParam1, LONG_PTR EventParam2) {
  EventCall call{nullptr, std::this_thread::get_id(), nullptr};
  {
    const LockScope hold(m_InfoLock);
    if (!m_pSink) return E_NOTIMPL;
    call.sink = m_pSink;
    call.next = std::exchange(m_pEventCalls, &call);
  }
  if (EventCode == EC_COMPLETE) EventParam2 = reinterpret_cast<LONG_PTR>(static_cast<IBaseFilter*>(this));
  const HRESULT hr = Guarded([&] { return call.sink->Notify(EventCode, EventParam1, EventParam2); });
  EndEventCall(&call);
  return hr;
}

void CBaseFilter::EndEventCall(EventCall* pCall) {
  const LockScope hold(m_InfoLock);
  EventCall** ppLink = &m_pEventCalls;
  while (*ppLink != pCall) ppLink = &(*ppLink)->next;
  *ppLink = pCall->next;
  m_EventOver.NotifyAll();
}
