// The enumerator over a pin's proposed media types. It holds the pin and gives out each type in task memory, for the
// caller to free with DeleteMediaType.
//
// When the pin's types have changed since it was made, it answers VFW_E_ENUM_OUT_OF_SYNC until Reset.
#pragma once

#include "baseclasses/pin.h"
#include "baseclasses/unknown.h"
#include "platform/com.h"

class CEnumMediaTypes final : public CUnknown, public IEnumMediaTypes {
 public:
  // At the beginning, or where `pEnumMediaTypes` stands.
  CEnumMediaTypes(CBasePin* pPin, const CEnumMediaTypes* pEnumMediaTypes);
  ~CEnumMediaTypes() override;

  DECLARE_IUNKNOWN
  STDMETHODIMP NonDelegatingQueryInterface(REFIID riid, void** ppv) override;

  // S_FALSE when there were fewer. `pcFetched` may be null when one is asked for.
  STDMETHODIMP Next(ULONG cMediaTypes, AM_MEDIA_TYPE** ppMediaTypes, ULONG* pcFetched) override;
  // S_FALSE when that moves past the last.
  STDMETHODIMP Skip(ULONG cMediaTypes) override;
  STDMETHODIMP Reset() override;
  STDMETHODIMP Clone(IEnumMediaTypes** ppEnum) override;

 private:
  bool OutOfSync() const { return m_pPin->GetMediaTypeVersion() != m_Version; }

  CBasePin* const m_pPin;  // counted
  int m_Position = 0;
  LONG m_Version;
};
