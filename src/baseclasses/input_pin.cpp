#include "baseclasses/input_pin.h"

#include "baseclasses/allocator.h"
#include "platform/result.h"

using vantor::Guarded;
using vantor::SameGuid;

CBaseInputPin::CBaseInputPin(LPCWSTR pObjectName, CBaseFilter* pFilter, CCritSec* pLock, HRESULT* phr, LPCWSTR pName)
    : CBasePin(pObjectName, pFilter, pLock, phr, pName, PINDIR_INPUT) {}

CBaseInputPin::~CBaseInputPin() { ReleaseInterface(m_pAllocator); }

STDMETHODIMP CBaseInputPin::NonDelegatingQueryInterface(REFIID riid, void** ppv) {
  if (SameGuid(riid, IID_IMemInputPin)) return GetInterface(static_cast<IMemInputPin*>(this), ppv);
  return CBasePin::NonDelegatingQueryInterface(riid, ppv);
}

STDMETHODIMP CBaseInputPin::GetAllocator(IMemAllocator** ppAllocator) {
  if (!ppAllocator) return E_POINTER;
  *ppAllocator = nullptr;
  return Guarded([&]() -> HRESULT {
    CAutoLock lock(m_pLock);
    if (!m_pAllocator) {
      const HRESULT hr = CreateMemoryAllocator(&m_pAllocator);
      if (FAILED(hr)) return hr;
    }
    m_pAllocator->AddRef();
    *ppAllocator = m_pAllocator;
    return S_OK;
  });
}

STDMETHODIMP CBaseInputPin::NotifyAllocator(IMemAllocator* pAllocator, BOOL bReadOnly) {
  if (!pAllocator) return E_POINTER;
  CAutoLock lock(m_pLock);
  pAllocator->AddRef();
  IMemAllocator* pOld = m_pAllocator;
  m_pAllocator = pAllocator;
  m_bReadOnly = bReadOnly != FALSE;
  if (pOld) pOld->Release();
  return S_OK;
}

STDMETHODIMP CBaseInputPin::GetAllocatorRequirements(ALLOCATOR_PROPERTIES*) { return E_NOTIMPL; }

HRESULT CBaseInputPin::CheckStreaming() {
  if (!IsConnected()) return VFW_E_NOT_CONNECTED;
  if (IsStopped()) return VFW_E_WRONG_STATE;
  if (m_bFlushing) return S_FALSE;
  if (m_bRunTimeError) return VFW_E_RUNTIME_ERROR;
  return S_OK;
}

STDMETHODIMP CBaseInputPin::Receive(IMediaSample* pSample) {
  if (!pSample) return E_POINTER;
  return Guarded([&]() -> HRESULT {
    HRESULT hr = CheckStreaming();
    if (hr != S_OK) return hr;
    AM_MEDIA_TYPE* pmt = nullptr;
    if (pSample->GetMediaType(&pmt) != S_OK || !pmt) return S_OK;
    hr = Guarded([&]() -> HRESULT {
      CMediaType mt;
      mt = *pmt;
      return CheckMediaType(&mt);
    });
    DeleteMediaType(pmt);
    if (hr == S_OK) return S_OK;
    // This sample and all that follow are of a type that nobody here can read. What is behind this pin waits for an
    // end that would not come any more, and is told it now.
    m_bRunTimeError = true;
    EndOfStream();
    m_pFilter->NotifyEvent(EC_ERRORABORT, VFW_E_TYPE_NOT_ACCEPTED, 0);
    return VFW_E_INVALIDMEDIATYPE;
  });
}

STDMETHODIMP CBaseInputPin::ReceiveMultiple(IMediaSample** pSamples, LONG nSamples, LONG* nSamplesProcessed) {
  if (!pSamples || !nSamplesProcessed) return E_POINTER;
  *nSamplesProcessed = 0;
  while (*nSamplesProcessed < nSamples) {
    const HRESULT hr = Receive(pSamples[*nSamplesProcessed]);
    if (hr != S_OK) return hr;
    ++*nSamplesProcessed;
  }
  return S_OK;
}

STDMETHODIMP CBaseInputPin::ReceiveCanBlock() { return S_OK; }

STDMETHODIMP CBaseInputPin::BeginFlush() {
  m_bFlushing = true;
  return S_OK;
}

STDMETHODIMP CBaseInputPin::EndFlush() {
  m_bFlushing = false;
  m_bRunTimeError = false;
  return S_OK;
}

HRESULT CBaseInputPin::BreakConnect() {
  if (m_pAllocator) {
    // A connection ends whole, whatever its allocator says.
    m_pAllocator->Decommit();
    ReleaseInterface(m_pAllocator);
  }
  return S_OK;
}

HRESULT CBaseInputPin::Inactive() {
  m_bRunTimeError = false;
  m_bFlushing = false;
  return m_pAllocator ? m_pAllocator->Decommit() : S_OK;
}

HRESULT CreateMemoryAllocator(IMemAllocator** ppAllocator) {
  if (!ppAllocator) return E_POINTER;
  *ppAllocator = nullptr;
  if (SUCCEEDED(CoCreateInstance(CLSID_MemoryAllocator, nullptr, CLSCTX_INPROC_SERVER, IID_IMemAllocator,
                                 reinterpret_cast<void**>(ppAllocator)))) {
    return S_OK;
  }
  return Guarded([ppAllocator] {
    *ppAllocator = new CMemAllocator(OLESTR("allocator"), nullptr, nullptr);
    (*ppAllocator)->AddRef();
    return S_OK;
  });
}
