// Stop, Pause and Run, and what they do to the pins.
#include <atomic>
#include <condition_variable>
#include <mutex>
#include <string>
#include <vector>

#include "platform/platform.h"
#include "support/allocation_monitor.h"
#include "support/demux_harness.h"
#include "support/fake_allocator.h"

namespace vantor::test {
namespace {

class FilterStateTest : public DemuxTest {};

Raw ThreeTrackFile() {
  std::vector<Raw> blocks;
  for (int i = 0; i < 20; ++i) {
    for (const std::uint64_t track : {1, 2, 3}) {
      blocks.push_back(SimpleBlock(track, i * 10, kKey, {static_cast<std::uint8_t>(i)}));
    }
  }
  return MediaFile(1000, {AudioTrack(1), AudioTrack(2), AudioTrack(3)}, {{0, blocks}});
}

FILTER_STATE StateOf(Demux& demux) {
  FILTER_STATE state = State_Stopped;
  EXPECT_EQ(demux.Filter().GetState(0, &state), S_OK);
  return state;
}

// A sink whose allocator a test can spoil.
struct SpoiltSink {
  const ComPtr<FakeSink> sink = FakeSink::Create();
  const ComPtr<FakeAllocator> allocator = FakeAllocator::GivenTo(*sink);
};

TEST_F(FilterStateTest, GoesThroughItsStates) {
  Demux demux(ThreeTrackFile());
  ASSERT_EQ(demux.Connect(), S_OK);
  demux.AddSink(1);
  EXPECT_EQ(StateOf(demux), State_Stopped);
  EXPECT_EQ(demux.Pause(), S_OK);
  EXPECT_EQ(StateOf(demux), State_Paused);
  EXPECT_EQ(demux.Run(), S_OK);
  EXPECT_EQ(StateOf(demux), State_Running);
  EXPECT_EQ(demux.Pause(), S_OK);
  EXPECT_EQ(StateOf(demux), State_Paused);
  EXPECT_EQ(demux.Stop(), S_OK);
  EXPECT_EQ(StateOf(demux), State_Stopped);
  EXPECT_EQ(demux.Stop(), S_OK);
}

TEST_F(FilterStateTest, EveryConnectedPinHasOneWorkerWhileTheFilterIsActive) {
  Demux demux(ThreeTrackFile());
  ASSERT_EQ(demux.Connect(), S_OK);
  FakeSink& first = demux.AddSink(1);
  FakeSink& third = demux.AddSink(3);
  ASSERT_EQ(demux.Pause(), S_OK);
  EXPECT_TRUE(demux.Pin(1)->ThreadExists());
  EXPECT_FALSE(demux.Pin(2)->ThreadExists()) << "not connected";
  EXPECT_TRUE(demux.Pin(3)->ThreadExists());
  first.WaitForEnds(1);
  third.WaitForEnds(1);
  ASSERT_EQ(demux.Stop(), S_OK);
  for (const int pin : {1, 2, 3}) EXPECT_FALSE(demux.Pin(pin)->ThreadExists());
}

TEST_F(FilterStateTest, PausingWithNothingConnectedSucceeds) {
  Demux demux(ThreeTrackFile());
  EXPECT_EQ(demux.Pause(), S_OK) << "not even the input";
  EXPECT_EQ(demux.Stop(), S_OK);
  ASSERT_EQ(demux.Connect(), S_OK);
  EXPECT_EQ(demux.Pause(), S_OK);
  EXPECT_EQ(demux.Run(), S_OK);
  for (const int pin : {1, 2, 3}) EXPECT_FALSE(demux.Pin(pin)->ThreadExists());
  EXPECT_EQ(demux.Stop(), S_OK);
}

TEST_F(FilterStateTest, PausingARunningFilterStartsNothingAnew) {
  Demux demux(ThreeTrackFile());
  ASSERT_EQ(demux.Connect(), S_OK);
  FakeSink& sink = demux.AddSink(1);
  ASSERT_EQ(demux.Run(), S_OK);
  sink.WaitForEnds(1);
  ASSERT_EQ(demux.Pause(), S_OK);
  ASSERT_EQ(demux.Run(), S_OK);
  ASSERT_EQ(demux.Pause(), S_OK);
  ASSERT_EQ(demux.Stop(), S_OK);
  EXPECT_EQ(sink.Segments(), 1);
}

TEST_F(FilterStateTest, AnActivePinIsNotActivatedAgain) {
  Demux demux(ThreeTrackFile());
  ASSERT_EQ(demux.Connect(), S_OK);
  demux.AddSink(1);
  EXPECT_EQ(demux.Pin(2)->Active(), S_OK) << "not connected: nothing to do";
  EXPECT_EQ(demux.Pin(2)->Inactive(), S_OK);
  ASSERT_EQ(demux.Pause(), S_OK);
  EXPECT_EQ(demux.Pin(1)->Active(), S_FALSE);
  EXPECT_EQ(demux.Pin(2)->Active(), S_FALSE);
  EXPECT_EQ(demux.Filter().GetPin(0)->Active(), S_OK) << "the input pin has nothing to start";
  ASSERT_EQ(demux.Stop(), S_OK);
}

TEST_F(FilterStateTest, AFailureToActivateAPinIsReturnedAtOnceAndTheFilterStaysStopped) {
  Demux demux(ThreeTrackFile());
  ASSERT_EQ(demux.Connect(), S_OK);
  FakeSink& first = demux.AddSink(1);
  SpoiltSink second;
  demux.AddSink(2, second.sink);
  FakeSink& third = demux.AddSink(3);
  second.allocator->onCommit = [] { return E_OUTOFMEMORY; };
  EXPECT_EQ(demux.Pause(), E_OUTOFMEMORY);
  EXPECT_EQ(StateOf(demux), State_Stopped);
  EXPECT_TRUE(demux.Pin(1)->ThreadExists()) << "activated before the failure";
  EXPECT_FALSE(demux.Pin(2)->ThreadExists());
  EXPECT_FALSE(demux.Pin(3)->ThreadExists());
  first.WaitForEnds(1);
  EXPECT_EQ(third.Segments(), 0);
  EXPECT_EQ(demux.Filter().Run(0), E_OUTOFMEMORY);
  EXPECT_EQ(StateOf(demux), State_Stopped);

  second.allocator->onCommit = nullptr;
  ASSERT_EQ(demux.Stop(), S_OK);
  ASSERT_EQ(demux.Seek(1), S_OK);
  ASSERT_EQ(demux.Seek(0), S_OK);
  const std::size_t before = first.SampleCount();
  demux.PlayToEnd();
  EXPECT_EQ(first.SampleCount() - before, 20u) << "the next attempt is not held up by it";
  EXPECT_EQ(second.sink->SampleCount(), 20u);
  EXPECT_EQ(third.SampleCount(), 20u);
}

TEST_F(FilterStateTest, AWorkerLeftOverByAFailedPauseIsEndedByASeek) {
  Demux demux(ThreeTrackFile());
  ASSERT_EQ(demux.Connect(), S_OK);
  // The first pin's worker waits for a buffer: its samples are held.
  const auto first = FakeSink::Create();
  std::vector<ComPtr<IMediaSample>> held;
  first->onReceive = [&](IMediaSample* sample) {
    held.emplace_back(sample);
    return S_OK;
  };
  demux.AddSink(1, first);
  SpoiltSink second;
  demux.AddSink(2, second.sink);
  second.allocator->onCommit = [] { return E_OUTOFMEMORY; };
  EXPECT_EQ(demux.Pause(), E_OUTOFMEMORY);
  first->WaitForSamples(2);
  EXPECT_TRUE(demux.Pin(1)->ThreadExists());
  EXPECT_EQ(demux.Seek(50 * kMillisecond), S_OK);
  EXPECT_FALSE(demux.Pin(1)->ThreadExists());
  held.clear();
}

// A worker left over that downstream holds in Receive, as a paused renderer does, until it is flushed.
struct HeldWorker {
  HeldWorker() : demux(ThreeTrackFile()) {
    EXPECT_EQ(demux.Connect(), S_OK);
    sink->onReceive = [this](IMediaSample*) {
      std::unique_lock hold(mutex);
      flushed.wait(hold, [this] { return isFlushing; });
      return S_FALSE;
    };
    sink->onCall = [this](const std::string& entry) {
      if (entry != "begin flush" && entry != "end flush") return;
      const std::lock_guard hold(mutex);
      isFlushing = entry == "begin flush";
      flushed.notify_all();
    };
    demux.AddSink(1, sink);
    demux.AddSink(2, second.sink);
    second.allocator->onCommit = [] { return E_OUTOFMEMORY; };
    EXPECT_EQ(demux.Pause(), E_OUTOFMEMORY);
    sink->WaitForSamples(1);
    EXPECT_TRUE(demux.Pin(1)->ThreadExists());
  }

