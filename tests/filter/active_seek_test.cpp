// Seeks while the filter is paused or running: what reaches the sinks, in which order.
#include <atomic>
#include <string>
#include <thread>
#include <vector>

#include "filter/active_seek.h"

namespace vantor::test {
namespace {

using Calls = std::vector<std::string>;

constexpr std::int64_t kFileDuration = 1000 * kMillisecond;
// Behind the key frame that begins a Cluster, so that samples lie before it.
constexpr std::int64_t kSeekTarget = 520 * kMillisecond;
constexpr int kFirstAtTarget = 10;

const Calls kFlushCalls{"begin flush", "end flush"};

class ActiveSeekTest : public DemuxTest, public testing::WithParamInterface<FILTER_STATE> {
 protected:
  // Sinks on all three pins, each with the given sample of its first segment in Receive.
  static void Hold(ActiveSeek& at, int sample = 0) {
    at.HoldAt(sample);
    at.Start(GetParam());
    at.WaitUntilHeld();
  }
};

INSTANTIATE_TEST_SUITE_P(, ActiveSeekTest, testing::Values(State_Paused, State_Running), [](const auto& parameter) {
  return std::string(parameter.param == State_Paused ? "Paused" : "Running");
});

TEST_P(ActiveSeekTest, EveryPinIsFlushedBeforeAnyWorkerIsStopped) {
  ActiveSeek at(NumberedFile(), {1, 2, 3});
  // Every worker stays in Receive until it is told to stop, whatever is flushed meanwhile.
  std::atomic<std::size_t> flushed[3] = {};
  std::atomic<int> inside{0};
  for (const auto& sink : at.sinks) {
    const auto index = static_cast<std::size_t>(sink->number) - 1;
    sink->onSample = [&, index, pin = at.demux.Pin(sink->number).Get()](int sample) {
      if (sample != 0 || flushed[index] != 0) return;
      ++inside;
      while (!IsWorkerAsked(*pin)) std::this_thread::yield();
      flushed[index] = at.record.Count("begin flush");
    };
  }
  at.Start(GetParam());
  while (inside < 3) std::this_thread::yield();
  const std::size_t mark = at.record.Mark();
  ASSERT_EQ(at.demux.Seek(kSeekTarget), S_OK);
  for (const auto& count : flushed) EXPECT_EQ(count, 3u) << "flushes that began before the stop";

  at.PlayOut(1);
  const Calls all = at.record.All(mark);
  ASSERT_GE(all.size(), 6u);
  EXPECT_EQ(Calls(all.begin(), all.begin() + 6),
            (Calls{"1 begin flush", "2 begin flush", "3 begin flush", "1 end flush", "2 end flush", "3 end flush"}))
      << "nothing else until every flush has ended, in the order of the pins";
}

TEST_P(ActiveSeekTest, EveryPinGetsOneNewSegmentAndThenTheNewPositionAlone) {
  ActiveSeek at(NumberedFile(), {1, 2, 3});
  Hold(at);
  ASSERT_EQ(at.demux.Seek(kSeekTarget, 900 * kMillisecond), S_OK);
  at.PlayOut(1);
  for (const int pin : {1, 2, 3}) {
    // The stop is looked at where a key frame begins: of the audio that is the block at 900 ms as well.
    EXPECT_EQ(at.CallsOf(pin), Chain({{SegmentCall(0, kFileDuration), "sample 0"},
                                      kFlushCalls,
                                      {SegmentCall(kSeekTarget, 900 * kMillisecond)},
                                      SampleCalls(kFirstAtTarget, 18),
                                      {"end"}}))
        << "pin " << pin;
  }
}

TEST_P(ActiveSeekTest, SamplesBeforeTheTargetArePrerollAndTheFirstIsAKeyFrameWithADiscontinuity) {
  ActiveSeek at(NumberedFile(), {1, 2, 3});
  Hold(at, 3);
  ASSERT_EQ(at.demux.Seek(kSeekTarget), S_OK);
  at.PlayOut(1);
  for (const int pin : {1, 2, 3}) {
    SCOPED_TRACE(pin);
    const auto samples = at.Sink(pin).sink->Samples();
    ASSERT_EQ(samples.size(), 4u + 10u);
    const auto first = samples.begin() + 4;
    EXPECT_EQ(first[0].start, -20 * kMillisecond);
    EXPECT_EQ(first[0].stop, 30 * kMillisecond);
    EXPECT_TRUE(first[0].preroll);
    EXPECT_TRUE(first[0].syncPoint);
    EXPECT_TRUE(first[0].discontinuity);
    EXPECT_EQ(first[1].start, 30 * kMillisecond);
    EXPECT_FALSE(first[1].preroll);
    EXPECT_FALSE(first[1].discontinuity);
    EXPECT_EQ(first[1].syncPoint, pin != 1);
  }
}

TEST_P(ActiveSeekTest, TheSampleThatASinkHoldsIsTakenAwayAndTheNewOneIsHeldInItsPlace) {
  ActiveSeek at(NumberedFile(), {1, 2, 3});
  Hold(at);
  ASSERT_EQ(at.demux.Seek(kSeekTarget), S_OK);
  at.WaitUntilHeld();
  for (const int pin : {1, 2, 3}) {
    EXPECT_EQ(at.CallsOf(pin), Chain({{SegmentCall(0, kFileDuration), "sample 0"},
                                      kFlushCalls,
                                      {SegmentCall(kSeekTarget, kFileDuration), "sample 10"}}));
  }
  at.PlayOut(1);
}

TEST_P(ActiveSeekTest, TwoSeeksInARowEndAtTheSecond) {
  ActiveSeek at(NumberedFile(), {1, 2, 3});
  Hold(at);
  ASSERT_EQ(at.demux.Seek(kSeekTarget), S_OK);
  at.WaitUntilHeld();
  ASSERT_EQ(at.demux.Seek(200 * kMillisecond), S_OK);
  at.PlayOut(1);
  for (const int pin : {1, 2, 3}) {
    EXPECT_EQ(at.CallsOf(pin), Chain({{SegmentCall(0, kFileDuration), "sample 0"},
                                      kFlushCalls,
                                      {SegmentCall(kSeekTarget, kFileDuration), "sample 10"},
                                      kFlushCalls,
                                      {SegmentCall(200 * kMillisecond, kFileDuration)},
                                      SampleCalls(4),
                                      {"end"}}));
  }
}

TEST_P(ActiveSeekTest, ASeekThatFollowsAtOnceFindsWorkersThatHaveJustBegun) {
  // The second seek comes while the workers announce the segment of the first.
  ActiveSeek at(NumberedFile(), {1, 2, 3});
  Hold(at);
  at.HoldAt(HoldingSink::kNever);
  at.HoldSegments(true);
  ASSERT_EQ(at.demux.Seek(kSeekTarget), S_OK);
  at.WaitUntilHeld();
  at.HoldSegments(false);
  const std::size_t mark = at.record.Mark();
  ASSERT_EQ(at.demux.Seek(0), S_OK);
  at.PlayOut(1);
  for (const int pin : {1, 2, 3}) {
    EXPECT_EQ(at.CallsOf(pin, mark), Chain({kFlushCalls, {SegmentCall(0, kFileDuration)}, SampleCalls(0), {"end"}}))
        << "samples of the first seek would have been refused unrecorded";
  }
}

TEST_P(ActiveSeekTest, AfterTheEndTheStreamPlaysAndEndsAgain) {
  ActiveSeek at(NumberedFile(), {1, 2, 3});
  at.Start(GetParam());
  at.WaitForEnds(1);
  const std::size_t mark = at.record.Mark();
  ASSERT_EQ(at.demux.Seek(kSeekTarget), S_OK);
  at.PlayOut(2);
  for (const int pin : {1, 2, 3}) {
    EXPECT_EQ(at.CallsOf(pin, mark),
              Chain({kFlushCalls, {SegmentCall(kSeekTarget, kFileDuration)}, SampleCalls(kFirstAtTarget), {"end"}}));
  }
  EXPECT_TRUE(at.demux.Events().empty()) << "that playing is over is for the graph to tell";
}

TEST_P(ActiveSeekTest, APinThatHasEndedAndOneThatHasNotGoOnTogether) {
  ActiveSeek at(NumberedFile(), {1, 2});
  at.Sink(2).HoldAt(5);
  at.Start(GetParam());
  at.Sink(1).WaitForEnds(1);
  at.Sink(2).WaitUntilHeld();
  const std::size_t mark = at.record.Mark();
  ASSERT_EQ(at.demux.Seek(kSeekTarget), S_OK);
  at.LetGo();
  at.Sink(1).WaitForEnds(2);
  at.Sink(2).WaitForEnds(1);
  for (const int pin : {1, 2}) {
    EXPECT_EQ(at.CallsOf(pin, mark),
              Chain({kFlushCalls, {SegmentCall(kSeekTarget, kFileDuration)}, SampleCalls(kFirstAtTarget), {"end"}}));
  }
}

TEST_P(ActiveSeekTest, UnconnectedPinsTakeNoPart) {
  ActiveSeek at(NumberedFile(), {1, 3});
  Hold(at);
  const std::size_t mark = at.record.Mark();
  ASSERT_EQ(at.demux.Seek(kSeekTarget), S_OK);
  EXPECT_FALSE(at.demux.Pin(2)->ThreadExists());
  at.PlayOut(1);
  for (const int pin : {1, 3}) {
    EXPECT_EQ(at.CallsOf(pin, mark),
              Chain({kFlushCalls, {SegmentCall(kSeekTarget, kFileDuration)}, SampleCalls(kFirstAtTarget), {"end"}}));
  }
}

TEST_P(ActiveSeekTest, APinConnectedLaterBeginsWhereTheOthersDo) {
  // Unconnected pins are repositioned with the others.
  ActiveSeek at(NumberedFile(), {1});
  Hold(at);
  ASSERT_EQ(at.demux.Seek(kSeekTarget), S_OK);
  at.WaitUntilHeld();
  at.LetGo();
  ASSERT_EQ(at.demux.Stop(), S_OK);
  FakeSink& late = at.demux.AddSink(2);
  ASSERT_EQ(at.demux.Run(), S_OK);
  late.WaitForEnds(1);
  ASSERT_EQ(at.demux.Stop(), S_OK);
  ASSERT_EQ(late.SampleCount(), 10u);
  EXPECT_EQ(late.Samples().front().bytes, (Raw{2, kFirstAtTarget}));
}

TEST_P(ActiveSeekTest, SettingWhatIsSetDisturbsNobody) {
  ActiveSeek at(NumberedFile(), {1, 2, 3});
  Hold(at);
  const auto [current, stop] = at.Positions();
  const std::size_t mark = at.record.Mark();
  EXPECT_EQ(at.demux.Seek(current, stop), S_OK);
  EXPECT_EQ(at.demux.Seek(-1, stop), S_OK);
  EXPECT_EQ(at.demux.Seek(current), S_OK);
  EXPECT_TRUE(at.record.All(mark).empty());
  for (const auto& sink : at.sinks) EXPECT_TRUE(sink->IsHolding());
  at.PlayOut(1);
}

TEST_P(ActiveSeekTest, ARateIsAnnouncedByTheNextSegmentOnly) {
  ActiveSeek at(NumberedFile(), {1, 2, 3});
  Hold(at);
  const std::size_t mark = at.record.Mark();
  ASSERT_EQ(at.demux.Filter().SetRate(3.0), S_OK);
  EXPECT_TRUE(at.record.All(mark).empty());
  for (const auto& sink : at.sinks) EXPECT_TRUE(sink->IsHolding());
  ASSERT_EQ(at.demux.Seek(kSeekTarget), S_OK);
  at.PlayOut(1);
  for (const int pin : {1, 2, 3}) {
    EXPECT_EQ(at.CallsOf(pin, mark),
              Chain({kFlushCalls, {SegmentCall(kSeekTarget, kFileDuration, 3)}, SampleCalls(kFirstAtTarget), {"end"}}));
  }
}

TEST_P(ActiveSeekTest, ASeekOfTheStopAloneBeginsAtTheCurrentPosition) {
  ActiveSeek at(NumberedFile(), {1});
  Hold(at, 4);
  ASSERT_EQ(at.Positions().first, 250 * kMillisecond) << "the end of the block that is held";
  const std::size_t mark = at.record.Mark();
  ASSERT_EQ(at.demux.Seek(-1, 400 * kMillisecond), S_OK);
  at.PlayOut(1);
  EXPECT_EQ(at.CallsOf(1, mark),
            Chain({kFlushCalls, {SegmentCall(250 * kMillisecond, 400 * kMillisecond)}, SampleCalls(4, 8), {"end"}}));
}

// ---- The current position ----

// The last block has neither a duration nor a next one, and so lasts one unit.
constexpr std::int64_t kEndOfLastBlock = (kBlocks - 1) * 50 * kMillisecond + 1;

TEST_P(ActiveSeekTest, TheCurrentPositionMovesOnWithTheSamples) {
  for (const int sample : {0, 1, 7}) {
    ActiveSeek at(NumberedFile(), {1});
    Hold(at, sample);
    EXPECT_EQ(at.Positions().first, (sample + 1) * 50 * kMillisecond);
    at.PlayOut(1);
    EXPECT_EQ(at.Positions().first, kEndOfLastBlock);
  }
}

TEST_P(ActiveSeekTest, TheCurrentPositionIsThatOfThePinThatIsFurthest) {
  ActiveSeek at(NumberedFile(), {1, 2});
  at.Sink(1).HoldAt(8);
  at.Start(GetParam());
  at.Sink(1).WaitUntilHeld();
  at.Sink(2).WaitForEnds(1);
  EXPECT_EQ(at.Positions().first, kEndOfLastBlock);
  at.PlayOut(1);
  EXPECT_EQ(at.Positions().first, kEndOfLastBlock) << "the slower pin does not take it back";
}

TEST_P(ActiveSeekTest, TheCurrentPositionStaysWithinTheStop) {
  ActiveSeek at(NumberedFile(), {1});
  ASSERT_EQ(at.demux.Seek(0, 330 * kMillisecond), S_OK);
  at.Start(GetParam());
  at.PlayOut(1);
  EXPECT_EQ(at.CallsOf(1).back(), "end");
  EXPECT_EQ(at.Positions().first, 330 * kMillisecond);
}

TEST_P(ActiveSeekTest, ASeekBackTakesTheCurrentPositionBack) {
  ActiveSeek at(NumberedFile(), {1, 2});
  Hold(at, 8);
  at.HoldSegments(true);
  ASSERT_EQ(at.demux.Seek(100 * kMillisecond), S_OK);
  EXPECT_EQ(at.Positions().first, 100 * kMillisecond);
  at.PlayOut(1);
}

// ---- Around a stop and a connection ----

TEST_P(ActiveSeekTest, ASeekWhileStoppedIsTakenUpByTheNextStart) {
  ActiveSeek at(NumberedFile(), {1, 2, 3});
  ASSERT_EQ(at.demux.Seek(kSeekTarget, 900 * kMillisecond), S_OK);
  EXPECT_TRUE(at.record.All().empty());
  Hold(at);
  for (const int pin : {1, 2, 3}) {
    EXPECT_EQ(at.CallsOf(pin), (Calls{SegmentCall(kSeekTarget, 900 * kMillisecond), "sample 10"}));
  }
  at.PlayOut(1);
}

TEST_P(ActiveSeekTest, DisconnectingResetsAllButTheRate) {
  ActiveSeek at(NumberedFile(), {1});
  Hold(at);
  ASSERT_EQ(at.demux.Filter().SetTimeFormat(&TIME_FORMAT_FRAME), S_OK);
  ASSERT_EQ(at.demux.Filter().SetRate(3.0), S_OK);
  ASSERT_EQ(at.demux.Filter().SetTimeFormat(&TIME_FORMAT_MEDIA_TIME), S_OK);
  ASSERT_EQ(at.demux.Seek(kSeekTarget, 900 * kMillisecond), S_OK);
  ASSERT_EQ(at.demux.Filter().SetTimeFormat(&TIME_FORMAT_FRAME), S_OK);
  at.PlayOut(1);
  ASSERT_EQ(at.demux.DisconnectInput(), S_OK);

  EXPECT_EQ(at.Positions(), std::pair(std::int64_t{0}, std::int64_t{0}));
  LONGLONG duration = -1;
  EXPECT_EQ(at.demux.Filter().GetDuration(&duration), S_OK);
  EXPECT_EQ(duration, 0);
  EXPECT_EQ(at.demux.Filter().IsUsingTimeFormat(&TIME_FORMAT_MEDIA_TIME), S_OK);
  EXPECT_EQ(at.demux.Filter().IsFormatSupported(&TIME_FORMAT_FRAME), S_FALSE);

  ASSERT_EQ(at.demux.Connect(), S_OK);
  FakeSink& sink = at.demux.AddSink(1);
  ASSERT_EQ(at.demux.Run(), S_OK);
  sink.WaitForEnds(1);
  EXPECT_EQ(sink.Log().at(1), SegmentCall(0, kFileDuration, 3)) << "the whole file, at the rate of before";
  EXPECT_EQ(sink.SampleCount(), 20u);
}

}  // namespace
}  // namespace vantor::test
