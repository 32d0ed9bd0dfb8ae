// What a filter answers while another thread holds its lock, as Stop does while it waits for a worker: everything that
// downstream may ask from inside a call of that worker.
#include <gtest/gtest.h>

#include <chrono>
#include <functional>
#include <future>

#include "baseclasses/fakes.h"

using namespace vantor::test;
using vantor::ComPtr;

namespace {

class ReadingCalls : public PinPair {
 protected:
  // Makes the call on another thread while this one holds the filter lock.
  void ExpectAnswerWithoutTheFilterLock(const std::function<void()>& call) {
    std::future<void> answered;
    {
      const CAutoLock lock(&source->m_Lock);
      answered = std::async(std::launch::async, call);
      EXPECT_EQ(answered.wait_for(std::chrono::seconds(10)), std::future_status::ready);
    }
    answered.get();
  }
};

TEST_F(ReadingCalls, PinsAreEnumerated) {
  ExpectAnswerWithoutTheFilterLock([this] {
    ComPtr<IEnumPins> pins;
    EXPECT_EQ(source->EnumPins(pins.Out()), S_OK);
    EXPECT_EQ(pins->Skip(0), S_OK);
    ComPtr<IPin> pin;
    EXPECT_EQ(pins->Next(1, pin.Out(), nullptr), S_OK);
    EXPECT_EQ(pin.Get(), out);
    EXPECT_EQ(pins->Skip(1), S_FALSE);
    EXPECT_EQ(pins->Reset(), S_OK);
    EXPECT_EQ(pins->Skip(1), S_OK);
    ComPtr<IEnumPins> clone;
    EXPECT_EQ(pins->Clone(clone.Out()), S_OK);
  });
}

TEST_F(ReadingCalls, APinIsFound) {
  ExpectAnswerWithoutTheFilterLock([this] {
    ComPtr<IPin> pin;
    EXPECT_EQ(source->FindPin(OLESTR("Out"), pin.Out()), S_OK);
    EXPECT_EQ(source->FindPin(OLESTR("None"), pin.Out()), VFW_E_NOT_FOUND);
  });
}

TEST_F(ReadingCalls, TheClockIsSetAndGiven) {
  ExpectAnswerWithoutTheFilterLock([this] {
    IReferenceClock* clock = nullptr;
    EXPECT_EQ(source->SetSyncSource(nullptr), S_OK);
    EXPECT_EQ(source->GetSyncSource(&clock), S_OK);
    EXPECT_EQ(clock, nullptr);
  });
}

TEST_F(ReadingCalls, TheFilterLeavesItsGraph) {
  ExpectAnswerWithoutTheFilterLock([this] { EXPECT_EQ(source->JoinFilterGraph(nullptr, nullptr), S_OK); });
}

TEST_F(ReadingCalls, TheSinkOfQualityMessagesIsSet) {
  ExpectAnswerWithoutTheFilterLock([this] { EXPECT_EQ(out->SetSink(nullptr), S_OK); });
}

}  // namespace
