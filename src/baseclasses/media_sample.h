// A media sample over a buffer of a CBaseAllocator. When its last reference goes it returns to the allocator's list.
#pragma once

#include <atomic>

#include "platform/com.h"

class CBaseAllocator;

class CMediaSample final : public IMediaSample2 {
 public:
  CMediaSample() = default;
  virtual ~CMediaSample();
  CMediaSample(const CMediaSample&) = delete;
  CMediaSample& operator=(const CMediaSample&) = delete;

  // The buffer belongs to the allocator, which outlives the sample.
  void Attach(CBaseAllocator* pAllocator, BYTE* pBuffer, LONG length) noexcept;
  // A fresh sample with one reference: no times, no flags, all of the buffer in use.
  void BeginUse() noexcept;

  STDMETHODIMP QueryInterface(REFIID riid, void** ppv) override;
  STDMETHODIMP_(ULONG) AddRef() override;
  STDMETHODIMP_(ULONG) Release() override;

  // IMediaSample
  STDMETHODIMP GetPointer(BYTE** ppBuffer) override;
  STDMETHODIMP_(LONG) GetSize() override;
  // VFW_E_SAMPLE_TIME_NOT_SET without times; VFW_S_NO_STOP_TIME, the end one unit on, with a start alone.
  STDMETHODIMP GetTime(REFERENCE_TIME* pTimeStart, REFERENCE_TIME* pTimeEnd) override;
  // Null start clears both; null end sets a start alone.
  STDMETHODIMP SetTime(REFERENCE_TIME* pTimeStart, REFERENCE_TIME* pTimeEnd) override;
  STDMETHODIMP IsSyncPoint() override;
  STDMETHODIMP SetSyncPoint(BOOL bIsSyncPoint) override;
  STDMETHODIMP IsPreroll() override;
  STDMETHODIMP SetPreroll(BOOL bIsPreroll) override;
  STDMETHODIMP_(LONG) GetActualDataLength() override;
  // VFW_E_BUFFER_OVERFLOW, with the length as it was, beyond the buffer.
  STDMETHODIMP SetActualDataLength(LONG length) override;
  // S_FALSE with null when the type has not changed; otherwise a copy for the caller to delete.
  STDMETHODIMP GetMediaType(AM_MEDIA_TYPE** ppMediaType) override;
  STDMETHODIMP SetMediaType(AM_MEDIA_TYPE* pMediaType) override;
  STDMETHODIMP IsDiscontinuity() override;
  STDMETHODIMP SetDiscontinuity(BOOL bDiscontinuity) override;
  STDMETHODIMP GetMediaTime(LONGLONG* pTimeStart, LONGLONG* pTimeEnd) override;
  STDMETHODIMP SetMediaTime(LONGLONG* pTimeStart, LONGLONG* pTimeEnd) override;

  // IMediaSample2: an AM_SAMPLE2_PROPERTIES, as much of it as the size says. The type pointed to stays the sample's.
  STDMETHODIMP GetProperties(DWORD cbProperties, BYTE* pbProperties) override;
  STDMETHODIMP SetProperties(DWORD cbProperties, const BYTE* pbProperties) override;

 private:
  friend class CBaseAllocator;

  HRESULT Flag(DWORD flag) const { return (m_dwFlags & flag) ? S_OK : S_FALSE; }
  HRESULT SetFlag(DWORD flag, BOOL set);

  std::atomic<LONG> m_cRef{0};
  DWORD m_dwFlags = 0;  // AM_SAMPLE_...
  DWORD m_dwTypeSpecificFlags = 0;
  DWORD m_dwStreamId = 0;
  CBaseAllocator* m_pAllocator = nullptr;
  CMediaSample* m_pNext = nullptr;  // in the allocator's free list
  BYTE* m_pBuffer = nullptr;
  LONG m_cbBuffer = 0;
  LONG m_lActual = 0;
  REFERENCE_TIME m_Start = 0;
  REFERENCE_TIME m_End = 0;
  LONGLONG m_MediaStart = 0;
  LONGLONG m_MediaEnd = 0;
  bool m_bMediaTimeSet = false;
  AM_MEDIA_TYPE* m_pMediaType = nullptr;  // owned; set when the type changes with this sample
};
