// A TrackWorker on a plain output pin, for what the component's own pin never does.
#pragma once

#include <atomic>
#include <functional>
#include <list>
#include <memory>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

#include "baseclasses/output_pin.h"
#include "streaming/opened_file.h"
#include "streaming/track_worker.h"
#include "support/demux_harness.h"

namespace vantor::test {

class PlainFilter final : public CBaseFilter {
 public:
  PlainFilter() : CBaseFilter(OLESTR("plain filter"), nullptr, &lock_, GUID_NULL) {}
  int GetPinCount() override { return 0; }
  CBasePin* GetPin(int) override { return nullptr; }
  CCritSec* Lock() { return &lock_; }

 private:
  CCritSec lock_;
};

class PlainPin final : public CBaseOutputPin {
 public:
  PlainPin(PlainFilter* filter, HRESULT* result)
      : CBaseOutputPin(OLESTR("plain pin"), filter, filter->Lock(), result, OLESTR("Output")) {}

  HRESULT CheckMediaType(const CMediaType*) override { return S_OK; }
  HRESULT DecideBufferSize(IMemAllocator* allocator, ALLOCATOR_PROPERTIES* request) override {
    request->cBuffers = 2;
    request->cbBuffer = 4096;
    request->cbAlign = 1;
    ALLOCATOR_PROPERTIES actual = {};
    return allocator->SetProperties(request, &actual);
  }
  IMemAllocator* Allocator() { return m_pAllocator; }
};

class RecordingPlayback : public Playback {
 public:
  virtual ~RecordingPlayback() = default;
  PlaybackRange Range() const override { return range; }
  void AdvancePosition(std::int64_t stop) override { positions.push_back(stop); }
  void NotifyGraph(long event, LONG_PTR first, LONG_PTR second) override {
    if (onEvent) onEvent();
    const std::lock_guard<std::mutex> hold(lock_);
    events_.push_back({static_cast<LONG>(event), first, second});
  }
  std::vector<GraphEvent> Events() const {
    const std::lock_guard<std::mutex> hold(lock_);
    return events_;
  }

  PlaybackRange range{0, 1000000000, 1.0};
  std::vector<std::int64_t> positions;  // read it when the worker has ended
  std::function<void()> onEvent;

 private:
  mutable std::mutex lock_;
  std::vector<GraphEvent> events_;
};

// Hooks are set before the thread starts; an absent one leaves the worker its own way.
class HookedWorker final : public TrackWorker {
 public:
  HookedWorker(PlainPin& pin, Playback& playback, OpenedFile& file, const CMediaType& type, bool convert)
      : TrackWorker(pin, playback, file.root, file.first, file.TrackAt(0), type, convert, patience_), pin_(pin) {}
  ~HookedWorker() override { StopWorker(); }

  std::function<HRESULT()> onDeliver;
  std::function<HRESULT()> onCreate;
  std::function<HRESULT()> onDestroy;
  std::atomic<int> holds{0};  // by the worker, on what it stands on

  // Whether a command waits for its answer. Any thread.
  bool IsAsked() const { return CheckRequest(nullptr) != FALSE; }
  HRESULT Command(DWORD command) { return static_cast<HRESULT>(CallWorker(command)); }

 protected:
  IMemAllocator* DeliveryAllocator() override { return pin_.Allocator(); }
  HRESULT DeliverNextBlock() override { return onDeliver ? onDeliver() : TrackWorker::DeliverNextBlock(); }
  HRESULT OnThreadCreate() override { return onCreate ? onCreate() : TrackWorker::OnThreadCreate(); }
  HRESULT OnThreadDestroy() override { return onDestroy ? onDestroy() : TrackWorker::OnThreadDestroy(); }
  void HoldForWorker() override { ++holds; }
  void ReleaseForWorker() override { --holds; }

 private:
  static inline const Patience patience_;
  PlainPin& pin_;
};

// A worker over the file's first track, its pin connected to a sink.
class WorkerHarness {
 public:
  explicit WorkerHarness(const Raw& bytes, bool convert = false, bool connected = true)
      : file(bytes), filter(new PlainFilter), sink(FakeSink::Create()) {
    HRESULT result = S_OK;
    pin = new PlainPin(filter.Get(), &result);
    pin->HoldByFilter();
    type.SetType(&MEDIATYPE_Audio);
    type.SetFormatType(&FORMAT_None);
    worker = std::make_unique<HookedWorker>(*pin, playback, file, type, convert);
    if (!connected) return;
    EXPECT_EQ(pin->Connect(sink->Pin(), &type), S_OK);
    EXPECT_EQ(sink->Pause(), S_OK);
    EXPECT_EQ(pin->Active(), S_OK);
  }
  ~WorkerHarness() {
    pin->Inactive();
    worker.reset();
    sink->Stop();
    sink->Pin()->Disconnect();
    pin->Disconnect();
    pin->ReleaseByFilter();
  }
  WorkerHarness(const WorkerHarness&) = delete;
  WorkerHarness& operator=(const WorkerHarness&) = delete;

  OpenedFile file;
  ComPtr<PlainFilter> filter;
  PlainPin* pin = nullptr;
  ComPtr<FakeSink> sink;
  CMediaType type;
  RecordingPlayback playback;
  std::unique_ptr<HookedWorker> worker;
};

}  // namespace vantor::test
