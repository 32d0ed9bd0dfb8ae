#include "platform/lock.h"

#include <gtest/gtest.h>

#include <memory>
#include <thread>
#include <vector>

namespace vantor::test {
namespace {

// On the heap: where a lock stood on the stack, the race detector takes the next one for the same.
struct Shared {
  Lock lock;
  Condition changed;
  int value VANTOR_GUARDED_BY(lock) = 0;
};

class LockTest : public testing::Test {
 protected:
  const std::unique_ptr<Shared> shared_ = std::make_unique<Shared>();
};

TEST_F(LockTest, OneThreadAtATimeIsInside) {
  Shared& shared = *shared_;
  std::vector<std::thread> threads;
  threads.reserve(4);
  for (int i = 0; i < 4; ++i) {
    threads.emplace_back([&shared] {
      for (int n = 0; n < 1000; ++n) {
        const LockScope hold(shared.lock);
        ++shared.value;
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  const LockScope hold(shared.lock);
  EXPECT_EQ(shared.value, 4000);
}

bool TryOnce(Lock& lock) {
  if (!lock.TryAcquire()) return false;
  const LockScope hold(lock, AdoptLock());
  lock.AssertHeld();
  return true;
}

TEST_F(LockTest, AHeldLockIsNotToBeHadByTrying) {
  Shared& shared = *shared_;
  bool had = true;
  {
    const LockScope hold(shared.lock);
    std::thread([&shared, &had] { had = TryOnce(shared.lock); }).join();
  }
  EXPECT_FALSE(had);
  EXPECT_TRUE(TryOnce(shared.lock));
  EXPECT_TRUE(TryOnce(shared.lock));
}

TEST_F(LockTest, ANoticeEndsTheWaitOfEveryThread) {
  Shared& shared = *shared_;
  std::vector<std::thread> threads;
  threads.reserve(3);
  for (int i = 0; i < 3; ++i) {
    threads.emplace_back([&shared] {
      const LockScope hold(shared.lock);
      while (shared.value == 0) shared.changed.Wait(shared.lock);
      shared.lock.AssertHeld();
    });
  }
  {
    const LockScope hold(shared.lock);
    shared.value = 1;
    shared.changed.NotifyAll();
  }
  for (std::thread& thread : threads) thread.join();
}

TEST_F(LockTest, TwoThreadsWakeEachOtherInTurn) {
  Shared& shared = *shared_;
  const auto play = [&shared](int side) {
    for (int turn = 0; turn < 200; ++turn) {
      const LockScope hold(shared.lock);
      while (shared.value % 2 != side) shared.changed.Wait(shared.lock);
      ++shared.value;
      shared.changed.NotifyOne();
    }
  };
  std::thread other([&play] { play(1); });
  play(0);
  other.join();
  const LockScope hold(shared.lock);
  EXPECT_EQ(shared.value, 400);
}

TEST_F(LockTest, AWaitWithALimitEndsWithoutANoticeAndHoldsTheLock) {
  Shared& shared = *shared_;
  const LockScope hold(shared.lock);
  const Deadline limit(5);
  while (shared.changed.WaitFor(shared.lock, limit.Left())) {
  }
  EXPECT_EQ(limit.Left(), 0u);
  shared.lock.AssertHeld();
}

TEST_F(LockTest, AWaitLetsOthersIn) {
  Shared& shared = *shared_;
  const LockScope hold(shared.lock);
  std::thread other([&shared] {
    const LockScope inside(shared.lock);
    shared.value = 1;
    shared.changed.NotifyOne();
  });
  while (shared.value == 0) shared.changed.WaitFor(shared.lock, kForever);
  other.join();
}

TEST(DeadlineTest, WithoutALimitThereIsAlwaysTimeLeft) { EXPECT_EQ(Deadline(kForever).Left(), kForever); }

TEST(DeadlineTest, TheTimeLeftIsNoMoreThanTheLimit) {
  EXPECT_EQ(Deadline(0).Left(), 0u);
  const std::uint32_t left = Deadline(3600000).Left();
  EXPECT_GT(left, 0u);
  EXPECT_LE(left, 3600000u);
}

#ifndef NDEBUG
using LockDeathTest = LockTest;

struct Ranked {
  Lock low{LockRank::Allocator};
  Lock high{LockRank::Event};
};

// Out of the analysis's sight, which would refuse what the checks are to catch.
void TakeTwice(Lock& lock) VANTOR_NO_THREAD_SAFETY_ANALYSIS {
  lock.Acquire();
  lock.Acquire();
}

void GiveBack(Lock& lock) VANTOR_NO_THREAD_SAFETY_ANALYSIS { lock.Release(); }

void AssertHeldByNobody(Lock& lock) VANTOR_NO_THREAD_SAFETY_ANALYSIS {
  lock.Acquire();
  lock.Release();
  lock.AssertHeld();
}

TEST_F(LockDeathTest, TakingItAgainEndsTheProgram) {
  testing::FLAGS_gtest_death_test_style = "threadsafe";
  EXPECT_DEATH(TakeTwice(shared_->lock), "taken again");
}

TEST_F(LockDeathTest, GivingBackWhatIsNotHeldEndsTheProgram) {
  testing::FLAGS_gtest_death_test_style = "threadsafe";
  EXPECT_DEATH(GiveBack(shared_->lock), "does not hold it");
}

TEST_F(LockDeathTest, RelyingOnALockThatIsNotHeldEndsTheProgram) {
  testing::FLAGS_gtest_death_test_style = "threadsafe";
  EXPECT_DEATH(AssertHeldByNobody(shared_->lock), "not held");
}

TEST_F(LockDeathTest, ALowerRankUnderAHigherEndsTheProgram) {
  testing::FLAGS_gtest_death_test_style = "threadsafe";
  EXPECT_DEATH(
      {
        Ranked locks;
        const LockScope outer(locks.high);
        const LockScope inner(locks.low);
      },
      "wrong order.*holding rank 82, taking rank 70");
}
#endif

}  // namespace
}  // namespace vantor::test