  Demux demux;
  const ComPtr<FakeSink> sink = FakeSink::Create();
  SpoiltSink second;
  std::mutex mutex;
  std::condition_variable flushed;
  bool isFlushing = false;
};

TEST_F(FilterStateTest, AWorkerLeftOverInReceiveIsEndedByASeek) {
  HeldWorker left;
  EXPECT_EQ(left.demux.Seek(50 * kMillisecond), S_OK);
  EXPECT_FALSE(left.demux.Pin(1)->ThreadExists());
}

TEST_F(FilterStateTest, AWorkerLeftOverInReceiveIsEndedByTheNextPause) {
  HeldWorker left;
  EXPECT_EQ(left.demux.Pause(), E_OUTOFMEMORY);
  // The first worker may have run through refused samples to the end before it was told to stop, so that there may be
  // no sample left for the second.
  left.sink->WaitForSegments(2);
  EXPECT_TRUE(left.demux.Pin(1)->ThreadExists()) << "a worker of its own";
  EXPECT_EQ(left.sink->Segments(), 2);
  EXPECT_EQ(left.demux.Seek(50 * kMillisecond), S_OK);
}

TEST_F(FilterStateTest, AWorkerLeftOverInReceiveEndsWithTheConnection) {
  HeldWorker left;
  const auto pin = left.demux.Pin(1);
  EXPECT_EQ(left.demux.DisconnectInput(), S_OK);
  EXPECT_FALSE(pin->ThreadExists());
}

TEST_F(FilterStateTest, AWorkerLeftOverInReceiveEndsWithItsPinsConnection) {
  HeldWorker left;
  const auto pin = left.demux.Pin(1);
  EXPECT_EQ(pin->Disconnect(), S_OK);
  EXPECT_FALSE(pin->ThreadExists());
  const std::lock_guard hold(left.mutex);
  EXPECT_FALSE(left.isFlushing) << "the flush that freed it has ended";
}

TEST_F(FilterStateTest, AWorkerLeftOverLeavesItsAllocatorDecommitted) {
  Demux demux(ThreeTrackFile());
  ASSERT_EQ(demux.Connect(), S_OK);
  SpoiltSink first;
  demux.AddSink(1, first.sink);
  SpoiltSink second;
  demux.AddSink(2, second.sink);
  second.allocator->onCommit = [] { return E_OUTOFMEMORY; };
  EXPECT_EQ(demux.Pause(), E_OUTOFMEMORY);
  first.sink->WaitForEnds(1);
  EXPECT_TRUE(first.allocator->Committed());
  EXPECT_EQ(demux.Seek(50 * kMillisecond), S_OK);
  EXPECT_FALSE(first.allocator->Committed());
}

TEST_F(FilterStateTest, AStopIsToldToAllWorkersBeforeTheFirstIsWaitedFor) {
  Demux demux(ThreeTrackFile());
  ASSERT_EQ(demux.Connect(), S_OK);
  // The second finds no buffer, and leaves its run for the stop alone. The first comes back after that.
  SpoiltSink second;
  second.allocator->onGetBuffer = [] { return E_FAIL; };
  std::atomic<bool> isStopping{false};
  std::atomic<bool> isStopped{false};
  ComPtr<CVXMkvDmxOutputPin> pin;
  const auto first = FakeSink::Create();
  first->onReceive = [&](IMediaSample*) {
    while (!isStopped && (!isStopping || pin->IsStreaming())) SleepMilliseconds(1);
    return S_OK;
  };
  demux.AddSink(1, first);
  demux.AddSink(2, second.sink);
  pin = demux.Pin(2);
  ASSERT_EQ(demux.Pause(), S_OK);
  first->WaitForSamples(1);
  isStopping = true;
  EXPECT_EQ(demux.Filter().Stop(), S_OK);
  isStopped = true;
  EXPECT_EQ(demux.Stop(), S_OK);
}

TEST_F(FilterStateTest, AWorkerLeftOverByAFailedPauseEndsWithTheConnection) {
  Demux demux(ThreeTrackFile());
  ASSERT_EQ(demux.Connect(), S_OK);
  demux.AddSink(1);
  SpoiltSink second;
  demux.AddSink(2, second.sink);
  second.allocator->onCommit = [] { return E_OUTOFMEMORY; };
  EXPECT_EQ(demux.Pause(), E_OUTOFMEMORY);
  const auto pin = demux.Pin(1);
  EXPECT_TRUE(pin->ThreadExists());
  demux.DisconnectInput();
  EXPECT_FALSE(pin->ThreadExists());
}

TEST_F(FilterStateTest, AFailureToDeactivateAPinIsReturnedAndTheOthersAreStoppedAllTheSame) {
  Demux demux(ThreeTrackFile());
  ASSERT_EQ(demux.Connect(), S_OK);
  demux.AddSink(1);
  SpoiltSink second;
  demux.AddSink(2, second.sink);
  SpoiltSink third;
  demux.AddSink(3, third.sink);
  ASSERT_EQ(demux.Run(), S_OK);
  second.allocator->onDecommit = [] { return E_ABORT; };
  third.allocator->onDecommit = [] { return E_ACCESSDENIED; };
  EXPECT_EQ(demux.Filter().Stop(), E_ABORT) << "the first failure";
  EXPECT_EQ(StateOf(demux), State_Stopped);
  EXPECT_FALSE(demux.Pin(1)->ThreadExists());

  second.allocator->onDecommit = nullptr;
  third.allocator->onDecommit = nullptr;
  ASSERT_EQ(demux.Stop(), S_OK);
  ASSERT_EQ(demux.Seek(1), S_OK);
  ASSERT_EQ(demux.Seek(0), S_OK);
  const std::size_t before = second.sink->SampleCount();
  demux.PlayToEnd();
  EXPECT_EQ(second.sink->SampleCount() - before, 20u);
}

TEST_F(FilterStateTest, EveryAllocationOfAStartMayFail) {
  if (!WatchesAllocations()) GTEST_SKIP();
  bool done = false;
  int refused = 0;
  for (std::uint64_t n = 1; !done; ++n) {
    SCOPED_TRACE("allocation " + std::to_string(n));
    Demux demux(ThreeTrackFile());
    ASSERT_EQ(demux.Connect(), S_OK);
    std::vector<FakeSink*> sinks;
    for (const int pin : {1, 2, 3}) sinks.push_back(&demux.AddSink(pin));
    for (FakeSink* sink : sinks) ASSERT_EQ(sink->Pause(), S_OK);
    FailAllocation(n);
    const HRESULT result = demux.Filter().Pause();
    FailAllocation(0);
    done = result == S_OK;
    if (!done) {
      ++refused;
      EXPECT_TRUE(result == E_OUTOFMEMORY || result == E_FAIL) << result;
      EXPECT_EQ(StateOf(demux), State_Stopped);
    }
    EXPECT_EQ(demux.Stop(), S_OK);
    ASSERT_EQ(demux.Seek(1), S_OK);
    ASSERT_EQ(demux.Seek(0), S_OK);
    for (FakeSink* sink : sinks) ASSERT_EQ(sink->Pause(), S_OK);
    std::vector<std::size_t> before;
    for (FakeSink* sink : sinks) before.push_back(sink->SampleCount());
    demux.PlayToEnd();
    for (std::size_t i = 0; i < sinks.size(); ++i) EXPECT_EQ(sinks[i]->SampleCount() - before[i], 20u);
  }
  EXPECT_GE(refused, 2) << "the thread of the first pin at least";
}

TEST_F(FilterStateTest, StoppingAStoppedFilterLeavesThePinsAlone) {
  Demux demux(ThreeTrackFile());
  ASSERT_EQ(demux.Connect(), S_OK);
  SpoiltSink only;
  demux.AddSink(1, only.sink);
  only.allocator->onDecommit = [] { return E_ABORT; };
  EXPECT_EQ(demux.Filter().Stop(), S_OK);
  only.allocator->onDecommit = nullptr;
}

TEST_F(FilterStateTest, PinsAreNeitherConnectedNorDisconnectedWhileActive) {
  Demux demux(ThreeTrackFile());
  ASSERT_EQ(demux.Connect(), S_OK);
  demux.AddSink(1);
  ASSERT_EQ(demux.Pause(), S_OK);
  EXPECT_EQ(demux.Pin(1)->Disconnect(), VFW_E_NOT_STOPPED);
  EXPECT_EQ(demux.ConnectSink(2, FakeSink::Create()), VFW_E_NOT_STOPPED);
  ASSERT_EQ(demux.Stop(), S_OK);
}

TEST_F(FilterStateTest, TheLastReferenceMayGoWhileItRuns) {
  const auto sink = FakeSink::Create();
  {
    MemoryReader reader(ThreeTrackFile());
    const auto source = FakeSource::Create(&reader);
    auto filter = Demux::NewFilter();
    ASSERT_EQ(source->Pin()->Connect(filter->GetPin(0), &source->type), S_OK);
    ASSERT_EQ(filter->GetPin(1)->Connect(sink->Pin(), nullptr), S_OK);
    ASSERT_EQ(sink->Run(0), S_OK);
    ASSERT_EQ(filter->Run(0), S_OK);
    sink->WaitForEnds(1);
    // Its peers let go of it, which a filter that runs does not do itself.
    ASSERT_EQ(sink->Stop(), S_OK);
    ASSERT_EQ(sink->Pin()->Disconnect(), S_OK);
    ASSERT_EQ(source->Pin()->Disconnect(), S_OK);
    filter.Reset();
    EXPECT_EQ(reader.References(), 1u);
  }
}

}  // namespace
}  // namespace vantor::test
