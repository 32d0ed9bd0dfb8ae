// Allocators: CBaseAllocator hands out and takes back samples; CMemAllocator gives them page-backed memory.
//
// Samples in use keep their allocator alive. Getting and releasing a sample each cost one lock and no allocation.
#pragma once

#include <cstddef>
#include <memory>

#include "baseclasses/media_sample.h"
#include "baseclasses/sync.h"
#include "baseclasses/unknown.h"
#include "platform/com.h"
#include "platform/lock.h"

class CBaseAllocator : public CUnknown, public IMemAllocator {
 public:
  CBaseAllocator(LPCWSTR pName, LPUNKNOWN pUnk, HRESULT* phr);
  ~CBaseAllocator() override;

  DECLARE_IUNKNOWN
  STDMETHODIMP NonDelegatingQueryInterface(REFIID riid, void** ppv) override;

  // VFW_E_ALREADY_COMMITTED while committed, VFW_E_BUFFERS_OUTSTANDING while samples are in use, VFW_E_BADALIGN unless
  // the alignment is a power of two up to the page alignment, E_INVALIDARG for counts and sizes out of range. Granted
  // as asked.
  STDMETHODIMP SetProperties(ALLOCATOR_PROPERTIES* pRequest, ALLOCATOR_PROPERTIES* pActual) override
      VANTOR_EXCLUDES(m_Lock);
  STDMETHODIMP GetProperties(ALLOCATOR_PROPERTIES* pProps) override VANTOR_EXCLUDES(m_Lock);
  // VFW_E_SIZENOTSET before SetProperties.
  STDMETHODIMP Commit() override VANTOR_EXCLUDES(m_Lock);
  // Ends every wait in GetBuffer. The memory goes when the last sample in use comes back.
  STDMETHODIMP Decommit() override VANTOR_EXCLUDES(m_Lock);
  // Waits for a free sample; VFW_E_TIMEOUT instead of waiting with AM_GBF_NOWAIT; VFW_E_NOT_COMMITTED when there is
  // nothing to wait for or Decommit ended the wait.
  STDMETHODIMP GetBuffer(IMediaSample** ppBuffer, REFERENCE_TIME* pStartTime, REFERENCE_TIME* pEndTime,
                         DWORD dwFlags) override VANTOR_EXCLUDES(m_Lock);
  // Called by the samples themselves.
  STDMETHODIMP ReleaseBuffer(IMediaSample* pBuffer) override VANTOR_EXCLUDES(m_Lock);

 protected:
  // Makes m_Properties.cBuffers samples and AddFree each.
  virtual HRESULT Alloc() VANTOR_REQUIRES(m_Lock) = 0;
  // Frees them; all are in the free list. A derived class's destructor does the same.
  virtual void Free() noexcept VANTOR_REQUIRES(m_Lock) = 0;

  void AddFree(CMediaSample* pSample) noexcept VANTOR_REQUIRES(m_Lock);

  // With samples in use the last of them deletes the allocator: cheaper than a reference each.
  void FinalRelease() override VANTOR_EXCLUDES(m_Lock);

  vantor::Lock m_Lock{LockRank::Allocator};
  ALLOCATOR_PROPERTIES m_Properties VANTOR_GUARDED_BY(m_Lock) = {};

 private:
  void FreeIfIdle() noexcept VANTOR_REQUIRES(m_Lock);

  vantor::Condition m_Available;
  CMediaSample* m_pFree VANTOR_GUARDED_BY(m_Lock) = nullptr;
  LONG m_lInUse VANTOR_GUARDED_BY(m_Lock) = 0;
  LONG m_lWaiting VANTOR_GUARDED_BY(m_Lock) = 0;
  // Tells a wait that it was ended, even after another Commit.
  unsigned m_Decommits VANTOR_GUARDED_BY(m_Lock) = 0;
  bool m_bCommitted VANTOR_GUARDED_BY(m_Lock) = false;
  bool m_bReleased VANTOR_GUARDED_BY(m_Lock) = false;   // by its users; samples in use may be left
  bool m_bAllocated VANTOR_GUARDED_BY(m_Lock) = false;  // stays until the last sample in use is back
};

class CMemAllocator final : public CBaseAllocator {
 public:
  CMemAllocator(LPCWSTR pName, LPUNKNOWN pUnk, HRESULT* phr);
  ~CMemAllocator() override;

 protected:
  HRESULT Alloc() override VANTOR_REQUIRES(m_Lock);
  void Free() noexcept override VANTOR_REQUIRES(m_Lock);

 private:
  void* m_pPages VANTOR_GUARDED_BY(m_Lock) = nullptr;
  std::size_t m_cbPages VANTOR_GUARDED_BY(m_Lock) = 0;
  std::unique_ptr<CMediaSample[]> m_pSamples VANTOR_GUARDED_BY(m_Lock);
};
