// Control calls that meet workers which do not answer, one at a time: what is let go, in which order, what the call
// answers and what it leaves behind.
#include <atomic>
#include <thread>
#include <vector>

#include "filter/control_side.h"
#include "support/fake_allocator.h"
#include "support/watchdog.h"

namespace vantor::test {
namespace {

// ---- Workers that downstream holds ----

TEST_F(ControlSideTest, AStopOfTheFilterAloneFreesAWorkerThatAPausedSinkHolds) {
  for (const Callback where : {Callback::kReceive, Callback::kNewSegment, Callback::kEndOfStream}) {
    SCOPED_TRACE(static_cast<int>(where));
    const Watchdog watchdog("a stop while the sink holds the worker");
    Open(kYielding);
    RunUntilTheSinkHolds({Hold::kTheCall, where, nullptr});
    EXPECT_EQ(Filter().Stop(), S_OK);
    EXPECT_EQ(State(), State_Stopped);
    EXPECT_FALSE(Sink(1).IsHolding());
    EXPECT_EQ(reader_->Flushes(), 0) << "the sink's flush was enough";
    PlayWhole();
    Close();
  }
}

TEST_F(ControlSideTest, ASinkThatIsNotLateIsNotFlushedByAStop) {
  const Watchdog watchdog("a stop while one of two sinks holds its worker");
  Open(kYielding);
  std::atomic<int> flushes{0};
  Sink(2).Misbehave({Hold::kNothing, Callback::kBeginFlush, [&](Callback, IPin*) { ++flushes; }});
  RunUntilTheSinkHolds({Hold::kTheCall, Callback::kReceive, nullptr});
  while (Sink(2).Ends() == 0) SleepMilliseconds(1);
  EXPECT_EQ(Filter().Stop(), S_OK);
  EXPECT_EQ(flushes, 0);
  PlayWhole();
}

TEST_F(ControlSideTest, ASinkThatKeepsEverySamplePastTheFlushDoesNotHoldASeek) {
  const Watchdog watchdog("a seek while the sink keeps all samples");
  Open(kYielding);
  Sink(1).Misbehave({Hold::kEverySample, Callback::kReceive, nullptr});
  ASSERT_EQ(Run(), S_OK);
  while (Sink(1).Kept() < 2) SleepMilliseconds(1);
  LONGLONG settled = 0;
  EXPECT_EQ(SeekTo(&Filter(), file_.seekTarget, &settled), S_OK);
  EXPECT_EQ(settled, file_.seekTarget);
  EXPECT_GE(Sink(1).Kept(), 2U);
  EXPECT_EQ(Filter().Stop(), S_OK);
  PlayWhole();
}

TEST_F(ControlSideTest, ASinkThatKeepsItsLastSampleGetsLargerFramesToo) {
  const Watchdog watchdog("playing to a sink that keeps its last sample");
  Open(kShort);
  Sink(1).Misbehave({Hold::kTheLastSample, Callback::kReceive, nullptr});
  ASSERT_EQ(Run(), S_OK);
  WaitForEnds();
  EXPECT_EQ(Sink(1).Played(), file_.frames[0]);
  EXPECT_EQ(Filter().Stop(), S_OK);
  EXPECT_TRUE(demux_->Events().empty());
}

// ---- Workers that upstream holds ----

TEST_F(ControlSideTest, AStopFlushesASourceThatHoldsAReadAndTheBlockIsReadAgain) {
  for (const std::size_t track : {1U, 2U}) {
    SCOPED_TRACE(track);
    const Watchdog watchdog("a stop while the source holds a read");
    Open(kYielding);
    RunUntilTheSourceHolds(track, Stubbornness::kBlocksUntilFlushed);
    while (Sink(3 - track).Ends() == 0) SleepMilliseconds(1);
    EXPECT_EQ(Filter().Stop(), S_OK);
    EXPECT_EQ(reader_->Flushes(), 1);
    EXPECT_EQ(reader_->FaultOfFlushes(), "");
    EXPECT_EQ(Sink(track).Ends(), 0) << "a read that was flushed is not the end of the data";
    EXPECT_TRUE(demux_->Events().empty()) << "nor an error";

    for (const auto& sink : sinks_) sink->Behave();
    ASSERT_EQ(Run(), S_OK);
    while (Sink(track).Ends() == 0) SleepMilliseconds(1);
    EXPECT_EQ(Filter().Stop(), S_OK);
    // The block before it was looked ahead from, and is lost with the run.
    const std::vector<Raw>& all = file_.frames[track - 1];
    const auto held = all.begin() + static_cast<std::ptrdiff_t>(file_.framesBefore[track - 1]);
    EXPECT_EQ(Sink(track).Played(), std::vector<Raw>(held, all.end()));
    PlayWhole();
    Close();
  }
}

TEST_F(ControlSideTest, ASeekFlushesASourceThatHoldsARead) {
  const Watchdog watchdog("a seek while the source holds a read");
  Open(kYielding);
  RunUntilTheSourceHolds(1, Stubbornness::kBlocksUntilFlushed);
  LONGLONG settled = 0;
  EXPECT_EQ(SeekTo(&Filter(), file_.seekTarget, &settled), S_OK);
  EXPECT_EQ(settled, file_.seekTarget) << "the cursors were moved when the source read again";
  EXPECT_EQ(reader_->Flushes(), 1);
  EXPECT_EQ(reader_->FaultOfFlushes(), "");
  while (Sink(1).Ends() == 0) SleepMilliseconds(1);
  EXPECT_EQ(Sink(1).Played().back(), file_.frames[0].back());
  EXPECT_TRUE(demux_->Events().empty());
  EXPECT_EQ(Filter().Stop(), S_OK);
  PlayWhole();
}

TEST_F(ControlSideTest, AWorkerThatNothingFreesIsLeftToItselfByAStop) {
  const Watchdog watchdog("a stop while the source holds a read for good");
  Open(kShort);
  RunUntilTheSourceHolds(1, Stubbornness::kBlocksUntilLetGo);
  EXPECT_EQ(Filter().Stop(), VFW_E_TIMEOUT);
  EXPECT_EQ(State(), State_Stopped) << "a stop ends so all the same";
  EXPECT_EQ(reader_->Flushes(), 1);
  EXPECT_EQ(reader_->FaultOfFlushes(), "") << "a flush ends in the call that began it";
  for (const auto& sink : sinks_) EXPECT_EQ(sink->FaultOfFlushes(), "");

  // While it lives, what would need it to end is refused and changes nothing.
  EXPECT_EQ(Filter().Pause(), VFW_E_TIMEOUT);
  EXPECT_EQ(State(), State_Stopped);
  EXPECT_EQ(demux_->Pin(1)->Disconnect(), VFW_E_TIMEOUT);
  EXPECT_EQ(demux_->Input()->Disconnect(), VFW_E_TIMEOUT);
  EXPECT_TRUE(NeighbourOf(demux_->Pin(1).Get()));
  EXPECT_TRUE(NeighbourOf(demux_->Input()));
  EXPECT_EQ(reader_->Held(), 1);

  reader_->Behave();
  PlayOut();
  PlayWhole();
}

TEST_F(ControlSideTest, ASeekLeavesALateWorkerBehindAndRestartsTheOtherPins) {
  const Watchdog watchdog("a seek while the source holds a read for good");
  Open(kShort);
  RunUntilTheSourceHolds(1, Stubbornness::kBlocksUntilLetGo);
  Sink(2).Behave();
  LONGLONG settled = 0;
  EXPECT_EQ(SeekTo(&Filter(), file_.seekTarget, &settled), VFW_E_TIMEOUT);
  while (Sink(2).Ends() == 0) SleepMilliseconds(1);
  EXPECT_EQ(Sink(2).Played().back(), file_.frames[1].back());
  EXPECT_EQ(State(), State_Running);
  EXPECT_EQ(reader_->Held(), 1);
  EXPECT_EQ(Filter().Pause(), VFW_E_TIMEOUT);
  EXPECT_EQ(Filter().Run(0), S_OK) << "what runs goes on, with a worker that is late";
  EXPECT_EQ(State(), State_Running);

  // The pin of the late worker plays from the same place, once the worker is home and the filter starts anew.
  reader_->Behave();
  StopUntilInTime();
  Sink(1).Behave();
  ASSERT_EQ(RunUntilInTime(), S_OK);
  while (Sink(1).Ends() == 0) SleepMilliseconds(1);
  EXPECT_EQ(Filter().Stop(), S_OK);
  const std::vector<Raw>& all = file_.frames[0];
  const std::vector<Raw> played = Sink(1).Played();
  ASSERT_EQ(played.size(), 3U) << "what lies in the second cluster";
  EXPECT_EQ(played, std::vector<Raw>(all.end() - 3, all.end()));
  PlayWhole();
}

TEST_F(ControlSideTest, AWorkerThatComesHomeDuringTheSeekPlaysOnAndIsStoppedByTheNext) {
  const Watchdog watchdog("two seeks, and a worker that comes home during the first");
  Open(kShort);
  RunUntilTheSourceHolds(1, Stubbornness::kBlocksUntilLetGo);
  // The flush ends when the worker was left to itself, and before the pins run again.
  Sink(2).Misbehave({Hold::kNothing, Callback::kEndFlush, [this](Callback, IPin*) {
                       reader_->Behave();
                       while (demux_->Pin(1)->IsLate()) SleepMilliseconds(1);
                     }});
  EXPECT_EQ(SeekTo(&Filter(), file_.seekTarget), VFW_E_TIMEOUT);
  for (const auto& sink : sinks_) sink->Behave();
  EXPECT_EQ(SeekTo(&Filter(), kMillisecond), S_OK);
  EXPECT_EQ(SeekTo(&Filter(), 0), S_OK);
  while (Sink(1).Ends() == 0 || Sink(1).Played().empty() || Sink(1).Played().back() != file_.frames[0].back()) {
    SleepMilliseconds(1);
  }
  EXPECT_EQ(Filter().Stop(), S_OK);
  PlayWhole();
}

TEST_F(ControlSideTest, ALateWorkerMovesNoPositionThatASeekHasSet) {
  const Watchdog watchdog("a seek while a worker is late");
  Open(kShort);
  RunUntilTheSourceHolds(1, Stubbornness::kBlocksUntilLetGo);
  EXPECT_EQ(Filter().Stop(), VFW_E_TIMEOUT);
  EXPECT_EQ(SeekTo(&Filter(), kMillisecond), VFW_E_TIMEOUT);
  EXPECT_EQ(SeekTo(&Filter(), 0), VFW_E_TIMEOUT);
  reader_->Behave();
  while (demux_->Pin(1)->IsLate()) SleepMilliseconds(1);
  LONGLONG current = -1;
  EXPECT_EQ(Filter().GetCurrentPosition(&current), S_OK);
  EXPECT_EQ(current, 0);
  PlayWhole();
}

TEST_F(ControlSideTest, ASearchByCuesIsNotInterruptedByTheStopOfItsOwnSeek) {
  // More children than a scan goes through without asking whether to stop.
  std::vector<Raw> children(10000, Raw{0xEC, 0x80});
  children.push_back(UInt(0xE7, 500));
  children.push_back(SimpleBlock(1, 0, kKey, {2}));
  Demux demux(MkvFile({
      Info(1000000, 1000),
      Tracks({AudioTrack(1)}),
      {"first", Cluster(0, {SimpleBlock(1, 0, kKey, {1})})},
      {"second", Master(0x1F43B675, children)},
      {"cues",
       [](const Positions& at) {
         return Cues({CuePoint(0, 1, at["first"]), CuePoint(500, 1, at["second"])});
       }},
  }));
  ASSERT_EQ(demux.Connect(), S_OK);
  FakeSink& sink = demux.AddSink(1);
  ASSERT_EQ(demux.Run(), S_OK);
  sink.WaitForEnds(1);
  ASSERT_EQ(demux.Seek(510 * kMillisecond), S_OK);
  sink.WaitForEnds(2);
  ASSERT_EQ(demux.Stop(), S_OK);
  EXPECT_EQ(sink.Samples().back().start, -10 * kMillisecond);
}

TEST_F(ControlSideTest, TheLastReleaseReturnsWhileAWorkerIsLateAndItsEndFreesEverything) {
  const Watchdog watchdog("the last release while the source holds a read for good");
  const auto reader = StubbornReader::Create(file_.bytes);
  auto filter = NewPatientFilter(kShort);
  const auto source = FakeSource::Create(reader.Get());
  const auto sink = MisbehavingSink::Create();
  ASSERT_EQ(source->Pin()->Connect(filter->GetPin(0), &source->type), S_OK);
  ASSERT_EQ(filter->GetPin(1)->Connect(sink->Pin(), nullptr), S_OK);
  const LONG alive = CBaseObject::ObjectsActive();
  reader->Arm(Stubbornness::kBlocksUntilLetGo, file_.secondBlock[0]);
  sink->Run(0);
  ASSERT_EQ(filter->Run(0), S_OK);
  while (reader->Held() == 0) SleepMilliseconds(1);
  sink->Forget();
  source->Forget();
  filter.Reset();
  EXPECT_EQ(reader->Held(), 1);
  EXPECT_GT(CBaseObject::ObjectsActive(), alive - 3) << "what the worker may touch is there, and counted";
  reader->Behave();
  // What remains: source, sink, a pin each, and the reader.
  while (CBaseObject::ObjectsActive() > 5) SleepMilliseconds(1);
  EXPECT_EQ(CBaseObject::ObjectsActive(), 5);
  EXPECT_EQ(reader->AddRef(), 3U) << "this test's and the source's are all references besides this one";
  reader->Release();
}

// ---- Calls from the filter's own workers ----

TEST_F(ControlSideTest, ControlCallsOnAWorkerAreRefusedAndChangeNothing) {
  for (const Callback where : {Callback::kReceive, Callback::kNewSegment, Callback::kEndOfStream}) {
    SCOPED_TRACE(static_cast<int>(where));
    const Watchdog watchdog("control calls on a worker");
    Open(kYielding);
    std::vector<HRESULT> results;
    LONGLONG stopBefore = 0;
    LONGLONG stopAfter = 0;
    Sink(1).Misbehave({Hold::kNothing, where, [&](Callback, IPin* peer) {
                         if (!results.empty()) return;
                         Filter().GetStopPosition(&stopBefore);
                         results = ControlEverything(peer, Sink(1).Pin(), true);
                         Filter().GetStopPosition(&stopAfter);
                       }});
    ASSERT_EQ(Run(), S_OK);
    WaitForEnds();
    EXPECT_EQ(State(), State_Running);
    EXPECT_EQ(Filter().Stop(), S_OK);
    EXPECT_EQ(results.size(), 11U);
    for (std::size_t i = 0; i < results.size(); ++i) EXPECT_EQ(results[i], VFW_E_WRONG_STATE) << "call " << i;
    EXPECT_EQ(stopAfter, stopBefore);
    EXPECT_EQ(Sink(1).Played(), file_.frames[0]);
    EXPECT_EQ(Sink(2).Played(), file_.frames[1]);
    EXPECT_EQ(Sink(1).FaultOfFlushes(), "");
    EXPECT_TRUE(NeighbourOf(demux_->Input()));
    PlayWhole();
    Close();
  }
}

TEST_F(ControlSideTest, TheLastReleaseOnAWorkerHandsTheTeardownToAnotherThread) {
  const Watchdog watchdog("the last release on a worker");
  const auto reader = StubbornReader::Create(file_.bytes);
  auto filter = NewPatientFilter(kYielding);
  const auto source = FakeSource::Create(reader.Get());
  const auto sink = MisbehavingSink::Create();
  ASSERT_EQ(source->Pin()->Connect(filter->GetPin(0), &source->type), S_OK);
  ASSERT_EQ(filter->GetPin(1)->Connect(sink->Pin(), nullptr), S_OK);
  CAMEvent isInside(TRUE);
  CAMEvent isLast(TRUE);
  sink->Misbehave({Hold::kNothing, Callback::kReceive, [&](Callback, IPin* peer) {
                     // The sink's own reference for the call is the last one to go.
                     const ComPtr<IPin> held(peer);
                     isInside.Set();
                     isLast.Wait();
                   }});
  sink->Run(0);
  ASSERT_EQ(filter->Run(0), S_OK);
  isInside.Wait();
  sink->Forget();
  source->Forget();
  filter.Reset();
  isLast.Set();
  while (CBaseObject::ObjectsActive() > 5) SleepMilliseconds(1);
  EXPECT_EQ(CBaseObject::ObjectsActive(), 5) << "source, sink, a pin each, and the reader";
}

// ---- Calls from inside a flush ----

TEST_F(ControlSideTest, ASinkMayStopTheFilterAndDisconnectItsInputFromWithinTheFlushOfASeek) {
  for (const Callback where : {Callback::kBeginFlush, Callback::kEndFlush}) {
    for (const std::size_t number : {1U, 2U}) {
      SCOPED_TRACE(static_cast<int>(where));
      SCOPED_TRACE(number);
      const Watchdog watchdog("a seek whose flush takes the file away");
      Open(kYielding);
      std::vector<HRESULT> results;
      Sink(number).Misbehave({Hold::kNothing, where, [&](Callback, IPin* peer) {
                                if (results.empty()) results = StopAndDisconnectInputOf(peer);
                              }});
      ASSERT_EQ(Run(), S_OK);
      SeekTo(&Filter(), file_.seekTarget);
      EXPECT_EQ(results, (std::vector<HRESULT>{S_OK, S_OK}));
      EXPECT_EQ(State(), State_Stopped);
      EXPECT_EQ(Filter().GetPinCount(), 1);
      Close();
    }
  }
}

TEST_F(ControlSideTest, ASinkMaySeekFromWithinTheFlushOfASeek) {
  for (const Callback where : {Callback::kBeginFlush, Callback::kEndFlush}) {
    SCOPED_TRACE(static_cast<int>(where));
    const Watchdog watchdog("a seek inside a seek");
    Open(kYielding);
    HRESULT inner = E_FAIL;
    Sink(1).Misbehave({Hold::kNothing, where, [&](Callback, IPin*) {
                         if (inner == E_FAIL) inner = SeekTo(&Filter(), 20 * kMillisecond);
                       }});
    ASSERT_EQ(Run(), S_OK);
    EXPECT_EQ(SeekTo(&Filter(), file_.seekTarget), S_OK);
    EXPECT_EQ(inner, S_OK);
    EXPECT_EQ(State(), State_Running);
    WaitForEnds();
    EXPECT_EQ(Filter().Stop(), S_OK);
    PlayWhole();
    Close();
  }
}

// ---- What a seek gives back ----

TEST_F(ControlSideTest, ASeekGivesBackThePositionsThatItSettledOn) {
  const Watchdog watchdog("two hundred seeks");
  Open(kYielding);
  ASSERT_EQ(Run(), S_OK);
  for (int i = 0; i < 200; ++i) {
    const LONGLONG target = i % 2 == 0 ? file_.seekTarget : 0;
    LONGLONG current = target;
    LONGLONG stop = (i % 3 + 100) * kMillisecond;
    const LONGLONG asked = stop;
    ASSERT_EQ(Filter().SetPositions(&current, AM_SEEKING_AbsolutePositioning | AM_SEEKING_ReturnTime, &stop,
                                    AM_SEEKING_AbsolutePositioning | AM_SEEKING_ReturnTime),
              S_OK);
    ASSERT_EQ(current, target) << "not what a restarted worker has made of it";
    ASSERT_EQ(stop, asked);
  }
  LONGLONG beyond = 100000 * kMillisecond;
  LONGLONG settled = 0;
  EXPECT_EQ(SeekTo(&Filter(), beyond, &settled), S_OK);
  LONGLONG duration = 0;
  EXPECT_EQ(Filter().GetDuration(&duration), S_OK);
  EXPECT_EQ(settled, duration) << "no further than the file";
  EXPECT_EQ(Filter().Stop(), S_OK);
}

}  // namespace
}  // namespace vantor::test
