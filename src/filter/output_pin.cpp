#include "filter/output_pin.h"

#include <algorithm>
#include <cstring>
#include <iterator>

#include "diag/result_names.h"
#include "diag/trace.h"
#include "filter/mkv_filter.h"
#include "mediatypes/alternative_media_type.h"
#include "platform/result.h"
#include "published/media_guids.h"

namespace vantor {

namespace {

constexpr WCHAR kRefusedDecoder[] = OLESTR("Microsoft DTV-DVD Audio Decoder");

bool IsVideoInfo(const GUID& format) { return SameGuid(format, FORMAT_VideoInfo); }

bool IsExtendedVideoInfo(const GUID& format) {
  return SameGuid(format, FORMAT_VideoInfo2) || SameGuid(format, FORMAT_MPEG2Video);
}

// Whether the pin belongs to the filter of that name. A pin that cannot tell counts as one of them.
bool BelongsToRefusedDecoder(IPin* pin) {
  PIN_INFO pinInfo = {};
  if (FAILED(pin->QueryPinInfo(&pinInfo))) return true;
  if (pinInfo.pFilter == nullptr) return false;
  FILTER_INFO filterInfo = {};
  const bool known = SUCCEEDED(pinInfo.pFilter->QueryFilterInfo(&filterInfo));
  pinInfo.pFilter->Release();
  if (!known) return false;
  if (filterInfo.pGraph != nullptr) filterInfo.pGraph->Release();
  filterInfo.achName[std::size(filterInfo.achName) - 1] = 0;
  return WideString(filterInfo.achName) == kRefusedDecoder;
}

}  // namespace

CVXMkvDmxOutputPin::CVXMkvDmxOutputPin(CVXMkvDmx* filter, CCritSec* lock, HRESULT* result, const WCHAR* name,
                                       CMkvFile& root, const FirstCluster& first, const MkvTrackEntry& track,
                                       const TrackMediaType& type)
    : OutputPinType{type.mediaType, type.bufferSize},
      TrackWorker(*this, filter->SharedPlayback(), root, first, track, OutputPinType::mediaType, type.convertStartCodes,
                  filter->ControlPatience(), type.addFrameHeaders),
      CBaseOutputPin(name, filter, lock, result, name),
      ForwardedSeeking(filter->SharedSeeking()),
      filter_(filter) {}

CVXMkvDmxOutputPin::~CVXMkvDmxOutputPin() { StopWorker(); }

HRESULT CVXMkvDmxOutputPin::NonDelegatingQueryInterface(REFIID riid, void** ppv) {
  if (ppv == nullptr) return E_POINTER;
  if (SameGuid(riid, IID_IMediaSeeking)) return GetInterface(static_cast<IMediaSeeking*>(this), ppv);
  return CBaseOutputPin::NonDelegatingQueryInterface(riid, ppv);
}

HRESULT CVXMkvDmxOutputPin::Active() {
  CAutoLock lock(m_pLock);
  if (!filter_->IsStopped()) return S_FALSE;
  if (!IsConnected()) return S_OK;
  HRESULT result = EndStrayWorker();
  if (FAILED(result)) return result;
  SetDeactivating(false);
  result = CBaseOutputPin::Active();
  return FAILED(result) ? result : StartWorker();
}

HRESULT CVXMkvDmxOutputPin::Inactive() {
  CAutoLock lock(m_pLock);
  if (!IsConnected()) return S_OK;
  SetDeactivating(true);
  const HRESULT result = CBaseOutputPin::Inactive();
  return FAILED(result) ? result : filter_->EndWorker(*this);
}

HRESULT CVXMkvDmxOutputPin::BreakConnect() {
  m_pLock->AssertHeld();
  const HRESULT result = EndStrayWorker();
  return FAILED(result) ? result : CBaseOutputPin::BreakConnect();
}

HRESULT CVXMkvDmxOutputPin::EndStrayWorker() {
  if (!ThreadExists()) return S_OK;
  if (IsLate()) return VFW_E_TIMEOUT;
  LetStrayWorkerGo(this);
  const HRESULT result = filter_->EndWorker(*this);
  EndPeerFlush(this);
  return result;
}

void CVXMkvDmxOutputPin::LetStrayWorkerGo(const void* owner) {
  m_pLock->AssertHeld();
  if (!ThreadExists() || IsLate()) return;
  AnnounceStop();
  SetDeactivating(true);
  // Downstream may be paused and hold the worker in Receive.
  if (IsStreaming()) (void)BeginPeerFlush(owner);
  (void)CBaseOutputPin::Inactive();  // an allocator that will not be decommitted does not hold the worker's end up
}

bool CVXMkvDmxOutputPin::BeginPeerFlush(const void* owner) {
  m_pLock->AssertHeld();
  if (flushOwner_ != nullptr) return false;
  flushOwner_ = owner;
  DeliverBeginFlush();
  return true;
}

void CVXMkvDmxOutputPin::EndPeerFlush(const void* owner) {
  m_pLock->AssertHeld();
  if (owner == nullptr || flushOwner_ != owner) return;
  flushOwner_ = nullptr;
  DeliverEndFlush();
}

void CVXMkvDmxOutputPin::EndAnyPeerFlush() {
  m_pLock->AssertHeld();
  EndPeerFlush(flushOwner_);
}

void CVXMkvDmxOutputPin::ForgetPeerFlush(const void* owner) {
  m_pLock->AssertHeld();
  if (flushOwner_ == owner) flushOwner_ = nullptr;
}

void CVXMkvDmxOutputPin::HoldForWorker() {
  HoldByFilter();
  filter_->HoldForThread();
}

void CVXMkvDmxOutputPin::ReleaseForWorker() {
  CVXMkvDmx* const filter = filter_;
  ReleaseByFilter();
  filter->ReleaseForThread();
}

HRESULT CVXMkvDmxOutputPin::CheckMediaType(const CMediaType* type) {
  const CMediaType& own = OutputPinType::mediaType;
  if (!SameGuid(*type->Type(), *own.Type())) return S_FALSE;
  const GUID& format = *type->FormatType();
  const GUID& ownFormat = *own.FormatType();
  if (SameGuid(*type->Subtype(), *own.Subtype())) {
    if (SameGuid(format, ownFormat)) return S_OK;
    if (IsVideoInfo(format) && IsExtendedVideoInfo(ownFormat)) return S_OK;
    if (IsExtendedVideoInfo(format) && IsVideoInfo(ownFormat)) return S_OK;
  }
  const bool olderVorbis = SameGuid(*type->Subtype(), kSubtypeVorbis) && SameGuid(*own.Subtype(), kSubtypeVorbis2);
  return olderVorbis ? S_OK : S_FALSE;
}

HRESULT CVXMkvDmxOutputPin::CompleteConnect(IPin* receivePin) {
  const CMediaType& own = OutputPinType::mediaType;
  const bool rawAac = SameGuid(*own.Type(), MEDIATYPE_Audio) && SameGuid(*own.Subtype(), kSubtypeRawAac);
  if (rawAac && BelongsToRefusedDecoder(receivePin)) {
    VANTOR_TRACE("\nCVXMkvDmxOutputPin::CompleteConnect: Reject Microsoft DVD Audio Decoder!");
    return E_FAIL;
  }
  const HRESULT result = CBaseOutputPin::CompleteConnect(receivePin);
  VANTOR_TRACE("\nCBaseOutputPin::CompleteConnect returned %s", ResultName(result));
  return result;
}

HRESULT CVXMkvDmxOutputPin::GetMediaType(int position, CMediaType* type) {
  if (position < 0 || type == nullptr) return E_INVALIDARG;
  if (position > 1) return VFW_S_NO_MORE_ITEMS;
  return Guarded([&]() -> HRESULT {
    if (position == 0) return type->Set(OutputPinType::mediaType);
    return BuildAlternativeMediaType(OutputPinType::mediaType, *type);
  });
}

HRESULT CVXMkvDmxOutputPin::DecideBufferSize(IMemAllocator* allocator, ALLOCATOR_PROPERTIES* request) {
  // A header may claim any picture size. No frame above the limit is delivered, so no larger buffer is of use.
  request->cBuffers = 2;
  request->cbBuffer = static_cast<LONG>(std::clamp<std::uint32_t>(bufferSize, 1, SampleSource::kLargestFrame));
  request->cbAlign = 1;
  request->cbPrefix = 0;
  ALLOCATOR_PROPERTIES actual = {};
  return allocator->SetProperties(request, &actual);
}

}  // namespace vantor
