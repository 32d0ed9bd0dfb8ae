#include "baseclasses/enum_media_types.h"

#include <limits>
#include <new>

#include "platform/result.h"

using vantor::Guarded;

CEnumMediaTypes::CEnumMediaTypes(CBasePin* pPin, const CEnumMediaTypes* pEnumMediaTypes)
    : CUnknown(OLESTR("media type enumerator"), nullptr),
      m_pPin(pPin),
      m_Position(pEnumMediaTypes ? pEnumMediaTypes->m_Position : 0),
      m_Version(pEnumMediaTypes ? pEnumMediaTypes->m_Version : pPin->GetMediaTypeVersion()) {
  m_pPin->AddRef();
}

CEnumMediaTypes::~CEnumMediaTypes() { m_pPin->Release(); }

STDMETHODIMP CEnumMediaTypes::NonDelegatingQueryInterface(REFIID riid, void** ppv) {
  if (vantor::SameGuid(riid, IID_IEnumMediaTypes)) return GetInterface(static_cast<IEnumMediaTypes*>(this), ppv);
  return CUnknown::NonDelegatingQueryInterface(riid, ppv);
}

STDMETHODIMP CEnumMediaTypes::Next(ULONG cMediaTypes, AM_MEDIA_TYPE** ppMediaTypes, ULONG* pcFetched) {
  if (!ppMediaTypes) return E_POINTER;
  if (!pcFetched && cMediaTypes > 1) return E_INVALIDARG;
  if (pcFetched) *pcFetched = 0;
  if (OutOfSync()) return VFW_E_ENUM_OUT_OF_SYNC;
  ULONG cFetched = 0;
  const HRESULT hr = Guarded([&]() -> HRESULT {
    for (; cFetched < cMediaTypes; ++cFetched) {
      CMediaType mt;
      const HRESULT hrType = m_pPin->GetMediaType(m_Position + static_cast<int>(cFetched), &mt);
      // Any other failure is the end of the list; a list that memory cut short must not pass for a whole one.
      if (hrType == E_OUTOFMEMORY) throw std::bad_alloc();
      if (hrType != S_OK) break;
      ppMediaTypes[cFetched] = CreateMediaType(&mt);
      if (!ppMediaTypes[cFetched]) throw std::bad_alloc();
    }
    return S_OK;
  });
  if (FAILED(hr)) {
    while (cFetched > 0) DeleteMediaType(ppMediaTypes[--cFetched]);
    return hr;
  }
  m_Position += static_cast<int>(cFetched);
  if (pcFetched) *pcFetched = cFetched;
  return cFetched == cMediaTypes ? S_OK : S_FALSE;
}

STDMETHODIMP CEnumMediaTypes::Skip(ULONG cMediaTypes) {
  if (OutOfSync()) return VFW_E_ENUM_OUT_OF_SYNC;
  if (cMediaTypes == 0) return S_OK;
  const auto room = static_cast<ULONG>(std::numeric_limits<int>::max() - m_Position);
  m_Position += static_cast<int>(cMediaTypes < room ? cMediaTypes : room);
  return Guarded([this] {
    CMediaType mt;
    return m_pPin->GetMediaType(m_Position - 1, &mt) == S_OK ? S_OK : S_FALSE;
  });
}

STDMETHODIMP CEnumMediaTypes::Reset() {
  m_Version = m_pPin->GetMediaTypeVersion();
  m_Position = 0;
  return S_OK;
}

STDMETHODIMP CEnumMediaTypes::Clone(IEnumMediaTypes** ppEnum) {
  if (!ppEnum) return E_POINTER;
  *ppEnum = nullptr;
  if (OutOfSync()) return VFW_E_ENUM_OUT_OF_SYNC;
  return Guarded([this, ppEnum] {
    *ppEnum = new CEnumMediaTypes(m_pPin, this);
    (*ppEnum)->AddRef();
    return S_OK;
  });
}
