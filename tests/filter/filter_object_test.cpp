// The filter as an object: interfaces, aggregation, pins before a connection.
#include <climits>
#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include "baseclasses/class_factory.h"
#include "published/media_guids.h"
#include "support/allocation_monitor.h"
#include "support/demux_harness.h"

namespace vantor::test {
namespace {

class FilterObjectTest : public DemuxTest {};

template <typename Interface>
ComPtr<Interface> Query(IUnknown* object, REFIID iid) {
  ComPtr<Interface> found;
  EXPECT_EQ(object->QueryInterface(iid, found.Void()), S_OK);
  return found;
}

IUnknown* AsUnknown(CVXMkvDmx& filter) { return static_cast<IBaseFilter*>(&filter); }

Raw SmallFile() {
  return MediaFile(100, {VideoTrack(1), AudioTrack(2)},
                   {{0, {SimpleBlock(1, 0, kKey, {1}), SimpleBlock(2, 0, kKey, {2})}}});
}

TEST_F(FilterObjectTest, AnswersItsInterfacesAsOneObject) {
  const auto filter = Demux::NewFilter();
  const auto identity = Query<IUnknown>(AsUnknown(*filter), IID_IUnknown);
  for (const IID& iid : {IID_IBaseFilter, IID_IMediaFilter, IID_IPersist, IID_IAMovieSetup, IID_IMediaSeeking,
                         IID_IDispatch, kIidMkvDmx}) {
    const auto found = Query<IUnknown>(identity.Get(), iid);
    EXPECT_EQ(Query<IUnknown>(found.Get(), IID_IUnknown).Get(), identity.Get());
    EXPECT_EQ(Query<IMediaSeeking>(found.Get(), IID_IMediaSeeking).Get(), static_cast<IMediaSeeking*>(filter.Get()));
  }
}

TEST_F(FilterObjectTest, RefusesOtherInterfacesAndNulls) {
  const auto filter = Demux::NewFilter();
  void* out = filter.Get();
  EXPECT_EQ(filter->QueryInterface(IID_IAsyncReader, &out), E_NOINTERFACE);
  EXPECT_EQ(out, nullptr);
  EXPECT_EQ(filter->QueryInterface(IID_IMediaSeeking, nullptr), E_POINTER);
  EXPECT_EQ(filter->NonDelegatingQueryInterface(IID_IMediaSeeking, nullptr), E_POINTER);
}

TEST_F(FilterObjectTest, EveryInterfaceCountsOnTheFilter) {
  auto filter = Demux::NewFilter();
  auto dispatch = Query<IDispatch>(AsUnknown(*filter), IID_IDispatch);
  filter.Reset();
  EXPECT_GT(CBaseObject::ObjectsActive(), 0);
  dispatch.Reset();
  EXPECT_EQ(CBaseObject::ObjectsActive(), 0);
}

// An object that holds the filter as a part of itself.
class OuterObject final : public IUnknown {
 public:
  virtual ~OuterObject() = default;
  HRESULT STDMETHODCALLTYPE QueryInterface(REFIID iid, void** object) override {
    if (SameGuid(iid, IID_IUnknown)) {
      *object = static_cast<IUnknown*>(this);
      AddRef();
      return S_OK;
    }
    return inner->QueryInterface(iid, object);
  }
  ULONG STDMETHODCALLTYPE AddRef() override { return static_cast<ULONG>(++references); }
  ULONG STDMETHODCALLTYPE Release() override { return static_cast<ULONG>(--references); }

