// The registered component in graphs that the platform builds by itself: it is found by a file's first bytes and
// connected without being named. Renderers that the tests enter into the platform's list of filters take what comes
// out.
#include <memory>
#include <string>
#include <vector>

#include "graph/real_graph.h"
#include "host/file_source_filter.h"
#include "realfiles/recorded_run.h"

namespace vantor::test {
namespace {

// {0D1B5C8E-6B0F-4F3A-9E57-2C4A7F90B1D6}
constexpr CLSID kRendererClass = {0x0D1B5C8E, 0x6B0F, 0x4F3A, {0x9E, 0x57, 0x2C, 0x4A, 0x7F, 0x90, 0xB1, 0xD6}};

// Makes renderers and keeps them, so that a test can look at those that a graph took.
class RendererFactory final : public IClassFactory {
 public:
  virtual ~RendererFactory() = default;

  STDMETHODIMP QueryInterface(REFIID riid, void** object) override {
    if (object == nullptr) return E_POINTER;
    const bool known = IsEqualGUID(riid, IID_IUnknown) || IsEqualGUID(riid, IID_IClassFactory);
    *object = known ? this : nullptr;
    return known ? S_OK : E_NOINTERFACE;
  }
  STDMETHODIMP_(ULONG) AddRef() override { return 2; }
  STDMETHODIMP_(ULONG) Release() override { return 1; }
  STDMETHODIMP CreateInstance(IUnknown* outer, REFIID riid, void** object) override {
    if (outer != nullptr) return CLASS_E_NOAGGREGATION;
    made.push_back(Renderer::Create());
    return static_cast<IBaseFilter*>(made.back().Get())->QueryInterface(riid, object);
  }
  STDMETHODIMP LockServer(BOOL) override { return S_OK; }

  std::vector<ComPtr<Renderer>> made;
};

class RenderingTest : public RealGraphTest {
 protected:
  void SetUp() override {
    TestedComponent();
    ASSERT_EQ(Exported("DllRegisterServer"), S_OK);
    ASSERT_EQ(CoRegisterClassObject(kRendererClass, &factory_, CLSCTX_INPROC_SERVER, REGCLS_MULTIPLEUSE, &cookie_),
              S_OK);
    ASSERT_EQ(CoCreateInstance(CLSID_FilterMapper2, nullptr, CLSCTX_INPROC_SERVER, IID_IFilterMapper2, mapper_.Void()),
              S_OK);
    const REGPINTYPES types[] = {{&MEDIATYPE_Video, &GUID_NULL}, {&MEDIATYPE_Audio, &GUID_NULL}};
    REGFILTERPINS pin = {};
    pin.strName = const_cast<LPWSTR>(L"Input");
    pin.bRendered = TRUE;
    pin.nMediaTypes = 2;
    pin.lpMediaType = types;
    REGFILTER2 filter = {};
    filter.dwVersion = 1;
    // Before the platform's own.
    filter.dwMerit = MERIT_PREFERRED + 0x100000;
    filter.cPins = 1;
    filter.rgPins = &pin;
    ASSERT_EQ(mapper_->RegisterFilter(kRendererClass, L"Test renderer", nullptr, &CLSID_LegacyAmFilterCategory, nullptr,
                                      &filter),
              S_OK);
    ASSERT_EQ(CoCreateInstance(CLSID_FilterGraph, nullptr, CLSCTX_INPROC_SERVER, IID_IGraphBuilder, graph_.Void()),
              S_OK);
  }

  void TearDown() override {
    factory_.made.clear();
    graph_.Reset();
    if (mapper_) mapper_->UnregisterFilter(&CLSID_LegacyAmFilterCategory, nullptr, kRendererClass);
    mapper_.Reset();
    CoRevokeClassObject(cookie_);
    EXPECT_EQ(Exported("DllUnregisterServer"), S_OK);
    RealGraphTest::TearDown();
  }

  // The filters of the class that are in the graph.
  int CountOf(const CLSID& wanted) const {
    ComPtr<IEnumFilters> filters;
    if (graph_->EnumFilters(filters.Out()) != S_OK) return -1;
    int count = 0;
    ComPtr<IBaseFilter> filter;
    while (filters->Next(1, filter.Out(), nullptr) == S_OK) {
      CLSID id = {};
      if (SUCCEEDED(filter->GetClassID(&id)) && IsEqualGUID(id, wanted)) ++count;
    }
    return count;
  }

  // The renderers that something was connected to.
  std::vector<ComPtr<Renderer>> Taken() const {
    std::vector<ComPtr<Renderer>> taken;
    for (const ComPtr<Renderer>& renderer : factory_.made) {
      if (renderer->Pin()->IsConnected()) taken.push_back(renderer);
    }
    return taken;
  }

  // Runs the graph until it is complete, and stops it.
  void PlayToEnd() {
    ComPtr<IMediaControl> control;
    ASSERT_EQ(graph_->QueryInterface(IID_IMediaControl, control.Void()), S_OK);
    ComPtr<IMediaEvent> events;
    ASSERT_EQ(graph_->QueryInterface(IID_IMediaEvent, events.Void()), S_OK);
    ASSERT_GE(control->Run(), S_OK);
    long code = 0;
    EXPECT_EQ(events->WaitForCompletion(30000, &code), S_OK);
    EXPECT_EQ(code, EC_COMPLETE);
    EXPECT_EQ(control->Stop(), S_OK);
  }

