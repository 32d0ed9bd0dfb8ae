#include "baseclasses/media_sample.h"

#include <algorithm>
#include <cstring>

#include "baseclasses/allocator.h"
#include "baseclasses/media_type.h"
#include "baseclasses/unknown.h"

using vantor::SameGuid;

namespace {

constexpr DWORD kTimeFlags = AM_SAMPLE_TIMEVALID | AM_SAMPLE_STOPVALID;

}  // namespace

CMediaSample::~CMediaSample() { DeleteMediaType(m_pMediaType); }

void CMediaSample::Attach(CBaseAllocator* pAllocator, BYTE* pBuffer, LONG length) noexcept {
  m_pAllocator = pAllocator;
  m_pBuffer = pBuffer;
  m_cbBuffer = length;
}

void CMediaSample::BeginUse() noexcept {
  m_dwFlags = 0;
  m_dwTypeSpecificFlags = 0;
  m_dwStreamId = AM_STREAM_MEDIA;
  m_lActual = m_cbBuffer;
  m_bMediaTimeSet = false;
  m_cRef.store(1, std::memory_order_relaxed);
}

STDMETHODIMP CMediaSample::QueryInterface(REFIID riid, void** ppv) {
  if (SameGuid(riid, IID_IUnknown) || SameGuid(riid, IID_IMediaSample) || SameGuid(riid, IID_IMediaSample2)) {
    return GetInterface(static_cast<IMediaSample2*>(this), ppv);
  }
  if (!ppv) return E_POINTER;
  *ppv = nullptr;
  return E_NOINTERFACE;
}

STDMETHODIMP_(ULONG) CMediaSample::AddRef() {
  return static_cast<ULONG>(m_cRef.fetch_add(1, std::memory_order_relaxed) + 1);
}

STDMETHODIMP_(ULONG) CMediaSample::Release() {
  const LONG left = m_cRef.fetch_sub(1, std::memory_order_acq_rel) - 1;
  if (left == 0) {
    if (m_pMediaType) SetMediaType(nullptr);
    m_pAllocator->ReleaseBuffer(this);
  }
  return static_cast<ULONG>(left);
}

HRESULT CMediaSample::SetFlag(DWORD flag, BOOL set) {
  m_dwFlags = set ? m_dwFlags | flag : m_dwFlags & ~flag;
  return S_OK;
}

STDMETHODIMP CMediaSample::GetPointer(BYTE** ppBuffer) {
  if (!ppBuffer) return E_POINTER;
  *ppBuffer = m_pBuffer;
  return S_OK;
}

STDMETHODIMP_(LONG) CMediaSample::GetSize() { return m_cbBuffer; }

STDMETHODIMP CMediaSample::GetTime(REFERENCE_TIME* pTimeStart, REFERENCE_TIME* pTimeEnd) {
  if (!pTimeStart || !pTimeEnd) return E_POINTER;
  if (!(m_dwFlags & AM_SAMPLE_TIMEVALID)) return VFW_E_SAMPLE_TIME_NOT_SET;
  *pTimeStart = m_Start;
  if (!(m_dwFlags & AM_SAMPLE_STOPVALID)) {
    *pTimeEnd = m_Start + 1;
    return VFW_S_NO_STOP_TIME;
  }
  *pTimeEnd = m_End;
  return S_OK;
}

STDMETHODIMP CMediaSample::SetTime(REFERENCE_TIME* pTimeStart, REFERENCE_TIME* pTimeEnd) {
  m_dwFlags &= ~kTimeFlags;
  if (!pTimeStart) return S_OK;
  m_Start = *pTimeStart;
  m_dwFlags |= AM_SAMPLE_TIMEVALID;
  if (!pTimeEnd) return S_OK;
  m_End = *pTimeEnd;
  m_dwFlags |= AM_SAMPLE_STOPVALID;
  return S_OK;
}

STDMETHODIMP CMediaSample::IsSyncPoint() { return Flag(AM_SAMPLE_SPLICEPOINT); }

STDMETHODIMP CMediaSample::SetSyncPoint(BOOL bIsSyncPoint) { return SetFlag(AM_SAMPLE_SPLICEPOINT, bIsSyncPoint); }

STDMETHODIMP CMediaSample::IsPreroll() { return Flag(AM_SAMPLE_PREROLL); }

STDMETHODIMP CMediaSample::SetPreroll(BOOL bIsPreroll) { return SetFlag(AM_SAMPLE_PREROLL, bIsPreroll); }

STDMETHODIMP_(LONG) CMediaSample::GetActualDataLength() { return m_lActual; }

STDMETHODIMP CMediaSample::SetActualDataLength(LONG length) {
  if (length < 0 || length > m_cbBuffer) return VFW_E_BUFFER_OVERFLOW;
  m_lActual = length;
  return S_OK;
}

