// The enumerator over a filter's pins. It holds the filter and gives out each pin with a reference.
//
// When the filter's set of pins has changed since it was made, it answers VFW_E_ENUM_OUT_OF_SYNC until Reset.
#pragma once

#include "baseclasses/filter.h"
#include "baseclasses/unknown.h"
#include "platform/com.h"

class CEnumPins final : public CUnknown, public IEnumPins {
 public:
  // At the beginning, or where `pEnumPins` stands.
  CEnumPins(CBaseFilter* pFilter, const CEnumPins* pEnumPins);
  ~CEnumPins() override;

  DECLARE_IUNKNOWN
  STDMETHODIMP NonDelegatingQueryInterface(REFIID riid, void** ppv) override;

  // S_FALSE when there were fewer. `pcFetched` may be null when one is asked for.
  STDMETHODIMP Next(ULONG cPins, IPin** ppPins, ULONG* pcFetched) override;
  // S_FALSE, without moving, when fewer are left.
  STDMETHODIMP Skip(ULONG cPins) override;
  STDMETHODIMP Reset() override;
  STDMETHODIMP Clone(IEnumPins** ppEnum) override;

 private:
  bool OutOfSync() const { return m_pFilter->GetPinVersion() != m_Version; }

  CBaseFilter* const m_pFilter;  // counted
  int m_Position = 0;
  LONG m_Version;
};
