#include "baseclasses/enum_pins.h"

#include "baseclasses/pin.h"
#include "platform/result.h"

using vantor::Guarded;

CEnumPins::CEnumPins(CBaseFilter* pFilter, const CEnumPins* pEnumPins)
    : CUnknown(OLESTR("pin enumerator"), nullptr),
      m_pFilter(pFilter),
      m_Position(pEnumPins ? pEnumPins->m_Position : 0),
      m_Version(pEnumPins ? pEnumPins->m_Version : pFilter->GetPinVersion()) {
  m_pFilter->AddRef();
}

CEnumPins::~CEnumPins() { m_pFilter->Release(); }

STDMETHODIMP CEnumPins::NonDelegatingQueryInterface(REFIID riid, void** ppv) {
  if (vantor::SameGuid(riid, IID_IEnumPins)) return GetInterface(static_cast<IEnumPins*>(this), ppv);
  return CUnknown::NonDelegatingQueryInterface(riid, ppv);
}

STDMETHODIMP CEnumPins::Next(ULONG cPins, IPin** ppPins, ULONG* pcFetched) {
  if (!ppPins) return E_POINTER;
  if (!pcFetched && cPins > 1) return E_INVALIDARG;
  if (pcFetched) *pcFetched = 0;
  return Guarded([&]() -> HRESULT {
    CAutoLock lock(m_pFilter->GetLock());
    if (OutOfSync()) return VFW_E_ENUM_OUT_OF_SYNC;
    ULONG cFetched = 0;
    const int cAll = m_pFilter->GetPinCount();
    while (cFetched < cPins && m_Position < cAll) {
      CBasePin* pPin = m_pFilter->GetPin(m_Position);
      if (!pPin) break;
      ++m_Position;
      pPin->AddRef();
      ppPins[cFetched++] = pPin;
    }
    if (pcFetched) *pcFetched = cFetched;
    return cFetched == cPins ? S_OK : S_FALSE;
  });
}

STDMETHODIMP CEnumPins::Skip(ULONG cPins) {
  return Guarded([&]() -> HRESULT {
    CAutoLock lock(m_pFilter->GetLock());
    if (OutOfSync()) return VFW_E_ENUM_OUT_OF_SYNC;
    const int cAll = m_pFilter->GetPinCount();
    const ULONG cLeft = cAll > m_Position ? static_cast<ULONG>(cAll - m_Position) : 0;
    if (cPins > cLeft) return S_FALSE;
    m_Position += static_cast<int>(cPins);
    return S_OK;
  });
}

STDMETHODIMP CEnumPins::Reset() {
  m_Version = m_pFilter->GetPinVersion();
  m_Position = 0;
  return S_OK;
}

STDMETHODIMP CEnumPins::Clone(IEnumPins** ppEnum) {
  if (!ppEnum) return E_POINTER;
  *ppEnum = nullptr;
  if (OutOfSync()) return VFW_E_ENUM_OUT_OF_SYNC;
  return Guarded([this, ppEnum] {
    *ppEnum = new CEnumPins(m_pFilter, this);
    (*ppEnum)->AddRef();
    return S_OK;
  });
}
