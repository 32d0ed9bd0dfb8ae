#include "baseclasses/enum_pins.h"

#include <climits>
#include <cstdint>

#include "baseclasses/pin.h"
#include "platform/result.h"

using vantor::Guarded;
using vantor::LockScope;

CEnumPins::CEnumPins(CBaseFilter* pFilter, const CEnumPins* pEnumPins)
    : CUnknown(OLESTR("pin enumerator"), nullptr),
      m_pFilter(pFilter),
      m_Place(pEnumPins ? pEnumPins->Standing() : Place{0, pFilter->GetPinVersion()}) {
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
    for (;;) {
      const Place from = Standing();
      if (OutOfSync(from)) return VFW_E_ENUM_OUT_OF_SYNC;
      const ULONG cFetched = Fetch(from.position, cPins, ppPins);
      const bool changed = OutOfSync(from);
      if (!changed && MoveOn(from, cFetched)) {
        if (pcFetched) *pcFetched = cFetched;
        return cFetched == cPins ? S_OK : S_FALSE;
      }
      for (ULONG i = 0; i < cFetched; ++i) ReleaseInterface(ppPins[i]);
      if (changed) return VFW_E_ENUM_OUT_OF_SYNC;
    }
  });
}

ULONG CEnumPins::Fetch(int position, ULONG cPins, IPin** ppPins) const {
  ULONG cFetched = 0;
  while (cFetched < cPins) {
    CBasePin* pPin = m_pFilter->HoldPin(position + static_cast<int>(cFetched));
    if (!pPin) break;
    pPin->AddRef();
    ppPins[cFetched++] = pPin;
    pPin->ReleaseByFilter();
  }
  return cFetched;
}

STDMETHODIMP CEnumPins::Skip(ULONG cPins) {
  return Guarded([&]() -> HRESULT {
    for (;;) {
      const Place from = Standing();
      if (OutOfSync(from)) return VFW_E_ENUM_OUT_OF_SYNC;
      if (cPins > 0) {
        // There are as many when there is the last of them.
        const std::int64_t last = std::int64_t{from.position} + cPins - 1;
        CBasePin* pPin = last <= INT_MAX ? m_pFilter->HoldPin(static_cast<int>(last)) : nullptr;
        if (pPin) pPin->ReleaseByFilter();
        if (OutOfSync(from)) return VFW_E_ENUM_OUT_OF_SYNC;
        if (!pPin) return S_FALSE;
      }
      if (MoveOn(from, cPins)) return S_OK;
    }
  });
}

CEnumPins::Place CEnumPins::Standing() const {
  const LockScope hold(m_Lock);
  return m_Place;
}

bool CEnumPins::MoveOn(const Place& from, ULONG cPins) {
  const LockScope hold(m_Lock);
  if (m_Place.position != from.position || m_Place.version != from.version) return false;
  m_Place.position += static_cast<int>(cPins);
  return true;
}

STDMETHODIMP CEnumPins::Reset() {
  const LONG version = m_pFilter->GetPinVersion();
  const LockScope hold(m_Lock);
  m_Place = {0, version};
  return S_OK;
}

STDMETHODIMP CEnumPins::Clone(IEnumPins** ppEnum) {
  if (!ppEnum) return E_POINTER;
  *ppEnum = nullptr;
  if (OutOfSync(Standing())) return VFW_E_ENUM_OUT_OF_SYNC;
  return Guarded([this, ppEnum] {
    *ppEnum = new CEnumPins(m_pFilter, this);
    (*ppEnum)->AddRef();
    return S_OK;
  });
}
