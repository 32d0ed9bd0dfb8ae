// The demultiplexer filter: one input pin, one output pin per usable track while the input is connected, seeking for
// all of them.
//
//   HRESULT result = S_OK;
//   CUnknown* filter = CVXMkvDmx::CreateInstance(nullptr, &result);          // the demultiplexer
//   filter = CVXMkvDmx::CreateCompleteInstance(nullptr, &result);            // the complete one
//
// The two are one class: they differ in who they say they are and in the policy that they are created with.
//
// What it is made of: Positions and Seeking (what IMediaSeeking says), OutputPins (the list), WorkerCall (how a control
// call gets its workers to stop), WorkerPlayback (what the workers ask of it).
//
// Locks, in the only order in which they nest: the seek lock (a whole SetPositions), the filter lock (state changes,
// connection, pin creation and teardown, flush and restart of a seek), the position lock (duration, positions, frame
// duration). A stop waits for workers while it holds the filter lock, so no worker takes that one, and nothing that a
// neighbour may ask a worker's thread to do needs it: control calls are refused there.
#pragma once

#include <atomic>
#include <cstdint>
#include <memory>

#include "baseclasses/filter.h"
#include "baseclasses/filter_dispatch.h"
#include "baseclasses/sync.h"
#include "filter/forwarded_seeking.h"
#include "filter/input_pin.h"
#include "filter/output_pin.h"
#include "filter/output_pin_maker.h"
#include "filter/output_pins.h"
#include "filter/positions.h"
#include "filter/seeking.h"
#include "filter/worker_call.h"
#include "filter/worker_playback.h"
#include "mediatypes/font_installer.h"
#include "parser/playback_policy.h"
#include "published/component.h"
#include "streaming/patience.h"
#include "streaming/playback.h"
#include "streaming/seek_search.h"

