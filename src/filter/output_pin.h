// An output pin: one track, with its media type, its worker and its allocator. Seeking through it seeks the filter.
#pragma once

#include <cstdint>

#include "baseclasses/media_type.h"
#include "baseclasses/output_pin.h"
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
                                 public IMediaSeeking {
 public:
  // The filter owns the pin; root and track belong to the connection that the pin lives in.
  CVXMkvDmxOutputPin(CVXMkvDmx* filter, CCritSec* lock, HRESULT* result, const WCHAR* name, CMkvFile& root,
                     const FirstCluster& first, const MkvTrackEntry& track, const TrackMediaType& type);
  ~CVXMkvDmxOutputPin() override;

  DECLARE_IUNKNOWN
  HRESULT STDMETHODCALLTYPE NonDelegatingQueryInterface(REFIID riid, void** ppv) override;

  // S_FALSE when the filter is not stopped; E_FAIL when there is no thread to be had; otherwise the allocator's or the
  // worker's result. A pin without connection starts nothing.
  HRESULT Active() override;
  HRESULT Inactive() override;
  HRESULT CheckMediaType(const CMediaType* type) override;
  // Refuses the one audio decoder that cannot take raw AAC.
  HRESULT CompleteConnect(IPin* receivePin) override;
  HRESULT BreakConnect() override;
  // Position 0 is the track's type, position 1 its alternative for older decoders if it has one.
  HRESULT GetMediaType(int position, CMediaType* type) override;
  HRESULT DecideBufferSize(IMemAllocator* allocator, ALLOCATOR_PROPERTIES* request) override;

  // Ends the worker of a pin that a failed Pause or Stop left streaming in a stopped filter.
  void EndStrayWorker();

  HRESULT STDMETHODCALLTYPE GetCapabilities(DWORD* capabilities) override;
  HRESULT STDMETHODCALLTYPE CheckCapabilities(DWORD* capabilities) override;
  HRESULT STDMETHODCALLTYPE IsFormatSupported(const GUID* format) override;
  HRESULT STDMETHODCALLTYPE QueryPreferredFormat(GUID* format) override;
  HRESULT STDMETHODCALLTYPE GetTimeFormat(GUID* format) override;
  HRESULT STDMETHODCALLTYPE IsUsingTimeFormat(const GUID* format) override;
  HRESULT STDMETHODCALLTYPE SetTimeFormat(const GUID* format) override;
  HRESULT STDMETHODCALLTYPE GetDuration(LONGLONG* duration) override;
  HRESULT STDMETHODCALLTYPE GetStopPosition(LONGLONG* stop) override;
  HRESULT STDMETHODCALLTYPE GetCurrentPosition(LONGLONG* current) override;
  HRESULT STDMETHODCALLTYPE ConvertTimeFormat(LONGLONG* target, const GUID* targetFormat, LONGLONG source,
                                              const GUID* sourceFormat) override;
  HRESULT STDMETHODCALLTYPE SetPositions(LONGLONG* current, DWORD currentFlags, LONGLONG* stop,
                                         DWORD stopFlags) override;
  HRESULT STDMETHODCALLTYPE GetPositions(LONGLONG* current, LONGLONG* stop) override;
  HRESULT STDMETHODCALLTYPE GetAvailable(LONGLONG* earliest, LONGLONG* latest) override;
  HRESULT STDMETHODCALLTYPE SetRate(double rate) override;
  HRESULT STDMETHODCALLTYPE GetRate(double* rate) override;
  HRESULT STDMETHODCALLTYPE GetPreroll(LONGLONG* preroll) override;

 protected:
  IMemAllocator* DeliveryAllocator() override { return m_pAllocator; }

 private:
  CVXMkvDmx* const filter_;
};

}  // namespace vantor
