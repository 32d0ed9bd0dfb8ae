#include "baseclasses/output_pin.h"

#include "baseclasses/input_pin.h"

CBaseOutputPin::CBaseOutputPin(LPCWSTR pObjectName, CBaseFilter* pFilter, CCritSec* pLock, HRESULT* phr, LPCWSTR pName)
    : CBasePin(pObjectName, pFilter, pLock, phr, pName, PINDIR_OUTPUT) {}

CBaseOutputPin::~CBaseOutputPin() {
  ReleaseInterface(m_pAllocator);
  ReleaseInterface(m_pInputPin);
}

HRESULT CBaseOutputPin::CheckConnect(IPin* pPin) {
  const HRESULT hr = CBasePin::CheckConnect(pPin);
  if (FAILED(hr)) return hr;
  ReleaseInterface(m_pInputPin);
  return pPin->QueryInterface(IID_IMemInputPin, reinterpret_cast<void**>(&m_pInputPin));
}

HRESULT CBaseOutputPin::CompleteConnect(IPin*) { return DecideAllocator(m_pInputPin, &m_pAllocator); }

HRESULT CBaseOutputPin::BreakConnect() {
  if (m_pAllocator) {
    // A connection ends whole, whatever its allocator says.
    m_pAllocator->Decommit();
    ReleaseInterface(m_pAllocator);
  }
  ReleaseInterface(m_pInputPin);
  return S_OK;
}

HRESULT CBaseOutputPin::Active() { return m_pAllocator ? m_pAllocator->Commit() : VFW_E_NO_ALLOCATOR; }

HRESULT CBaseOutputPin::Inactive() {
  m_bRunTimeError = false;
  return m_pAllocator ? m_pAllocator->Decommit() : VFW_E_NO_ALLOCATOR;
}

STDMETHODIMP CBaseOutputPin::EndOfStream() { return E_UNEXPECTED; }

STDMETHODIMP CBaseOutputPin::BeginFlush() { return E_UNEXPECTED; }

STDMETHODIMP CBaseOutputPin::EndFlush() { return E_UNEXPECTED; }

HRESULT CBaseOutputPin::DecideAllocator(IMemInputPin* pPin, IMemAllocator** ppAlloc) {
  *ppAlloc = nullptr;
  ALLOCATOR_PROPERTIES required = {};
  pPin->GetAllocatorRequirements(&required);
  if (required.cbAlign == 0) required.cbAlign = 1;

  const auto offer = [&](HRESULT hr) {
    ALLOCATOR_PROPERTIES request = required;
    if (SUCCEEDED(hr)) hr = DecideBufferSize(*ppAlloc, &request);
    if (SUCCEEDED(hr)) hr = pPin->NotifyAllocator(*ppAlloc, FALSE);
    if (FAILED(hr)) ReleaseInterface(*ppAlloc);
    return hr;
  };
  if (SUCCEEDED(offer(pPin->GetAllocator(ppAlloc)))) return S_OK;
  return offer(InitAllocator(ppAlloc));
}

HRESULT CBaseOutputPin::InitAllocator(IMemAllocator** ppAlloc) { return CreateMemoryAllocator(ppAlloc); }

HRESULT CBaseOutputPin::GetDeliveryBuffer(IMediaSample** ppSample, REFERENCE_TIME* pStartTime, REFERENCE_TIME* pEndTime,
                                          DWORD dwFlags) {
  return m_pAllocator ? m_pAllocator->GetBuffer(ppSample, pStartTime, pEndTime, dwFlags) : E_NOINTERFACE;
}

HRESULT CBaseOutputPin::Deliver(IMediaSample* pSample) {
  return m_pInputPin ? m_pInputPin->Receive(pSample) : VFW_E_NOT_CONNECTED;
}

HRESULT CBaseOutputPin::DeliverEndOfStream() {
  IPin* pPeer = GetConnected();
  return pPeer ? pPeer->EndOfStream() : VFW_E_NOT_CONNECTED;
}

HRESULT CBaseOutputPin::DeliverBeginFlush() {
  IPin* pPeer = GetConnected();
  return pPeer ? pPeer->BeginFlush() : VFW_E_NOT_CONNECTED;
}

HRESULT CBaseOutputPin::DeliverEndFlush() {
  IPin* pPeer = GetConnected();
  return pPeer ? pPeer->EndFlush() : VFW_E_NOT_CONNECTED;
}

HRESULT CBaseOutputPin::DeliverNewSegment(REFERENCE_TIME tStart, REFERENCE_TIME tStop, double dRate) {
  IPin* pPeer = GetConnected();
  return pPeer ? pPeer->NewSegment(tStart, tStop, dRate) : VFW_E_NOT_CONNECTED;
}
