#include "baseclasses/pin.h"

#include <cstring>
#include <utility>

#include "baseclasses/enum_media_types.h"
#include "baseclasses/info_name.h"
#include "platform/result.h"

using vantor::Guarded;
using vantor::SameGuid;

CBasePin::CBasePin(LPCWSTR pObjectName, CBaseFilter* pFilter, CCritSec* pLock, HRESULT*, LPCWSTR pName,
                   PIN_DIRECTION dir)
    : CUnknown(pObjectName, nullptr),
      m_pFilter(pFilter),
      m_pLock(pLock),
      m_dir(dir),
      m_Name(pName ? pName : OLESTR("")) {}

CBasePin::~CBasePin() { ClearConnected(); }

STDMETHODIMP CBasePin::NonDelegatingQueryInterface(REFIID riid, void** ppv) {
  if (SameGuid(riid, IID_IPin)) return GetInterface(static_cast<IPin*>(this), ppv);
  if (SameGuid(riid, IID_IQualityControl)) return GetInterface(static_cast<IQualityControl*>(this), ppv);
  return CUnknown::NonDelegatingQueryInterface(riid, ppv);
}

STDMETHODIMP_(ULONG) CBasePin::NonDelegatingAddRef() {
  m_pFilter->AddRef();
  return CUnknown::NonDelegatingAddRef();
}

STDMETHODIMP_(ULONG) CBasePin::NonDelegatingRelease() {
  CBaseFilter* pFilter = m_pFilter;
  const ULONG left = CUnknown::NonDelegatingRelease();
  pFilter->Release();
  return left;
}

void CBasePin::HoldByFilter() { CUnknown::NonDelegatingAddRef(); }

void CBasePin::ReleaseByFilter() { CUnknown::NonDelegatingRelease(); }

void CBasePin::SetConnected(IPin* pPeer) {
  pPeer->AddRef();
  CAutoLock lock(&m_ConnectionLock);
  m_Connected = pPeer;
}

void CBasePin::ClearConnected() {
  IPin* pPeer;
  CMediaType old;
  {
    CAutoLock lock(&m_ConnectionLock);
    pPeer = m_Connected.exchange(nullptr);
    std::swap(old, m_mt);
  }
  if (pPeer) pPeer->Release();
}

CMediaType CBasePin::CurrentMediaType() const {
  CAutoLock lock(&m_ConnectionLock);
  return m_mt;
}

HRESULT CBasePin::CheckControlCall(PIN_DIRECTION dir) const {
  if (m_pFilter->OnOwnWorker()) return VFW_E_WRONG_STATE;
  return dir == m_dir ? S_OK : E_UNEXPECTED;
}

STDMETHODIMP CBasePin::Connect(IPin* pReceivePin, const AM_MEDIA_TYPE* pmt) {
  if (!pReceivePin) return E_POINTER;
  const HRESULT hrControl = CheckControlCall(PINDIR_OUTPUT);
  if (FAILED(hrControl)) return hrControl;
  return Guarded([&]() -> HRESULT {
    CAutoLock lock(m_pLock);
    if (m_Connected) return VFW_E_ALREADY_CONNECTED;
    if (!IsStopped() && !m_bCanReconnectWhenActive) return VFW_E_NOT_STOPPED;
    if (!pmt) return AgreeMediaType(pReceivePin, nullptr);
    CMediaType mt;
    mt = *pmt;
    return AgreeMediaType(pReceivePin, &mt);
  });
}

HRESULT CBasePin::AgreeMediaType(IPin* pReceivePin, const CMediaType* pmt) {
  if (pmt && !pmt->IsPartiallySpecified()) return AttemptConnection(pReceivePin, pmt);

  HRESULT hrFailure = VFW_E_NO_ACCEPTABLE_TYPES;
  for (const bool mine : {m_bTryMyTypesFirst, !m_bTryMyTypesFirst}) {
    IEnumMediaTypes* pEnum = nullptr;
    HRESULT hr = mine ? EnumMediaTypes(&pEnum) : pReceivePin->EnumMediaTypes(&pEnum);
    if (FAILED(hr) || !pEnum) continue;
    hr = Guarded([&] {
      m_pLock->AssertHeld();
      return TryMediaTypes(pReceivePin, pmt, pEnum);
    });
    pEnum->Release();
    if (SUCCEEDED(hr)) return S_OK;
    if (hrFailure == VFW_E_NO_ACCEPTABLE_TYPES) hrFailure = hr;
  }
  return hrFailure;
}

