#include "filter/mkv_filter.h"

#include <algorithm>
#include <new>

#include "diag/result_names.h"
#include "diag/trace.h"
#include "platform/result.h"
#include "platform/text.h"

namespace vantor {

CUnknown* WINAPI CVXMkvDmx::CreateInstance(LPUNKNOWN outer, HRESULT* result) {
  CVXMkvDmx* filter = nullptr;
  *result = Guarded([&] {
    HRESULT created = S_OK;
    filter = new CVXMkvDmx(outer, &created);
    return created;
  });
  return filter;
}

CVXMkvDmx::CVXMkvDmx(LPUNKNOWN outer, HRESULT* result)
    : CVXMkvDmx(outer, result, platform::FindFontFunctions(), platform::SystemTemporaryFiles()) {}

CVXMkvDmx::CVXMkvDmx(LPUNKNOWN outer, HRESULT* result, const platform::FontFunctions& fonts,
                     platform::TemporaryFiles& files)
    : CBaseFilter(kFilterName, outer, &filterLock_, kClsidMkvDmx, result),
      CFilterDispatchImpl<IVXMkvDmx>(kTypeLibraryId, kTypeLibraryMajor, kTypeLibraryMinor, kIidMkvDmx),
      fontInstaller_(fonts, files),
      seekLock_(LockRank::Seek),
      positionLock_(LockRank::Position),
      filterLock_(LockRank::Filter) {
  inputPin_ = new (std::nothrow) CVXMkvDmxInputPin(this, &filterLock_, result);
  if (inputPin_ == nullptr) return;
  inputPin_->HoldByFilter();
}

CVXMkvDmx::~CVXMkvDmx() {
  CVXMkvDmx::Stop();
  RemoveOutputPins();
  if (inputPin_ != nullptr) inputPin_->ReleaseByFilter();
}

HRESULT CVXMkvDmx::NonDelegatingQueryInterface(REFIID riid, void** ppv) {
  if (ppv == nullptr) return E_POINTER;
  if (SameGuid(riid, IID_IMediaSeeking)) return GetInterface(static_cast<IMediaSeeking*>(this), ppv);
  if (SameGuid(riid, IID_IDispatch) || SameGuid(riid, kIidMkvDmx)) {
    return GetInterface(static_cast<IVXMkvDmx*>(this), ppv);
  }
  return CBaseFilter::NonDelegatingQueryInterface(riid, ppv);
}

int CVXMkvDmx::GetPinCount() {
  CAutoLock lock(&filterLock_);
  return static_cast<int>(outputPins_.size()) + 1;
}

CBasePin* CVXMkvDmx::GetPin(int index) {
  CAutoLock lock(&filterLock_);
  if (index < 0 || static_cast<std::size_t>(index) > outputPins_.size()) return nullptr;
  if (index == 0) return inputPin_;
  return outputPins_[static_cast<std::size_t>(index) - 1];
}

HRESULT CVXMkvDmx::Stop() {
  CAutoLock lock(&filterLock_);
  HRESULT first = S_OK;
  if (m_State != State_Stopped) {
    const int count = GetPinCount();
    for (int i = 0; i < count; ++i) {
      CBasePin* const pin = GetPin(i);
      if (pin == nullptr) break;
      const HRESULT result = pin->Inactive();
      if (FAILED(result) && SUCCEEDED(first)) first = result;
    }
  }
  m_State = State_Stopped;
  return first;
}

HRESULT CVXMkvDmx::Pause() {
  CAutoLock lock(&filterLock_);
  if (m_State == State_Stopped) {
    const int count = GetPinCount();
    for (int i = 0; i < count; ++i) {
      CBasePin* const pin = GetPin(i);
      if (pin == nullptr) break;
      const HRESULT result = pin->Active();
      if (FAILED(result)) return result;
    }
  }
  m_State = State_Paused;
  return CBaseFilter::Pause();
}

HRESULT CVXMkvDmx::Run(REFERENCE_TIME start) {
  CAutoLock lock(&filterLock_);
  if (m_State == State_Stopped) {
    const HRESULT result = Pause();
    if (FAILED(result)) return result;
  }
  return CBaseFilter::Run(start);
}

void CVXMkvDmx::RemoveOutputPins() {
  CAutoLock lock(&filterLock_);
  // Out of the list first: a peer may look at this filter's pins while it is disconnected.
  std::vector<CVXMkvDmxOutputPin*> removed;
  removed.swap(outputPins_);
  if (!removed.empty()) IncrementPinVersion();
  for (CVXMkvDmxOutputPin* pin : removed) {
    pin->EndStrayWorker();
    IPin* peer = nullptr;
    if (SUCCEEDED(pin->ConnectedTo(&peer)) && peer != nullptr) {
      peer->Disconnect();
      peer->Release();
    }
    pin->Disconnect();
    pin->ReleaseByFilter();
  }
  fontInstaller_.RemoveAll();
  pinNumbers_.clear();
  pinKinds_ = 0;

  CAutoLock positions(&positionLock_);
  duration_ = 0;
  currentPosition_ = 0;
  segmentStart_ = 0;
  stopPosition_ = 0;
  frameFormatAvailable_ = false;
  frameDuration_ = 0;
  frameFormatInUse_ = false;
}

PlaybackRange CVXMkvDmx::Range() const { return {segmentStart_, stopPosition_, rate_}; }

void CVXMkvDmx::AdvancePosition(std::int64_t stop) {
  // Most blocks of all but the leading track change nothing; they need no lock to find out.
  if (std::min<std::int64_t>(stop, stopPosition_) <= currentPosition_ && currentPosition_ <= stopPosition_) return;
  CAutoLock lock(&positionLock_);
  currentPosition_ = std::min<std::int64_t>(stopPosition_, std::max<std::int64_t>(currentPosition_, stop));
}

void CVXMkvDmx::NotifyGraph(long event, LONG_PTR first, LONG_PTR second) {
  // The graph is told also when there is no memory for a trace.
  Guarded([&] {
    VANTOR_TRACE("\n\n### NotifyGraphOfError(%p, %s): hr=%s\n", static_cast<void*>(this),
                 WideToUtf8(kFilterName).c_str(), ResultName(static_cast<HRESULT>(first)));
    return S_OK;
  });
  NotifyEvent(event, first, second);
}

}  // namespace vantor
