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
    EXPECT_EQ(search.Find(file_.seekTarget, INFINITE, place_), Answer::kFound);
    ExpectThePlace(place_);
  }
  EXPECT_EQ(holder_.holds, 0);
}

TEST_F(SeekSearchTest, FindsNothingWhereNoCueLeads) {
  const Watchdog watchdog("a search");
  root_.segment.cues.clear();
  SeekSearch search(root_, FindFirstCluster(root_), holder_);
  EXPECT_EQ(search.Find(file_.seekTarget, INFINITE, place_), Answer::kNothing);
}

TEST_F(SeekSearchTest, AFlushOfTheSourceIsNotNothing) {
  const Watchdog watchdog("a search that is flushed");
  root_.flushes = std::make_shared<SourceFlushes>();
  SeekSearch search(root_, FindFirstCluster(root_), holder_);
  Hold(Stubbornness::kBlocksUntilFlushed);
  EXPECT_EQ(search.Find(file_.seekTarget, 0, place_), Answer::kNoAnswer);
  while (reader_->Held() == 0) std::this_thread::yield();
  root_.flushes->Begin();
  reader_->BeginFlush();
  EXPECT_EQ(search.Wait(INFINITE, place_), Answer::kLetGo);
  reader_->EndFlush();
  root_.flushes->End();
  EXPECT_EQ(search.Find(file_.seekTarget, INFINITE, place_), Answer::kFound);
  ExpectThePlace(place_);
}

TEST_F(SeekSearchTest, OneThatIsLeftToItselfHoldsUntilItComesBack) {
  const Watchdog watchdog("a search that is left to itself");
  SeekSearch search(root_, FindFirstCluster(root_), holder_);
  Hold(Stubbornness::kBlocksUntilLetGo);
  EXPECT_EQ(search.Find(file_.seekTarget, 0, place_), Answer::kNoAnswer);
  while (reader_->Held() == 0) std::this_thread::yield();
  search.LeaveToItself();
  search.LeaveToItself();
  EXPECT_TRUE(search.IsLate());
  EXPECT_EQ(holder_.holds, 1);
  EXPECT_EQ(search.Find(file_.seekTarget, INFINITE, place_), Answer::kNoAnswer) << "it is busy";
  reader_->Behave();
  while (search.IsLate() || holder_.holds != 0) std::this_thread::yield();
  EXPECT_EQ(search.Find(file_.seekTarget, INFINITE, place_), Answer::kFound);
  ExpectThePlace(place_);
}

TEST_F(SeekSearchTest, WhereNoThreadIsToBeHadTheCallerSearches) {
  if (!WatchesAllocations()) GTEST_SKIP();
  SeekSearch search(root_, FindFirstCluster(root_), holder_);
  FailAllocation(1);
  EXPECT_EQ(search.Find(file_.seekTarget, INFINITE, place_), Answer::kFound);
  FailAllocation(0);
  ExpectThePlace(place_);
}

}  // namespace
}  // namespace vantor::test