HRESULT CBasePin::TryMediaTypes(IPin* pReceivePin, const CMediaType* pmt, IEnumMediaTypes* pEnum) {
  HRESULT hr = pEnum->Reset();
  if (FAILED(hr)) return hr;
  // The first failure that says more than that the type was refused is the one worth reporting.
  HRESULT hrFailure = VFW_E_NO_ACCEPTABLE_TYPES;
  for (;;) {
    AM_MEDIA_TYPE* pOffered = nullptr;
    ULONG cFetched = 0;
    hr = pEnum->Next(1, &pOffered, &cFetched);
    if (hr != S_OK || cFetched != 1 || !pOffered) return hrFailure;
    hr = Guarded([&]() -> HRESULT {
      m_pLock->AssertHeld();
      CMediaType offered;
      offered = *pOffered;
      if (pmt && !offered.MatchesPartial(pmt)) return VFW_E_TYPE_NOT_ACCEPTED;
      return AttemptConnection(pReceivePin, &offered);
    });
    DeleteMediaType(pOffered);
    if (SUCCEEDED(hr)) return S_OK;
    if (hrFailure == VFW_E_NO_ACCEPTABLE_TYPES && hr != E_FAIL && hr != E_INVALIDARG && hr != VFW_E_TYPE_NOT_ACCEPTED) {
      hrFailure = hr;
    }
  }
}

HRESULT CBasePin::AttemptConnection(IPin* pReceivePin, const CMediaType* pmt) {
  bool received = false;
  HRESULT hr = Guarded([&]() -> HRESULT {
    m_pLock->AssertHeld();
    HRESULT hrStep = CheckConnect(pReceivePin);
    if (FAILED(hrStep)) return hrStep;
    hrStep = CheckMediaType(pmt);
    if (hrStep != S_OK) return RefusedType(hrStep);
    // Before the other side is asked: it asks back from within ReceiveConnection, who is connected and by which type.
    SetConnected(pReceivePin);
    hrStep = SetMediaType(pmt);
    if (FAILED(hrStep)) return hrStep;
    hrStep = pReceivePin->ReceiveConnection(this, pmt);
    if (FAILED(hrStep)) return hrStep;
    received = true;
    return CompleteConnect(pReceivePin);
  });
  if (SUCCEEDED(hr)) return S_OK;
  // A side that refused has undone its half by itself.
  if (received) pReceivePin->Disconnect();
  UndoConnection();
  return hr;
}

STDMETHODIMP CBasePin::ReceiveConnection(IPin* pConnector, const AM_MEDIA_TYPE* pmt) {
  if (!pConnector || !pmt) return E_POINTER;
  const HRESULT hrControl = CheckControlCall(PINDIR_INPUT);
  if (FAILED(hrControl)) return hrControl;
  return Guarded([&]() -> HRESULT {
    CAutoLock lock(m_pLock);
    if (m_Connected) return VFW_E_ALREADY_CONNECTED;
    if (!IsStopped() && !m_bCanReconnectWhenActive) return VFW_E_NOT_STOPPED;
    const HRESULT hr = Guarded([&]() -> HRESULT {
      m_pLock->AssertHeld();
      HRESULT hrStep = CheckConnect(pConnector);
      if (FAILED(hrStep)) return hrStep;
      CMediaType mt;
      mt = *pmt;
      hrStep = CheckMediaType(&mt);
      if (hrStep != S_OK) return RefusedType(hrStep);
      SetConnected(pConnector);
      hrStep = SetMediaType(&mt);
      if (FAILED(hrStep)) return hrStep;
      return CompleteConnect(pConnector);
    });
    if (SUCCEEDED(hr)) return S_OK;
    UndoConnection();
    return hr;
  });
}

HRESULT CBasePin::RefusedType(HRESULT hr) {
  return SUCCEEDED(hr) || hr == E_FAIL || hr == E_INVALIDARG ? VFW_E_TYPE_NOT_ACCEPTED : hr;
}

void CBasePin::UndoConnection() {
  Guarded([this] { return BreakConnect(); });
  ClearConnected();
}

STDMETHODIMP CBasePin::Disconnect() {
  if (m_pFilter->OnOwnWorker()) return VFW_E_WRONG_STATE;
  return Guarded([this]() -> HRESULT {
    CAutoLock lock(m_pLock);
    if (!IsStopped()) return VFW_E_NOT_STOPPED;
    return DisconnectInternal();
  });
}

