// The demultiplexer filter: one input pin, one output pin per usable track while the input is connected, seeking for
// all of them.
//
//   HRESULT result = S_OK;
//   CUnknown* filter = CVXMkvDmx::CreateInstance(nullptr, &result);
//
// Locks, in the only order in which they nest: the seek lock (a whole SetPositions), the filter lock (state changes,
// connection, pin creation and teardown, flush and restart of a seek), the position lock (duration, positions, frame
// members). Inactive waits for a worker while it holds the filter lock, so no worker takes that one.
#pragma once

#include <atomic>
#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "baseclasses/filter.h"
#include "baseclasses/filter_dispatch.h"
#include "baseclasses/sync.h"
#include "filter/input_pin.h"
#include "filter/output_pin.h"
#include "mediatypes/font_installer.h"
#include "published/component.h"
#include "streaming/playback.h"

namespace vantor {

class CVXMkvDmx final : public CBaseFilter,
                        public IMediaSeeking,
                        public CFilterDispatchImpl<IVXMkvDmx>,
                        public Playback {
 public:
  // For the class factory: a filter with a reference count of 0, or null with the reason in the result.
  static CUnknown* WINAPI CreateInstance(LPUNKNOWN outer, HRESULT* result);

  CVXMkvDmx(LPUNKNOWN outer, HRESULT* result);
  // With other ways to install fonts; `files` outlives the filter.
  CVXMkvDmx(LPUNKNOWN outer, HRESULT* result, const platform::FontFunctions& fonts, platform::TemporaryFiles& files);
  ~CVXMkvDmx() override;

  DECLARE_IUNKNOWN
  HRESULT STDMETHODCALLTYPE NonDelegatingQueryInterface(REFIID riid, void** ppv) override;

  // The input pin is pin 0, the track pins follow in the order of their creation; null out of range.
  int GetPinCount() override;
  CBasePin* GetPin(int index) override;
  HRESULT STDMETHODCALLTYPE Stop() override;
  HRESULT STDMETHODCALLTYPE Pause() override;
  HRESULT STDMETHODCALLTYPE Run(REFERENCE_TIME start) override;

  // Replaces the output pins by those of the file's usable tracks: S_OK, or the first failure of a builder or of pin
  // creation, with the pins made so far in place. `upstream` is the pin the input is connected to.
  HRESULT BuildOutputPins(CMkvFileRoot& root, IPin* upstream);
  // Disconnects and releases every output pin, removes the fonts, zeroes the seeking members but for the rate.
  void RemoveOutputPins();

  // Times in 100 ns, or in frames while TIME_FORMAT_FRAME is in use.
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

  PlaybackRange Range() const override;
  void AdvancePosition(std::int64_t stop) override;
  void NotifyGraph(long event, LONG_PTR first, LONG_PTR second) override;

 private:
  enum PinKind : std::uint32_t { kVideoPin = 1, kAudioPin = 2, kSubtitlePin = 4 };
  struct BuildContext;

  // Runs one pass of the dispatch over the tracks for which `takes` says so.
  template <typename Takes>
  HRESULT BuildPins(BuildContext& context, PinKind kind, Takes takes);
  HRESULT BuildMediaType(BuildContext& context, PinKind kind, MkvTrackEntry& track, TrackMediaType& type);
  HRESULT CreateOutputPin(BuildContext& context, PinKind kind, const MkvTrackEntry& track, const TrackMediaType& type);
  WideString NextPinName(PinKind kind, const WideString& codecLabel);
  void RecordFrameDuration(const CMediaType& type);

  std::int64_t ToFrames(std::int64_t time) const;
  std::int64_t ToFramesCeiling(std::int64_t time) const;
  std::int64_t FromCallersFormat(std::int64_t value) const;
  HRESULT NewPositions(const LONGLONG* current, DWORD currentFlags, const LONGLONG* stop, DWORD stopFlags,
                       std::int64_t& newCurrent, std::int64_t& newStop) const;
  void Reposition(std::int64_t current, std::int64_t stop);

  CFontInstaller fontInstaller_;
  CCritSec seekLock_;
  mutable CCritSec positionLock_;
  CCritSec filterLock_;
  std::map<std::string, std::uint32_t> pinNumbers_;  // the last number given, by type word
  std::uint32_t pinKinds_ = 0;                       // the kinds that have a pin
  CVXMkvDmxInputPin* inputPin_ = nullptr;
  std::vector<CVXMkvDmxOutputPin*> outputPins_;

  // Times in 100 ns. Written under the position lock; atomic so that the workers read them without it.
  std::atomic<std::int64_t> duration_{0};
  std::atomic<std::int64_t> currentPosition_{0};
  std::atomic<std::int64_t> segmentStart_{0};
  std::atomic<std::int64_t> stopPosition_{0};
  std::atomic<double> rate_{1.0};
  std::atomic<bool> frameFormatAvailable_{false};
  std::atomic<std::int64_t> frameDuration_{0};
  std::atomic<bool> frameFormatInUse_{false};
};

}  // namespace vantor