STDMETHODIMP CMediaSample::GetMediaType(AM_MEDIA_TYPE** ppMediaType) {
  if (!ppMediaType) return E_POINTER;
  *ppMediaType = nullptr;
  if (!m_pMediaType) return S_FALSE;
  *ppMediaType = CreateMediaType(m_pMediaType);
  return *ppMediaType ? S_OK : E_OUTOFMEMORY;
}

STDMETHODIMP CMediaSample::SetMediaType(AM_MEDIA_TYPE* pMediaType) {
  AM_MEDIA_TYPE* pCopy = nullptr;
  if (pMediaType) {
    pCopy = CreateMediaType(pMediaType);
    if (!pCopy) return E_OUTOFMEMORY;
  }
  DeleteMediaType(m_pMediaType);
  m_pMediaType = pCopy;
  return SetFlag(AM_SAMPLE_TYPECHANGED, pCopy != nullptr);
}

STDMETHODIMP CMediaSample::IsDiscontinuity() { return Flag(AM_SAMPLE_DATADISCONTINUITY); }

STDMETHODIMP CMediaSample::SetDiscontinuity(BOOL bDiscontinuity) {
  return SetFlag(AM_SAMPLE_DATADISCONTINUITY, bDiscontinuity);
}

STDMETHODIMP CMediaSample::GetMediaTime(LONGLONG* pTimeStart, LONGLONG* pTimeEnd) {
  if (!pTimeStart || !pTimeEnd) return E_POINTER;
  if (!m_bMediaTimeSet) return VFW_E_MEDIA_TIME_NOT_SET;
  *pTimeStart = m_MediaStart;
  *pTimeEnd = m_MediaEnd;
  return S_OK;
}

STDMETHODIMP CMediaSample::SetMediaTime(LONGLONG* pTimeStart, LONGLONG* pTimeEnd) {
  m_bMediaTimeSet = false;
  if (!pTimeStart) return S_OK;
  if (!pTimeEnd) return E_POINTER;
  m_MediaStart = *pTimeStart;
  m_MediaEnd = *pTimeEnd;
  m_bMediaTimeSet = true;
  return S_OK;
}

STDMETHODIMP CMediaSample::GetProperties(DWORD cbProperties, BYTE* pbProperties) {
  if (!pbProperties && cbProperties != 0) return E_POINTER;
  AM_SAMPLE2_PROPERTIES properties = {};
  const DWORD size = std::min<DWORD>(cbProperties, sizeof(properties));
  properties.cbData = size;
  properties.dwTypeSpecificFlags = m_dwTypeSpecificFlags;
  properties.dwSampleFlags = m_dwFlags;
  properties.lActual = m_lActual;
  properties.tStart = m_Start;
  properties.tStop = m_End;
  properties.dwStreamId = m_dwStreamId;
  properties.pMediaType = m_pMediaType;
  properties.pbBuffer = m_pBuffer;
  properties.cbBuffer = m_cbBuffer;
  if (pbProperties != nullptr) std::memcpy(pbProperties, &properties, size);
  return S_OK;
}

STDMETHODIMP CMediaSample::SetProperties(DWORD cbProperties, const BYTE* pbProperties) {
  if (!pbProperties && cbProperties != 0) return E_POINTER;
  AM_SAMPLE2_PROPERTIES given = {};
  if (cbProperties != 0) std::memcpy(&given, pbProperties, std::min<DWORD>(cbProperties, sizeof(given)));
  const auto covers = [&](const auto& field) {
    const auto end = reinterpret_cast<const BYTE*>(&field + 1) - reinterpret_cast<const BYTE*>(&given);
    return static_cast<DWORD>(end) <= cbProperties;
  };

  // Everything that can be refused comes first: a refused call changes nothing.
  if (covers(given.lActual) && (given.lActual < 0 || given.lActual > m_cbBuffer)) return VFW_E_BUFFER_OVERFLOW;
  if (covers(given.pbBuffer) && given.pbBuffer && given.pbBuffer != m_pBuffer) return E_INVALIDARG;
  if (covers(given.cbBuffer) && given.cbBuffer != 0 && given.cbBuffer != m_cbBuffer) return E_INVALIDARG;
  if (covers(given.pMediaType) && given.pMediaType != m_pMediaType) {
    const HRESULT hr = SetMediaType(given.pMediaType);
    if (FAILED(hr)) return hr;
  }
  if (covers(given.dwTypeSpecificFlags)) m_dwTypeSpecificFlags = given.dwTypeSpecificFlags;
  // The type says by itself whether it has changed; the flags given do not say otherwise.
  if (covers(given.dwSampleFlags)) {
    m_dwFlags = (given.dwSampleFlags & ~AM_SAMPLE_TYPECHANGED) | (m_dwFlags & AM_SAMPLE_TYPECHANGED);
  }
  if (covers(given.lActual)) m_lActual = given.lActual;
  if (covers(given.tStart)) m_Start = given.tStart;
  if (covers(given.tStop)) m_End = given.tStop;
  if (covers(given.dwStreamId)) m_dwStreamId = given.dwStreamId;
  return S_OK;
}
