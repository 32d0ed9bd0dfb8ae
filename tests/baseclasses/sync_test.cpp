#include "baseclasses/sync.h"

#include <gtest/gtest.h>

#include <memory>
#include <thread>
#include <vector>

namespace {

// A step into another function, where a lock is taken that the caller may hold.
void TakeAndGiveBack(CCritSec* lock) { const CAutoLock held(lock); }

// On the heap: where a lock stood on the stack, the race detector takes the next one for the same.
struct Locks {
  CCritSec unranked;
  CCritSec seek{LockRank::Seek};
  CCritSec filter{LockRank::Filter};
  CCritSec other_filter{LockRank::Filter};
  CCritSec position{LockRank::Position};
  CCritSec other_position{LockRank::Position};
};

class CritSec : public testing::Test {
 protected:
  const std::unique_ptr<Locks> locks = std::make_unique<Locks>();
};
#ifndef NDEBUG
using CritSecDeathTest = CritSec;
#endif

TEST_F(CritSec, TheSameThreadMayTakeItAgain) {
  const CAutoLock outer(&locks->unranked);
  TakeAndGiveBack(&locks->unranked);
}

TEST_F(CritSec, OneThreadAtATimeIsInside) {
  int count = 0;
  std::vector<std::thread> threads;
  threads.reserve(4);
  for (int i = 0; i < 4; ++i) {
    threads.emplace_back([&] {
      for (int n = 0; n < 1000; ++n) {
        const CAutoLock held(&locks->unranked);
        ++count;
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(count, 4000);
}

TEST_F(CritSec, RanksMayBeTakenInRisingOrderAndAgain) {
  for (int i = 0; i < 2; ++i) {
    const CAutoLock one(&locks->seek);
    const CAutoLock two(&locks->filter);
    const CAutoLock three(&locks->position);
    const CAutoLock four(&locks->unranked);
    TakeAndGiveBack(&locks->filter);
    TakeAndGiveBack(&locks->seek);
  }
}

TEST_F(CritSec, AnUnrankedLockMayBeHeldAroundAnyOther) {
  const CAutoLock outer(&locks->unranked);
  const CAutoLock inner(&locks->seek);
}

TEST_F(CritSec, TheLocksOfTwoFiltersMayNest) {
  const CAutoLock outer(&locks->filter);
  const CAutoLock inner(&locks->other_filter);
}

TEST_F(CritSec, RanksOfAnotherThreadDoNotCount) {
  const CAutoLock held(&locks->position);
  std::thread([&] { const CAutoLock other(&locks->seek); }).join();
}

#ifndef NDEBUG
TEST_F(CritSecDeathTest, ALowerRankUnderAHigherEndsTheProgram) {
  testing::FLAGS_gtest_death_test_style = "threadsafe";
  EXPECT_DEATH(
      {
        const CAutoLock outer(&locks->position);
        const CAutoLock inner(&locks->filter);
      },
      "wrong order.*holding rank 40, taking rank 20");
}

TEST_F(CritSecDeathTest, AnotherLockOfTheSameRankEndsTheProgram) {
  testing::FLAGS_gtest_death_test_style = "threadsafe";
  EXPECT_DEATH(
      {
        const CAutoLock outer(&locks->position);
        const CAutoLock inner(&locks->other_position);
      },
      "wrong order");
}

void AssertHeld(const CCritSec& lock) VANTOR_NO_THREAD_SAFETY_ANALYSIS { lock.AssertHeld(); }

TEST_F(CritSecDeathTest, RelyingOnALockOfAnotherThreadEndsTheProgram) {
  testing::FLAGS_gtest_death_test_style = "threadsafe";
  EXPECT_DEATH(
      {
        const CAutoLock held(&locks->filter);
        std::thread([&] { AssertHeld(locks->filter); }).join();
      },
      "not held");
}
#endif

TEST_F(CritSec, ItStaysHeldUntilItIsGivenBackAsOftenAsItWasTaken) {
  const CAutoLock outer(&locks->filter);
  TakeAndGiveBack(&locks->filter);
  locks->filter.AssertHeld();
}

TEST(Event, AnAutomaticEventEndsOneWait) {
  CAMEvent event;
  EXPECT_FALSE(event.Check());
  event.Set();
  EXPECT_TRUE(event.Wait());
  EXPECT_FALSE(event.Check());
  event.Set();
  event.Set();
  EXPECT_TRUE(event.Check());
  EXPECT_FALSE(event.Check());
}

TEST(Event, AManualEventStaysSetUntilReset) {
  CAMEvent event(TRUE);
  event.Set();
  EXPECT_TRUE(event.Wait());
  EXPECT_TRUE(event.Wait(0));
  event.Reset();
  EXPECT_FALSE(event.Check());
}

TEST(Event, AWaitWithALimitEndsWithoutTheEvent) {
  CAMEvent event;
  EXPECT_FALSE(event.Wait(1));
}

TEST(Event, AManualEventEndsTheWaitsOfAllThreads) {
  CAMEvent event(TRUE);
  std::vector<std::thread> threads;
  threads.reserve(4);
  for (int i = 0; i < 3; ++i) threads.emplace_back([&] { EXPECT_TRUE(event.Wait()); });
  event.Set();
  for (std::thread& thread : threads) thread.join();
}

TEST(Event, TwoThreadsHandATurnBackAndForth) {
  CAMEvent ping;
  CAMEvent pong;
  int turns = 0;
  std::thread other([&] {
    for (int i = 0; i < 200; ++i) {
      ping.Wait();
      ++turns;
      pong.Set();
    }
  });
  for (int i = 0; i < 200; ++i) {
    ping.Set();
    pong.Wait();
    EXPECT_EQ(turns, i + 1);
  }
  other.join();
}

}  // namespace
