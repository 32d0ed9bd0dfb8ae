// The base of every pin: connection, media types, lifetime.
//
// Lifetime. A pin has a reference count of its own. Every reference from outside (AddRef on any of its interfaces) also
// counts on the filter, so a held pin keeps its filter alive, also after the filter has dropped the pin. The filter
// holds its pins with HoldByFilter and ReleaseByFilter, which touch the pin's count alone.
//
// Locks. Connect, ReceiveConnection and Disconnect take the filter lock for themselves and the steps they call. Nothing
// else of IPin and IQualityControl does: downstream may call it from inside Receive while another thread stops the
// filter. Peer and media type are guarded by a small lock of the pin's own that is held for no call out but AddRef.
#pragma once

#include <atomic>

#include "baseclasses/filter.h"
#include "baseclasses/media_type.h"
#include "baseclasses/sync.h"
#include "baseclasses/unknown.h"
#include "platform/com.h"

class CBasePin : public CUnknown, public IPin, public IQualityControl {
 public:
  CBasePin(LPCWSTR pObjectName, CBaseFilter* pFilter, CCritSec* pLock, HRESULT* phr, LPCWSTR pName, PIN_DIRECTION dir);
  ~CBasePin() override;

  DECLARE_IUNKNOWN
  // IPin, IQualityControl, IUnknown.
  STDMETHODIMP NonDelegatingQueryInterface(REFIID riid, void** ppv) override;
  STDMETHODIMP_(ULONG) NonDelegatingAddRef() override;
  STDMETHODIMP_(ULONG) NonDelegatingRelease() override;

  // The filter's hold on its pin. A pin is born without references, so the filter takes its hold first. After
  // ReleaseByFilter the pin may be gone.
  void HoldByFilter();
  void ReleaseByFilter();

  // IPin
  // A connection goes from the output pin (Connect) to the input pin (ReceiveConnection): E_UNEXPECTED the other way
  // round. On one of the filter's own workers all three are refused: VFW_E_WRONG_STATE. Nothing changes in either case.
  // A fully specified type is the only one tried; otherwise both pins' types that match it are, this pin's last unless
  // m_bTryMyTypesFirst. A failed attempt is undone on both pins.
  STDMETHODIMP Connect(IPin* pReceivePin, const AM_MEDIA_TYPE* pmt) override;
  STDMETHODIMP ReceiveConnection(IPin* pConnector, const AM_MEDIA_TYPE* pmt) override;
  // S_FALSE when not connected; VFW_E_NOT_STOPPED when the filter is not stopped. This end only.
  STDMETHODIMP Disconnect() override;
  STDMETHODIMP ConnectedTo(IPin** ppPin) override VANTOR_EXCLUDES(m_ConnectionLock);
  STDMETHODIMP ConnectionMediaType(AM_MEDIA_TYPE* pmt) override VANTOR_EXCLUDES(m_ConnectionLock);
  STDMETHODIMP QueryPinInfo(PIN_INFO* pInfo) override;
  STDMETHODIMP QueryDirection(PIN_DIRECTION* pPinDir) override;
  STDMETHODIMP QueryId(LPWSTR* Id) override;
  STDMETHODIMP QueryAccept(const AM_MEDIA_TYPE* pmt) override;
  STDMETHODIMP EnumMediaTypes(IEnumMediaTypes** ppEnum) override;
  STDMETHODIMP QueryInternalConnections(IPin** apPin, ULONG* nPin) override;
  STDMETHODIMP EndOfStream() override;
  STDMETHODIMP NewSegment(REFERENCE_TIME tStart, REFERENCE_TIME tStop, double dRate) override;
  // BeginFlush and EndFlush are the derived classes'.

  // IQualityControl
  STDMETHODIMP Notify(IBaseFilter* pSelf, Quality q) override;
  // The sink is not counted.
  STDMETHODIMP SetSink(IQualityControl* piqc) override;

  // S_OK accepts the type; S_FALSE or a failure refuses it. Must not need the filter lock (see above).
  virtual HRESULT CheckMediaType(const CMediaType* pmt) = 0;
  // The types this pin proposes, best first: S_OK, VFW_S_NO_MORE_ITEMS beyond the last, or a failure. The base proposes
  // none (E_UNEXPECTED). Must not need the filter lock.
  virtual HRESULT GetMediaType(int iPosition, CMediaType* pMediaType);

