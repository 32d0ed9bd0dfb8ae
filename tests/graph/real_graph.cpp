#include "graph/real_graph.h"

#include <algorithm>
#include <chrono>

#include "baseclasses/media_type.h"
#include "host/file_source_filter.h"
#include "realfiles/packet_list.h"
#include "realfiles/recorded_run.h"

namespace vantor::test {

namespace {

// A graph that does not get anywhere fails its test instead of holding everything up.
constexpr std::chrono::seconds kPatience{30};

// COM for the whole program.
class ComRuntime final : public testing::Environment {
 public:
  void SetUp() override { ASSERT_GE(CoInitializeEx(nullptr, COINIT_MULTITHREADED), S_OK); }
  void TearDown() override { CoUninitialize(); }
};
[[maybe_unused]] const testing::Environment* const kComRuntime =
    testing::AddGlobalTestEnvironment(new ComRuntime);  // NOLINT(cppcoreguidelines-owning-memory): taken over

template <typename Interface>
ComPtr<Interface> Ask(IUnknown* object, const IID& id) {
  ComPtr<Interface> found;
  EXPECT_EQ(object->QueryInterface(id, found.Void()), S_OK);
  return found;
}

}  // namespace

MediaCopy::MediaCopy(const std::string& mediaName, const std::string& name)
    : path_(folder_ / (name.empty() ? mediaName : name)) {
  std::filesystem::copy_file(MediaPath(mediaName), path_);
}

MediaCopy::MediaCopy(const Raw& bytes, const std::string& name)
    : path_(folder_.Write(name, {reinterpret_cast<const char*>(bytes.data()), bytes.size()})) {}

MediaCopy::~MediaCopy() { EXPECT_TRUE(DeleteFileW(path_.c_str())) << "somebody still has " << path_ << " open"; }

RealGraph::RealGraph() : RealGraph(TestedComponent(), kClsidMkvDmx) {}

RealGraph::RealGraph(const Component& component, const CLSID& classId) {
  EXPECT_EQ(CoCreateInstance(CLSID_FilterGraph, nullptr, CLSCTX_INPROC_SERVER, IID_IGraphBuilder, graph_.Void()), S_OK);
  EXPECT_EQ(component.CreateFilter(classId, demultiplexer_.Out()), S_OK);
  EXPECT_EQ(graph_->AddFilter(demultiplexer_.Get(), kFilterName), S_OK);
}

HRESULT RealGraph::Open(const WCHAR* path) {
  const HRESULT hr = AddReader(path);
  return FAILED(hr) ? hr : ConnectInput();
}

HRESULT RealGraph::AddReader(const WCHAR* path) {
  HRESULT hr = CoCreateInstance(CLSID_AsyncReader, nullptr, CLSCTX_INPROC_SERVER, IID_IBaseFilter, reader_.Void());
  if (FAILED(hr)) {
    return hr;
  }
  ComPtr<IFileSourceFilter> file;
  hr = reader_->QueryInterface(IID_IFileSourceFilter, file.Void());
  if (SUCCEEDED(hr)) {
    // What the reader takes from the registry once the component is registered.
    CMediaType type;
    type.SetType(&MEDIATYPE_Stream);
    type.SetSubtype(&kSubtypePrivateMatroska);
    hr = file->Load(path, &type);
  }
  return FAILED(hr) ? hr : graph_->AddFilter(reader_.Get(), L"Reader");
}

HRESULT RealGraph::ConnectInput() {
  return graph_->ConnectDirect(FirstPin(reader_.Get()).Get(), Pin(0).Get(), nullptr);
}

ComPtr<Renderer> RealGraph::AddRenderer(int pin, std::shared_ptr<SampleListener> listener) {
  ComPtr<Renderer> renderer = AddLooseRenderer(std::move(listener));
  EXPECT_EQ(graph_->ConnectDirect(Pin(pin).Get(), renderer->Pin(), nullptr), S_OK);
  return renderer;
}

ComPtr<Renderer> RealGraph::AddLooseRenderer(std::shared_ptr<SampleListener> listener) {
  renderers_.push_back(Renderer::Create(std::move(listener)));
  const WideString name = L"Renderer " + std::to_wstring(renderers_.size());
  EXPECT_EQ(graph_->AddFilter(renderers_.back().Get(), name.c_str()), S_OK);
  return renderers_.back();
}

void RealGraph::AddRenderers() {
  const int count = PinCount();
  for (int pin = 1; pin < count; ++pin) {
    AddRenderer(pin);
  }
}

void RealGraph::Run() { EXPECT_GE(Control()->Run(), S_OK); }

void RealGraph::Pause() { EXPECT_GE(Control()->Pause(), S_OK); }

void RealGraph::Stop() { EXPECT_EQ(Control()->Stop(), S_OK); }

LONG_PTR RealGraph::WaitForEvent(long code, std::vector<long>* before) {
  const ComPtr<IMediaEventEx> events = EventSource();
  const auto deadline = std::chrono::steady_clock::now() + kPatience;
  for (;;) {
    long seen = 0;
    LONG_PTR first = 0;
    LONG_PTR second = 0;
    if (events->GetEvent(&seen, &first, &second, 100) != S_OK) {
      // The graph may give up waiting early.
      if (std::chrono::steady_clock::now() < deadline) {
        continue;
      }
      ADD_FAILURE() << "event " << code << " does not come";
      return 0;
    }
    events->FreeEventParams(seen, first, second);
    if (seen == code) {
      return first;
    }
    if (before != nullptr) {
      before->push_back(seen);
    }
  }
}

std::vector<long> RealGraph::Events() {
  std::vector<long> codes;
  const ComPtr<IMediaEventEx> events = EventSource();
  long seen = 0;
  LONG_PTR first = 0;
  LONG_PTR second = 0;
  while (events->GetEvent(&seen, &first, &second, 0) == S_OK) {
    codes.push_back(seen);
    events->FreeEventParams(seen, first, second);
  }
  return codes;
}

void RealGraph::PlayToEnd() {
  Run();
  EXPECT_EQ(WaitForEvent(EC_COMPLETE), S_OK);
  Stop();
}

void RealGraph::Close() {
  if (!graph_) {
    return;
  }
  Control()->Stop();
  Forget();
  EXPECT_EQ(graph_.Detach()->Release(), 0U) << "somebody holds the graph";
}

void RealGraph::Forget() {
  demultiplexer_.Reset();
  reader_.Reset();
  renderers_.clear();
}

ComPtr<IPin> RealGraph::Pin(int number) const {
  const std::vector<ComPtr<IPin>> pins = PinsOf(demultiplexer_.Get());
  const auto index = static_cast<std::size_t>(number);
  return index < pins.size() ? pins[index] : nullptr;
}

int RealGraph::PinCount() const { return static_cast<int>(PinsOf(demultiplexer_.Get()).size()); }

ComPtr<IMediaControl> RealGraph::Control() const { return Ask<IMediaControl>(graph_.Get(), IID_IMediaControl); }

ComPtr<IMediaEventEx> RealGraph::EventSource() const { return Ask<IMediaEventEx>(graph_.Get(), IID_IMediaEventEx); }

ComPtr<IMediaSeeking> RealGraph::Seeking() const { return Ask<IMediaSeeking>(graph_.Get(), IID_IMediaSeeking); }

ULONG References(IUnknown* object) {
  object->AddRef();
  return object->Release();
}

ComPtr<IPin> FirstPin(IBaseFilter* filter) {
  const std::vector<ComPtr<IPin>> pins = PinsOf(filter);
  return pins.empty() ? nullptr : pins.front();
}

std::vector<ComPtr<IPin>> PinsOf(IBaseFilter* filter) {
  std::vector<ComPtr<IPin>> pins;
  ComPtr<IEnumPins> enumerator;
  EXPECT_EQ(filter->EnumPins(enumerator.Out()), S_OK);
  for (ComPtr<IPin> pin; enumerator->Next(1, pin.Out(), nullptr) == S_OK;) {
    pins.push_back(pin);
  }
  return pins;
}

std::string NameOf(IPin* pin) {
  PIN_INFO info = {};
  EXPECT_EQ(pin->QueryPinInfo(&info), S_OK);
  const auto filter = ComPtr<IBaseFilter>::Adopt(info.pFilter);
  return WideToUtf8(info.achName);
}

ComPtr<IPin> PeerOf(IPin* pin) {
  ComPtr<IPin> peer;
  pin->ConnectedTo(peer.Out());
  return peer;
}

void RealGraphTest::TearDown() {
  EXPECT_EQ(CBaseObject::ObjectsActive(), 0) << "one of the test's own filters is left";
  EXPECT_TRUE(TestedComponent().CanUnloadNow()) << "an object of the component is left";
}

}  // namespace vantor::test
