// What a pin tells about itself, and how long it and its filter live.
#include <gtest/gtest.h>

#include "baseclasses/fakes.h"

using namespace vantor::test;
using vantor::ComPtr;
using vantor::WideString;

namespace {

// A pin that says when it goes.
class WatchedPin : public FakeOutputPin {
 public:
  WatchedPin(FakeFilter* filter, bool* destroyed) : FakeOutputPin(filter), m_pDestroyed(destroyed) {}
  ~WatchedPin() override { *m_pDestroyed = true; }

 private:
  bool* m_pDestroyed;
};

TEST(PinLifetime, TheFiltersHoldEndsWithTheFilter) {
  bool destroyed = false;
  ComPtr<FakeFilter> filter(new FakeFilter);
  filter->Add(new WatchedPin(filter.Get(), &destroyed));
  EXPECT_FALSE(destroyed);
  filter.Reset();
  EXPECT_TRUE(destroyed);
  EXPECT_EQ(CBaseObject::ObjectsActive(), 0);
}

TEST(PinLifetime, AHeldPinKeepsItsFilter) {
  bool destroyed = false;
  ComPtr<FakeFilter> filter(new FakeFilter);
  ComPtr<IPin> pin(filter->Add(new WatchedPin(filter.Get(), &destroyed)));
  filter.Reset();
  EXPECT_FALSE(destroyed);
  PIN_INFO info = {};
  EXPECT_EQ(pin->QueryPinInfo(&info), S_OK);
  FILTER_STATE state;
  EXPECT_EQ(info.pFilter->GetState(0, &state), S_OK);
  info.pFilter->Release();
  pin.Reset();
  EXPECT_TRUE(destroyed);
  EXPECT_EQ(CBaseObject::ObjectsActive(), 0);
}

TEST(PinLifetime, APinThatTheFilterDroppedStaysSafeWhileHeld) {
  bool destroyed = false;
  ComPtr<FakeFilter> filter(new FakeFilter);
  auto* watched = filter->Add(new WatchedPin(filter.Get(), &destroyed));
  ComPtr<IPin> pin(watched);
  filter->Remove(watched);
  filter.Reset();
  EXPECT_FALSE(destroyed);
  ComPtr<IPin> peer;
  EXPECT_EQ(pin->ConnectedTo(peer.Out()), VFW_E_NOT_CONNECTED);
  EXPECT_EQ(pin->Disconnect(), S_FALSE);
  PIN_INFO info = {};
  EXPECT_EQ(pin->QueryPinInfo(&info), S_OK);
  info.pFilter->Release();
  pin.Reset();
  EXPECT_TRUE(destroyed);
  EXPECT_EQ(CBaseObject::ObjectsActive(), 0);
}

TEST(PinLifetime, EveryInterfaceOfAPinCountsTheSameWay) {
  bool destroyed = false;
  ComPtr<FakeFilter> filter(new FakeFilter);
  auto* watched = filter->Add(new WatchedPin(filter.Get(), &destroyed));
  ComPtr<IQualityControl> control;
  EXPECT_EQ(watched->QueryInterface(IID_IQualityControl, control.Void()), S_OK);
  filter.Reset();
  EXPECT_FALSE(destroyed);
  control.Reset();
  EXPECT_TRUE(destroyed);
}

TEST(PinLifetime, AnEnumeratorOfTypesKeepsPinAndFilter) {
  bool destroyed = false;
  ComPtr<FakeFilter> filter(new FakeFilter);
  auto* watched = filter->Add(new WatchedPin(filter.Get(), &destroyed));
  watched->offered = {MakeType(kTypeA)};
  ComPtr<IEnumMediaTypes> types;
  EXPECT_EQ(watched->EnumMediaTypes(types.Out()), S_OK);
  filter.Reset();
  AM_MEDIA_TYPE* mt = nullptr;
  EXPECT_EQ(types->Next(1, &mt, nullptr), S_OK);
  DeleteMediaType(mt);
  EXPECT_FALSE(destroyed);
  types.Reset();
  EXPECT_TRUE(destroyed);
}

class PinAnswers : public PinPair {};

TEST_F(PinAnswers, InfoNamesFilterDirectionAndPin) {
  PIN_INFO info = {};
  EXPECT_EQ(out->QueryPinInfo(&info), S_OK);
  EXPECT_EQ(info.pFilter, static_cast<IBaseFilter*>(source.Get()));
  EXPECT_EQ(info.dir, PINDIR_OUTPUT);
  EXPECT_EQ(WideString(info.achName), WideString(OLESTR("Out")));
  info.pFilter->Release();
  PIN_DIRECTION direction = PINDIR_OUTPUT;
  EXPECT_EQ(in->QueryDirection(&direction), S_OK);
  EXPECT_EQ(direction, PINDIR_INPUT);
  EXPECT_EQ(in->QueryDirection(nullptr), E_POINTER);
  EXPECT_EQ(in->QueryPinInfo(nullptr), E_POINTER);
}

TEST_F(PinAnswers, ANameTooLongForTheInfoIsCutAndTerminated) {
  const WideString name(200, WCHAR('n'));
  FakeOutputPin* pin = source->Add(new FakeOutputPin(source.Get(), name.c_str()));
  PIN_INFO info = {};
  EXPECT_EQ(pin->QueryPinInfo(&info), S_OK);
  info.pFilter->Release();
  EXPECT_EQ(WideString(info.achName), name.substr(0, 127));
  LPWSTR id = nullptr;
  EXPECT_EQ(pin->QueryId(&id), S_OK);
  EXPECT_EQ(WideString(id), name);
  CoTaskMemFree(id);
}

TEST_F(PinAnswers, AnUnknownInterfaceNullsTheOutPointer) {
  void* object = &object;
  EXPECT_EQ(out->QueryInterface(IID_IMemInputPin, &object), E_NOINTERFACE);
  EXPECT_EQ(object, nullptr);
  EXPECT_EQ(in->QueryInterface(IID_IMemInputPin, &object), S_OK);
  static_cast<IMemInputPin*>(object)->Release();
  EXPECT_EQ(out->QueryInterface(IID_IPin, nullptr), E_POINTER);
}

TEST_F(PinAnswers, InternalConnectionsAndQualityAreNotImplemented) {
  ULONG count = 0;
  EXPECT_EQ(out->QueryInternalConnections(nullptr, &count), E_NOTIMPL);
  EXPECT_EQ(out->Notify(nullptr, Quality{}), E_NOTIMPL);
}

TEST_F(PinAnswers, AQualitySinkIsKeptWithoutAReference) {
  EXPECT_EQ(in->SetSink(out), S_OK);
  EXPECT_EQ(in->Sink(), static_cast<IQualityControl*>(out));
  EXPECT_EQ(in->SetSink(nullptr), S_OK);
  EXPECT_EQ(in->Sink(), nullptr);
}

TEST_F(PinAnswers, APinWithoutTypesOfItsOwnOffersNone) {
  EXPECT_EQ(static_cast<CBasePin*>(in)->CBasePin::GetMediaType(0, nullptr), E_UNEXPECTED);
}

}  // namespace
