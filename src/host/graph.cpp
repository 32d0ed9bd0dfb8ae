#include "host/graph.h"

#include <memory>
#include <string>
#include <utility>

namespace vantor {
namespace {

// Calls visit with every pin of the filter until it answers false. An enumerator that fails is no end of the list.
template <typename Visit>
HRESULT VisitPins(IBaseFilter* filter, Visit&& visit) {
  ComPtr<IEnumPins> pins;
  const HRESULT hr = filter->EnumPins(pins.Out());
  if (FAILED(hr)) {
    return hr;
  }
  for (;;) {
    ComPtr<IPin> pin;
    const HRESULT next = pins->Next(1, pin.Out(), nullptr);
    if (next != S_OK) {
      return FAILED(next) ? next : S_OK;
    }
    if (!visit(pin)) {
      return S_OK;
    }
  }
}

bool HasDirection(IPin* pin, PIN_DIRECTION wanted) {
  PIN_DIRECTION direction = PINDIR_INPUT;
  return SUCCEEDED(pin->QueryDirection(&direction)) && direction == wanted;
}

HRESULT ReadName(IPin* pin, WideString& name) {
  PIN_INFO info = {};
  const HRESULT hr = pin->QueryPinInfo(&info);
  if (SUCCEEDED(hr)) {
    const auto filter = ComPtr<IBaseFilter>::Adopt(info.pFilter);
    name = WideString(info.achName);
  }
  return hr;
}

struct MediaTypeDeleter {
  void operator()(AM_MEDIA_TYPE* type) const noexcept { DeleteMediaType(type); }
};

HRESULT ReadTypes(IPin* pin, std::vector<CMediaType>& types) {
  ComPtr<IEnumMediaTypes> enumerator;
  const HRESULT hr = pin->EnumMediaTypes(enumerator.Out());
  if (FAILED(hr)) {
    return hr;
  }
  for (;;) {
    AM_MEDIA_TYPE* type = nullptr;
    const HRESULT next = enumerator->Next(1, &type, nullptr);
    if (next != S_OK) {
      return FAILED(next) ? next : S_OK;
    }
    const std::unique_ptr<AM_MEDIA_TYPE, MediaTypeDeleter> owned(type);
    HRESULT copied = S_OK;
    types.emplace_back(*owned, &copied);
    if (FAILED(copied)) {
      return copied;
    }
  }
}

void DisconnectBothEnds(IPin* pin) {
  ComPtr<IPin> peer;
  if (SUCCEEDED(pin->ConnectedTo(peer.Out()))) {
    peer->Disconnect();
    pin->Disconnect();
  }
}

}  // namespace

Graph::Graph() : manager_(GraphManager::Create()) {
  manager_->OnEvent([this](const GraphEvent& event) {
    if (event.code == EC_ERRORABORT) {
      ends_.Fail();
    }
  });
}

Graph::~Graph() { Close(); }

HRESULT Graph::Create(const Component& component, const GUID& classId) {
  ComPtr<IBaseFilter> splitter;
  const HRESULT hr = component.CreateFilter(classId, splitter.Out());
  return FAILED(hr) ? hr : Adopt(splitter.Get());
}

HRESULT Graph::Adopt(IBaseFilter* splitter) {
  const HRESULT hr = manager_->AddFilter(splitter, kFilterName);
  if (SUCCEEDED(hr)) {
    splitter_ = ComPtr<IBaseFilter>(splitter);
  }
  return hr;
}

HRESULT Graph::ConnectInput(std::shared_ptr<ByteStore> bytes, WideString name) {
  source_ = ComPtr<FileSourceFilter>::Adopt(FileSourceFilter::Create());
  if (!source_) {
    return E_OUTOFMEMORY;
  }
  source_->SetBytes(std::move(bytes), std::move(name));
  HRESULT hr = manager_->AddFilter(source_.Get(), OLESTR("Source"));
  if (FAILED(hr)) {
    return hr;
  }
  hr = VisitPins(splitter_.Get(), [&](const ComPtr<IPin>& pin) {
    if (!HasDirection(pin.Get(), PINDIR_INPUT)) {
      return true;
    }
    input_ = pin;
    return false;
  });
  if (!input_) {
    return FAILED(hr) ? hr : VFW_E_NOT_FOUND;
  }
  // Named in full, the type is tried alone and the input pin's own result comes back unchanged.
  hr = source_->OutputPin()->Connect(input_.Get(), &source_->StreamType());
  return FAILED(hr) ? hr : ListPins();
}

HRESULT Graph::ListPins() {
  int number = 0;
  HRESULT read = S_OK;
  const HRESULT visited = VisitPins(splitter_.Get(), [&](const ComPtr<IPin>& pin) {
    if (HasDirection(pin.Get(), PINDIR_OUTPUT)) {
      GraphPin& added = pins_.emplace_back();
      added.number = ++number;
      added.pin = pin;
      read = ReadName(pin.Get(), added.name);
      if (SUCCEEDED(read)) {
        read = ReadTypes(pin.Get(), added.types);
      }
    }
    return SUCCEEDED(read);
  });
  return FAILED(visited) ? visited : read;
}

HRESULT Graph::ConnectSink(GraphPin& pin, std::shared_ptr<SampleListener> listener) {
  if (pin.types.empty()) {
    return VFW_E_NO_TYPES;
  }
  auto sink = ComPtr<SinkFilter>::Adopt(SinkFilter::Create(std::move(listener)));
  if (!sink) {
    return E_OUTOFMEMORY;
  }
  const std::string name = "Sink " + std::to_string(pin.number);
  HRESULT hr = manager_->AddFilter(sink.Get(), WideString(name.begin(), name.end()).c_str());
  if (FAILED(hr)) {
    return hr;
  }
  sink->InputPin()->OnEnded(
      [this, index = static_cast<std::size_t>(pin.number - 1)](bool ended) { ends_.Report(index, ended); });
  hr = pin.pin->Connect(sink->InputPin(), &pin.types.front());
  if (FAILED(hr)) {
    manager_->RemoveFilter(sink.Get());
    return hr;
  }
  pin.allocator = sink->InputPin()->AllocatorProperties();
  pin.sink = std::move(sink);
  return S_OK;
}

template <typename Call>
HRESULT Graph::OnFilters(Call&& call) {
  HRESULT firstFailure = S_OK;
  const auto apply = [&](IBaseFilter* filter) {
    const HRESULT hr = filter != nullptr ? call(filter) : S_OK;
    if (FAILED(hr) && SUCCEEDED(firstFailure)) {
      firstFailure = hr;
    }
  };
  for (GraphPin& pin : pins_) {
    apply(pin.sink.Get());
  }
  apply(splitter_.Get());
  apply(source_.Get());
  return firstFailure;
}

HRESULT Graph::Pause() {
  if (stopped_) {
    ends_.Begin(pins_.size());
    for (const GraphPin& pin : pins_) {
      if (!pin.sink) {
        ends_.Report(static_cast<std::size_t>(pin.number - 1), true);
      }
    }
    stopped_ = false;
  }
  const HRESULT hr = OnFilters([](IBaseFilter* filter) { return filter->Pause(); });
  if (FAILED(hr)) {
    Stop();
    return hr;
  }
  return S_OK;
}

HRESULT Graph::Run() {
  HRESULT hr = Pause();
  if (FAILED(hr)) {
    return hr;
  }
  hr = OnFilters([](IBaseFilter* filter) { return filter->Run(0); });
  if (FAILED(hr)) {
    Stop();
    return hr;
  }
  return S_OK;
}

HRESULT Graph::Stop() {
  stopped_ = true;
  return OnFilters([](IBaseFilter* filter) { return filter->Stop(); });
}

// Connections go before filters, from downstream up: a filter that is taken out of the graph still connected would
// leave its neighbour with a pin that belongs to nobody. The splitter's input goes last, since its output pins go with
// it.
void Graph::Close() noexcept {
  if (!stopped_) {
    Stop();
  }
  for (GraphPin& pin : pins_) {
    if (pin.sink) {
      DisconnectBothEnds(pin.pin.Get());
    }
  }
  if (input_) {
    DisconnectBothEnds(input_.Get());
  }
  for (GraphPin& pin : pins_) {
    if (pin.sink) {
      manager_->RemoveFilter(pin.sink.Get());
    }
  }
  pins_.clear();
  input_.Reset();
  if (splitter_) {
    manager_->RemoveFilter(splitter_.Get());
    splitter_.Reset();
  }
  if (source_) {
    manager_->RemoveFilter(source_.Get());
    source_.Reset();
  }
}

ComPtr<IMediaSeeking> Graph::Seeking() const {
  ComPtr<IMediaSeeking> seeking;
  if (!pins_.empty()) {
    pins_.front().pin->QueryInterface(IID_IMediaSeeking, seeking.Void());
  } else if (splitter_) {
    splitter_->QueryInterface(IID_IMediaSeeking, seeking.Void());
  }
  return seeking;
}

int Graph::PinCount() const {
  int count = 0;
  if (splitter_) {
    VisitPins(splitter_.Get(), [&](const ComPtr<IPin>&) {
      ++count;
      return true;
    });
  }
  return count;
}

}  // namespace vantor
