#include "filter/mkv_filter.h"

#include <algorithm>
#include <new>
#include <thread>
#include <utility>

#include "platform/platform.h"
#include "platform/result.h"
#include "streaming/played_end.h"

namespace vantor {

namespace {

CUnknown* Create(LPUNKNOWN outer, HRESULT* result, const ComponentIdentity& identity, const PlaybackPolicy& policy) {
  CVXMkvDmx* filter = nullptr;
  *result = Guarded([&] {
    HRESULT created = S_OK;
    filter = new CVXMkvDmx(outer, &created, identity, policy);
    return created;
  });
  return filter;
}

}  // namespace

CUnknown* WINAPI CVXMkvDmx::CreateInstance(LPUNKNOWN outer, HRESULT* result) {
  return Create(outer, result, kMkvDmx, PlaybackPolicy());
}

CUnknown* WINAPI CVXMkvDmx::CreateCompleteInstance(LPUNKNOWN outer, HRESULT* result) {
  return Create(outer, result, kMkvDmxComplete, kCompletePolicy);
}

CVXMkvDmx::CVXMkvDmx(LPUNKNOWN outer, HRESULT* result, const ComponentIdentity& identity, const PlaybackPolicy& policy)
    : CVXMkvDmx(outer, result, platform::FindFontFunctions(), platform::SystemTemporaryFiles(), {}, identity, policy) {}

CVXMkvDmx::CVXMkvDmx(LPUNKNOWN outer, HRESULT* result, const platform::FontFunctions& fonts,
                     platform::TemporaryFiles& files, const Patience& patience, const ComponentIdentity& identity,
                     const PlaybackPolicy& policy)
    : CBaseFilter(identity.filterName, outer, &filterLock_, identity.classId, result),
      ForwardedSeeking(seeking_),
      CFilterDispatchImpl<IVXMkvDmx>(identity.typeLibraryId, kTypeLibraryMajor, kTypeLibraryMinor,
                                     identity.interfaceId),
      patience_(patience),
      identity_(identity),
      policy_(policy),
      fontInstaller_(fonts, files),
      seeking_(positions_, *this),
      playback_(*this, positions_, identity.filterName),
      filterLock_(LockRank::Filter) {
  inputPin_ = new (std::nothrow) CVXMkvDmxInputPin(this, &filterLock_, result);
  if (inputPin_ == nullptr) return;
  inputPin_->HoldByFilter();
}

CVXMkvDmx::~CVXMkvDmx() {
  RemoveOutputPins();
  if (inputPin_ != nullptr) inputPin_->ReleaseByFilter();
}

// A filter may be let go while it runs, and by one of its own workers, which cannot wait for its own end. A worker that
// does not answer even now keeps the filter, and what it stands on, until it comes back. Whoever is left over by then
// asks the object itself: what it was aggregated into is going.
void CVXMkvDmx::FinalRelease() {
  LeaveOwner();
  if (OnOwnWorker()) return OnAnotherThread([this] { FinalRelease(); });
  holds_ += std::exchange(isReleased_, true) ? 1 : 1 + kReleased;
  Stop();
  if (SUCCEEDED(RemoveOutputPins())) {
    delete this;
    return;
  }
  if (--holds_ == kReleased) CUnknown::NonDelegatingRelease();
}

// The one reference that is left then is what FinalRelease began with; giving it back calls that once more.
void CVXMkvDmx::ReleaseForThread() {
  if (--holds_ == kReleased) OnAnotherThread([this] { CUnknown::NonDelegatingRelease(); });
}

// Where the system has no thread to give, there will be one later.
template <typename Work>
void CVXMkvDmx::OnAnotherThread(Work work) {
  const auto isStarted = [&work] {
    return SUCCEEDED(Guarded([&work] {
      std::thread([work] {
        const CBaseObject keepsModule(OLESTR("teardown thread"));
        const HRESULT com = CoInitializeEx(nullptr, COINIT_MULTITHREADED);
        work();
        if (SUCCEEDED(com)) CoUninitialize();
      }).detach();
      return S_OK;
    }));
  };
  while (!isStarted()) SleepMilliseconds(10);
}

HRESULT CVXMkvDmx::NonDelegatingQueryInterface(REFIID riid, void** ppv) {
  if (ppv == nullptr) return E_POINTER;
  if (SameGuid(riid, IID_IMediaSeeking)) return GetInterface(static_cast<IMediaSeeking*>(this), ppv);
  if (SameGuid(riid, IID_IDispatch) || SameGuid(riid, identity_.interfaceId)) {
    return GetInterface(static_cast<IVXMkvDmx*>(this), ppv);
  }
  return CBaseFilter::NonDelegatingQueryInterface(riid, ppv);
}

int CVXMkvDmx::GetPinCount() { return static_cast<int>(outputPins_.Count()) + 1; }

CBasePin* CVXMkvDmx::GetPin(int index) {
  if (index < 0) return nullptr;
  if (index == 0) return inputPin_;
  return outputPins_.At(static_cast<std::size_t>(index) - 1);
}

CBasePin* CVXMkvDmx::HoldPin(int index) {
  if (index <= 0) return CBaseFilter::HoldPin(index);
  return outputPins_.Hold(static_cast<std::size_t>(index) - 1).Detach();
}

bool CVXMkvDmx::OnOwnWorker() const {
  return TrackWorker::CurrentPlayback() == &playback_ || SeekSearch::CurrentHolder() == this;
}

bool CVXMkvDmx::HasLateThread() const {
  for (std::size_t i = 0; const PinHold pin = outputPins_.Hold(i); ++i) {
    if (pin->IsLate()) return true;
  }
  return search_ && search_->IsLate();
}

HRESULT CVXMkvDmx::Stop() {
  if (OnOwnWorker()) return VFW_E_WRONG_STATE;
  CAutoLock lock(&filterLock_);
  HRESULT first = S_OK;
  if (m_State == State_Stopped) return first;
  // A neighbour whose flush ends may stop the filter and start it again. A stop ends stopped all the same.
  constexpr int kMostTries = 3;
  for (int tries = 0; tries < kMostTries && (tries == 0 || HasStreamingWorker()); ++tries) {
    const HRESULT result = StopPins();
    if (FAILED(result) && SUCCEEDED(first)) first = result;
  }
  m_State = State_Stopped;
  return first;
}

HRESULT CVXMkvDmx::StopPins() {
  // Inactive of our pins ends its worker as part of this call (EndWorker), so that all share one patience. A neighbour
  // that is flushed may stop the filter once more, in a call within this one, or take pins away.
  WorkerCall call(outputPins_, Root(), patience_);
  WorkerCall* const outer = std::exchange(callUnderWay_, &call);
  call.Announce();
  HRESULT first = S_OK;
  const int count = GetPinCount();
  for (int i = 0; i < count; ++i) {
    CBasePin* const pin = GetPin(i);
    if (pin == nullptr) break;
    pin->HoldByFilter();
    const HRESULT result = pin->Inactive();
    pin->ReleaseByFilter();
    if (FAILED(result) && SUCCEEDED(first)) first = result;
  }
  callUnderWay_ = outer;
  return first;
}

bool CVXMkvDmx::HasStreamingWorker() const {
  for (std::size_t i = 0; const PinHold pin = outputPins_.Hold(i); ++i) {
    if (pin->IsStreaming() && !pin->IsLate()) return true;
  }
  return false;
}

HRESULT CVXMkvDmx::Pause() {
  if (OnOwnWorker()) return VFW_E_WRONG_STATE;
  CAutoLock lock(&filterLock_);
  if (HasLateThread()) return VFW_E_TIMEOUT;
  if (m_State == State_Stopped) {
    WorkerCall call(outputPins_, Root(), patience_);
    const HRESULT ended = EndStrayWorkers(call);
    if (FAILED(ended)) return ended;
    const int count = GetPinCount();
    for (int i = 0; i < count; ++i) {
      CBasePin* const pin = GetPin(i);
      if (pin == nullptr) break;
      pin->HoldByFilter();
      const HRESULT result = pin->Active();
      pin->ReleaseByFilter();
      if (FAILED(result)) return result;
    }
  }
  m_State = State_Paused;
  return CBaseFilter::Pause();
}

HRESULT CVXMkvDmx::Run(REFERENCE_TIME start) {
  if (OnOwnWorker()) return VFW_E_WRONG_STATE;
  CAutoLock lock(&filterLock_);
  if (m_State == State_Stopped) {
    const HRESULT result = Pause();
    if (FAILED(result)) return result;
  }
  return CBaseFilter::Run(start);
}

HRESULT CVXMkvDmx::BuildOutputPins(CMkvFileRoot& root, IPin* upstream) {
  CAutoLock lock(&filterLock_);
  HRESULT result = RemoveOutputPins();
  if (FAILED(result)) return result;
  OutputPinMaker maker(root, upstream, fontInstaller_, *this, filterLock_, *this);
  search_ = std::make_shared<SeekSearch>(root, maker.Start(), *this);
  result = maker.MakePins();
  if (FAILED(result)) return result;
  positions_.SetFile(EndOf(root, maker));
  return S_OK;
}

// Where playing ends, which is the file's duration unless the policy looks for the last of the blocks.
std::int64_t CVXMkvDmx::EndOf(CMkvFileRoot& root, const OutputPinMaker& maker) const {
  const MkvSegment& segment = *root.GetSegment();
  const std::int64_t stated = segment.info.StatedDuration();
  if (!policy_.playToEnd) return stated;
  CMkvFileClone file(root);
  return AnnouncedEnd(segment, stated, FindPlayedEnd(file, maker.Start(), maker.PlayedTracks()));
}

void CVXMkvDmx::Append(PinHold pin) {
  outputPins_.Append(std::move(pin));
  IncrementPinVersion();
}

HRESULT CVXMkvDmx::EndWorker(CVXMkvDmxOutputPin& pin) {
  CAutoLock lock(&filterLock_);
  if (callUnderWay_ != nullptr) return callUnderWay_->EndWorker(pin);
  WorkerCall call(outputPins_, Root(), patience_);
  return call.EndWorker(pin);
}

// All of them, whatever becomes of one. They are let go before the first is waited for, and share one patience.
HRESULT CVXMkvDmx::EndStrayWorkers(WorkerCall& call) {
  for (std::size_t i = 0; const PinHold pin = outputPins_.Hold(i); ++i) pin->LetStrayWorkerGo(&call);
  HRESULT first = S_OK;
  for (std::size_t i = 0; const PinHold pin = outputPins_.Hold(i); ++i) {
    const HRESULT result = pin->IsLate() ? VFW_E_TIMEOUT : call.EndWorker(*pin);
    if (FAILED(result) && SUCCEEDED(first)) first = result;
  }
  return first;
}

HRESULT CVXMkvDmx::RemoveOutputPins() {
  CAutoLock lock(&filterLock_);
  // A source that is flushed for a search may not take the file away under it.
  if (search_ && search_->IsBusy()) return VFW_E_TIMEOUT;
  {
    WorkerCall call(outputPins_, Root(), patience_);
    const HRESULT ended = EndStrayWorkers(call);
    if (FAILED(ended)) return ended;
  }
  // A neighbour that was flushed for them may have started the filter, or made a seek that was not answered.
  if (!IsStopped()) return VFW_E_NOT_STOPPED;
  if (HasLateThread() || (search_ && search_->IsBusy())) return VFW_E_TIMEOUT;
  if (search_) search_->End();  // also for a seek that still has it in hand
  search_.reset();
  // Out of the list first: a peer may look at this filter's pins while it is disconnected.
  const std::vector<PinHold> removed = outputPins_.TakeAll();
  if (!removed.empty()) IncrementPinVersion();
  for (const PinHold& pin : removed) {
    pin->EndAnyPeerFlush();
    IPin* peer = nullptr;
    if (SUCCEEDED(pin->ConnectedTo(&peer)) && peer != nullptr) {
      peer->Disconnect();
      peer->Release();
    }
    pin->Disconnect();
  }
  fontInstaller_.RemoveAll();
  positions_.Reset();
  return S_OK;
}

// A seek moves all pins at once: begin flush, so that nothing downstream holds a worker; stop every run; find the place
// and move the cursors; end flush; run again. Each step is finished for all pins before the next begins. What is called
// downstream may call back, stop the filter or take its pins away: each step asks anew what there is to do.
HRESULT CVXMkvDmx::Reposition(SeekRange& range) {
  CAutoLock lock(&filterLock_);
  // A search that was left to itself lets no other begin until it comes back. A later seek then changes nothing, and
  // says where the pins are: going on would put them back at the start each time. The start needs no search.
  if (search_ && search_->IsLate() && range.current > 0) {
    const MediaPositions now = positions_.Read();
    range = {now.current, now.stop};
    return VFW_E_TIMEOUT;
  }
  HRESULT result = S_OK;
  {
    WorkerCall call(outputPins_, Root(), patience_);
    if (!IsStopped()) {
      for (std::size_t i = 0; const PinHold pin = outputPins_.Hold(i); ++i) (void)pin->BeginPeerFlush(&range);
      result = StopRuns(call);
    } else {
      result = EndStrayWorkers(call);
    }
    const HRESULT moved = SeekCursors(range, call);
    if (SUCCEEDED(result)) result = moved;
  }

  const bool isStopped = IsStopped();
  for (std::size_t i = 0; const PinHold pin = outputPins_.Hold(i); ++i) {
    // Peers of a filter that was stopped meanwhile are being stopped themselves.
    if (isStopped) {
      pin->ForgetPeerFlush(&range);
    } else {
      pin->EndPeerFlush(&range);
    }
  }
  // Downstream may have stopped the filter by now.
  if (IsStopped()) return result;
  for (std::size_t i = 0; const PinHold pin = outputPins_.Hold(i); ++i) (void)pin->RunAgain();
  return result;
}

// VFW_E_TIMEOUT when one of them was left to itself; the others are stopped all the same.
HRESULT CVXMkvDmx::StopRuns(WorkerCall& call) {
  HRESULT first = S_OK;
  call.Announce();
  for (std::size_t i = 0; const PinHold pin = outputPins_.Hold(i); ++i) {
    const HRESULT result = call.StopRun(*pin, AfterStop::kGoOn);
    if (FAILED(result) && SUCCEEDED(first)) first = result;
  }
  return first;
}

// All pins go to the same place, or else, if there is none, to the start. Sets the positions. VFW_E_TIMEOUT when the
// search was left to itself, which counts as finding nothing.
HRESULT CVXMkvDmx::SeekCursors(SeekRange& range, WorkerCall& call) {
  const std::int64_t duration = positions_.Read().duration;
  range.current = range.current < 0 ? 0 : std::min(range.current, duration);
  range.stop = range.stop < range.current ? range.current : std::min(range.stop, duration);
  HRESULT result = S_OK;
  PlaceInFile place;
  const std::shared_ptr<SeekSearch> search = search_;
  if (range.current > 0 && search && outputPins_.Count() > 0) {
    result = call.FindPlace(*search, range.current, place);
    if (search_ != search) {
      range = {0, 0};  // the source that was flushed has taken the file away, and the positions with it
      return S_OK;
    }
    if (result != S_OK) range.current = 0;
  }
  const PlaceInFile* const found = range.current > 0 ? &place : nullptr;
  for (std::size_t i = 0; const PinHold pin = outputPins_.Hold(i); ++i) pin->SeekCursor(found);
  positions_.Set(range.current, range.stop);
  return FAILED(result) ? result : S_OK;
}

}  // namespace vantor