  int references = 1;
  ComPtr<IUnknown> inner;
};

TEST_F(FilterObjectTest, AsAPartOfAnotherObjectItGivesThatObjectsIdentity) {
  OuterObject outer;
  HRESULT result = E_FAIL;
  CUnknown* const made = CVXMkvDmx::CreateInstance(&outer, &result);
  ASSERT_EQ(result, S_OK);
  made->NonDelegatingAddRef();
  ASSERT_EQ(made->NonDelegatingQueryInterface(IID_IUnknown, outer.inner.Void()), S_OK);
  made->NonDelegatingRelease();
  EXPECT_EQ(outer.references, 1) << "its own unknown counts on itself";
  {
    const auto seeking = Query<IMediaSeeking>(&outer, IID_IMediaSeeking);
    EXPECT_EQ(outer.references, 2);
    EXPECT_EQ(Query<IUnknown>(seeking.Get(), IID_IUnknown).Get(), &outer);
    const auto filter = Query<IBaseFilter>(seeking.Get(), IID_IBaseFilter);
    ComPtr<IPin> pin;
    EXPECT_EQ(filter->FindPin(kInputPinName, pin.Out()), S_OK);
    PIN_INFO info = {};
    EXPECT_EQ(pin->QueryPinInfo(&info), S_OK);
    EXPECT_EQ(Query<IUnknown>(info.pFilter, IID_IUnknown).Get(), &outer);
    info.pFilter->Release();
  }
  EXPECT_EQ(outer.references, 1);
  outer.inner.Reset();
}

TEST_F(FilterObjectTest, TellsItsClass) {
  const auto filter = Demux::NewFilter();
  CLSID clsid = {};
  EXPECT_EQ(filter->GetClassID(&clsid), S_OK);
  EXPECT_TRUE(SameGuid(clsid, kClsidMkvDmx));
}

TEST_F(FilterObjectTest, HasOnlyItsInputPinBeforeAConnection) {
  const auto filter = Demux::NewFilter();
  EXPECT_EQ(filter->GetPinCount(), 1);
  ASSERT_NE(filter->GetPin(0), nullptr);
  EXPECT_EQ(filter->GetPin(1), nullptr);
  EXPECT_EQ(filter->GetPin(-1), nullptr);
  EXPECT_EQ(NameOf(filter->GetPin(0)), "MKV input");
  EXPECT_EQ(filter->GetPin(0)->Direction(), PINDIR_INPUT);
}

TEST_F(FilterObjectTest, PinZeroIsAlwaysTheInputPin) {
  Demux demux(SmallFile());
  CBasePin* const input = demux.Filter().GetPin(0);
  ASSERT_EQ(demux.Connect(), S_OK);
  EXPECT_EQ(demux.Filter().GetPinCount(), 3);
  EXPECT_EQ(demux.Filter().GetPin(0), input);
  EXPECT_EQ(demux.Filter().GetPin(3), nullptr);
  EXPECT_EQ(demux.Filter().GetPin(-1), nullptr);
  EXPECT_EQ(demux.Filter().GetPin(INT_MAX), nullptr);
  EXPECT_EQ(demux.Filter().GetPin(INT_MIN), nullptr);
}

TEST_F(FilterObjectTest, WithoutMemoryForItsInputPinItHasNoPinAndStillAnswers) {
  if (!WatchesAllocations()) GTEST_SKIP();
  int withoutInput = 0;
  for (std::uint64_t n = 1;; ++n) {
    SCOPED_TRACE("allocation " + std::to_string(n));
    HRESULT result = S_OK;
    FailAllocation(n);
    const ComPtr<CVXMkvDmx> filter(static_cast<CVXMkvDmx*>(CVXMkvDmx::CreateInstance(nullptr, &result)));
    FailAllocation(0);
    if (!filter) {
      EXPECT_EQ(result, E_OUTOFMEMORY);
      continue;
    }
    EXPECT_EQ(result, S_OK);
    if (filter->GetPin(0) != nullptr) break;
    ++withoutInput;
    EXPECT_EQ(filter->GetPinCount(), 1) << "the number of output pins and one";
    EXPECT_EQ(filter->GetPin(1), nullptr);
    ComPtr<IEnumPins> pins;
    ASSERT_EQ(filter->EnumPins(pins.Out()), S_OK);
    ComPtr<IPin> pin;
    EXPECT_EQ(pins->Next(1, pin.Out(), nullptr), S_FALSE);
    EXPECT_EQ(filter->FindPin(OLESTR("MKV input"), pin.Out()), VFW_E_NOT_FOUND);
    LONGLONG current = 5;
    EXPECT_EQ(filter->SetPositions(&current, AM_SEEKING_AbsolutePositioning, nullptr, AM_SEEKING_NoPositioning), S_OK);
    EXPECT_EQ(filter->Pause(), S_OK);
    EXPECT_EQ(filter->Run(0), S_OK);
    EXPECT_EQ(filter->Stop(), S_OK);
  }
  EXPECT_EQ(withoutInput, 1);
}

TEST_F(FilterObjectTest, FindsPinsByTheirNames) {
  Demux demux(SmallFile());
  ASSERT_EQ(demux.Connect(), S_OK);
  for (const auto& [name, number] : std::vector<std::pair<WideString, int>>{
           {OLESTR("MKV input"), 0}, {OLESTR("VP8 video 1"), 1}, {OLESTR("AC3 audio 1"), 2}}) {
    ComPtr<IPin> pin;
    EXPECT_EQ(demux.Filter().FindPin(name.c_str(), pin.Out()), S_OK) << Narrow(name);
    EXPECT_EQ(pin.Get(), static_cast<IPin*>(demux.Filter().GetPin(number)));
  }
  ComPtr<IPin> pin;
  EXPECT_EQ(demux.Filter().FindPin(OLESTR("VP8 video 2"), pin.Out()), VFW_E_NOT_FOUND);
}

TEST_F(FilterObjectTest, TheInputPinProposesNoType) {
  const auto filter = Demux::NewFilter();
  CMediaType type;
  for (const int position : {-1, 0, 1}) EXPECT_EQ(filter->GetPin(0)->GetMediaType(position, &type), E_UNEXPECTED);
}

TEST_F(FilterObjectTest, TheInputPinTakesStreamsOfThreeSubtypes) {
  const auto filter = Demux::NewFilter();
  CBasePin* const input = filter->GetPin(0);
  const auto accepts = [&](const GUID& major, const GUID& subtype) {
    CMediaType type(&major);
    type.SetSubtype(&subtype);
    type.SetFormatType(&FORMAT_WaveFormatEx);  // not looked at
    return input->CheckMediaType(&type);
  };
  EXPECT_EQ(accepts(MEDIATYPE_Stream, kSubtypePrivateMatroska), S_OK);
  EXPECT_EQ(accepts(MEDIATYPE_Stream, kSubtypeMatroska), S_OK);
  EXPECT_EQ(accepts(MEDIATYPE_Stream, GUID_NULL), S_OK);
  EXPECT_EQ(accepts(MEDIATYPE_Stream, MEDIASUBTYPE_Avi), S_FALSE);
  EXPECT_EQ(accepts(MEDIATYPE_Video, kSubtypeMatroska), S_FALSE);
  EXPECT_EQ(accepts(GUID_NULL, GUID_NULL), S_FALSE);
}

TEST_F(FilterObjectTest, HasNoAutomationMethodsOfItsOwn) {
  const auto filter = Demux::NewFilter();
  const auto dispatch = Query<IDispatch>(AsUnknown(*filter), kIidMkvDmx);
  UINT count = 0;
  EXPECT_EQ(dispatch->GetTypeInfoCount(&count), S_OK);
  EXPECT_EQ(count, 1u);
}

TEST_F(FilterObjectTest, TheFactoryRefusesAnOuterObjectThatAsksForMoreThanIUnknown) {
  const CFactoryTemplate table[] = {{kFilterName, &kClsidMkvDmx, CVXMkvDmx::CreateInstance, nullptr, nullptr}};
  ComPtr<IClassFactory> factory;
  ASSERT_EQ(CClassFactory::GetClassObject(table, 1, kClsidMkvDmx, IID_IClassFactory, factory.Void()), S_OK);
  OuterObject outer;
  void* out = &outer;
  EXPECT_EQ(factory->CreateInstance(&outer, IID_IBaseFilter, &out), E_NOINTERFACE);
  EXPECT_EQ(out, nullptr);
  ComPtr<IBaseFilter> filter;
  EXPECT_EQ(factory->CreateInstance(nullptr, IID_IBaseFilter, filter.Void()), S_OK);
  EXPECT_EQ(CClassFactory::CanUnloadNow(), S_FALSE);
}

}  // namespace
}  // namespace vantor::test