HRESULT CBasePin::DisconnectInternal() {
  if (!m_Connected) return S_FALSE;
  const HRESULT hr = BreakConnect();
  if (FAILED(hr)) return hr;
  ClearConnected();
  return S_OK;
}

STDMETHODIMP CBasePin::ConnectedTo(IPin** ppPin) {
  if (!ppPin) return E_POINTER;
  CAutoLock lock(&m_ConnectionLock);
  *ppPin = m_Connected;
  if (!*ppPin) return VFW_E_NOT_CONNECTED;
  (*ppPin)->AddRef();
  return S_OK;
}

STDMETHODIMP CBasePin::ConnectionMediaType(AM_MEDIA_TYPE* pmt) {
  if (!pmt) return E_POINTER;
  CAutoLock lock(&m_ConnectionLock);
  if (m_Connected) return CopyMediaType(pmt, &m_mt);
  *pmt = AM_MEDIA_TYPE{};
  return VFW_E_NOT_CONNECTED;
}

STDMETHODIMP CBasePin::QueryPinInfo(PIN_INFO* pInfo) {
  if (!pInfo) return E_POINTER;
  pInfo->pFilter = m_pFilter;
  m_pFilter->AddRef();
  pInfo->dir = m_dir;
  CopyInfoName(pInfo->achName, m_Name);
  return S_OK;
}

STDMETHODIMP CBasePin::QueryDirection(PIN_DIRECTION* pPinDir) {
  if (!pPinDir) return E_POINTER;
  *pPinDir = m_dir;
  return S_OK;
}

STDMETHODIMP CBasePin::QueryId(LPWSTR* Id) {
  if (!Id) return E_POINTER;
  const std::size_t size = (m_Name.size() + 1) * sizeof(WCHAR);
  *Id = static_cast<LPWSTR>(CoTaskMemAlloc(size));
  if (!*Id) return E_OUTOFMEMORY;
  std::memcpy(*Id, m_Name.c_str(), size);
  return S_OK;
}

STDMETHODIMP CBasePin::QueryAccept(const AM_MEDIA_TYPE* pmt) {
  if (!pmt) return E_POINTER;
  return Guarded([&]() -> HRESULT {
    CMediaType mt;
    mt = *pmt;
    return CheckMediaType(&mt) == S_OK ? S_OK : S_FALSE;
  });
}

STDMETHODIMP CBasePin::EnumMediaTypes(IEnumMediaTypes** ppEnum) {
  if (!ppEnum) return E_POINTER;
  *ppEnum = nullptr;
  return Guarded([this, ppEnum] {
    *ppEnum = new CEnumMediaTypes(this, nullptr);
    (*ppEnum)->AddRef();
    return S_OK;
  });
}

STDMETHODIMP CBasePin::QueryInternalConnections(IPin**, ULONG*) { return E_NOTIMPL; }

STDMETHODIMP CBasePin::EndOfStream() { return S_OK; }

STDMETHODIMP CBasePin::NewSegment(REFERENCE_TIME tStart, REFERENCE_TIME tStop, double dRate) {
  m_tStart = tStart;
  m_tStop = tStop;
  m_dRate = dRate;
  return S_OK;
}

STDMETHODIMP CBasePin::Notify(IBaseFilter*, Quality) { return E_NOTIMPL; }

STDMETHODIMP CBasePin::SetSink(IQualityControl* piqc) {
  m_pQSink = piqc;
  return S_OK;
}

HRESULT CBasePin::GetMediaType(int, CMediaType*) { return E_UNEXPECTED; }

HRESULT CBasePin::CheckConnect(IPin* pPin) {
  PIN_DIRECTION dir;
  const HRESULT hr = pPin->QueryDirection(&dir);
  if (FAILED(hr)) return hr;
  return dir == m_dir ? VFW_E_INVALID_DIRECTION : S_OK;
}

HRESULT CBasePin::SetMediaType(const CMediaType* pmt) {
  CAutoLock lock(&m_ConnectionLock);
  return m_mt.Set(*pmt);
}

HRESULT CBasePin::CompleteConnect(IPin*) { return S_OK; }

HRESULT CBasePin::BreakConnect() { return S_OK; }

HRESULT CBasePin::Inactive() {
  m_bRunTimeError = false;
  return S_OK;
}
