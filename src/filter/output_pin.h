// An output pin: one track, with its media type, its worker and its allocator. Seeking through it seeks the filter.
#pragma once

#include <cstdint>

#include "baseclasses/media_type.h"
#include "baseclasses/output_pin.h"
#include "filter/forwarded_seeking.h"
#include "mediatypes/track_media_type.h"
#include "parser/track_entry.h"
#include "streaming/block_cursor.h"
#include "streaming/track_worker.h"

namespace vantor {

class CVXMkvDmx;

// What a pin is before its bases are built: held in a base of its own, since the worker refers to the media type.
struct OutputPinType {
  CMediaType mediaType;
  std::uint32_t bufferSize;  // bytes of each delivery buffer
};

class CVXMkvDmxOutputPin final : private OutputPinType,
                                 public TrackWorker,
                                 public CBaseOutputPin,
                                 public ForwardedSeeking {
 public:
  // The filter owns the pin; root and track belong to the connection that the pin lives in.
  CVXMkvDmxOutputPin(CVXMkvDmx* filter, CCritSec* lock, HRESULT* result, const WCHAR* name, CMkvFile& root,
                     const FirstCluster& first, const MkvTrackEntry& track, const TrackMediaType& type);
  ~CVXMkvDmxOutputPin() override;

  DECLARE_IUNKNOWN
  HRESULT STDMETHODCALLTYPE NonDelegatingQueryInterface(REFIID riid, void** ppv) override;

  // S_FALSE when the filter is not stopped; VFW_E_TIMEOUT while a worker that was left to itself lives; E_FAIL when
  // there is no thread to be had; otherwise the allocator's or the worker's result. A pin without connection starts
  // nothing.
  HRESULT Active() override;
  HRESULT Inactive() override;
  HRESULT CheckMediaType(const CMediaType* type) override;
  // Refuses the one audio decoder that cannot take raw AAC.
  HRESULT CompleteConnect(IPin* receivePin) override;
  // VFW_E_TIMEOUT, nothing changed, while a worker does not answer.
  HRESULT BreakConnect() override;
  // Position 0 is the track's type, position 1 its alternative for older decoders if it has one.
  HRESULT GetMediaType(int position, CMediaType* type) override;
  HRESULT DecideBufferSize(IMemAllocator* allocator, ALLOCATOR_PROPERTIES* request) override;

  // For the control calls of the filter, with the filter lock held, which they know by another name than this pin:
  // each asserts it.
  //
  // Where a failed Pause or Stop left a worker in a stopped filter, what may hold it is let go, on behalf of the owner,
  // and it is told to stop.
  void LetStrayWorkerGo(const void* owner);

  // A flush of the peer by a control call, which its owner stands for. There is one at a time: false where another call
  // has one under way. What does not end it may forget it, for a filter that was stopped meanwhile.
  bool BeginPeerFlush(const void* owner);
  void EndPeerFlush(const void* owner);
  // Whoever began it: for a pin that is taken away.
  void EndAnyPeerFlush();
  void ForgetPeerFlush(const void* owner);

 protected:
  IMemAllocator* DeliveryAllocator() override { return m_pAllocator; }
  // Pin and filter, which hold the rest: a filter with such a worker is not disconnected.
  void HoldForWorker() override;
  void ReleaseForWorker() override;

 private:
  // Lets a stray worker go and ends it. VFW_E_TIMEOUT when it does not answer, or has not since an earlier call.
  HRESULT EndStrayWorker() VANTOR_REQUIRES(m_pLock);

  CVXMkvDmx* const filter_;
  const void* flushOwner_ VANTOR_GUARDED_BY(m_pLock) = nullptr;  // null while no control call flushes the peer
};

}  // namespace vantor
