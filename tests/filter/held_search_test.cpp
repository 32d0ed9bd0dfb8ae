// Seeks whose search for the place is held by the source: the filter is stopped, so that nobody else reads.
#include "baseclasses/unknown.h"
#include "filter/control_side.h"
#include "support/watchdog.h"

namespace vantor::test {
namespace {

class HeldSearchTest : public ControlSideTest {
 protected:
  // Holds the next read of where the seek leads.
  void HoldTheSearch(Stubbornness how) { reader_->Arm(how, file_.soughtBlock - 1); }
  // Seeks as often as it takes for a search that was left to itself to come home.
  void SeekInTime(LONGLONG target) {
    while (SeekTo(&Filter(), target) == VFW_E_TIMEOUT) SleepMilliseconds(1);
  }
};

// Those that are not held have all the time they want, and so has who yields to a flush.
constexpr std::chrono::milliseconds kEnough{20000};
constexpr Patience kSearchYields{kEnough, kEnough, kMoment, std::chrono::milliseconds(500)};
constexpr Patience kSearchIsHeld{kEnough, kMoment, kMoment, std::chrono::milliseconds(500)};

TEST_F(HeldSearchTest, TheSourceIsFlushedAndTheSearchMadeAgain) {
  const Watchdog watchdog("a seek whose search the source holds until it is flushed");
  Open(kSearchYields);
  HoldTheSearch(Stubbornness::kBlocksUntilFlushed);
  LONGLONG settled = 0;
  EXPECT_EQ(SeekTo(&Filter(), file_.seekTarget, &settled), S_OK);
  EXPECT_EQ(settled, file_.seekTarget);
  EXPECT_EQ(reader_->Flushes(), 1);
  EXPECT_EQ(reader_->FaultOfFlushes(), "");
  PlayOut();
  EXPECT_EQ(Sink(1).Played(), std::vector<Raw>(file_.frames[0].end() - 3, file_.frames[0].end()))
      << "what lies in the second cluster";
  PlayWhole();
}

TEST_F(HeldSearchTest, ASearchThatNothingFreesIsLeftToItselfAndPlayingBeginsAtTheStart) {
  const Watchdog watchdog("a seek whose search the source holds for good");
  Open(kSearchIsHeld);
  HoldTheSearch(Stubbornness::kBlocksUntilLetGo);
  LONGLONG settled = -1;
  EXPECT_EQ(SeekTo(&Filter(), file_.seekTarget, &settled), VFW_E_TIMEOUT);
  EXPECT_EQ(settled, 0);
  EXPECT_EQ(reader_->Flushes(), 1);
  EXPECT_EQ(reader_->FaultOfFlushes(), "") << "a flush ends in the call that began it";

  // While it lives, what would need it to end is refused and changes nothing.
  EXPECT_EQ(Filter().Pause(), VFW_E_TIMEOUT);
  EXPECT_EQ(State(), State_Stopped);
  EXPECT_EQ(demux_->Input()->Disconnect(), VFW_E_TIMEOUT);
  EXPECT_EQ(Filter().GetPinCount(), 3);
  settled = -1;
  EXPECT_EQ(SeekTo(&Filter(), file_.seekTarget, &settled), VFW_E_TIMEOUT) << "nor is there another search";
  EXPECT_EQ(settled, 0) << "it says where the pins are";
  EXPECT_EQ(reader_->Flushes(), 1);
  while (reader_->Held() == 0) SleepMilliseconds(1);

  reader_->Behave();
  PlayOut();
  EXPECT_EQ(Sink(1).Played(), file_.frames[0]);
  SeekInTime(file_.seekTarget);
  PlayOut();
  EXPECT_EQ(Sink(1).Played(), std::vector<Raw>(file_.frames[0].end() - 3, file_.frames[0].end()));
}

TEST_F(HeldSearchTest, WhileTheFilterRunsTheOthersPlayOnFromTheStart) {
  const Watchdog watchdog("a seek of a running filter whose search the source holds for good");
  Open(kSearchIsHeld);
  ASSERT_EQ(Run(), S_OK);
  WaitForEnds();
  HoldTheSearch(Stubbornness::kBlocksUntilLetGo);
  const int before = Sink(2).Ends();
  EXPECT_EQ(SeekTo(&Filter(), file_.seekTarget), VFW_E_TIMEOUT);
  EXPECT_EQ(State(), State_Running);
  while (Sink(2).Ends() == before) SleepMilliseconds(1);
  EXPECT_EQ(Sink(2).Played().back(), file_.frames[1].back());
  reader_->Behave();
  StopUntilInTime();
  PlayOut();
}

TEST_F(HeldSearchTest, TheLastReleaseReturnsWhileASearchIsLateAndItsEndFreesEverything) {
  const Watchdog watchdog("the last release while the source holds a search for good");
  const auto reader = StubbornReader::Create(file_.bytes);
  auto filter = NewPatientFilter(kSearchIsHeld);
  const auto source = FakeSource::Create(reader.Get());
  ASSERT_EQ(source->Pin()->Connect(filter->GetPin(0), &source->type), S_OK);
  reader->Arm(Stubbornness::kBlocksUntilLetGo, file_.soughtBlock - 1);
  EXPECT_EQ(SeekTo(filter.Get(), file_.seekTarget), VFW_E_TIMEOUT);
  source->Forget();
  filter.Reset();
  while (reader->Held() == 0) SleepMilliseconds(1);
  EXPECT_GT(CBaseObject::ObjectsActive(), 3) << "what the search may touch is there, and counted";
  reader->Behave();
  // What remains: the source, its pin, and the reader.
  while (CBaseObject::ObjectsActive() > 3) SleepMilliseconds(1);
  EXPECT_EQ(reader->AddRef(), 3U) << "this test's and the source's are all references besides this one";
  reader->Release();
}

// ---- A source that calls the filter ----

TEST_F(HeldSearchTest, ControlCallsFromAReadOfTheSearchAreRefused) {
  const Watchdog watchdog("control calls on the thread that searches");
  Open(kSearchYields);
  std::vector<HRESULT> results;
  reader_->OnRead([&] {
    results = {Filter().Stop(), Filter().Pause(), Filter().Run(0), SeekTo(&Filter(), 0), demux_->Input()->Disconnect()};
  });
  HoldTheSearch(Stubbornness::kCallsBack);
  LONGLONG settled = 0;
  EXPECT_EQ(SeekTo(&Filter(), file_.seekTarget, &settled), S_OK);
  EXPECT_EQ(settled, file_.seekTarget);
  EXPECT_EQ(results, std::vector<HRESULT>(5, VFW_E_WRONG_STATE));
  PlayWhole();
}

TEST_F(HeldSearchTest, ASourceMayTakeTheFileAwayWhenItsFlushEnds) {
  const Watchdog watchdog("a source that disconnects from EndFlush");
  Open(kSearchYields);
  HRESULT disconnected = E_FAIL;
  reader_->OnEndFlush([&] { disconnected = demux_->Input()->Disconnect(); });
  HoldTheSearch(Stubbornness::kBlocksUntilFlushed);
  LONGLONG settled = -1;
  EXPECT_EQ(SeekTo(&Filter(), file_.seekTarget, &settled), S_OK);
  EXPECT_EQ(disconnected, S_OK);
  EXPECT_EQ(settled, 0);
  EXPECT_EQ(Filter().GetPinCount(), 1);
  LONGLONG current = -1;
  EXPECT_EQ(Filter().GetPositions(&current, nullptr), S_OK);
  EXPECT_EQ(current, 0);
}

TEST_F(HeldSearchTest, ASourceThatSeeksWhenItIsFlushedMovesNobodyElsewhere) {
  for (const bool atEnd : {false, true}) {
    SCOPED_TRACE(atEnd ? "EndFlush" : "BeginFlush");
    const Watchdog watchdog("a source that seeks when it is flushed");
    Open(kSearchYields);
    HRESULT inner = E_FAIL;
    const auto seek = [&] { inner = SeekTo(&Filter(), 10 * kMillisecond); };
    if (atEnd) {
      reader_->OnEndFlush(seek);
    } else {
      reader_->OnBeginFlush(seek);
    }
    HoldTheSearch(Stubbornness::kBlocksUntilFlushed);
    LONGLONG settled = 0;
    EXPECT_EQ(SeekTo(&Filter(), file_.seekTarget, &settled), S_OK);
    EXPECT_TRUE(inner == S_OK || inner == VFW_E_TIMEOUT) << inner;
    EXPECT_EQ(settled, file_.seekTarget);
    EXPECT_EQ(reader_->FaultOfFlushes(), "");
    PlayOut();
    EXPECT_EQ(Sink(1).Played(), std::vector<Raw>(file_.frames[0].end() - 3, file_.frames[0].end()));
    Close();
  }
}

TEST_F(HeldSearchTest, AStopBesideALateSearchEndsInTime) {
  const Watchdog watchdog("a stop while a search is late");
  Open(kSearchIsHeld);
  ASSERT_EQ(Run(), S_OK);
  WaitForEnds();
  HoldTheSearch(Stubbornness::kBlocksUntilLetGo);
  EXPECT_EQ(SeekTo(&Filter(), file_.seekTarget), VFW_E_TIMEOUT);
  EXPECT_EQ(Filter().Stop(), S_OK);
  EXPECT_EQ(Filter().Run(0), VFW_E_TIMEOUT);
  EXPECT_EQ(State(), State_Stopped);
  reader_->Behave();
  PlayOut();
}

}  // namespace
}  // namespace vantor::test