  static HRESULT Exported(const char* name, const WCHAR* component = L"vantormkv.ax") {
    const HMODULE module = GetModuleHandleW(component);
    using Function = HRESULT(WINAPI*)();
    // Between function types a conversion goes through one without parameters.
    const auto function = reinterpret_cast<Function>(reinterpret_cast<void (*)()>(GetProcAddress(module, name)));
    return function != nullptr ? function() : E_NOINTERFACE;
  }

  RendererFactory factory_;
  ComPtr<IFilterMapper2> mapper_;
  ComPtr<IGraphBuilder> graph_;
  DWORD cookie_ = 0;
};

struct RenderedFile {
  const char* media;
  const char* name;
  std::size_t renderers;  // pins that are not marked for somebody to connect by hand
};

TEST_F(RenderingTest, FilesAreFoundByTheirFirstBytesWhateverTheyAreCalled) {
  for (const RenderedFile& file :
       {RenderedFile{"pcm.mka", "pcm.mka", 1}, RenderedFile{"avc_aac.mkv", "movie.mkv", 2},
        RenderedFile{"vp9_opus.webm", "movie.webm", 2}, RenderedFile{"avc_aac.mkv", "movie.bin", 2}}) {
    SCOPED_TRACE(file.name);
    TearDown();
    SetUp();
    const MediaCopy media(file.media, file.name);
    ASSERT_GE(graph_->RenderFile(media.Path(), nullptr), S_OK);
    EXPECT_EQ(CountOf(kClsidMkvDmx), 1);
    EXPECT_EQ(Taken().size(), file.renderers);
    PlayToEnd();
    for (const auto& renderer : Taken()) EXPECT_EQ(renderer->Count("end"), 1);
    factory_.made.clear();
    graph_.Reset();
  }
}

TEST_F(RenderingTest, WhereBothAreRegisteredTheCompleteOneIsTaken) {
  constexpr const WCHAR* kComplete = L"vantormkv-complete.ax";
  std::string error;
  const std::unique_ptr<Component> complete = Component::LoadBesideProgram(error, kMkvDmxComplete);
  ASSERT_TRUE(complete) << error;
  ASSERT_EQ(Exported("DllRegisterServer", kComplete), S_OK);
  const MediaCopy media("avc_aac.mkv");
  EXPECT_GE(graph_->RenderFile(media.Path(), nullptr), S_OK);
  EXPECT_EQ(CountOf(kMkvDmxComplete.classId), 1);
  EXPECT_EQ(CountOf(kClsidMkvDmx), 0);
  EXPECT_EQ(Taken().size(), 2u);
  PlayToEnd();
  factory_.made.clear();
  graph_.Reset();
  EXPECT_EQ(Exported("DllUnregisterServer", kComplete), S_OK);
}

TEST_F(RenderingTest, SubtitlesAloneAreConnectedByHand) {
  // Their pins are marked, and so nothing of the file is rendered by itself.
  const MediaCopy media("subtitles.mks");
  ComPtr<IBaseFilter> source;
  ASSERT_EQ(graph_->AddSourceFilter(media.Path(), L"Source", source.Out()), S_OK);
  // Whether that is a success is the graph's own affair.
  graph_->Render(FirstPin(source.Get()).Get());
  EXPECT_EQ(CountOf(kClsidMkvDmx), 1);
  EXPECT_TRUE(Taken().empty());
  source.Reset();
  factory_.made.clear();
  graph_.Reset();
}

TEST_F(RenderingTest, TheSourceKnowsTheSubtypeByTheFirstBytes) {
  for (const char* name : {"subtitles.mks", "anything.bin", "without"}) {
    SCOPED_TRACE(name);
    const MediaCopy media("subtitles.mks", name);
    ComPtr<IBaseFilter> source;
    ASSERT_EQ(graph_->AddSourceFilter(media.Path(), L"Source", source.Out()), S_OK);
    ComPtr<IFileSourceFilter> file;
    ASSERT_EQ(source->QueryInterface(IID_IFileSourceFilter, file.Void()), S_OK);
    LPOLESTR path = nullptr;
    CMediaType type;
    ASSERT_EQ(file->GetCurFile(&path, &type), S_OK);
    CoTaskMemFree(path);
    EXPECT_TRUE(IsEqualGUID(*type.Type(), MEDIATYPE_Stream));
    EXPECT_TRUE(IsEqualGUID(*type.Subtype(), kSubtypePrivateMatroska));
    EXPECT_EQ(graph_->RemoveFilter(source.Get()), S_OK);
  }
}

TEST_F(RenderingTest, PcmAudioAndVideoOfTheOlderKindAreConnectedAndPlayToTheEnd) {
  for (const char* name : {"pcm.mka", "vfw_huffyuv.mkv"}) {
    SCOPED_TRACE(name);
    TearDown();
    SetUp();
    const MediaCopy media(name);
    ASSERT_GE(graph_->RenderFile(media.Path(), nullptr), S_OK);
    const auto taken = Taken();
    ASSERT_FALSE(taken.empty());
    PlayToEnd();
    for (const auto& renderer : taken) {
      EXPECT_EQ(renderer->Count("end"), 1);
      EXPECT_GT(renderer->Count("sample"), 0);
    }
    factory_.made.clear();
    graph_.Reset();
  }
}

}  // namespace
}  // namespace vantor::test
