// Refused samples, missing buffers, failing reads and missing memory.
#include <algorithm>
#include <atomic>

#include "platform/platform.h"
#include "support/allocation_monitor.h"
#include "support/demux_harness.h"
#include "support/fake_allocator.h"

namespace vantor::test {
namespace {

class DeliveryErrorsTest : public DemuxTest {
 protected:
  void TearDown() override {
    FailAllocation(0);
    DemuxTest::TearDown();
  }
};

Raw AudioFile(int blocks) {
  std::vector<Raw> all;
  for (int i = 0; i < blocks; ++i) all.push_back(SimpleBlock(1, i * 10, kKey, {static_cast<std::uint8_t>(i + 1)}));
  return MediaFile(10000, {AudioTrack(1)}, {{0, all}});
}

TEST_F(DeliveryErrorsTest, AFailedDeliveryEndsTheStreamWithoutAnEvent) {
  Demux demux(AudioFile(10));
  ASSERT_EQ(demux.Connect(), S_OK);
  const auto sink = FakeSink::Create();
  sink->onReceive = [&](IMediaSample*) { return sink->SampleCount() == 3 ? E_FAIL : S_OK; };
  demux.AddSink(1, sink);
  demux.PlayToEnd();
  EXPECT_EQ(sink->SampleCount(), 3u);
  EXPECT_EQ(sink->Ends(), 1);
  EXPECT_TRUE(demux.Events().empty());
}

TEST_F(DeliveryErrorsTest, AFailedDeliveryInsideALaceEndsTheStreamThere) {
  Demux demux(
      MediaFile(10000, {AudioTrack(1)},
                {{0, {SimpleBlock(1, 0, kKey | kFixed, FixedLace({{1}, {2}, {3}})), SimpleBlock(1, 9, kKey, {4})}}}));
  ASSERT_EQ(demux.Connect(), S_OK);
  const auto sink = FakeSink::Create();
  sink->onReceive = [&](IMediaSample*) { return sink->SampleCount() == 2 ? VFW_E_WRONG_STATE : S_OK; };
  demux.AddSink(1, sink);
  demux.PlayToEnd();
  EXPECT_EQ(sink->SampleCount(), 2u);
  EXPECT_EQ(sink->Ends(), 1);
}

TEST_F(DeliveryErrorsTest, ASuccessOtherThanOkGoesOn) {
  Demux demux(AudioFile(5));
  ASSERT_EQ(demux.Connect(), S_OK);
  const auto sink = FakeSink::Create();
  sink->onReceive = [](IMediaSample*) { return S_FALSE; };
  demux.AddSink(1, sink);
  demux.PlayToEnd();
  EXPECT_EQ(sink->SampleCount(), 5u);
}

TEST_F(DeliveryErrorsTest, AMissingBufferIsAskedForAgain) {
  Demux demux(AudioFile(5));
  ASSERT_EQ(demux.Connect(), S_OK);
  const auto sink = FakeSink::Create();
  const auto allocator = FakeAllocator::GivenTo(*sink);
  std::atomic<int> asked{0};
  allocator->onGetBuffer = [&] { return ++asked % 4 == 0 ? S_OK : VFW_E_TIMEOUT; };
  demux.AddSink(1, sink);
  demux.PlayToEnd();
  EXPECT_EQ(sink->SampleCount(), 5u);
  EXPECT_EQ(asked, 20);
}

TEST_F(DeliveryErrorsTest, AStopEndsTheWaitForABufferWithoutAnEndOfStream) {
  Demux demux(AudioFile(5));
  ASSERT_EQ(demux.Connect(), S_OK);
  const auto sink = FakeSink::Create();
  const auto allocator = FakeAllocator::GivenTo(*sink);
  std::atomic<int> asked{0};
  allocator->onGetBuffer = [&] { return ++asked <= 2 ? S_OK : E_FAIL; };
  demux.AddSink(1, sink);
  ASSERT_EQ(demux.Run(), S_OK);
  while (asked < 10) SleepMilliseconds(1);
  EXPECT_EQ(demux.Stop(), S_OK);
  EXPECT_EQ(sink->SampleCount(), 2u);
  EXPECT_EQ(sink->Ends(), 0);
  EXPECT_TRUE(demux.Events().empty());
}

TEST_F(DeliveryErrorsTest, EveryReadMayFailAndTheStreamStillEnds) {
  const Raw file = MediaFile(10000, {AudioTrack(1), AudioTrack(2)},
                             {{0,
                               {SimpleBlock(1, 0, kKey, {1}), BlockGroup({Block(1, 10, 0, {2}), BlockDuration(5)}),
                                SimpleBlock(2, 0, kKey, {9}), SimpleBlock(1, 20, kKey | kXiph, XiphLace({{3}, {4}}))}},
                              {50, {SimpleBlock(1, 0, kKey, {5})}}});
  const auto play = [&](std::uint64_t failing, bool andAllLater, std::uint64_t& reads) {
    Demux demux(file);
    EXPECT_EQ(demux.Connect(), S_OK);
    FakeSink& sink = demux.AddSink(1);
    demux.Reader().ResetCounters();
    demux.Reader().FailRead(failing, STG_E_READFAULT, andAllLater);
    demux.PlayToEnd();
    reads = demux.Reader().Reads();
    EXPECT_EQ(sink.Ends(), 1) << "read " << failing;
    EXPECT_TRUE(demux.Events().empty()) << "read " << failing;
    return sink.SampleCount();
  };
  std::uint64_t reads = 0;
  ASSERT_EQ(play(0, false, reads), 5u);
  const std::uint64_t all = reads;
  for (std::uint64_t n = 1; n <= all; ++n) {
    EXPECT_LE(play(n, false, reads), 6u);
    EXPECT_LE(play(n, true, reads), 5u);
  }
  EXPECT_EQ(play(all + 1, true, reads), 5u);
}

// Identifier, size and value; then the first child's identifier and size, which is the time again.
constexpr std::uint64_t kReadsOfTheClustersTime = 5;

TEST_F(DeliveryErrorsTest, AFrameThatCannotBeReadIsEmptyAndTheStreamGoesOn) {
  Demux demux(AudioFile(3));
  ASSERT_EQ(demux.Connect(), S_OK);
  FakeSink& sink = demux.AddSink(1);
  demux.Reader().ResetCounters();
  demux.Reader().FailRead(kReadsOfTheClustersTime + 6);  // identifier, size, track, time, flags, frame
  demux.PlayToEnd();
  const auto samples = sink.Samples();
  ASSERT_EQ(samples.size(), 3u);
  EXPECT_TRUE(samples[0].bytes.empty());
  EXPECT_EQ(samples[1].bytes, (Raw{2}));
}

TEST_F(DeliveryErrorsTest, AShortReadEndsNoMoreThanItsFrame) {
  Demux demux(
      MediaFile(10000, {AudioTrack(1)}, {{0, {SimpleBlock(1, 0, kKey, {1, 1}), SimpleBlock(1, 10, kKey, {2, 2})}}}));
  ASSERT_EQ(demux.Connect(), S_OK);
  FakeSink& sink = demux.AddSink(1);
  demux.Reader().ResetCounters();
  demux.Reader().ShortenRead(kReadsOfTheClustersTime + 6);
  demux.PlayToEnd();
  EXPECT_EQ(sink.SampleCount(), 2u);
  EXPECT_EQ(sink.Ends(), 1);
}

TEST_F(DeliveryErrorsTest, AFileThatEndsEarlyEndsTheStream) {
  const Raw whole = AudioFile(10);
  Demux demux(whole);
  ASSERT_EQ(demux.Connect(), S_OK);
  FakeSink& sink = demux.AddSink(1);
  // From the twentieth read on nothing is there any more.
  demux.Reader().FailRead(20, S_FALSE, true);
  demux.PlayToEnd();
  EXPECT_LT(sink.SampleCount(), 10u);
  EXPECT_TRUE(demux.Events().empty());
}

// Fails the allocation for the frame of these bytes, when it is read.
void StarveFrame(Demux& demux, const Raw& file, const Raw& frame) {
  const auto found = std::search(file.begin(), file.end(), frame.begin(), frame.end());
  const auto flags = static_cast<std::int64_t>(found - file.begin()) - 1;
  demux.Reader().OnRead([flags](std::int64_t position, std::int32_t) {
    if (position == flags) FailAllocation(1);
  });
}

TEST_F(DeliveryErrorsTest, OutOfMemoryOnAWorkerEndsItsStreamWithAnError) {
  if (!WatchesAllocations()) GTEST_SKIP();
  const Raw large = Fill(100000, 0x77);
  const Raw file = MediaFile(10000, {AudioTrack(1), AudioTrack(2)},
                             {{0,
                               {SimpleBlock(1, 0, kKey, {1}), SimpleBlock(2, 0, kKey, {2}),
                                SimpleBlock(1, 10, kKey, large), SimpleBlock(2, 10, kKey, {3})}}});
  Demux demux(file);
  ASSERT_EQ(demux.Connect(), S_OK);
  FakeSink& starved = demux.AddSink(1);
  StarveFrame(demux, file, large);
  demux.PlayToEnd();
  EXPECT_EQ(starved.Ends(), 1);
  EXPECT_EQ(starved.SampleCount(), 0u) << "the block before it needs its time and is lost with it";
  const auto events = demux.Events();
  ASSERT_EQ(events.size(), 1u);
  EXPECT_EQ(events[0].code, EC_ERRORABORT);
  EXPECT_EQ(events[0].param1, E_OUTOFMEMORY);
  EXPECT_EQ(events[0].param2, 0);

  // With memory again all of it plays, and the other pin was never harmed.
  demux.Reader().OnRead(nullptr);
  FakeSink& other = demux.AddSink(2);
  ASSERT_EQ(demux.Seek(1), S_OK);
  ASSERT_EQ(demux.Seek(0), S_OK);
  demux.PlayToEnd();
  EXPECT_EQ(starved.Samples().back().bytes, large);
  EXPECT_EQ(other.SampleCount(), 2u);
}

TEST_F(DeliveryErrorsTest, WithoutAGraphToTellAnErrorOnlyEndsTheStream) {
  if (!WatchesAllocations()) GTEST_SKIP();
  const Raw large = Fill(100000, 0x77);
  const Raw file = MediaFile(10000, {AudioTrack(1)}, {{0, {SimpleBlock(1, 0, kKey, large)}}});
  Demux demux(file);
  ASSERT_EQ(demux.Connect(), S_OK);
  ASSERT_EQ(demux.Filter().JoinFilterGraph(nullptr, nullptr), S_OK);
  FakeSink& sink = demux.AddSink(1);
  StarveFrame(demux, file, large);
  demux.PlayToEnd();
  EXPECT_EQ(sink.Ends(), 1);
  EXPECT_EQ(sink.SampleCount(), 0u);
}

}  // namespace
}  // namespace vantor::test
