#include "baseclasses/sync.h"

#include <gtest/gtest.h>

#include <thread>
#include <vector>

namespace {

// A step into another function, where a lock is taken that the caller may hold.
void TakeAndGiveBack(CCritSec* lock) { const CAutoLock held(lock); }

TEST(CritSec, TheSameThreadMayTakeItAgain) {
  CCritSec lock;
  const CAutoLock outer(&lock);
  TakeAndGiveBack(&lock);
}

TEST(CritSec, OneThreadAtATimeIsInside) {
  CCritSec lock;
  int count = 0;
  std::vector<std::thread> threads;
  for (int i = 0; i < 4; ++i) {
    threads.emplace_back([&] {
      for (int n = 0; n < 1000; ++n) {
        const CAutoLock held(&lock);
        ++count;
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(count, 4000);
}

TEST(CritSec, RanksMayBeTakenInRisingOrderAndAgain) {
  CCritSec seek(LockRank::Seek);
  CCritSec filter(LockRank::Filter);
  CCritSec position(LockRank::Position);
  CCritSec unranked;
  for (int i = 0; i < 2; ++i) {
    const CAutoLock one(&seek);
    const CAutoLock two(&filter);
    const CAutoLock three(&position);
    const CAutoLock four(&unranked);
    TakeAndGiveBack(&filter);
    TakeAndGiveBack(&seek);
  }
}

TEST(CritSec, AnUnrankedLockMayBeHeldAroundAnyOther) {
  CCritSec unranked;
  CCritSec seek(LockRank::Seek);
  const CAutoLock outer(&unranked);
  const CAutoLock inner(&seek);
}

TEST(CritSec, TheLocksOfTwoFiltersMayNest) {
  CCritSec one(LockRank::Filter);
  CCritSec two(LockRank::Filter);
  const CAutoLock outer(&one);
  const CAutoLock inner(&two);
}

TEST(CritSec, RanksOfAnotherThreadDoNotCount) {
  CCritSec position(LockRank::Position);
  CCritSec seek(LockRank::Seek);
  const CAutoLock held(&position);
  std::thread([&] { const CAutoLock other(&seek); }).join();
}

#ifndef NDEBUG
TEST(CritSecDeathTest, ALowerRankUnderAHigherEndsTheProgram) {
  testing::FLAGS_gtest_death_test_style = "threadsafe";
  CCritSec filter(LockRank::Filter);
  CCritSec position(LockRank::Position);
  EXPECT_DEATH(
      {
        const CAutoLock outer(&position);
        const CAutoLock inner(&filter);
      },
      "wrong order.*holding rank 3, taking rank 2");
}

TEST(CritSecDeathTest, AnotherLockOfTheSameRankEndsTheProgram) {
  testing::FLAGS_gtest_death_test_style = "threadsafe";
  CCritSec one(LockRank::Position);
  CCritSec two(LockRank::Position);
  EXPECT_DEATH(
      {
        const CAutoLock outer(&one);
        const CAutoLock inner(&two);
      },
      "wrong order");
}
#endif

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
