// FileSourcePin: the output pin of a byte-source filter; its IAsyncReader serves a ByteStore.
//
//   pin->SetBytes(store);
//   reader->SyncRead(0, 1, &first);       // S_OK; S_FALSE for a read that the end cuts short
//
// SyncRead, SyncReadAligned, Length and Totals may be called from several threads at once. A queued request is read
// when it is queued and handed back, in order, by WaitForNext; the reference to its sample stays the caller's
// throughout. While flushing, Request is refused with VFW_E_WRONG_STATE and WaitForNext does not wait.
#pragma once

#include <deque>
#include <memory>
#include <utility>

#include "baseclasses/pin.h"
#include "host/byte_store.h"
#include "host/read_statistics.h"
#include "platform/apart.h"
#include "platform/com.h"
#include "platform/lock.h"

namespace vantor {

class FileSourcePin final : public CBasePin, public IAsyncReader {
 public:
  // The type is the filter's, read at connection time; it must outlive the pin, like the filter and the lock.
  FileSourcePin(CBaseFilter* filter, CCritSec* lock, const AM_MEDIA_TYPE* type, HRESULT* result);

  DECLARE_IUNKNOWN
  STDMETHODIMP NonDelegatingQueryInterface(REFIID riid, void** object) override;

  // Not while the pin is connected.
  void SetBytes(std::shared_ptr<ByteStore> bytes) noexcept {
    bytes_ = std::move(bytes);
    length_ = bytes_ ? bytes_->Length() : 0;
    resident_ = bytes_ ? bytes_->Resident() : platform::ResidentBytes();
  }
  const std::shared_ptr<ByteStore>& Bytes() const noexcept { return bytes_; }
  ReadTotals Totals() const noexcept { return statistics_.Totals(); }

  // CBasePin
  HRESULT CheckMediaType(const CMediaType* type) override;
  HRESULT GetMediaType(int position, CMediaType* type) override;
  STDMETHODIMP BeginFlush() override VANTOR_EXCLUDES(requestLock_);
  STDMETHODIMP EndFlush() override VANTOR_EXCLUDES(requestLock_);

  // IAsyncReader
  STDMETHODIMP RequestAllocator(IMemAllocator* preferred, ALLOCATOR_PROPERTIES* properties,
                                IMemAllocator** actual) override;
  STDMETHODIMP Request(IMediaSample* sample, DWORD_PTR user) override VANTOR_EXCLUDES(requestLock_);
  STDMETHODIMP WaitForNext(DWORD timeout, IMediaSample** sample, DWORD_PTR* user) override
      VANTOR_EXCLUDES(requestLock_);
  STDMETHODIMP SyncReadAligned(IMediaSample* sample) override;
  STDMETHODIMP SyncRead(LONGLONG position, LONG length, BYTE* buffer) override;
  STDMETHODIMP Length(LONGLONG* total, LONGLONG* available) override;

 private:
  struct Pending {
    IMediaSample* sample;
    DWORD_PTR user;
    HRESULT result;
  };

  VANTOR_APART HRESULT ReadAny(LONGLONG position, LONG length, BYTE* buffer);

  const AM_MEDIA_TYPE* const type_;
  std::shared_ptr<ByteStore> bytes_;
  LONGLONG length_ = 0;
  platform::ResidentBytes resident_;
  ReadStatistics statistics_;
  Lock requestLock_{LockRank::Host};
  Condition requestReady_;
  std::deque<Pending> requests_ VANTOR_GUARDED_BY(requestLock_);
  bool flushing_ VANTOR_GUARDED_BY(requestLock_) = false;
};

}  // namespace vantor
