// The enumerator over a filter's pins. It holds the filter and gives out each pin with a reference. It needs no lock of
// the filter: it asks for one pin after the other (HoldPin), and takes none of them when the set of pins changed
// meanwhile.
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
  struct Place {
    int position;
    LONG version;
  };

  Place Standing() const VANTOR_EXCLUDES(m_Lock);
  // Moves on from the place where the caller found the enumerator; false when another thread has moved it.
  bool MoveOn(const Place& from, ULONG cPins) VANTOR_EXCLUDES(m_Lock);
  bool OutOfSync(const Place& place) const { return m_pFilter->GetPinVersion() != place.version; }
  // As many pins as there are from that one on; how many.
  ULONG Fetch(int position, ULONG cPins, IPin** ppPins) const;

  CBaseFilter* const m_pFilter;  // counted
  mutable vantor::Lock m_Lock{LockRank::Enumerator};
  Place m_Place VANTOR_GUARDED_BY(m_Lock);
};
