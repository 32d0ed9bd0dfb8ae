// The base of every output pin: agrees an allocator at connection and delivers downstream.
//
// The Deliver operations and GetDeliveryBuffer take no lock: peer and allocator are stable from Active to Inactive, and
// the derived class ends its worker thread within Inactive.
#pragma once

#include "baseclasses/pin.h"

class CBaseOutputPin : public CBasePin {
 public:
  CBaseOutputPin(LPCWSTR pObjectName, CBaseFilter* pFilter, CCritSec* pLock, HRESULT* phr, LPCWSTR pName);
  ~CBaseOutputPin() override;

  // Adds to the base's: the peer must take samples (IMemInputPin).
  HRESULT CheckConnect(IPin* pPin) override;
  // Decides the allocator.
  HRESULT CompleteConnect(IPin* pReceivePin) override;
  // Decommits and drops the allocator, drops the peer's IMemInputPin.
  HRESULT BreakConnect() override;
  // Commit and decommit the allocator; VFW_E_NO_ALLOCATOR without one.
  HRESULT Active() override;
  HRESULT Inactive() override;

  // IPin: data flows out of this pin only; E_UNEXPECTED.
  STDMETHODIMP EndOfStream() override;
  STDMETHODIMP BeginFlush() override;
  STDMETHODIMP EndFlush() override;

  // The peer's allocator first, then one of ours; each is asked for DecideBufferSize over the peer's requirements and
  // then announced to the peer. *ppAlloc is counted, null on failure.
  virtual HRESULT DecideAllocator(IMemInputPin* pPin, IMemAllocator** ppAlloc);
  // Calls SetProperties on the allocator.
  virtual HRESULT DecideBufferSize(IMemAllocator* pAlloc, ALLOCATOR_PROPERTIES* pRequest) = 0;
  virtual HRESULT InitAllocator(IMemAllocator** ppAlloc);

  // An empty sample of the agreed allocator, which may wait for one. E_NOINTERFACE without an allocator.
  virtual HRESULT GetDeliveryBuffer(IMediaSample** ppSample, REFERENCE_TIME* pStartTime, REFERENCE_TIME* pEndTime,
                                    DWORD dwFlags);
  // VFW_E_NOT_CONNECTED without a peer; otherwise the peer's answer.
  virtual HRESULT Deliver(IMediaSample* pSample);
  virtual HRESULT DeliverEndOfStream();
  virtual HRESULT DeliverBeginFlush();
  virtual HRESULT DeliverEndFlush();
  virtual HRESULT DeliverNewSegment(REFERENCE_TIME tStart, REFERENCE_TIME tStop, double dRate);

 protected:
  IMemAllocator* m_pAllocator = nullptr;  // counted; changed with the filter lock held, in a stopped filter
  IMemInputPin* m_pInputPin = nullptr;    // the same
};
