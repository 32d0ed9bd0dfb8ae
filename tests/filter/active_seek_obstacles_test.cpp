// Seeks while paused or running that meet workers held downstream, pins that cannot follow, and sinks that refuse.
#include <algorithm>
#include <atomic>
#include <iterator>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "filter/active_seek.h"
#include "platform/platform.h"
#include "support/fake_allocator.h"

namespace vantor::test {
namespace {

using Calls = std::vector<std::string>;

constexpr std::int64_t kDuration = 1000 * kMillisecond;
constexpr std::int64_t kTarget = 520 * kMillisecond;

const Calls kFlush{"begin flush", "end flush"};
// A seek to the target, with all that a pin gets of it up to the end.
const Calls kPlayedFromTarget = Chain({{SegmentCall(kTarget, kDuration)}, SampleCalls(10), {"end"}});
const Raw kNumbersFromTarget{10, 11, 12, 13, 14, 15, 16, 17, 18, 19};

class ActiveSeekObstaclesTest : public DemuxTest, public testing::WithParamInterface<FILTER_STATE> {
 protected:
  static void Start(Demux& demux) { ASSERT_EQ(GetParam() == State_Running ? demux.Run() : demux.Pause(), S_OK); }
  // Every sink keeps its first sample.
  static void Hold(ActiveSeek& at) {
    at.HoldAt(0);
    at.Start(GetParam());
    at.WaitUntilHeld();
  }
};

INSTANTIATE_TEST_SUITE_P(, ActiveSeekObstaclesTest, testing::Values(State_Paused, State_Running),
                         [](const auto& parameter) {
                           return std::string(parameter.param == State_Paused ? "Paused" : "Running");
                         });

// The numbers of all samples but the first ones.
Raw NumbersOf(const FakeSink& sink, std::size_t skipped) {
  Raw numbers;
  const auto samples = sink.Samples();
  for (std::size_t i = skipped; i < samples.size(); ++i) numbers.push_back(samples[i].bytes.at(1));
  return numbers;
}

// ---- Workers that downstream holds, threads that come at the same time ----

TEST_P(ActiveSeekObstaclesTest, ASinkThatBlocksInReceiveIsReleasedByTheFlush) {
  Demux demux(NumberedFile());
  ASSERT_EQ(demux.Connect(), S_OK);
  const auto sink = FakeSink::Create();
  CAMEvent blocked(TRUE);
  CAMEvent released(TRUE);
  std::atomic<bool> flushed{false};
  sink->onBeginFlush = [&] {
    flushed = true;
    released.Set();
  };
  sink->onReceive = [&](IMediaSample*) -> HRESULT {
    if (flushed) return S_OK;
    blocked.Set();
    released.Wait();
    return S_FALSE;
  };
  demux.AddSink(1, sink);
  Start(demux);
  blocked.Wait();
  ASSERT_EQ(demux.Seek(kTarget), S_OK);
  sink->WaitForSamples(1 + kNumbersFromTarget.size());
  ASSERT_EQ(demux.Stop(), S_OK);
  EXPECT_EQ(NumbersOf(*sink, 1), kNumbersFromTarget) << "what came during the flush was refused";
  EXPECT_EQ(sink->Segments(), 2);
}

TEST_P(ActiveSeekObstaclesTest, AWorkerThatWaitsForABufferGoesOnWhenTheFlushGivesSomeBack) {
  // The sink keeps both buffers; the worker waits for a third.
  Demux demux(NumberedFile());
  ASSERT_EQ(demux.Connect(), S_OK);
  const auto sink = FakeSink::Create();
  const auto allocator = FakeAllocator::GivenTo(*sink);
  std::atomic<int> asked{0};
  allocator->onGetBuffer = [&] { return ++asked, S_OK; };
  std::mutex lock;
  bool flushed = false;
  std::vector<ComPtr<IMediaSample>> kept;
  sink->onReceive = [&](IMediaSample* sample) {
    const std::lock_guard<std::mutex> hold(lock);
    if (!flushed) kept.emplace_back(sample);
    return S_OK;
  };
  sink->onBeginFlush = [&] {
    const std::lock_guard<std::mutex> hold(lock);
    flushed = true;
    kept.clear();
  };
  demux.AddSink(1, sink);
  Start(demux);
  while (asked < 3) std::this_thread::yield();
  EXPECT_EQ(sink->SampleCount(), 2u);
  ASSERT_EQ(demux.Seek(kTarget), S_OK);
  sink->WaitForSamples(2 + kNumbersFromTarget.size());
  ASSERT_EQ(demux.Stop(), S_OK);
  EXPECT_EQ(NumbersOf(*sink, 2), kNumbersFromTarget);
  EXPECT_EQ(sink->Segments(), 2);
}

TEST_P(ActiveSeekObstaclesTest, AWorkerThatAsksInVainForABufferIsStoppedAllTheSame) {
  Demux demux(NumberedFile());
  ASSERT_EQ(demux.Connect(), S_OK);
  const auto sink = FakeSink::Create();
  const auto allocator = FakeAllocator::GivenTo(*sink);
  std::atomic<int> asked{0};
  std::atomic<bool> available{false};
  allocator->onGetBuffer = [&] {
    ++asked;
    return available ? S_OK : VFW_E_TIMEOUT;
  };
  demux.AddSink(1, sink);
  Start(demux);
  while (asked < 3) SleepMilliseconds(1);
  ASSERT_EQ(demux.Seek(kTarget), S_OK);
  available = true;
  sink->WaitForEnds(1);
  ASSERT_EQ(demux.Stop(), S_OK);
  EXPECT_EQ(NumbersOf(*sink, 0), kNumbersFromTarget);
  EXPECT_EQ(sink->Segments(), 2);
}

TEST_P(ActiveSeekObstaclesTest, AnotherThreadMaySeekWhileAWorkerIsInReceive) {
  ActiveSeek at(NumberedFile(), {1, 2});
  at.HoldAt(0);
  CAMEvent begun(TRUE);
  std::thread seeker;
  HRESULT result = E_FAIL;
  at.Sink(2).onSample = [&](int) {
    if (seeker.joinable()) return;
    seeker = std::thread([&] { result = at.demux.Seek(kTarget); });
    begun.Set();
  };
  at.Start(GetParam());
  begun.Wait();
  // The sample stays in Receive until the seek flushes it.
  while (at.record.Count("end flush") < 2) std::this_thread::yield();
  at.PlayOut(1);
  seeker.join();
  EXPECT_EQ(result, S_OK);
  EXPECT_EQ(at.CallsOf(2), Chain({{SegmentCall(0, kDuration), "sample 0"}, kFlush, kPlayedFromTarget}));
}

TEST_P(ActiveSeekObstaclesTest, ASeekOfOneThreadWaitsForThatOfAnother) {
  // The second comes while the first flushes, and counts from where the first goes.
  ActiveSeek at(NumberedFile(), {1});
  std::thread second;
  HRESULT result = E_FAIL;
  at.Sink(1).sink->onBeginFlush = [&] {
    if (second.joinable()) return;
    second = std::thread([&] {
      LONGLONG back = -300 * kMillisecond;
      result = at.demux.Filter().SetPositions(&back, AM_SEEKING_RelativePositioning, nullptr, AM_SEEKING_NoPositioning);
    });
  };
  at.Start(GetParam());
  at.WaitForEnds(1);
  at.HoldSegments(true);
  const std::size_t mark = at.record.Mark();
  ASSERT_EQ(at.demux.Seek(kTarget), S_OK);
  second.join();
  EXPECT_EQ(result, S_OK);
  EXPECT_EQ(at.Positions().first, 220 * kMillisecond);
  at.PlayOut(2);
  const Calls calls = at.CallsOf(1, mark);
  Calls flushes;
  std::copy_if(calls.begin(), calls.end(), std::back_inserter(flushes),
               [](const std::string& call) { return call.find("flush") != std::string::npos; });
  EXPECT_EQ(flushes, Chain({kFlush, kFlush}));
  const auto ended = std::find(calls.rbegin(), calls.rend(), "end flush").base();
  EXPECT_EQ(Calls(ended, calls.end()), Chain({{SegmentCall(220 * kMillisecond, kDuration)}, SampleCalls(4), {"end"}}));
}

// ---- Pins that cannot follow ----

// The numbered file with one cue point only, at 500 ms.
Raw FileWithOneCue() {
  std::vector<Part> parts{Part(Info(1000000, 1000)), Part(Tracks(NumberedTracks()))};
  for (const TimedCluster& one : NumberedClusters()) {
    parts.emplace_back("at" + std::to_string(one.time), Cluster(one.time, one.blocks));
  }
  parts.emplace_back("cues", [](const Positions& at) { return Cues({CuePoint(500, 1, at["at500"])}); });
  return MkvFile(parts);
}

// Starts all three pins and keeps them in their third sample; new runs stay at the announcement of their segment.
void PlayInto(ActiveSeek& at, FILTER_STATE state) {
  at.HoldAt(2);
  at.Start(state);
  at.WaitUntilHeld();
  at.HoldAt(HoldingSink::kNever);
  at.HoldSegments(true);
}

void ExpectARestartAtZero(ActiveSeek& at) {
  EXPECT_EQ(at.Positions(), std::pair(std::int64_t{0}, 900 * kMillisecond)) << "the stop position is kept";
  at.PlayOut(1);
  for (const int pin : {1, 2, 3}) {
    SCOPED_TRACE("pin " + std::to_string(pin));
    EXPECT_EQ(at.CallsOf(pin), Chain({{SegmentCall(0, kDuration)},
                                      SampleCalls(0, 2),
                                      kFlush,
                                      {SegmentCall(0, 900 * kMillisecond)},
                                      SampleCalls(0, 18),
                                      {"end"}}));
    const auto samples = at.Sink(pin).sink->Samples();
    ASSERT_EQ(samples.size(), 22u);
    EXPECT_EQ(samples[3].start, 0) << "counted from zero";
    EXPECT_TRUE(samples[3].discontinuity);
    EXPECT_FALSE(samples[3].preroll);
  }
}

TEST_P(ActiveSeekObstaclesTest, ATargetThatNoCueLeadsToRestartsAllPinsAtZero) {
  ActiveSeek at(FileWithOneCue(), {1, 2, 3});
  PlayInto(at, GetParam());
  ASSERT_EQ(at.demux.Seek(499 * kMillisecond, 900 * kMillisecond), S_OK);
  ExpectARestartAtZero(at);
}

TEST_P(ActiveSeekObstaclesTest, AnEmptyListOfCuesRestartsAllPinsAtZero) {
  std::vector<Part> parts{Part(Info(1000000, 1000)), Part(Tracks(NumberedTracks()))};
  for (const TimedCluster& one : NumberedClusters()) parts.emplace_back(Cluster(one.time, one.blocks));
  parts.emplace_back(Cues({}));
  ActiveSeek at(MkvFile(parts), {1, 2, 3});
  PlayInto(at, GetParam());
  ASSERT_EQ(at.demux.Seek(kTarget, 900 * kMillisecond), S_OK);
  ExpectARestartAtZero(at);
}

TEST_P(ActiveSeekObstaclesTest, ASearchThatCannotReadTakesAllPinsBackToZero) {
  ActiveSeek at(FileWithOneCue(), {1, 2, 3});
  PlayInto(at, GetParam());
  at.demux.Reader().FailRead(1);
  ASSERT_EQ(at.demux.Seek(kTarget, 900 * kMillisecond), S_OK);
  ExpectARestartAtZero(at);
}

// ---- Positions outside the file ----

TEST_P(ActiveSeekObstaclesTest, ATargetBeyondTheDurationPlaysFromTheDuration) {
  ActiveSeek at(NumberedFile(), {1, 2});
  Hold(at);
  const std::size_t mark = at.record.Mark();
  at.HoldAt(HoldingSink::kNever);
  ASSERT_EQ(at.demux.Seek(2 * kDuration, 3 * kDuration), S_OK);
  at.PlayOut(1);
  for (const int pin : {1, 2}) {
    EXPECT_EQ(at.CallsOf(pin, mark),
              Chain({kFlush, {SegmentCall(kDuration, kDuration), "sample 18", "sample 19", "end"}}));
    for (const auto number : {1, 2}) EXPECT_TRUE(at.Sink(pin).sink->Samples().at(number).preroll);
  }
}

TEST_P(ActiveSeekObstaclesTest, ANegativeTargetIsZeroAndAStopBeforeTheTargetIsRaisedToIt) {
  ActiveSeek at(NumberedFile(), {1, 2});
  Hold(at);
  const std::size_t mark = at.record.Mark();
  LONGLONG current = -kTarget;
  LONGLONG stop = -2 * kDuration;
  at.HoldSegments(true);
  ASSERT_EQ(at.demux.Filter().SetPositions(&current, AM_SEEKING_AbsolutePositioning | AM_SEEKING_ReturnTime, &stop,
                                           AM_SEEKING_RelativePositioning | AM_SEEKING_ReturnTime),
            S_OK);
  EXPECT_EQ(std::pair(current, stop), std::pair(LONGLONG{0}, LONGLONG{0}));
  at.WaitUntilHeld();
  at.HoldSegments(false);
  at.HoldAt(HoldingSink::kNever);
  ASSERT_EQ(at.demux.Seek(kTarget, 100 * kMillisecond), S_OK);
  at.PlayOut(1);
  for (const int pin : {1, 2}) {
    // The key frame behind the target ends the stream: for the audio that is the next sample.
    EXPECT_EQ(at.CallsOf(pin, mark), Chain({kFlush,
                                            {SegmentCall(0, 0)},
                                            kFlush,
                                            {SegmentCall(kTarget, kTarget)},
                                            SampleCalls(10, pin == 1 ? 12 : 11),
                                            {"end"}}));
  }
}

// ---- Sinks that refuse ----

TEST_P(ActiveSeekObstaclesTest, ASinkThatRefusesToBeginAFlushIsSoughtAllTheSame) {
  ActiveSeek at(NumberedFile(), {1, 2});
  at.Sink(1).sink->beginFlushResult = E_FAIL;
  Hold(at);
  const std::size_t mark = at.record.Mark();
  at.HoldAt(HoldingSink::kNever);
  ASSERT_EQ(at.demux.Seek(kTarget), S_OK);
  at.PlayOut(1);
  for (const int pin : {1, 2}) EXPECT_EQ(at.CallsOf(pin, mark), Chain({kFlush, kPlayedFromTarget}));
}

TEST_P(ActiveSeekObstaclesTest, ASinkThatRefusesToEndAFlushHoldsUpNoOther) {
  ActiveSeek at(NumberedFile(), {1, 2});
  at.Sink(1).sink->endFlushResult = E_FAIL;
  Hold(at);
  const std::size_t mark = at.record.Mark();
  at.HoldAt(HoldingSink::kNever);
  ASSERT_EQ(at.demux.Seek(kTarget), S_OK);
  at.PlayOut(1);
  EXPECT_EQ(at.CallsOf(1, mark), Chain({kFlush, {SegmentCall(kTarget, kDuration), "end"}})) << "flushing, it refuses";
  EXPECT_EQ(at.CallsOf(2, mark), Chain({kFlush, kPlayedFromTarget}));
}

TEST_P(ActiveSeekObstaclesTest, ASinkThatRefusesTheSegmentStillGetsTheSamples) {
  ActiveSeek at(NumberedFile(), {1, 2});
  at.Sink(1).sink->newSegmentResult = E_FAIL;
  Hold(at);
  const std::size_t mark = at.record.Mark();
  at.HoldAt(HoldingSink::kNever);
  ASSERT_EQ(at.demux.Seek(kTarget), S_OK);
  at.PlayOut(1);
  for (const int pin : {1, 2}) EXPECT_EQ(at.CallsOf(pin, mark), Chain({kFlush, kPlayedFromTarget}));
}

// ---- Sinks that stop the filter ----

// Stops the filter inside the first call of that name on the first pin, while a seek is under way.
void StopInside(const std::string& call, FILTER_STATE state, const Calls& expected) {
  ActiveSeek at(NumberedFile(), {1, 2});
  bool isFirst = true;
  at.Sink(1).sink->onCall = [&, inner = at.Sink(1).sink->onCall](const std::string& name) {
    inner(name);
    if (name != call || !isFirst) return;
    isFirst = false;
    EXPECT_EQ(at.demux.Filter().Stop(), S_OK);
  };
  at.Start(state);
  at.WaitForEnds(1);
  const std::size_t mark = at.record.Mark();
  ASSERT_EQ(at.demux.Seek(kTarget), S_OK);
  EXPECT_EQ(at.record.All(mark), expected);
  for (const int pin : {1, 2}) EXPECT_FALSE(at.demux.Pin(pin)->ThreadExists());
  EXPECT_EQ(at.Positions(), std::pair(kTarget, kDuration)) << "for the next start";
}

TEST_P(ActiveSeekObstaclesTest, AFilterStoppedWhileTheFlushBeginsIsNotStartedAgain) {
  StopInside("begin flush", GetParam(), {"1 begin flush", "2 begin flush"});
}

TEST_P(ActiveSeekObstaclesTest, AFilterStoppedWhileTheFlushEndsIsNotStartedAgain) {
  StopInside("end flush", GetParam(), {"1 begin flush", "2 begin flush", "1 end flush", "2 end flush"});
}

}  // namespace
}  // namespace vantor::test
