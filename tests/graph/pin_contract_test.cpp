// What the graph and other filters may expect of the demultiplexer's objects: identity, aggregation, enumerators,
// names.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>
#include <string>
#include <vector>

#include "graph/real_graph.h"
#include "realfiles/recorded_run.h"

namespace vantor::test {

namespace {

constexpr const char* kTwoStreams = "avc_aac.mkv";  // AVC video, AAC audio

// The component's own entry point.
HRESULT GetClassObject(REFCLSID classId, REFIID id, void** object) {
  const HMODULE module = GetModuleHandleW(L"vantormkv.ax");
  const FARPROC found = GetProcAddress(module, "DllGetClassObject");
  Component::GetClassObjectFunction function = nullptr;
  static_assert(sizeof function == sizeof found);
  std::memcpy(&function, &found, sizeof function);
  return function(classId, id, object);
}

ComPtr<IUnknown> UnknownOf(IUnknown* object) {
  ComPtr<IUnknown> unknown;
  EXPECT_EQ(object->QueryInterface(IID_IUnknown, unknown.Void()), S_OK);
  return unknown;
}

// Every interface leads to the same IUnknown, and asking leaves no reference behind.
void ExpectInterfaces(IUnknown* object, const std::vector<const IID*>& ids) {
  const ULONG before = References(object);
  {
    const ComPtr<IUnknown> unknown = UnknownOf(object);
    for (const IID* id : ids) {
      ComPtr<IUnknown> found;
      ASSERT_EQ(object->QueryInterface(*id, found.Void()), S_OK) << ids.size();
      EXPECT_EQ(UnknownOf(found.Get()).Get(), unknown.Get());
    }
  }
  EXPECT_EQ(References(object), before);
}

void ExpectNoInterface(IUnknown* object, const IID& id) {
  void* found = &found;
  EXPECT_EQ(object->QueryInterface(id, &found), E_NOINTERFACE);
  EXPECT_EQ(found, nullptr);
}

// An object that aggregates the filter and answers for one interface of its own.
class Outer final : public IUnknown {
 public:
  virtual ~Outer() = default;
  STDMETHODIMP QueryInterface(REFIID riid, void** object) override {
    if (SameGuid(riid, IID_IUnknown) || SameGuid(riid, IID_IBasicAudio)) {
      *object = static_cast<IUnknown*>(this);
      AddRef();
      return S_OK;
    }
    if (inner) {
      return inner->QueryInterface(riid, object);
    }
    *object = nullptr;
    return E_NOINTERFACE;
  }
  STDMETHODIMP_(ULONG) AddRef() override { return ++references; }
  STDMETHODIMP_(ULONG) Release() override { return --references; }

