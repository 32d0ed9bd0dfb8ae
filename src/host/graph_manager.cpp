#include "host/graph_manager.h"

#include <algorithm>
#include <string>
#include <utility>

#include "platform/result.h"

namespace vantor {
namespace {

// A snapshot of the filters at the time of asking.
class FilterEnumerator final : public IEnumFilters {
 public:
  explicit FilterEnumerator(std::vector<ComPtr<IBaseFilter>> filters, std::size_t next = 0)
      : filters_(std::move(filters)), next_(next) {}

  STDMETHODIMP QueryInterface(REFIID riid, void** object) override {
    if (object == nullptr) {
      return E_POINTER;
    }
    if (!IsEqualGUID(riid, IID_IUnknown) && !IsEqualGUID(riid, IID_IEnumFilters)) {
      *object = nullptr;
      return E_NOINTERFACE;
    }
    AddRef();
    *object = static_cast<IEnumFilters*>(this);
    return S_OK;
  }
  STDMETHODIMP_(ULONG) AddRef() override { return ++references_; }
  STDMETHODIMP_(ULONG) Release() override {
    const ULONG left = --references_;
    if (left == 0) {
      delete this;
    }
    return left;
  }

  STDMETHODIMP Next(ULONG count, IBaseFilter** filters, ULONG* fetched) override {
    if (filters == nullptr) {
      return E_POINTER;
    }
    if (fetched == nullptr && count > 1) {
      return E_INVALIDARG;
    }
    ULONG done = 0;
    for (; done < count && next_ < filters_.size(); ++done, ++next_) {
      filters[done] = ComPtr<IBaseFilter>(filters_[next_]).Detach();
    }
    if (fetched != nullptr) {
      *fetched = done;
    }
    return done == count ? S_OK : S_FALSE;
  }
  STDMETHODIMP Skip(ULONG count) override {
    const std::size_t left = filters_.size() - next_;
    next_ += std::min<std::size_t>(count, left);
    return count <= left ? S_OK : S_FALSE;
  }
  STDMETHODIMP Reset() override {
    next_ = 0;
    return S_OK;
  }
  STDMETHODIMP Clone(IEnumFilters** copy) override {
    if (copy == nullptr) {
      return E_POINTER;
    }
    *copy = nullptr;
    return Guarded([&] {
      *copy = new FilterEnumerator(filters_, next_);
      return S_OK;
    });
  }

 private:
  ~FilterEnumerator() = default;

  std::atomic<ULONG> references_{1};
  const std::vector<ComPtr<IBaseFilter>> filters_;
  std::size_t next_;
};

}  // namespace

ComPtr<GraphManager> GraphManager::Create() { return ComPtr<GraphManager>::Adopt(new GraphManager); }

STDMETHODIMP GraphManager::QueryInterface(REFIID riid, void** object) {
  if (object == nullptr) {
    return E_POINTER;
  }
  if (IsEqualGUID(riid, IID_IUnknown) || IsEqualGUID(riid, IID_IFilterGraph)) {
    *object = static_cast<IFilterGraph*>(this);
  } else if (IsEqualGUID(riid, IID_IMediaEventSink)) {
    *object = static_cast<IMediaEventSink*>(this);
  } else {
    *object = nullptr;
    return E_NOINTERFACE;
  }
  AddRef();
  return S_OK;
}

STDMETHODIMP_(ULONG) GraphManager::AddRef() { return ++references_; }

STDMETHODIMP_(ULONG) GraphManager::Release() {
  const ULONG left = --references_;
  if (left == 0) {
    delete this;
  }
  return left;
}

std::vector<GraphManager::Member>::iterator GraphManager::Find(IBaseFilter* filter) {
  return std::find_if(members_.begin(), members_.end(),
                      [&](const Member& member) { return member.filter.Get() == filter; });
}

STDMETHODIMP GraphManager::AddFilter(IBaseFilter* filter, LPCWSTR name) {
  if (filter == nullptr) {
    return E_POINTER;
  }
  return Guarded([&]() -> HRESULT {
    if (Find(filter) != members_.end()) {
      return VFW_E_ALREADY_CONNECTED;
    }
    members_.push_back({ComPtr<IBaseFilter>(filter), name != nullptr ? WideString(name) : WideString()});
    const HRESULT hr = filter->JoinFilterGraph(this, members_.back().name.c_str());
    if (FAILED(hr)) {
      members_.pop_back();
    }
    return hr;
  });
}

STDMETHODIMP GraphManager::RemoveFilter(IBaseFilter* filter) {
  const auto found = Find(filter);
  if (found == members_.end()) {
    return VFW_E_NOT_FOUND;
  }
  const HRESULT hr = filter->JoinFilterGraph(nullptr, nullptr);
  members_.erase(found);
  return hr;
}

STDMETHODIMP GraphManager::EnumFilters(IEnumFilters** enumerator) {
  if (enumerator == nullptr) {
    return E_POINTER;
  }
  *enumerator = nullptr;
  return Guarded([&] {
    std::vector<ComPtr<IBaseFilter>> filters;
    for (const Member& member : members_) {
      filters.push_back(member.filter);
    }
    *enumerator = new FilterEnumerator(std::move(filters));
    return S_OK;
  });
}

STDMETHODIMP GraphManager::FindFilterByName(LPCWSTR name, IBaseFilter** filter) {
  if (name == nullptr || filter == nullptr) {
    return E_POINTER;
  }
  const auto found =
      std::find_if(members_.begin(), members_.end(), [&](const Member& member) { return member.name == name; });
  if (found == members_.end()) {
    *filter = nullptr;
    return VFW_E_NOT_FOUND;
  }
  *filter = ComPtr<IBaseFilter>(found->filter).Detach();
  return S_OK;
}

STDMETHODIMP GraphManager::ConnectDirect(IPin* output, IPin* input, const AM_MEDIA_TYPE* type) {
  return output != nullptr && input != nullptr ? output->Connect(input, type) : E_POINTER;
}

STDMETHODIMP GraphManager::Reconnect(IPin* pin) {
  if (pin == nullptr) {
    return E_POINTER;
  }
  ComPtr<IPin> peer;
  HRESULT hr = pin->ConnectedTo(peer.Out());
  if (FAILED(hr)) {
    return hr;
  }
  PIN_DIRECTION direction = PINDIR_INPUT;
  hr = pin->QueryDirection(&direction);
  if (FAILED(hr)) {
    return hr;
  }
  IPin* const output = direction == PINDIR_OUTPUT ? pin : peer.Get();
  IPin* const input = direction == PINDIR_OUTPUT ? peer.Get() : pin;
  input->Disconnect();
  output->Disconnect();
  return output->Connect(input, nullptr);  // by any type: who asks for this has another one to offer
}

STDMETHODIMP GraphManager::Disconnect(IPin* pin) { return pin != nullptr ? pin->Disconnect() : E_POINTER; }

// The graph runs unpaced.
STDMETHODIMP GraphManager::SetDefaultSyncSource() { return S_OK; }

STDMETHODIMP GraphManager::Notify(LONG code, LONG_PTR param1, LONG_PTR param2) {
  return Guarded([&] {
    const GraphEvent event = {code, param1, param2};
    {
      const LockScope hold(eventLock_);
      ++events_[event];
    }
    if (report_) {
      report_(event);
    }
    return S_OK;
  });
}

std::vector<CountedEvent> GraphManager::Events() const {
  const LockScope hold(eventLock_);
  std::vector<CountedEvent> events;
  for (const auto& [event, count] : events_) {
    events.push_back({event, count});
  }
  return events;
}

}  // namespace vantor