  // Steps of a connection, called with the filter lock held. BreakConnect undoes what any of the others did; it is
  // also called after a failed attempt.
  virtual HRESULT CheckConnect(IPin* pPin);
  virtual HRESULT SetMediaType(const CMediaType* pmt) VANTOR_EXCLUDES(m_ConnectionLock);
  virtual HRESULT CompleteConnect(IPin* pPeer);
  virtual HRESULT BreakConnect();

  // Steps of the filter's state changes, called with the filter lock held.
  virtual HRESULT Active() { return S_OK; }
  virtual HRESULT Inactive();
  virtual HRESULT Run(REFERENCE_TIME) { return S_OK; }

  bool IsConnected() const { return m_Connected != nullptr; }
  // The other pin, not counted: stable while the filter lock is held or the filter is not stopped.
  IPin* GetConnected() const { return m_Connected; }
  bool IsStopped() const { return m_pFilter->IsStopped(); }
  LPCWSTR Name() const { return m_Name.c_str(); }
  PIN_DIRECTION Direction() const { return m_dir; }

  // What the last NewSegment said.
  REFERENCE_TIME CurrentStartTime() const { return m_tStart; }
  REFERENCE_TIME CurrentStopTime() const { return m_tStop; }
  double CurrentRate() const { return m_dRate; }

  // Media type enumerators made under another version are out of date.
  LONG GetMediaTypeVersion() const { return m_TypeVersion; }
  void IncrementTypeVersion() { ++m_TypeVersion; }

  // A copy of the connection's media type; a fresh one when not connected.
  CMediaType CurrentMediaType() const VANTOR_EXCLUDES(m_ConnectionLock);

 protected:
  // Tries one connection with one type, whole or not at all.
  HRESULT AttemptConnection(IPin* pReceivePin, const CMediaType* pmt) VANTOR_REQUIRES(m_pLock);
  // Tries the enumerator's types that match `pmt` (null: all) in turn.
  HRESULT TryMediaTypes(IPin* pReceivePin, const CMediaType* pmt, IEnumMediaTypes* pEnum) VANTOR_REQUIRES(m_pLock);
  HRESULT AgreeMediaType(IPin* pReceivePin, const CMediaType* pmt) VANTOR_REQUIRES(m_pLock);
  // Disconnect without the test of the filter's state.
  HRESULT DisconnectInternal() VANTOR_REQUIRES(m_pLock);

  CBaseFilter* const m_pFilter;
  CCritSec* const m_pLock;  // the filter lock
  const PIN_DIRECTION m_dir;
  std::atomic<bool> m_bRunTimeError{false};
  bool m_bCanReconnectWhenActive = false;
  bool m_bTryMyTypesFirst = false;
  std::atomic<IQualityControl*> m_pQSink{nullptr};  // not counted; set and read without a lock
  // Of the stream: written and read on the thread that delivers it.
  REFERENCE_TIME m_tStart = 0;
  REFERENCE_TIME m_tStop = MAXLONGLONG;
  double m_dRate = 1.0;

 private:
  // Enters, and leaves, the connected state: the peer and its type as others see them.
  void SetConnected(IPin* pPeer) VANTOR_REQUIRES(m_pLock) VANTOR_EXCLUDES(m_ConnectionLock);
  void ClearConnected() VANTOR_EXCLUDES(m_ConnectionLock);
  // After a failed attempt: BreakConnect, and not connected.
  void UndoConnection() VANTOR_REQUIRES(m_pLock);
  // S_OK when this thread may make a connection from this end, which is the one of a pin of that direction.
  HRESULT CheckControlCall(PIN_DIRECTION dir) const;
  // The result of an attempt whose type CheckMediaType refused with `hr`.
  static HRESULT RefusedType(HRESULT hr);

  const vantor::WideString m_Name;
  std::atomic<LONG> m_TypeVersion{1};
  mutable CCritSec m_ConnectionLock{LockRank::Connection};
  std::atomic<IPin*> m_Connected{nullptr};  // counted; written with both locks held, read with either or none
  CMediaType m_mt VANTOR_GUARDED_BY(m_ConnectionLock);
};
