#include "streaming/seek_search.h"

#include <atomic>
#include <thread>

#include "streaming/opened_file.h"
#include "support/allocation_monitor.h"
#include "support/control_file.h"
#include "support/demux_harness.h"
#include "support/stubborn_reader.h"
#include "support/watchdog.h"

namespace vantor::test {
namespace {

using Answer = SeekSearch::Answer;

class CountingHolder final : public LateThreadHolder {
 public:
  void HoldForThread() override { ++holds; }
  void ReleaseForThread() override { --holds; }
  std::atomic<int> holds{0};
};

// The small file between the search and a source that may block.
class SeekSearchTest : public testing::Test {
 protected:
  SeekSearchTest() { EXPECT_EQ(root_.Open(), S_OK); }

  static Answer Find(SeekSearch& search, std::int64_t target, DWORD milliseconds, PlaceInFile& place) {
    return search.Wait(search.Begin(target), milliseconds, place);
  }
  // A read that every search of the second Cluster makes.
  void Hold(Stubbornness how) { reader_->Arm(how, file_.soughtBlock - 1); }
  void ExpectThePlace(const PlaceInFile& place) {
    EXPECT_EQ(place.cluster.id, 0x1F43B675U);
    EXPECT_EQ(place.timecode, 60);
    EXPECT_EQ(place.element.dataStart + 4, file_.soughtBlock) << "track, time and flags stand before the payload";
  }

  const ControlFile& file_ = ControlFile::Get();
  ComPtr<StubbornReader> reader_ = StubbornReader::Create(file_.bytes);
  CMkvFileRoot root_{reader_.Get(), true};
  CountingHolder holder_;
  PlaceInFile place_;
};

TEST_F(SeekSearchTest, FindsTheKeyFrameThatACueLeadsTo) {
  const Watchdog watchdog("a search");
  SeekSearch search(root_, FindFirstCluster(root_), holder_);
  for (int i = 0; i < 2; ++i) {
    EXPECT_EQ(Find(search, file_.seekTarget, INFINITE, place_), Answer::kFound);
    ExpectThePlace(place_);
  }
  EXPECT_EQ(holder_.holds, 0);
}

TEST_F(SeekSearchTest, FindsNothingWhereNoCueLeads) {
  const Watchdog watchdog("a search");
  root_.segment.cues.clear();
  SeekSearch search(root_, FindFirstCluster(root_), holder_);
  EXPECT_EQ(Find(search, file_.seekTarget, INFINITE, place_), Answer::kNothing);
}

TEST_F(SeekSearchTest, AFlushOfTheSourceIsNotNothing) {
  const Watchdog watchdog("a search that is flushed");
  root_.flushes = std::make_shared<SourceFlushes>();
  SeekSearch search(root_, FindFirstCluster(root_), holder_);
  Hold(Stubbornness::kBlocksUntilFlushed);
  const std::uint32_t number = search.Begin(file_.seekTarget);
  while (reader_->Held() == 0) std::this_thread::yield();
  EXPECT_EQ(search.Wait(number, 0, place_), Answer::kNoAnswer);
  root_.flushes->Begin();
  reader_->BeginFlush();
  EXPECT_EQ(search.Wait(number, INFINITE, place_), Answer::kLetGo);
  reader_->EndFlush();
  root_.flushes->End();
  EXPECT_EQ(Find(search, file_.seekTarget, INFINITE, place_), Answer::kFound);
  ExpectThePlace(place_);
}

TEST_F(SeekSearchTest, OneThatIsLeftToItselfHoldsUntilItComesBack) {
  const Watchdog watchdog("a search that is left to itself");
  SeekSearch search(root_, FindFirstCluster(root_), holder_);
  Hold(Stubbornness::kBlocksUntilLetGo);
  EXPECT_EQ(Find(search, file_.seekTarget, 0, place_), Answer::kNoAnswer);
  while (reader_->Held() == 0) std::this_thread::yield();
  EXPECT_TRUE(search.LeaveToItself());
  EXPECT_TRUE(search.LeaveToItself());
  EXPECT_TRUE(search.IsLate());
  EXPECT_EQ(holder_.holds, 1);
  EXPECT_EQ(search.Begin(file_.seekTarget), 0U) << "it is busy";
  reader_->Behave();
  while (search.IsLate() || holder_.holds != 0) std::this_thread::yield();
  EXPECT_EQ(Find(search, file_.seekTarget, INFINITE, place_), Answer::kFound);
  ExpectThePlace(place_);
}

TEST_F(SeekSearchTest, TheAnswerToOneIsNotTakenForThatToAnother) {
  const Watchdog watchdog("two searches");
  SeekSearch search(root_, FindFirstCluster(root_), holder_);
  const std::uint32_t first = search.Begin(1);
  std::uint32_t second = 0;
  while (second == 0) second = search.Begin(file_.seekTarget);
  EXPECT_EQ(search.Wait(first, INFINITE, place_), Answer::kLetGo);
  EXPECT_EQ(search.Wait(second, INFINITE, place_), Answer::kFound);
  ExpectThePlace(place_);
  EXPECT_EQ(search.Wait(second, INFINITE, place_), Answer::kFound) << "asked again";
  EXPECT_FALSE(search.LeaveToItself());
  EXPECT_EQ(holder_.holds, 0);
}

TEST_F(SeekSearchTest, OneThatHasEndedSearchesNoMore) {
  const Watchdog watchdog("a search that has ended");
  SeekSearch search(root_, FindFirstCluster(root_), holder_);
  const std::uint32_t number = search.Begin(file_.seekTarget);
  while (search.IsBusy()) std::this_thread::yield();
  search.End();
  EXPECT_EQ(search.Wait(number, INFINITE, place_), Answer::kLetGo);
  EXPECT_EQ(search.Begin(file_.seekTarget), 0U);
}

TEST_F(SeekSearchTest, WhereNoThreadIsToBeHadTheCallerSearches) {
  if (!WatchesAllocations()) GTEST_SKIP();
  SeekSearch search(root_, FindFirstCluster(root_), holder_);
  FailAllocation(1);
  EXPECT_EQ(Find(search, file_.seekTarget, INFINITE, place_), Answer::kFound);
  FailAllocation(0);
  ExpectThePlace(place_);
}

}  // namespace
}  // namespace vantor::test
