#include "baseclasses/allocator.h"

#include <cstdint>
#include <limits>

#include "platform/platform.h"
#include "platform/result.h"

using vantor::LockScope;

namespace {

bool IsPowerOfTwo(std::size_t value) { return value != 0 && (value & (value - 1)) == 0; }

std::uint64_t RoundUp(std::uint64_t value, std::uint64_t alignment) {
  return (value + alignment - 1) & ~(alignment - 1);
}

}  // namespace

CBaseAllocator::CBaseAllocator(LPCWSTR pName, LPUNKNOWN pUnk, HRESULT*) : CUnknown(pName, pUnk) {}

CBaseAllocator::~CBaseAllocator() = default;

STDMETHODIMP CBaseAllocator::NonDelegatingQueryInterface(REFIID riid, void** ppv) {
  if (vantor::SameGuid(riid, IID_IMemAllocator)) return GetInterface(static_cast<IMemAllocator*>(this), ppv);
  return CUnknown::NonDelegatingQueryInterface(riid, ppv);
}

STDMETHODIMP CBaseAllocator::SetProperties(ALLOCATOR_PROPERTIES* pRequest, ALLOCATOR_PROPERTIES* pActual) {
  if (!pRequest || !pActual) return E_POINTER;
  *pActual = {};
  const LockScope hold(m_Lock);
  if (m_bCommitted) return VFW_E_ALREADY_COMMITTED;
  if (m_lInUse > 0) return VFW_E_BUFFERS_OUTSTANDING;
  if (pRequest->cbAlign <= 0) return VFW_E_BADALIGN;
  const auto alignment = static_cast<std::size_t>(pRequest->cbAlign);
  if (!IsPowerOfTwo(alignment) || alignment > vantor::PageAlignment()) return VFW_E_BADALIGN;
  if (pRequest->cBuffers <= 0 || pRequest->cbBuffer <= 0 || pRequest->cbPrefix < 0) return E_INVALIDARG;
  m_Properties = *pRequest;
  *pActual = *pRequest;
  return S_OK;
}

STDMETHODIMP CBaseAllocator::GetProperties(ALLOCATOR_PROPERTIES* pProps) {
  if (!pProps) return E_POINTER;
  const LockScope hold(m_Lock);
  *pProps = m_Properties;
  return S_OK;
}

STDMETHODIMP CBaseAllocator::Commit() {
  const LockScope hold(m_Lock);
  if (m_bCommitted) return S_OK;
  if (m_Properties.cBuffers == 0) return VFW_E_SIZENOTSET;
  if (!m_bAllocated) {
    const HRESULT hr = vantor::Guarded([this] {
      m_Lock.AssertHeld();
      return Alloc();
    });
    if (FAILED(hr)) {
      m_pFree = nullptr;
      Free();
      return hr;
    }
    m_bAllocated = true;
  }
  m_bCommitted = true;
  return S_OK;
}

STDMETHODIMP CBaseAllocator::Decommit() {
  const LockScope hold(m_Lock);
  if (!m_bCommitted) return S_OK;
  m_bCommitted = false;
  ++m_Decommits;
  if (m_lWaiting > 0) m_Available.NotifyAll();
  FreeIfIdle();
  return S_OK;
}

void CBaseAllocator::FreeIfIdle() noexcept {
  if (m_bCommitted || !m_bAllocated || m_lInUse > 0) return;
  m_pFree = nullptr;
  m_bAllocated = false;
  Free();
}

STDMETHODIMP CBaseAllocator::GetBuffer(IMediaSample** ppBuffer, REFERENCE_TIME*, REFERENCE_TIME*, DWORD dwFlags) {
  if (!ppBuffer) return E_POINTER;
  *ppBuffer = nullptr;
  CMediaSample* pSample;
  {
    const LockScope hold(m_Lock);
    const unsigned decommits = m_Decommits;
    if (!m_bCommitted) return VFW_E_NOT_COMMITTED;
    while (!m_pFree) {
      if (dwFlags & AM_GBF_NOWAIT) return VFW_E_TIMEOUT;
      ++m_lWaiting;
      m_Available.Wait(m_Lock);
      --m_lWaiting;
      if (m_Decommits != decommits) return VFW_E_NOT_COMMITTED;
    }
    pSample = m_pFree;
    m_pFree = pSample->m_pNext;
    ++m_lInUse;
  }
  pSample->BeginUse();
  *ppBuffer = pSample;
  return S_OK;
}

STDMETHODIMP CBaseAllocator::ReleaseBuffer(IMediaSample* pBuffer) {
  if (!pBuffer) return E_POINTER;
  bool last = false;
  {
    const LockScope hold(m_Lock);
    AddFree(static_cast<CMediaSample*>(pBuffer));
    --m_lInUse;
    if (m_lWaiting > 0) m_Available.NotifyOne();
    FreeIfIdle();
    last = m_bReleased && m_lInUse == 0;
  }
  if (last) delete this;
  return S_OK;
}

void CBaseAllocator::FinalRelease() {
  {
    const LockScope hold(m_Lock);
    m_bReleased = true;
    if (m_lInUse > 0) return;
  }
  delete this;
}

void CBaseAllocator::AddFree(CMediaSample* pSample) noexcept {
  pSample->m_pNext = m_pFree;
  m_pFree = pSample;
}

CMemAllocator::CMemAllocator(LPCWSTR pName, LPUNKNOWN pUnk, HRESULT* phr) : CBaseAllocator(pName, pUnk, phr) {}

// Nobody else knows the object any more; the lock is for Free's sake.
CMemAllocator::~CMemAllocator() {
  const LockScope hold(m_Lock);
  CMemAllocator::Free();
}

// Each buffer is aligned itself; its prefix lies directly before it.
HRESULT CMemAllocator::Alloc() {
  const auto alignment = static_cast<std::uint64_t>(m_Properties.cbAlign);
  const std::uint64_t prefix = RoundUp(static_cast<std::uint64_t>(m_Properties.cbPrefix), alignment);
  const std::uint64_t stride = prefix + RoundUp(static_cast<std::uint64_t>(m_Properties.cbBuffer), alignment);
  const auto count = static_cast<std::uint64_t>(m_Properties.cBuffers);
  if (stride > static_cast<std::uint64_t>(std::numeric_limits<std::ptrdiff_t>::max()) / count) return E_OUTOFMEMORY;

  m_cbPages = static_cast<std::size_t>(stride * count);
  m_pPages = vantor::AllocatePages(m_cbPages);
  if (!m_pPages) return E_OUTOFMEMORY;
  m_pSamples = std::make_unique<CMediaSample[]>(static_cast<std::size_t>(count));
  auto* pBytes = static_cast<BYTE*>(m_pPages);
  for (auto i = static_cast<std::size_t>(count); i-- > 0;) {
    m_pSamples[i].Attach(this, pBytes + i * static_cast<std::size_t>(stride) + static_cast<std::size_t>(prefix),
                         m_Properties.cbBuffer);
    AddFree(&m_pSamples[i]);
  }
  return S_OK;
}

void CMemAllocator::Free() noexcept {
  m_pSamples.reset();
  vantor::FreePages(m_pPages, m_cbPages);
  m_pPages = nullptr;
  m_cbPages = 0;
}
