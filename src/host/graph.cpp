#include "host/graph.h"

#include <string>
#include <utility>

namespace vantor {
namespace {

// Calls visit with every pin of the filter until it answers false.
template <typename Visit>
HRESULT VisitPins(IBaseFilter* filter, Visit&& visit) {
  ComPtr<IEnumPins> pins;
  const HRESULT hr = filter->EnumPins(pins.Out());
  if (FAILED(hr)) {
    return hr;
  }
  ComPtr<IPin> pin;
  while (pins->Next(1, pin.Out(), nullptr) == S_OK) {
    if (!visit(pin)) {
      break;
    }
  }
  return S_OK;
}

bool HasDirection(IPin* pin, PIN_DIRECTION wanted) {
  PIN_DIRECTION direction = PINDIR_INPUT;
  return SUCCEEDED(pin->QueryDirection(&direction)) && direction == wanted;
}

WideString NameOf(IPin* pin) {
  PIN_INFO info = {};
  if (FAILED(pin->QueryPinInfo(&info))) {
    return {};
  }
  const auto filter = ComPtr<IBaseFilter>::Adopt(info.pFilter);
  return WideString(info.achName);
}

std::vector<CMediaType> TypesOf(IPin* pin) {
  std::vector<CMediaType> types;
  ComPtr<IEnumMediaTypes> enumerator;
  if (FAILED(pin->EnumMediaTypes(enumerator.Out()))) {
    return types;
  }
  AM_MEDIA_TYPE* type = nullptr;
  while (enumerator->Next(1, &type, nullptr) == S_OK) {
    types.emplace_back(*type);
    DeleteMediaType(type);
  }
  return types;
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
  VisitPins(splitter_.Get(), [&](const ComPtr<IPin>& pin) {
    if (!HasDirection(pin.Get(), PINDIR_INPUT)) {
      return true;
    }
    input_ = pin;
    return false;
  });
  if (!input_) {
    return VFW_E_NOT_FOUND;
  }
  // Named in full, the type is tried alone and the input pin's own result comes back unchanged.
  hr = source_->OutputPin()->Connect(input_.Get(), &source_->StreamType());
  return FAILED(hr) ? hr : ListPins();
}

HRESULT Graph::ListPins() {
  int number = 0;
  return VisitPins(splitter_.Get(), [&](const ComPtr<IPin>& pin) {
    if (HasDirection(pin.Get(), PINDIR_OUTPUT)) {
      GraphPin& added = pins_.emplace_back();
      added.number = ++number;
      added.name = NameOf(pin.Get());
      added.pin = pin;
      added.types = TypesOf(pin.Get());
    }
    return true;
  });
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