  ULONG references = 1;
  ComPtr<IUnknown> inner;
};

class FilterContract : public RealGraphTest {};
class PinContract : public RealGraphTest {};

TEST_F(FilterContract, ItsInterfacesAreOneObject) {
  const RealGraph graph;
  ExpectInterfaces(graph.Demultiplexer(), {&IID_IBaseFilter, &IID_IMediaFilter, &IID_IPersist, &IID_IMediaSeeking,
                                           &IID_IDispatch, &IID_IAMovieSetup});
}

TEST_F(FilterContract, InterfacesItHasNotGotAreRefusedAndThePointerCleared) {
  const RealGraph graph;
  for (const IID* id : {&IID_IPin, &IID_IFileSourceFilter, &IID_IBasicAudio, &IID_IMemInputPin}) {
    ExpectNoInterface(graph.Demultiplexer(), *id);
  }
}

TEST_F(FilterContract, AnOuterObjectAnswersForAllOfIt) {
  Outer outer;
  {
    ComPtr<IClassFactory> factory;
    ASSERT_EQ(GetClassObject(kClsidMkvDmx, IID_IClassFactory, factory.Void()), S_OK);
    ASSERT_EQ(factory->CreateInstance(&outer, IID_IUnknown, outer.inner.Void()), S_OK);
    EXPECT_EQ(outer.references, 1U) << "the inner object does not count the outer one";
    ComPtr<IBaseFilter> filter;
    ASSERT_EQ(outer.inner->QueryInterface(IID_IBaseFilter, filter.Void()), S_OK);
    EXPECT_EQ(outer.references, 2U) << "its interfaces do";
    EXPECT_EQ(UnknownOf(filter.Get()).Get(), &outer);
    ComPtr<IUnknown> own;
    EXPECT_EQ(filter->QueryInterface(IID_IBasicAudio, own.Void()), S_OK) << "asked of the outer object";
    EXPECT_NE(UnknownOf(outer.inner.Get()).Get(), &outer);
  }
  EXPECT_EQ(outer.references, 1U);
  outer.inner.Reset();
}

TEST_F(FilterContract, AggregatesOnlyBehindItsUnknown) {
  Outer outer;
  ComPtr<IClassFactory> factory;
  ASSERT_EQ(GetClassObject(kClsidMkvDmx, IID_IClassFactory, factory.Void()), S_OK);
  void* object = &outer;
  EXPECT_EQ(factory->CreateInstance(&outer, IID_IBaseFilter, &object), E_NOINTERFACE);
  EXPECT_EQ(object, nullptr);
  EXPECT_EQ(outer.references, 1U);
}

TEST_F(FilterContract, ItsClassFactoryKnowsItsClassAndInterfacesOnly) {
  ComPtr<IClassFactory> factory;
  void* object = &factory;
  EXPECT_EQ(GetClassObject(CLSID_AsyncReader, IID_IClassFactory, &object), CLASS_E_CLASSNOTAVAILABLE);
  EXPECT_EQ(object, nullptr);
  object = &factory;
  EXPECT_EQ(GetClassObject(kClsidMkvDmx, IID_IBaseFilter, &object), E_NOINTERFACE);
  EXPECT_EQ(object, nullptr);
  ASSERT_EQ(GetClassObject(kClsidMkvDmx, IID_IClassFactory, factory.Void()), S_OK);
  object = &factory;
  EXPECT_EQ(factory->CreateInstance(nullptr, IID_IPin, &object), E_NOINTERFACE);
  EXPECT_EQ(object, nullptr);
  EXPECT_EQ(factory->CreateInstance(nullptr, IID_IBaseFilter, nullptr), E_POINTER);
}

TEST_F(FilterContract, ALockedServerStaysLoaded) {
  ComPtr<IClassFactory> factory;
  ASSERT_EQ(GetClassObject(kClsidMkvDmx, IID_IClassFactory, factory.Void()), S_OK);
  EXPECT_EQ(factory->LockServer(TRUE), S_OK);
  factory.Reset();
  EXPECT_FALSE(TestedComponent().CanUnloadNow());
  ASSERT_EQ(GetClassObject(kClsidMkvDmx, IID_IClassFactory, factory.Void()), S_OK);
  EXPECT_EQ(factory->LockServer(FALSE), S_OK);
}

TEST_F(FilterContract, TellsItsClassNameAndGraph) {
  RealGraph graph;
  CLSID classId = {};
  EXPECT_EQ(graph.Demultiplexer()->GetClassID(&classId), S_OK);
  EXPECT_TRUE(SameGuid(classId, kClsidMkvDmx));
  FILTER_INFO info = {};
  ASSERT_EQ(graph.Demultiplexer()->QueryFilterInfo(&info), S_OK);
  EXPECT_EQ(WideString(info.achName), kFilterName);
  ASSERT_NE(info.pGraph, nullptr);
  EXPECT_EQ(UnknownOf(info.pGraph).Get(), UnknownOf(graph.Get()).Get());
  info.pGraph->Release();
}

TEST_F(FilterContract, EnumPinsCountsSkipsResetsAndClones) {
  const MediaCopy media(kTwoStreams);
  RealGraph graph;
  ASSERT_EQ(graph.Open(media.Path()), S_OK);
  ComPtr<IEnumPins> pins;
  ASSERT_EQ(graph.Demultiplexer()->EnumPins(pins.Out()), S_OK);
  std::array<IPin*, 4> found = {};
  EXPECT_EQ(pins->Next(2, found.data(), nullptr), E_INVALIDARG);
  ULONG count = 9;
  EXPECT_EQ(pins->Next(4, found.data(), &count), S_FALSE);
  ASSERT_EQ(count, 3U);
  std::vector<std::string> names;
  for (IPin* pin : found) {
    if (pin != nullptr) {
      names.push_back(NameOf(pin));
      pin->Release();
    }
  }
  EXPECT_THAT(names, testing::ElementsAre("MKV input", "AVC video 1", "AAC audio 1"));
  EXPECT_EQ(pins->Next(1, found.data(), &count), S_FALSE);
  EXPECT_EQ(count, 0U);
  EXPECT_EQ(pins->Reset(), S_OK);
  EXPECT_EQ(pins->Skip(2), S_OK);
  ComPtr<IEnumPins> clone;
  ASSERT_EQ(pins->Clone(clone.Out()), S_OK);
  ComPtr<IPin> last;
  ASSERT_EQ(clone->Next(1, last.Out(), nullptr), S_OK);
  EXPECT_EQ(NameOf(last.Get()), "AAC audio 1") << "the clone stands where the first one stood";
  EXPECT_EQ(pins->Skip(1), S_OK) << "and moves by itself";
  EXPECT_EQ(pins->Skip(1), S_FALSE);
}

TEST_F(FilterContract, AnEnumeratorIsOutOfDateOnceThePinSetChanged) {
  const MediaCopy media(kTwoStreams);
  RealGraph graph;
  ASSERT_EQ(graph.AddReader(media.Path()), S_OK);
  ComPtr<IEnumPins> pins;
  ASSERT_EQ(graph.Demultiplexer()->EnumPins(pins.Out()), S_OK);
  ASSERT_EQ(graph.ConnectInput(), S_OK);
  ComPtr<IPin> pin;
  EXPECT_EQ(pins->Next(1, pin.Out(), nullptr), VFW_E_ENUM_OUT_OF_SYNC);
  EXPECT_EQ(pins->Skip(1), VFW_E_ENUM_OUT_OF_SYNC);
  EXPECT_EQ(pins->Reset(), S_OK);
  EXPECT_EQ(pins->Skip(3), S_OK);
  ASSERT_EQ(graph->Disconnect(graph.Pin(0).Get()), S_OK);
  EXPECT_EQ(pins->Next(1, pin.Out(), nullptr), VFW_E_ENUM_OUT_OF_SYNC);
}

TEST_F(FilterContract, FindPinKnowsTheInputAndTheStreamsByName) {
  const MediaCopy media(kTwoStreams);
  RealGraph graph;
  ASSERT_EQ(graph.Open(media.Path()), S_OK);
  int number = 0;
  for (const WCHAR* name : {L"MKV input", L"AVC video 1", L"AAC audio 1"}) {
    ComPtr<IPin> pin;
    ASSERT_EQ(graph.Demultiplexer()->FindPin(name, pin.Out()), S_OK);
    EXPECT_EQ(pin.Get(), graph.Pin(number++).Get());
  }
  IPin* none = graph.Pin(0).Get();
  EXPECT_EQ(graph.Demultiplexer()->FindPin(L"AVC video 2", &none), VFW_E_NOT_FOUND);
  EXPECT_EQ(none, nullptr);
}

TEST_F(PinContract, TheirInterfacesAreOneObjectEach) {
  const MediaCopy media(kTwoStreams);
  RealGraph graph;
  ASSERT_EQ(graph.Open(media.Path()), S_OK);
  ExpectInterfaces(graph.Pin(0).Get(), {&IID_IPin, &IID_IMemInputPin, &IID_IQualityControl});
  ExpectNoInterface(graph.Pin(0).Get(), IID_IMediaSeeking);
  for (const int number : {1, 2}) {
    ExpectInterfaces(graph.Pin(number).Get(), {&IID_IPin, &IID_IMediaSeeking, &IID_IQualityControl});
    ExpectNoInterface(graph.Pin(number).Get(), IID_IMemInputPin);
    ExpectNoInterface(graph.Pin(number).Get(), IID_IAsyncReader);
  }
}

TEST_F(PinContract, TellFilterDirectionNameAndId) {
  const MediaCopy media(kTwoStreams);
  RealGraph graph;
  ASSERT_EQ(graph.Open(media.Path()), S_OK);
  for (const int number : {0, 1, 2}) {
    const ComPtr<IPin> pin = graph.Pin(number);
    PIN_INFO info = {};
    ASSERT_EQ(pin->QueryPinInfo(&info), S_OK);
    EXPECT_EQ(info.pFilter, graph.Demultiplexer());
    info.pFilter->Release();
    EXPECT_EQ(info.dir, number == 0 ? PINDIR_INPUT : PINDIR_OUTPUT);
    PIN_DIRECTION direction = PINDIR_INPUT;
    EXPECT_EQ(pin->QueryDirection(&direction), S_OK);
    EXPECT_EQ(direction, info.dir);
    LPWSTR id = nullptr;
    ASSERT_EQ(pin->QueryId(&id), S_OK);
    EXPECT_EQ(WideString(id), info.achName);
    ComPtr<IPin> found;
    EXPECT_EQ(graph.Demultiplexer()->FindPin(id, found.Out()), S_OK);
    EXPECT_EQ(found.Get(), pin.Get());
    CoTaskMemFree(id);
  }
}

TEST_F(PinContract, QueryAcceptAgreesWithTheTypesThatArePut) {
  const MediaCopy media(kTwoStreams);
  RealGraph graph;
  ASSERT_EQ(graph.Open(media.Path()), S_OK);
  ComPtr<IEnumMediaTypes> types;
  ASSERT_EQ(graph.Pin(1)->EnumMediaTypes(types.Out()), S_OK);
  AM_MEDIA_TYPE* type = nullptr;
  int count = 0;
  while (types->Next(1, &type, nullptr) == S_OK) {
    ++count;
    EXPECT_TRUE(SameGuid(type->majortype, MEDIATYPE_Video));
    EXPECT_EQ(graph.Pin(1)->QueryAccept(type), S_OK);
    EXPECT_EQ(graph.Pin(2)->QueryAccept(type), S_FALSE);
    type->subtype = MEDIASUBTYPE_RGB24;
    EXPECT_EQ(graph.Pin(1)->QueryAccept(type), S_FALSE);
    DeleteMediaType(type);
  }
  EXPECT_EQ(count, 2);
}

TEST_F(PinContract, EnumMediaTypesCountsSkipsResetsAndClones) {
  const MediaCopy media(kTwoStreams);
  RealGraph graph;
  ASSERT_EQ(graph.Open(media.Path()), S_OK);
  ComPtr<IEnumMediaTypes> types;
  ASSERT_EQ(graph.Pin(1)->EnumMediaTypes(types.Out()), S_OK);
  std::array<AM_MEDIA_TYPE*, 3> found = {};
  EXPECT_EQ(types->Next(3, found.data(), nullptr), E_INVALIDARG);
  ULONG count = 9;
  EXPECT_EQ(types->Next(3, found.data(), &count), S_FALSE);
  ASSERT_EQ(count, 2U);
  EXPECT_TRUE(SameGuid(found[1]->formattype, FORMAT_VideoInfo));
  DeleteMediaType(found[0]);
  DeleteMediaType(found[1]);
  EXPECT_EQ(types->Reset(), S_OK);
  EXPECT_EQ(types->Skip(1), S_OK);
  ComPtr<IEnumMediaTypes> clone;
  ASSERT_EQ(types->Clone(clone.Out()), S_OK);
  ASSERT_EQ(clone->Next(1, found.data(), nullptr), S_OK);
  EXPECT_TRUE(SameGuid(found[0]->formattype, FORMAT_VideoInfo)) << "the clone stands where the first one stood";
  DeleteMediaType(found[0]);
  EXPECT_EQ(types->Skip(2), S_FALSE);
}

TEST_F(PinContract, TheInputPinPutsNoTypeOfItsOwn) {
  const RealGraph graph;
  ComPtr<IEnumMediaTypes> types;
  ASSERT_EQ(graph.Pin(0)->EnumMediaTypes(types.Out()), S_OK);
  AM_MEDIA_TYPE* type = nullptr;
  EXPECT_NE(types->Next(1, &type, nullptr), S_OK);
}

TEST_F(PinContract, QueryInternalConnectionsLeavesItToTheGraph) {
  const MediaCopy media(kTwoStreams);
  RealGraph graph;
  ASSERT_EQ(graph.Open(media.Path()), S_OK);
  for (const int number : {0, 1}) {
    ULONG count = 0;
    EXPECT_EQ(graph.Pin(number)->QueryInternalConnections(nullptr, &count), E_NOTIMPL);
  }
}

}  // namespace
}  // namespace vantor::test
