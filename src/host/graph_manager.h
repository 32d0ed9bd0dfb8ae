// GraphManager: what filters see of the graph they have joined: an IFilterGraph that lists its filters by name, and an
// IMediaEventSink that records what they announce.
//
// Events may come from any thread; adding and removing filters is the graph owner's thread's. The object holds a
// reference to each of its filters until it is removed; filters hold none to it.
#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <map>
#include <tuple>
#include <utility>
#include <vector>

#include "platform/com.h"
#include "platform/com_ptr.h"
#include "platform/lock.h"

namespace vantor {

struct GraphEvent {
  LONG code = 0;
  LONG_PTR param1 = 0;
  LONG_PTR param2 = 0;

  friend bool operator==(const GraphEvent&, const GraphEvent&) = default;
  friend bool operator<(const GraphEvent& one, const GraphEvent& other) {
    return std::tie(one.code, one.param1, one.param2) < std::tie(other.code, other.param1, other.param2);
  }
};

// Equal events are kept as one: a file can be made to have any number of them.
struct CountedEvent {
  GraphEvent event;
  std::uint64_t count = 0;
};

class GraphManager final : public IFilterGraph, public IMediaEventSink {
 public:
  // One reference, the caller's.
  static ComPtr<GraphManager> Create();

  STDMETHODIMP QueryInterface(REFIID riid, void** object) override;
  STDMETHODIMP_(ULONG) AddRef() override;
  STDMETHODIMP_(ULONG) Release() override;

  // IFilterGraph. Connect by ConnectDirect; a null type leaves the choice to the pins.
  STDMETHODIMP AddFilter(IBaseFilter* filter, LPCWSTR name) override;
  STDMETHODIMP RemoveFilter(IBaseFilter* filter) override;
  STDMETHODIMP EnumFilters(IEnumFilters** enumerator) override;
  STDMETHODIMP FindFilterByName(LPCWSTR name, IBaseFilter** filter) override;
  STDMETHODIMP ConnectDirect(IPin* output, IPin* input, const AM_MEDIA_TYPE* type) override;
  STDMETHODIMP Reconnect(IPin* pin) override;
  STDMETHODIMP Disconnect(IPin* pin) override;
  STDMETHODIMP SetDefaultSyncSource() override;

  // IMediaEventSink
  STDMETHODIMP Notify(LONG code, LONG_PTR param1, LONG_PTR param2) override VANTOR_EXCLUDES(eventLock_);

  // By code and parameters: they come from several threads, in no order of their own.
  std::vector<CountedEvent> Events() const VANTOR_EXCLUDES(eventLock_);
  // Called with every event after it is recorded, on the thread that announces it. Set before filters are added.
  void OnEvent(std::function<void(const GraphEvent&)> report) { report_ = std::move(report); }

 private:
  struct Member {
    ComPtr<IBaseFilter> filter;
    WideString name;
  };

  GraphManager() = default;
  ~GraphManager() = default;

  std::vector<Member>::iterator Find(IBaseFilter* filter);

  std::atomic<ULONG> references_{1};
  std::vector<Member> members_;
  mutable Lock eventLock_{LockRank::Host};
  std::map<GraphEvent, std::uint64_t> events_ VANTOR_GUARDED_BY(eventLock_);
  std::function<void(const GraphEvent&)> report_;
};

}  // namespace vantor
