// The base of every input pin: receives samples through IMemInputPin.
#pragma once

#include "baseclasses/pin.h"

class CBaseInputPin : public CBasePin, public IMemInputPin {
 public:
  CBaseInputPin(LPCWSTR pObjectName, CBaseFilter* pFilter, CCritSec* pLock, HRESULT* phr, LPCWSTR pName);
  ~CBaseInputPin() override;

  DECLARE_IUNKNOWN
  // IMemInputPin and CBasePin's.
  STDMETHODIMP NonDelegatingQueryInterface(REFIID riid, void** ppv) override;

  // IMemInputPin
  // An allocator of the framework's own, made when first asked for.
  STDMETHODIMP GetAllocator(IMemAllocator** ppAllocator) override;
  STDMETHODIMP NotifyAllocator(IMemAllocator* pAllocator, BOOL bReadOnly) override;
  STDMETHODIMP GetAllocatorRequirements(ALLOCATOR_PROPERTIES* pProps) override;
  // The checks every Receive starts with: CheckStreaming, and a sample's change of type, which when refused ends the
  // stream: EC_ERRORABORT to the graph, VFW_E_INVALIDMEDIATYPE, and VFW_E_RUNTIME_ERROR from then on. Derived classes
  // call this first and go on at S_OK only.
  STDMETHODIMP Receive(IMediaSample* pSample) override;
  STDMETHODIMP ReceiveMultiple(IMediaSample** pSamples, LONG nSamples, LONG* nSamplesProcessed) override;
  // S_OK: it may.
  STDMETHODIMP ReceiveCanBlock() override;

  // IPin: refuse samples from begin to end.
  STDMETHODIMP BeginFlush() override;
  STDMETHODIMP EndFlush() override;

  // Drops the allocator, decommitted.
  HRESULT BreakConnect() override;
  // Clears the run-time error and flushing flags and decommits the allocator, if there is one.
  HRESULT Inactive() override;

  // S_OK when samples are welcome; VFW_E_NOT_CONNECTED, VFW_E_WRONG_STATE when stopped, S_FALSE when flushing,
  // VFW_E_RUNTIME_ERROR after one. Takes no lock.
  virtual HRESULT CheckStreaming();

  bool IsFlushing() const { return m_bFlushing; }
  bool IsReadOnly() const { return m_bReadOnly; }

 protected:
  IMemAllocator* m_pAllocator = nullptr;  // counted; changed with the filter lock held
  std::atomic<bool> m_bReadOnly{false};
  std::atomic<bool> m_bFlushing{false};
};

// The platform's memory allocator; the framework's own CMemAllocator where the platform offers none.
HRESULT CreateMemoryAllocator(IMemAllocator** ppAllocator);
