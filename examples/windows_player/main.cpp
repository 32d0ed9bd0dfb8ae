// Plays a Matroska or WebM file by a filter graph: with the component that is registered, which the graph finds by the
// file's first bytes, or with one that is not registered at all and is loaded by its path.
//
//   windows_player FILE [--component PATH] [--seek SECONDS] [--null]
//
// --null renders into nothing, where there is no screen and no sound card. Needs nothing but the Windows SDK.
#include <dshow.h>
#include <wchar.h>

#include <cstdio>
#include <stdexcept>
#include <string>

namespace {

constexpr CLSID kDemultiplexer = {0x5e1b2a64, 0x90c3, 0x4d0f, {0xa7, 0xe2, 0x6b, 0x8d, 0x54, 0xc9, 0xf3, 0x11}};
// What the system's file reader calls a Matroska file once the component is registered.
constexpr GUID kMatroska = {0x49952f4c, 0x3edc, 0x4a9b, {0x89, 0x06, 0x1d, 0xe0, 0x2a, 0x3d, 0x4b, 0xc2}};
constexpr CLSID kNullRenderer = {0xc1f400a4, 0x3f08, 0x11d3, {0x9f, 0x0b, 0x00, 0x60, 0x08, 0x03, 0x9e, 0x37}};
constexpr LONGLONG kSecond = 10'000'000;  // in 100 ns, the unit of all times

void Check(HRESULT hr, const char* what) {
  if (SUCCEEDED(hr)) return;
  char text[200];
  std::snprintf(text, sizeof text, "%s: 0x%08lX", what, static_cast<unsigned long>(hr));
  throw std::runtime_error(text);
}

// A counted reference.
template <typename T>
class Ref {
 public:
  Ref() = default;
  Ref(const Ref&) = delete;
  Ref& operator=(const Ref&) = delete;
  ~Ref() { Reset(); }

  void Reset() {
    if (object_ != nullptr) object_->Release();
    object_ = nullptr;
  }
  T* operator->() const { return object_; }
  T* Get() const { return object_; }
  T** Out() {
    Reset();
    return &object_;
  }
  void** Void() { return reinterpret_cast<void**>(Out()); }