namespace vantor {

class CVXMkvDmx final : public CBaseFilter,
                        public ForwardedSeeking,
                        public CFilterDispatchImpl<IVXMkvDmx>,
                        private Repositioner,
                        private OutputPinList,
                        public LateThreadHolder {
 public:
  // For the class factory: a filter with a reference count of 0, or null with the reason in the result.
  static CUnknown* WINAPI CreateInstance(LPUNKNOWN outer, HRESULT* result);
  static CUnknown* WINAPI CreateCompleteInstance(LPUNKNOWN outer, HRESULT* result);

  CVXMkvDmx(LPUNKNOWN outer, HRESULT* result, const ComponentIdentity& identity = kMkvDmx,
            const PlaybackPolicy& policy = {});
  // With other ways to install fonts, and another patience; `files` and `identity` outlive the filter.
  CVXMkvDmx(LPUNKNOWN outer, HRESULT* result, const platform::FontFunctions& fonts, platform::TemporaryFiles& files,
            const Patience& patience = {}, const ComponentIdentity& identity = kMkvDmx,
            const PlaybackPolicy& policy = {});
  ~CVXMkvDmx() override;

  DECLARE_IUNKNOWN
  HRESULT STDMETHODCALLTYPE NonDelegatingQueryInterface(REFIID riid, void** ppv) override;

  // The input pin is pin 0, the track pins follow in the order of their creation; null out of range. Any thread; who
  // does not hold the filter lock uses HoldPin.
  int GetPinCount() override;
  CBasePin* GetPin(int index) override;
  CBasePin* HoldPin(int index) override;

  // VFW_E_WRONG_STATE, nothing changed, on a worker of the filter's own. VFW_E_TIMEOUT: of Stop when a worker did not
  // answer, with the filter stopped all the same; of Pause, nothing changed, while such a worker lives.
  HRESULT STDMETHODCALLTYPE Stop() override;
  HRESULT STDMETHODCALLTYPE Pause() override;
  HRESULT STDMETHODCALLTYPE Run(REFERENCE_TIME start) override;

  // Whether the calling thread is a worker of this filter, or searches for one of its seeks.
  bool OnOwnWorker() const override;

  // Replaces the output pins by those of the file's usable tracks: S_OK, or the first failure of a builder or of pin
  // creation, with the pins made so far in place. `upstream` is the pin the input is connected to.
  HRESULT BuildOutputPins(CMkvFileRoot& root, IPin* upstream);
  // Disconnects and releases every output pin, removes the fonts, zeroes the seeking members but for the rate. With all
  // pins in place: VFW_E_TIMEOUT while a worker does not answer or a seek's search is under way; VFW_E_NOT_STOPPED when
  // a neighbour has started the filter from within.
  HRESULT RemoveOutputPins();

  // ---- For the pins ----

  // Stops the pin's worker and ends its thread, as part of the control call under way if there is one. VFW_E_TIMEOUT:
  // it was left to itself.
  HRESULT EndWorker(CVXMkvDmxOutputPin& pin);
  // The hold of a worker, or of the search of a seek, that was left to itself. It is no reference: when the last of
  // those goes, the filter is taken down as far as such threads allow, and the last hold to go, on its thread, has the
  // rest done elsewhere.
  void HoldForThread() override { ++holds_; }
  void ReleaseForThread() override;

  Playback& SharedPlayback() { return playback_; }
  Seeking& SharedSeeking() { return seeking_; }
  const Patience& ControlPatience() const { return patience_; }
  const PlaybackPolicy& Policy() const { return policy_; }

 protected:
  void FinalRelease() override;

 private:
  // OutputPinList.
  void Append(PinHold pin) override;
  void SetFrameDuration(std::int64_t duration) override { positions_.SetFrameDuration(duration); }

  // Repositioner.
  bool MaySeek() const override { return !OnOwnWorker(); }
  bool IsInControlCall() const override { return filterLock_.IsHeld(); }
  HRESULT Reposition(SeekRange& range) override;

  std::int64_t EndOf(CMkvFileRoot& root, const OutputPinMaker& maker) const;
  CMkvFileRoot* Root() const { return inputPin_ != nullptr ? inputPin_->Root() : nullptr; }
  // Workers, and the search of a seek, that were left to themselves and have not come back.
  bool HasLateThread() const VANTOR_REQUIRES(filterLock_);
  HRESULT StopPins() VANTOR_REQUIRES(filterLock_);
  bool HasStreamingWorker() const VANTOR_REQUIRES(filterLock_);
  HRESULT StopRuns(WorkerCall& call) VANTOR_REQUIRES(filterLock_);
  HRESULT SeekCursors(SeekRange& range, WorkerCall& call) VANTOR_REQUIRES(filterLock_);
  // Ends the workers that a failed Pause or Stop left in a stopped filter. The first failure; VFW_E_TIMEOUT when one
  // does not answer, or has not since an earlier call.
  HRESULT EndStrayWorkers(WorkerCall& call) VANTOR_REQUIRES(filterLock_);
  template <typename Work>
  static void OnAnotherThread(Work work);

  // Threads that were left to themselves, and, from the last release on, kReleased and one for FinalRelease while it
  // runs: in one number, so that exactly one of them finds itself the last.
  static constexpr int kReleased = 1 << 16;
  std::atomic<int> holds_{0};
  bool isReleased_ = false;
  const Patience patience_;
  const ComponentIdentity& identity_;
  const PlaybackPolicy policy_;
  CFontInstaller fontInstaller_;
  Positions positions_;
  Seeking seeking_;
  WorkerPlayback playback_;
  CCritSec filterLock_;
  CVXMkvDmxInputPin* inputPin_ = nullptr;
  OutputPins outputPins_;
  // Of the open file. Shared with the seek under way: a neighbour may close the file within it, which ends the search.
  std::shared_ptr<SeekSearch> search_ VANTOR_GUARDED_BY(filterLock_);
  WorkerCall* callUnderWay_ VANTOR_GUARDED_BY(filterLock_) = nullptr;
};

}  // namespace vantor
