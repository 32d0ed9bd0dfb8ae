// Calls back into the component from inside Receive, while another thread stops the filter or seeks.
#include <atomic>
#include <thread>

#include "support/demux_harness.h"
#include "support/fake_allocator.h"

namespace vantor::test {
namespace {

class CallbacksTest : public DemuxTest {};

Raw VideoFile() {
  std::vector<Raw> blocks;
  for (int i = 0; i < 50; ++i) blocks.push_back(SimpleBlock(1, i * 10, kKey, {static_cast<std::uint8_t>(i)}));
  return MediaFile(1000, {VideoTrack(1, 16, 16, {UInt(0x23E383, 40000000)})}, {{0, blocks}});
}

// Everything a decoder may ask its upstream pin while it holds a sample.
void AskPinAndFilter(IPin* pin) {
  ComPtr<IPin> peer;
  EXPECT_EQ(pin->ConnectedTo(peer.Out()), S_OK);
  CMediaType type;
  EXPECT_EQ(pin->ConnectionMediaType(&type), S_OK);
  EXPECT_EQ(pin->QueryAccept(&type), S_OK);
  PIN_INFO info = {};
  EXPECT_EQ(pin->QueryPinInfo(&info), S_OK);
  const auto filter = ComPtr<IBaseFilter>::Adopt(info.pFilter);
  PIN_DIRECTION direction = PINDIR_INPUT;
  EXPECT_EQ(pin->QueryDirection(&direction), S_OK);
  ComPtr<IEnumMediaTypes> types;
  EXPECT_EQ(pin->EnumMediaTypes(types.Out()), S_OK);
  AM_MEDIA_TYPE* offered = nullptr;
  EXPECT_EQ(types->Next(1, &offered, nullptr), S_OK);
  DeleteMediaType(offered);

  ComPtr<IMediaSeeking> ofPin;
  ComPtr<IMediaSeeking> ofFilter;
  EXPECT_EQ(pin->QueryInterface(IID_IMediaSeeking, ofPin.Void()), S_OK);
  EXPECT_EQ(filter->QueryInterface(IID_IMediaSeeking, ofFilter.Void()), S_OK);
  for (IMediaSeeking* seeking : {ofPin.Get(), ofFilter.Get()}) {
    LONGLONG first = 0;
    LONGLONG second = 0;
    DWORD capabilities = 0;
    GUID format = {};
    double rate = 0;
    EXPECT_EQ(seeking->GetDuration(&first), S_OK);
    EXPECT_EQ(seeking->GetCurrentPosition(&first), S_OK);
    EXPECT_EQ(seeking->GetStopPosition(&first), S_OK);
    EXPECT_EQ(seeking->GetPositions(&first, &second), S_OK);
    EXPECT_EQ(seeking->GetAvailable(&first, &second), S_OK);
    EXPECT_EQ(seeking->GetPreroll(&first), S_OK);
    EXPECT_EQ(seeking->GetRate(&rate), S_OK);
    EXPECT_EQ(seeking->GetCapabilities(&capabilities), S_OK);
    EXPECT_EQ(seeking->GetTimeFormat(&format), S_OK);
    EXPECT_EQ(seeking->IsFormatSupported(&TIME_FORMAT_FRAME), S_OK);
    EXPECT_EQ(seeking->ConvertTimeFormat(&first, &TIME_FORMAT_FRAME, 800000, &TIME_FORMAT_MEDIA_TIME), S_OK);
    EXPECT_EQ(first, 2);
  }
  CLSID clsid = {};
  EXPECT_EQ(filter->GetClassID(&clsid), S_OK);
  FILTER_STATE state = State_Stopped;
  EXPECT_EQ(filter->GetState(0, &state), S_OK);
  FILTER_INFO filterInfo = {};
  EXPECT_EQ(filter->QueryFilterInfo(&filterInfo), S_OK);
  if (filterInfo.pGraph != nullptr) filterInfo.pGraph->Release();
}

TEST_F(CallbacksTest, APinAnswersFromInsideReceiveWhileTheFilterIsBeingStopped) {
  CAMEvent inside(TRUE);
  CAMEvent stopping(TRUE);
  Demux demux(VideoFile());
  ASSERT_EQ(demux.Connect(), S_OK);
  const auto sink = FakeSink::Create();
  const auto allocator = FakeAllocator::GivenTo(*sink);
  const auto pin = demux.Pin(1);
  std::atomic<bool> asked{false};
  // Stop deactivates the allocator with the filter lock held, before it waits for the worker.
  allocator->onDecommit = [&] { return stopping.Set(), S_OK; };
  sink->onReceive = [&](IMediaSample*) {
    if (asked) return S_OK;
    inside.Set();
    stopping.Wait();
    AskPinAndFilter(pin.Get());
    asked = true;
    return S_OK;
  };
  demux.AddSink(1, sink);
  ASSERT_EQ(demux.Run(), S_OK);
  inside.Wait();
  EXPECT_EQ(demux.Filter().Stop(), S_OK);
  EXPECT_TRUE(asked);
  EXPECT_EQ(demux.Stop(), S_OK);
}

TEST_F(CallbacksTest, APinAnswersFromInsideReceiveWhileASeekWaitsForIt) {
  Demux demux(VideoFile());
  ASSERT_EQ(demux.Connect(), S_OK);
  const auto sink = FakeSink::Create();
  const auto pin = demux.Pin(1);
  CAMEvent inside(TRUE);
  CAMEvent flushing(TRUE);
  std::atomic<bool> asked{false};
  sink->onBeginFlush = [&] { flushing.Set(); };
  sink->onReceive = [&](IMediaSample*) {
    if (asked) return S_OK;
    inside.Set();
    flushing.Wait();
    AskPinAndFilter(pin.Get());
    asked = true;
    return S_OK;
  };
  demux.AddSink(1, sink);
  ASSERT_EQ(demux.Run(), S_OK);
  inside.Wait();
  EXPECT_EQ(demux.Seek(100 * kMillisecond), S_OK);
  EXPECT_TRUE(asked);
  sink->WaitForEnds(1);
  EXPECT_EQ(demux.Stop(), S_OK);
}

TEST_F(CallbacksTest, APinAnswersWhileItsWorkerDeliversTheSegmentAndTheEnd) {
  Demux demux(VideoFile());
  ASSERT_EQ(demux.Connect(), S_OK);
  const auto sink = FakeSink::Create();
  const auto pin = demux.Pin(1);
  std::atomic<int> asked{0};
  sink->onCall = [&](const std::string& call) {
    if (call != "end" && call.rfind("segment", 0) != 0) return;
    AskPinAndFilter(pin.Get());
    ++asked;
  };
  demux.AddSink(1, sink);
  demux.PlayToEnd();
  EXPECT_EQ(asked, 2);
}

TEST_F(CallbacksTest, GettersMayBeCalledFromAnyThreadWhileEverythingChanges) {
  Demux demux(VideoFile());
  ASSERT_EQ(demux.Connect(), S_OK);
  demux.AddSink(1);
  std::atomic<bool> done{false};
  std::thread reader([&] {
    while (!done) {
      LONGLONG first = 0;
      LONGLONG second = 0;
      CVXMkvDmx& filter = demux.Filter();
      filter.SetTimeFormat(&TIME_FORMAT_FRAME);
      filter.GetPositions(&first, &second);
      filter.GetDuration(&first);
      filter.ConvertTimeFormat(&first, &TIME_FORMAT_FRAME, 1000000, nullptr);
      filter.SetTimeFormat(&TIME_FORMAT_MEDIA_TIME);
      filter.SetRate(2.0);
    }
  });
  for (int i = 0; i < 30; ++i) {
    EXPECT_EQ(demux.Run(), S_OK);
    EXPECT_EQ(demux.Stop(), S_OK);
    EXPECT_EQ(demux.DisconnectInput(), S_OK);
    EXPECT_EQ(demux.Connect(), S_OK);
    EXPECT_EQ(demux.ConnectSink(1, FakeSink::Create()), S_OK);
  }
  done = true;
  reader.join();
}

}  // namespace
}  // namespace vantor::test