 private:
  T* object_ = nullptr;
};

// COM for this thread; without it the first CoCreateInstance fails with 0x800401F0 (CO_E_NOTINITIALIZED).
class ComThread {
 public:
  ComThread() { Check(CoInitializeEx(nullptr, COINIT_MULTITHREADED), "COM cannot be initialised"); }
  ~ComThread() { CoUninitialize(); }
  ComThread(const ComThread&) = delete;
  ComThread& operator=(const ComThread&) = delete;
};

struct Arguments {
  const wchar_t* file = nullptr;
  const wchar_t* component = nullptr;
  double seek = 0;
  bool isNull = false;
};

// An instance of the component's class, by the entry point that every in-process server has. The module stays loaded
// until the process ends, so that nothing of it is used after it has gone.
void Load(const wchar_t* path, Ref<IBaseFilter>& filter) {
  const HMODULE module = LoadLibraryExW(path, nullptr, LOAD_WITH_ALTERED_SEARCH_PATH);
  if (module == nullptr) Check(HRESULT_FROM_WIN32(GetLastError()), "the component cannot be loaded");
  using Function = HRESULT(STDAPICALLTYPE*)(REFCLSID, REFIID, void**);
  const auto entry = reinterpret_cast<void (*)()>(GetProcAddress(module, "DllGetClassObject"));
  if (entry == nullptr) throw std::runtime_error("that is no component");
  Ref<IClassFactory> factory;
  Check(reinterpret_cast<Function>(entry)(kDemultiplexer, IID_IClassFactory, factory.Void()), "not this component");
  Check(factory->CreateInstance(nullptr, IID_IBaseFilter, filter.Void()), "no instance of the filter");
}

void FirstPin(IBaseFilter* filter, Ref<IPin>& pin) {
  Ref<IEnumPins> pins;
  Check(filter->EnumPins(pins.Out()), "a filter does not list its pins");
  if (pins->Next(1, pin.Out(), nullptr) != S_OK) throw std::runtime_error("a filter has no pin");
}

// The filter behind the system's file reader. The reader takes the type of a file from the registry; where nothing is
// registered it has to be told.
void AddFile(IGraphBuilder* graph, IBaseFilter* demux, const wchar_t* file) {
  Ref<IBaseFilter> source;
  Ref<IFileSourceFilter> loader;
  Ref<IPin> in;
  Check(graph->AddFilter(demux, L"Demultiplexer"), "the filter cannot be added");
  Check(CoCreateInstance(CLSID_AsyncReader, nullptr, CLSCTX_INPROC_SERVER, IID_IBaseFilter, source.Void()),
        "no file reader");
  Check(graph->AddFilter(source.Get(), L"Source"), "the file reader cannot be added");
  Check(source->QueryInterface(IID_IFileSourceFilter, loader.Void()), "the file reader loads no files");
  AM_MEDIA_TYPE type = {};
  type.majortype = MEDIATYPE_Stream;
  type.subtype = kMatroska;
  Check(loader->Load(file, &type), "the file cannot be opened");
  Ref<IPin> out;
  FirstPin(source.Get(), out);
  Check(demux->FindPin(L"MKV input", in.Out()), "the filter has no input pin");
  // Not Connect: the graph would look for other filters to put between them.
  Check(graph->ConnectDirect(out.Get(), in.Get(), nullptr), "the filter refuses the file");
}

void AddNullRenderer(IGraphBuilder* graph, IPin* from) {
  Ref<IBaseFilter> renderer;
  Check(CoCreateInstance(kNullRenderer, nullptr, CLSCTX_INPROC_SERVER, IID_IBaseFilter, renderer.Void()),
        "no null renderer");
  Check(graph->AddFilter(renderer.Get(), L"Nothing"), "the null renderer cannot be added");
  Ref<IPin> in;
  FirstPin(renderer.Get(), in);
  Check(graph->ConnectDirect(from, in.Get(), nullptr), "the null renderer refuses a pin");
}

// Says of every output pin whether it is rendered, which the function knows or sees to; how many are.
template <typename Function>
int CountRendered(IBaseFilter* demux, Function isRendered) {
  int rendered = 0;
  Ref<IEnumPins> pins;
  Check(demux->EnumPins(pins.Out()), "no pins");
  for (Ref<IPin> pin; pins->Next(1, pin.Out(), nullptr) == S_OK;) {
    PIN_INFO info = {};
    Check(pin->QueryPinInfo(&info), "a pin does not say what it is");
    if (info.pFilter != nullptr) info.pFilter->Release();
    if (info.dir != PINDIR_OUTPUT) continue;
    const bool is = isRendered(pin.Get());
    std::printf("%ls: %s\n", info.achName, is ? "rendered" : "not rendered");
    rendered += is ? 1 : 0;
  }
  return rendered;
}

// Connects every output pin with whatever the graph finds for it, or with a renderer of its own that shows nothing.
int RenderPins(IGraphBuilder* graph, IBaseFilter* demux, bool isNull) {
  return CountRendered(demux, [&](IPin* pin) {
    if (!isNull) return SUCCEEDED(graph->Render(pin));
    AddNullRenderer(graph, pin);
    return true;
  });
}

// Leaves all to the graph: it finds the component, and decoders and renderers for those pins that it is to render
// unasked. Rendering succeeds, too, where that is none; how many there are is looked at where the component was taken.
int RenderFile(IGraphBuilder* graph, const wchar_t* file) {
  Check(graph->RenderFile(file, nullptr), "the graph cannot render the file");
  bool isTaken = false;
  int rendered = 0;
  Ref<IEnumFilters> filters;
  Check(graph->EnumFilters(filters.Out()), "no filters");
  for (Ref<IBaseFilter> filter; filters->Next(1, filter.Out(), nullptr) == S_OK;) {
    Ref<IPin> pin;
    if (FAILED(filter->FindPin(L"MKV input", pin.Out()))) continue;
    isTaken = true;
    rendered += CountRendered(filter.Get(), [](IPin* out) {
      Ref<IPin> peer;
      return out->ConnectedTo(peer.Out()) == S_OK;
    });
  }
  return isTaken ? rendered : 1;
}

// Builds the graph. Where a file's pins are connected one by one, those without a decoder do not keep the others from
// playing.
void Build(IGraphBuilder* graph, const Arguments& arguments) {
  int rendered = 0;
  if (arguments.component == nullptr && !arguments.isNull) {
    rendered = RenderFile(graph, arguments.file);
  } else {
    Ref<IBaseFilter> demux;
    if (arguments.component != nullptr) {
      Load(arguments.component, demux);
    } else {
      Check(CoCreateInstance(kDemultiplexer, nullptr, CLSCTX_INPROC_SERVER, IID_IBaseFilter, demux.Void()),
            "the component is not registered");
    }
    AddFile(graph, demux.Get(), arguments.file);
    rendered = RenderPins(graph, demux.Get(), arguments.isNull);
  }
  if (rendered == 0) throw std::runtime_error("nothing to play");
}

const char* NameOf(OAFilterState state) {
  return state == State_Running ? "running" : state == State_Paused ? "paused" : "stopped";
}

void PrintState(IMediaControl* control, IMediaSeeking* seeking) {
  LONGLONG position = 0;
  OAFilterState state = State_Stopped;
  seeking->GetCurrentPosition(&position);
  control->GetState(0, &state);
  std::printf("%s at %.1f s\n", NameOf(state), static_cast<double>(position) / kSecond);
}

void Play(IGraphBuilder* graph, double from) {
  Ref<IMediaControl> control;
  Ref<IMediaEvent> events;
  Ref<IMediaSeeking> seeking;
  Check(graph->QueryInterface(IID_IMediaControl, control.Void()), "no control");
  Check(graph->QueryInterface(IID_IMediaEvent, events.Void()), "no events");
  Check(graph->QueryInterface(IID_IMediaSeeking, seeking.Void()), "no seeking");

  LONGLONG duration = 0;
  Check(seeking->GetDuration(&duration), "no duration");
  std::printf("duration: %.3f s\n", static_cast<double>(duration) / kSecond);
  if (from > 0) {
    auto position = static_cast<LONGLONG>(from * kSecond);
    Check(seeking->SetPositions(&position, AM_SEEKING_AbsolutePositioning, nullptr, AM_SEEKING_NoPositioning),
          "no seek");
    std::printf("playing from %.3f s\n", static_cast<double>(position) / kSecond);
  }
  Check(control->Run(), "the graph does not run");
  PrintState(control.Get(), seeking.Get());
  for (bool isPlaying = true; isPlaying;) {
    long event = 0;
    LONG_PTR first = 0;
    LONG_PTR second = 0;
    // An event, or nothing for half a second.
    if (events->GetEvent(&event, &first, &second, 500) == S_OK) {
      if (event == EC_ERRORABORT) std::printf("ended by 0x%08lX\n", static_cast<unsigned long>(first));
      if (event == EC_COMPLETE) std::printf("complete\n");
      isPlaying = event != EC_COMPLETE && event != EC_ERRORABORT && event != EC_USERABORT;
      events->FreeEventParams(event, first, second);
    } else {
      PrintState(control.Get(), seeking.Get());
    }
  }
  PrintState(control.Get(), seeking.Get());
  Check(control->Stop(), "the graph does not stop");
  PrintState(control.Get(), seeking.Get());
}

bool Parse(int argc, wchar_t** argv, Arguments& arguments) {
  for (int i = 1; i < argc; ++i) {
    const std::wstring word = argv[i];
    if (word == L"--null") {
      arguments.isNull = true;
    } else if (word == L"--component" && i + 1 < argc) {
      arguments.component = argv[++i];
    } else if (word == L"--seek" && i + 1 < argc) {
      arguments.seek = wcstod(argv[++i], nullptr);
    } else if (arguments.file == nullptr && word.rfind(L"--", 0) != 0) {
      arguments.file = argv[i];
    } else {
      return false;
    }
  }
  return arguments.file != nullptr;
}

}  // namespace

int wmain(int argc, wchar_t** argv) {
  Arguments arguments;
  if (!Parse(argc, argv, arguments)) {
    std::fprintf(stderr, "windows_player FILE [--component PATH] [--seek SECONDS] [--null]\n");
    return 2;
  }
  try {
    const ComThread com;
    Ref<IGraphBuilder> graph;
    Check(CoCreateInstance(CLSID_FilterGraph, nullptr, CLSCTX_INPROC_SERVER, IID_IGraphBuilder, graph.Void()),
          "no filter graph");
    Build(graph.Get(), arguments);
    Play(graph.Get(), arguments.seek);
    return 0;
  } catch (const std::exception& error) {
    std::fprintf(stderr, "windows_player: %s\n", error.what());
    return 1;
  }
}
