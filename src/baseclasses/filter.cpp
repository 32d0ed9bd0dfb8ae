#include "baseclasses/filter.h"

#include "baseclasses/enum_pins.h"
#include "baseclasses/info_name.h"
#include "baseclasses/pin.h"
#include "platform/result.h"

using vantor::Guarded;
using vantor::SameGuid;

CBaseFilter::CBaseFilter(LPCWSTR pName, LPUNKNOWN pUnk, CCritSec* pLock, REFCLSID clsid, HRESULT*)
    : CUnknown(pName, pUnk), m_clsid(clsid), m_pLock(pLock) {}

CBaseFilter::~CBaseFilter() { ReleaseInterface(m_pClock); }

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
  return Guarded([this, tStart]() -> HRESULT {
    CAutoLock lock(m_pLock);
    m_tStart = tStart;
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
  IReferenceClock* pOld;
  {
    CAutoLock lock(m_pLock);
    if (pClock) pClock->AddRef();
    pOld = m_pClock;
    m_pClock = pClock;
  }
  if (pOld) pOld->Release();
  return S_OK;
}

STDMETHODIMP CBaseFilter::GetSyncSource(IReferenceClock** ppClock) {
  if (!ppClock) return E_POINTER;
  CAutoLock lock(m_pLock);
  if (m_pClock) m_pClock->AddRef();
  *ppClock = m_pClock;
  return S_OK;
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
    CAutoLock lock(m_pLock);
    const vantor::WideString wanted = Id;
    const int cPins = GetPinCount();
    for (int i = 0; i < cPins; ++i) {
      CBasePin* pPin = GetPin(i);
      if (!pPin) break;
      if (wanted != pPin->Name()) continue;
      *ppPin = pPin;
      pPin->AddRef();
      return S_OK;
    }
    return VFW_E_NOT_FOUND;
  });
}

STDMETHODIMP CBaseFilter::QueryFilterInfo(FILTER_INFO* pInfo) {
  if (!pInfo) return E_POINTER;
  CAutoLock lock(&m_InfoLock);
  CopyInfoName(pInfo->achName, m_Name);
  pInfo->pGraph = m_pGraph;
  if (pInfo->pGraph) pInfo->pGraph->AddRef();
  return S_OK;
}

STDMETHODIMP CBaseFilter::JoinFilterGraph(IFilterGraph* pGraph, LPCWSTR pName) {
  return Guarded([&] {
    CAutoLock lock(m_pLock);
    vantor::WideString name = pName ? pName : OLESTR("");
    IMediaEventSink* pSink = nullptr;
    // The sink is part of the graph and as little counted.
    if (pGraph && SUCCEEDED(pGraph->QueryInterface(IID_IMediaEventSink, reinterpret_cast<void**>(&pSink)))) {
      pSink->Release();
    }
    CAutoLock infoLock(&m_InfoLock);
    m_pGraph = pGraph;
    m_pSink = pSink;
    m_Name.swap(name);
    return S_OK;
  });
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
  IMediaEventSink* pSink = m_pSink;
  if (!pSink) return E_NOTIMPL;
  if (EventCode == EC_COMPLETE) EventParam2 = reinterpret_cast<LONG_PTR>(static_cast<IBaseFilter*>(this));
  return pSink->Notify(EventCode, EventParam1, EventParam2);
}
