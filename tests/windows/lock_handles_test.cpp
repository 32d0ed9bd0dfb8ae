// What contended locks leave behind: nothing. Where a lock's first contention makes an object of the kernel, the lock's
// end has to close it, or a host that opens file after file runs out of handles.
#include <gtest/gtest.h>
#include <windows.h>

#include <thread>

#include "baseclasses/filter.h"
#include "baseclasses/pin.h"
#include "platform/com_ptr.h"

namespace vantor::test {
namespace {

constexpr int kFilters = 200;

// Its locks can be held from outside.
class HeldFilter final : public CBaseFilter {
 public:
  HeldFilter() : CBaseFilter(OLESTR("held"), nullptr, &lock_, IID_IUnknown) {}
  int GetPinCount() override { return 0; }
  CBasePin* GetPin(int) override { return nullptr; }

  CCritSec& StateLock() { return lock_; }
  Lock& ClockLock() VANTOR_RETURN_CAPABILITY(m_ClockLock) { return m_ClockLock; }

 private:
  CCritSec lock_{LockRank::Filter};
};

// Another thread makes the call, which needs a lock that the caller holds meanwhile: long enough for the call to be
// waiting for it.
template <typename Call>
std::thread Waiting(Call call) {
  CAMEvent calling;
  std::thread thread([&calling, call] {
    calling.Set();
    call();
  });
  calling.Wait();
  Sleep(2);
  return thread;
}

void ContendForTheFilterLock(HeldFilter* filter) {
  std::thread waiting;
  {
    const CAutoLock hold(&filter->StateLock());
    waiting = Waiting([filter] { EXPECT_EQ(filter->Stop(), S_OK); });
  }
  waiting.join();
}

void ContendForTheClock(HeldFilter* filter) {
  std::thread waiting;
  {
    const LockScope hold(filter->ClockLock());
    waiting = Waiting([filter] { EXPECT_EQ(filter->SetSyncSource(nullptr), S_OK); });
  }
  waiting.join();
}

void WaitForAnEvent() {
  CAMEvent event;
  std::thread waiting = Waiting([&event] { EXPECT_TRUE(event.Wait()); });
  event.Set();
  waiting.join();
}

void UseFilters(int count) {
  for (int i = 0; i < count; ++i) {
    ComPtr<HeldFilter> filter(new HeldFilter);
    ContendForTheFilterLock(filter.Get());
    ContendForTheClock(filter.Get());
    WaitForAnEvent();
  }
}

// Asked one by one: not every system that runs this counts them itself. The values are multiples of 4, low ones first.
int Handles() {
  int count = 0;
  for (ULONG_PTR value = 4; value < 0x10000; value += 4) {
    DWORD flags = 0;
    if (GetHandleInformation(reinterpret_cast<HANDLE>(value), &flags)) ++count;
  }
  return count;
}

TEST(LockHandlesTest, FiltersWhoseLocksWereContendedLeaveNoHandles) {
  UseFilters(5);  // what the first of a process keep for good
  const int before = Handles();
  ASSERT_GT(before, 0);
  UseFilters(kFilters);
  // The system's own come and go; a handle a filter would be 200.
  EXPECT_LT(Handles(), before + kFilters / 10);
}

}  // namespace
}  // namespace vantor::test
