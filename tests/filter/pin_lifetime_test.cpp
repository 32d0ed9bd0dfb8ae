// How long pins live, who keeps whom alive, and what enumerators notice.
#include "support/demux_harness.h"

namespace vantor::test {
namespace {

class PinLifetimeTest : public DemuxTest {};

Raw FileOfTwoTracks() {
  return MediaFile(100, {VideoTrack(1), AudioTrack(2)},
                   {{0, {SimpleBlock(1, 0, kKey, {1}), SimpleBlock(2, 0, kKey, {2})}}});
}

TEST_F(PinLifetimeTest, APinIsOneObjectWithItsInterfaces) {
  Demux demux(FileOfTwoTracks());
  ASSERT_EQ(demux.Connect(), S_OK);
  const auto pin = demux.Pin(1);
  ComPtr<IUnknown> identity;
  ASSERT_EQ(pin->QueryInterface(IID_IUnknown, identity.Void()), S_OK);
  for (const IID& iid : {IID_IPin, IID_IQualityControl, IID_IMediaSeeking}) {
    ComPtr<IUnknown> found;
    ASSERT_EQ(identity->QueryInterface(iid, found.Void()), S_OK);
    ComPtr<IUnknown> back;
    ASSERT_EQ(found->QueryInterface(IID_IUnknown, back.Void()), S_OK);
    EXPECT_EQ(back.Get(), identity.Get());
  }
  void* out = &demux;
  EXPECT_EQ(pin->QueryInterface(IID_IMemInputPin, &out), E_NOINTERFACE);
  EXPECT_EQ(out, nullptr);
  EXPECT_EQ(pin->QueryInterface(IID_IPin, nullptr), E_POINTER);
  EXPECT_EQ(pin->NonDelegatingQueryInterface(IID_IMediaSeeking, nullptr), E_POINTER);
}

TEST_F(PinLifetimeTest, APinLeavesItsInternalConnectionsToTheGraph) {
  Demux demux(FileOfTwoTracks());
  ASSERT_EQ(demux.Connect(), S_OK);
  ULONG count = 0;
  EXPECT_EQ(demux.Pin(1)->QueryInternalConnections(nullptr, &count), E_NOTIMPL);
  EXPECT_EQ(demux.Input()->QueryInternalConnections(nullptr, &count), E_NOTIMPL);
}

TEST_F(PinLifetimeTest, DisconnectingTheInputDisconnectsEveryOutputOnBothEnds) {
  Demux demux(FileOfTwoTracks());
  ASSERT_EQ(demux.Connect(), S_OK);
  std::vector<std::string> calls;
  std::vector<ComPtr<FakeSink>> sinks;
  for (const int pin : {1, 2}) {
    const auto sink = FakeSink::Create();
    sink->onCall = [&calls, pin](const std::string& call) { calls.push_back(std::to_string(pin) + " " + call); };
    demux.AddSink(pin, sink);
    sinks.push_back(sink);
  }
  const auto video = demux.Pin(1);
  const auto audio = demux.Pin(2);
  ASSERT_EQ(demux.DisconnectInput(), S_OK);
  EXPECT_EQ(calls, (std::vector<std::string>{"1 disconnect", "1 break", "2 disconnect", "2 break"}));
  ComPtr<IPin> peer;
  EXPECT_EQ(video->ConnectedTo(peer.Out()), VFW_E_NOT_CONNECTED);
  EXPECT_EQ(audio->ConnectedTo(peer.Out()), VFW_E_NOT_CONNECTED);
  for (const auto& sink : sinks) EXPECT_EQ(sink->Pin()->ConnectedTo(peer.Out()), VFW_E_NOT_CONNECTED);
  EXPECT_EQ(demux.Filter().GetPinCount(), 1);
  LONGLONG duration = -1;
  EXPECT_EQ(demux.Filter().GetDuration(&duration), S_OK);
  EXPECT_EQ(duration, 0);
}

TEST_F(PinLifetimeTest, AHeldPinStaysSafeToCallAfterTheInputWent) {
  Demux demux(FileOfTwoTracks());
  ASSERT_EQ(demux.Connect(), S_OK);
  FakeSink& sink = demux.AddSink(1);
  const auto pin = demux.Pin(1);
  demux.PlayToEnd();
  ASSERT_EQ(demux.DisconnectInput(), S_OK);

  ComPtr<IPin> peer;
  EXPECT_EQ(pin->ConnectedTo(peer.Out()), VFW_E_NOT_CONNECTED);
  CMediaType type;
  EXPECT_EQ(pin->ConnectionMediaType(&type), VFW_E_NOT_CONNECTED);
  EXPECT_EQ(pin->GetMediaType(0, &type), S_OK);
  EXPECT_EQ(pin->QueryAccept(&type), S_OK);
  EXPECT_EQ(NameOf(pin.Get()), "VP8 video 1");
  PIN_INFO info = {};
  EXPECT_EQ(pin->QueryPinInfo(&info), S_OK);
  EXPECT_EQ(info.pFilter, static_cast<IBaseFilter*>(&demux.Filter()));
  info.pFilter->Release();
  LONGLONG duration = -1;
  EXPECT_EQ(pin->GetDuration(&duration), S_OK);
  EXPECT_EQ(duration, 0);
  LONGLONG position = 5;
  EXPECT_EQ(pin->SetPositions(&position, AM_SEEKING_AbsolutePositioning, nullptr, AM_SEEKING_NoPositioning), S_OK);
  EXPECT_EQ(pin->Disconnect(), S_FALSE);
  EXPECT_EQ(pin->Active(), S_OK);
  EXPECT_EQ(pin->Inactive(), S_OK);
  EXPECT_EQ(pin->EndOfStream(), E_UNEXPECTED);
  EXPECT_EQ(pin->RunAgain(), S_OK);
  ComPtr<IEnumMediaTypes> types;
  EXPECT_EQ(pin->EnumMediaTypes(types.Out()), S_OK);

  // Even connected once more it is a pin that nobody plays.
  EXPECT_EQ(pin->Connect(sink.Pin(), nullptr), S_OK);
  EXPECT_EQ(demux.Pause(), S_OK);
  EXPECT_EQ(demux.Stop(), S_OK);
  EXPECT_EQ(sink.Pin()->Disconnect(), S_OK);
  EXPECT_EQ(pin->Disconnect(), S_OK);
}

TEST_F(PinLifetimeTest, AHeldPinKeepsItsFilterAlive) {
  ComPtr<CVXMkvDmxOutputPin> pin;
  {
    Demux demux(FileOfTwoTracks());
    ASSERT_EQ(demux.Connect(), S_OK);
    pin = demux.Pin(2);
    demux.DisconnectInput();
    EXPECT_EQ(demux.Reader().References(), 2u) << "the source, and the pin's own view of the file";
    pin.Reset();
    EXPECT_EQ(demux.Reader().References(), 1u);
    ASSERT_EQ(demux.Connect(), S_OK);
    pin = ComPtr<CVXMkvDmxOutputPin>();
  }
  EXPECT_EQ(CBaseObject::ObjectsActive(), 0);

  auto filter = Demux::NewFilter();
  ComPtr<IPin> input(static_cast<IPin*>(filter->GetPin(0)));
  filter.Reset();
  PIN_INFO info = {};
  ASSERT_EQ(input->QueryPinInfo(&info), S_OK);
  ComPtr<IBaseFilter> again = ComPtr<IBaseFilter>::Adopt(info.pFilter);
  CLSID clsid = {};
  EXPECT_EQ(again->GetClassID(&clsid), S_OK);
  again.Reset();
  input.Reset();
  EXPECT_EQ(CBaseObject::ObjectsActive(), 0);
}

TEST_F(PinLifetimeTest, AHeldOutputPinOutlivesEverythingElse) {
  MemoryReader* reader = MemoryReader::Create(FileOfTwoTracks());
  ComPtr<CVXMkvDmxOutputPin> pin;
  {
    Demux demux({}, Demux::NewFilter(), reader);
    ASSERT_EQ(demux.Connect(), S_OK);
    pin = demux.Pin(1);
  }
  reader->Release();
  EXPECT_GT(CBaseObject::ObjectsActive(), 0);
  double rate = 0;
  EXPECT_EQ(pin->GetRate(&rate), S_OK);
  EXPECT_EQ(rate, 1.0);
  pin.Reset();
  EXPECT_EQ(CBaseObject::ObjectsActive(), 0);
}

TEST_F(PinLifetimeTest, EnumeratorsNoticeThatThePinsChanged) {
  Demux demux(FileOfTwoTracks());
  const auto countPins = [](IEnumPins* pins) {
    int count = 0;
    ComPtr<IPin> pin;
    while (pins->Next(1, pin.Out(), nullptr) == S_OK) ++count;
    return count;
  };
  ComPtr<IEnumPins> pins;
  ASSERT_EQ(demux.Filter().EnumPins(pins.Out()), S_OK);
  EXPECT_EQ(countPins(pins.Get()), 1);

  for (const bool connect : {true, false}) {
    ASSERT_EQ(pins->Reset(), S_OK);
    ASSERT_EQ(connect ? demux.Connect() : demux.DisconnectInput(), S_OK);
    ComPtr<IPin> pin;
    ComPtr<IEnumPins> copy;
    EXPECT_EQ(pins->Next(1, pin.Out(), nullptr), VFW_E_ENUM_OUT_OF_SYNC);
    EXPECT_EQ(pins->Skip(1), VFW_E_ENUM_OUT_OF_SYNC);
    EXPECT_EQ(pins->Clone(copy.Out()), VFW_E_ENUM_OUT_OF_SYNC);
    ASSERT_EQ(pins->Reset(), S_OK);
    EXPECT_EQ(countPins(pins.Get()), connect ? 3 : 1);
  }
}

TEST_F(PinLifetimeTest, EnumeratorsGiveThePinsInOrder) {
  Demux demux(FileOfTwoTracks());
  ASSERT_EQ(demux.Connect(), S_OK);
  ComPtr<IEnumPins> pins;
  ASSERT_EQ(demux.Filter().EnumPins(pins.Out()), S_OK);
  IPin* found[4] = {};
  ULONG count = 0;
  EXPECT_EQ(pins->Next(4, found, nullptr), E_INVALIDARG);
  EXPECT_EQ(pins->Next(4, found, &count), S_FALSE);
  ASSERT_EQ(count, 3u);
  for (int i = 0; i < 3; ++i) {
    EXPECT_EQ(found[i], static_cast<IPin*>(demux.Filter().GetPin(i)));
    found[i]->Release();
  }
}

TEST_F(PinLifetimeTest, AFailedConnectionLeavesEnumeratorsOnePin) {
  Demux demux(MkvFile({Info(), Tracks({VideoTrack(1)})}));
  EXPECT_EQ(demux.Connect(), E_UNEXPECTED);
  ComPtr<IEnumPins> pins;
  ASSERT_EQ(demux.Filter().EnumPins(pins.Out()), S_OK);
  EXPECT_EQ(pins->Skip(1), S_OK);
  EXPECT_EQ(pins->Skip(1), S_FALSE);
}

}  // namespace
}  // namespace vantor::test
