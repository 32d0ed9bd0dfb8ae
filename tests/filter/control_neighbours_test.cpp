// Neighbours that ask while a control call waits, allocators that keep what they should give back or give what nobody
// can use, and tracks that ask for too much.
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <string>
#include <thread>
#include <vector>

#include "filter/patient_filter.h"
#include "platform/platform.h"
#include "support/demux_harness.h"
#include "support/fake_allocator.h"
#include "support/filter_calls.h"
#include "support/watchdog.h"

namespace vantor::test {
namespace {

using std::chrono::milliseconds;

class ControlNeighboursTest : public DemuxTest {
 protected:
  // The workers answer as soon as they may: nothing is let go meanwhile.
  static Patience Long() { return {milliseconds(50000), milliseconds(1000), milliseconds(20)}; }
};

Raw TwoTrackFile() {
  std::vector<Raw> blocks;
  for (int i = 0; i < 20; ++i) {
    blocks.push_back(SimpleBlock(1, i * 10, kKey, {static_cast<std::uint8_t>(i)}));
    blocks.push_back(SimpleBlock(2, i * 10, kKey, {static_cast<std::uint8_t>(i)}));
  }
  return MediaFile(1000, {VideoTrack(1), AudioTrack(2)}, {{0, blocks}});
}

// What a neighbour may want to know of the filter, each with its right answer.
void ExpectAnswers(IPin* pin) {
  const ComPtr<IBaseFilter> filter = FilterOf(pin);
  ASSERT_TRUE(filter);
  ComPtr<IEnumPins> pins;
  ASSERT_EQ(filter->EnumPins(pins.Out()), S_OK);
  ComPtr<IPin> first;
  EXPECT_EQ(pins->Next(1, first.Out(), nullptr), S_OK);
  EXPECT_EQ(pins->Skip(1), S_OK);
  ComPtr<IPin> third;
  EXPECT_EQ(pins->Next(1, third.Out(), nullptr), S_OK);
  LPWSTR id = nullptr;
  EXPECT_EQ(pin->QueryId(&id), S_OK);
  ComPtr<IPin> found;
  EXPECT_EQ(filter->FindPin(id, found.Out()), S_OK);
  EXPECT_EQ(found.Get(), pin);
  CoTaskMemFree(id);
  ComPtr<IReferenceClock> clock;
  EXPECT_EQ(filter->GetSyncSource(clock.Out()), S_OK);
  EXPECT_EQ(filter->SetSyncSource(clock.Get()), S_OK);
  FILTER_INFO info = {};
  EXPECT_EQ(filter->QueryFilterInfo(&info), S_OK);
  EXPECT_EQ(filter->JoinFilterGraph(info.pGraph, info.achName), S_OK);
  if (info.pGraph != nullptr) info.pGraph->Release();
  AskEverything(pin);
}

// ---- Neighbours that ask ----

TEST_F(ControlNeighboursTest, TheFilterAnswersFromInsideReceiveWhileAStopWaitsForIt) {
  const Watchdog watchdog("a stop while a sink asks");
  // Before the connection, whose end decommits once more.
  CAMEvent isInside(TRUE);
  CAMEvent isStopping(TRUE);
  std::atomic<int> asked{0};
  Demux demux(TwoTrackFile(), NewPatientFilter(Long()));
  ASSERT_EQ(demux.Connect(), S_OK);
  const auto sink = FakeSink::Create();
  const auto allocator = FakeAllocator::GivenTo(*sink);
  const auto pin = demux.Pin(1);
  // A stop decommits before it waits for the worker.
  allocator->onDecommit = [&] { return isStopping.Set(), S_OK; };
  sink->onReceive = [&](IMediaSample*) {
    if (asked != 0) return S_OK;
    isInside.Set();
    isStopping.Wait();
    ExpectAnswers(pin.Get());
    ++asked;
    return S_OK;
  };
  demux.AddSink(1, sink);
  ASSERT_EQ(demux.Run(), S_OK);
  isInside.Wait();
  EXPECT_EQ(demux.Filter().Stop(), S_OK);
  EXPECT_EQ(asked, 1);
  EXPECT_EQ(demux.Stop(), S_OK);
}

TEST_F(ControlNeighboursTest, TheFilterAnswersFromInsideNewSegmentAndTheEndWhileASeekWaitsForThem) {
  for (const std::string call : {"segment", "end"}) {
    SCOPED_TRACE(call);
    const Watchdog watchdog("a seek while a sink asks");
    Demux demux(TwoTrackFile(), NewPatientFilter(Long()));
    ASSERT_EQ(demux.Connect(), S_OK);
    const auto sink = FakeSink::Create();
    const auto pin = demux.Pin(1);
    CAMEvent isInside(TRUE);
    CAMEvent isFlushing(TRUE);
    std::atomic<int> asked{0};
    sink->onBeginFlush = [&] { isFlushing.Set(); };
    sink->onCall = [&](const std::string& entry) {
      if (asked != 0 || entry.rfind(call, 0) != 0) return;
      isInside.Set();
      isFlushing.Wait();
      ExpectAnswers(pin.Get());
      ++asked;
    };
    demux.AddSink(1, sink);
    ASSERT_EQ(demux.Run(), S_OK);
    isInside.Wait();
    EXPECT_EQ(demux.Seek(30 * kMillisecond), S_OK);
    EXPECT_EQ(asked, 1);
    EXPECT_EQ(demux.Stop(), S_OK);
  }
}

TEST_F(ControlNeighboursTest, TheFilterAnswersAnyThreadThatAFlushWaitsFor) {
  // A sink whose BeginFlush waits for a thread of its own, which asks.
  const Watchdog watchdog("a flush that waits for a thread that asks");
  Demux demux(TwoTrackFile(), NewPatientFilter(Long()));
  ASSERT_EQ(demux.Connect(), S_OK);
  const auto sink = FakeSink::Create();
  const auto pin = demux.Pin(1);
  int asked = 0;
  sink->onBeginFlush = [&] {
    std::thread([&] {
      ExpectAnswers(pin.Get());
      ++asked;
    }).join();
  };
  demux.AddSink(1, sink);
  ASSERT_EQ(demux.Run(), S_OK);
  EXPECT_EQ(demux.Seek(30 * kMillisecond), S_OK);
  EXPECT_EQ(asked, 1);
  EXPECT_EQ(demux.Stop(), S_OK);
}

// ---- Allocators ----

Raw LargeFrames(const Raw& track, std::size_t size) {
  return MediaFile(1000, {track},
                   {{0,
                     {SimpleBlock(1, 0, kKey, Fill(10)), SimpleBlock(1, 10, kKey, Ramp(size)),
                      SimpleBlock(1, 20, kKey, Fill(20)), SimpleBlock(1, 30, kKey, Ramp(size + 1))}}});
}

std::vector<std::size_t> SizesOf(const FakeSink& sink) {
  std::vector<std::size_t> sizes;
  for (const ReceivedSample& sample : sink.Samples()) sizes.push_back(sample.bytes.size());
  return sizes;
}

TEST_F(ControlNeighboursTest, AFrameOfACompressedTrackPassesByAnAllocatorThatStaysCommitted) {
  const Watchdog watchdog("playing over an allocator that stays committed");
  Demux demux(LargeFrames(VideoTrack(1), 5000),
              NewPatientFilter({milliseconds(20), milliseconds(20), milliseconds(20)}));
  ASSERT_EQ(demux.Connect(), S_OK);
  const auto sink = FakeSink::Create();
  const auto allocator = FakeAllocator::GivenTo(*sink);
  std::atomic<int> refused{0};
  allocator->onSetProperties = [&](ALLOCATOR_PROPERTIES& request) {
    return request.cbBuffer > 1024 ? (++refused, VFW_E_ALREADY_COMMITTED) : S_OK;
  };
  demux.AddSink(1, sink);
  demux.PlayToEnd();
  EXPECT_EQ(SizesOf(*sink), (std::vector<std::size_t>{10, 5000, 20, 5001}));
  EXPECT_EQ(sink->Samples().at(1).bytes, Ramp(5000));
  EXPECT_TRUE(demux.Events().empty());
  EXPECT_GT(refused, 0);
}

TEST_F(ControlNeighboursTest, AFrameOfAnUncompressedTrackIsSkippedAndReportedThere) {
  const Watchdog watchdog("playing sound over an allocator that stays committed");
  constexpr std::size_t kSize = 300000;  // the buffers for sound are of 256,000 bytes
  const Raw track = Track(1, 2, "A_PCM/INT/LIT", {Audio(48000, 2), UInt(0x6264, 16)});
  Demux demux(LargeFrames(track, kSize), NewPatientFilter({milliseconds(20), milliseconds(20), milliseconds(20)}));
  ASSERT_EQ(demux.Connect(), S_OK);
  const auto sink = FakeSink::Create();
  const auto allocator = FakeAllocator::GivenTo(*sink);
  allocator->onSetProperties = [&](ALLOCATOR_PROPERTIES& request) {
    return request.cbBuffer >= static_cast<LONG>(kSize) ? VFW_E_ALREADY_COMMITTED : S_OK;
  };
  demux.AddSink(1, sink);
  demux.PlayToEnd();
  EXPECT_EQ(SizesOf(*sink), (std::vector<std::size_t>{10, 20}));
  const auto events = demux.Events();
  ASSERT_EQ(events.size(), 2U);
  for (const GraphEvent& event : events) {
    EXPECT_EQ(event.code, EC_STREAM_ERROR_STILLPLAYING);
    EXPECT_EQ(event.param1, VFW_E_BUFFER_OVERFLOW);
  }
}

TEST_F(ControlNeighboursTest, AnAllocatorThatGivesNoSampleIsAskedAgain) {
  const Watchdog watchdog("playing over an allocator that gives nothing");
  Demux demux(TwoTrackFile(), NewPatientFilter(Long()));
  ASSERT_EQ(demux.Connect(), S_OK);
  const auto sink = FakeSink::Create();
  const auto allocator = FakeAllocator::GivenTo(*sink);
  allocator->emptyAnswers = 3;
  demux.AddSink(1, sink);
  demux.PlayToEnd();
  EXPECT_EQ(sink->SampleCount(), 20U);
  EXPECT_EQ(allocator->emptyAnswers, 0);
}

TEST_F(ControlNeighboursTest, AnAllocatorThatNeverGivesASampleDoesNotHoldAStop) {
  const Watchdog watchdog("stopping over an allocator that gives nothing");
  Demux demux(TwoTrackFile(), NewPatientFilter(Long()));
  ASSERT_EQ(demux.Connect(), S_OK);
  const auto sink = FakeSink::Create();
  const auto allocator = FakeAllocator::GivenTo(*sink);
  constexpr int kMany = 1000000;
  allocator->emptyAnswers = kMany;
  demux.AddSink(1, sink);
  ASSERT_EQ(demux.Run(), S_OK);
  while (allocator->emptyAnswers == kMany) SleepMilliseconds(1);
  EXPECT_EQ(demux.Stop(), S_OK);
  EXPECT_EQ(sink->SampleCount(), 0U);
}

// ---- What is asked for ----

TEST_F(ControlNeighboursTest, APictureOfNegativeHeightAsksForNoMoreThanTheLargestFrame) {
  constexpr LONG kMost = 256 << 20;
  for (const std::uint64_t height :
       {std::uint64_t{0xFFFFFFF0}, std::uint64_t{0x80000000}, std::uint64_t{0x7FFFFFFF}, std::uint64_t{100000}}) {
    SCOPED_TRACE(height);
    Demux demux(MediaFile(1000, {VideoTrack(1, 720, height)}, {{0, {SimpleBlock(1, 0, kKey, Fill(10))}}}),
                NewPatientFilter(Long()));
    ASSERT_EQ(demux.Connect(), S_OK);
    const auto sink = FakeSink::Create();
    const auto allocator = FakeAllocator::GivenTo(*sink);
    LONG asked = 0;
    LONG count = 0;
    allocator->onSetProperties = [&](ALLOCATOR_PROPERTIES& request) {
      asked = request.cbBuffer;
      count = request.cBuffers;
      request.cbBuffer = 4096;
      return S_OK;
    };
    demux.AddSink(1, sink);
    EXPECT_GT(asked, 0);
    EXPECT_LE(asked, kMost);
    EXPECT_EQ(count, 2);
    demux.PlayToEnd();
    EXPECT_EQ(sink->SampleCount(), 1U);
  }
}

}  // namespace
}  // namespace vantor::test
