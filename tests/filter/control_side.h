// The small file between a source that may block and sinks that may hold, for tests of what a control call does then.
#pragma once

#include <gtest/gtest.h>

#include <chrono>
#include <memory>
#include <utility>
#include <vector>

#include "filter/patient_filter.h"
#include "platform/platform.h"
#include "support/control_file.h"
#include "support/demux_harness.h"
#include "support/filter_calls.h"
#include "support/misbehaving_sink.h"
#include "support/stubborn_reader.h"

namespace vantor::test {

// Who yields to a step has all the time for it; two steps may pass before the right one comes.
constexpr std::chrono::milliseconds kMoment{20};
constexpr Patience kYielding{kMoment, std::chrono::milliseconds(1500), kMoment};
constexpr Patience kShort{kMoment, kMoment, kMoment};

class ControlSideTest : public DemuxTest {
 protected:
  void Open(const Patience& patience) {
    reader_ = StubbornReader::Create(file_.bytes);
    demux_ = std::make_unique<Demux>(Raw(), NewPatientFilter(patience), reader_.Get());
    ASSERT_EQ(demux_->Connect(), S_OK);
    for (int i = 0; i < 2; ++i) {
      sinks_.push_back(MisbehavingSink::Create());
      ASSERT_EQ(demux_->Pin(i + 1)->Connect(sinks_.back()->Pin(), nullptr), S_OK);
    }
  }
  void TearDown() override {
    Close();
    DemuxTest::TearDown();
  }
  void Close() {
    if (!demux_) return;
    reader_->Behave();
    for (const auto& sink : sinks_) sink->Behave();
    StopUntilInTime();
    for (const auto& sink : sinks_) sink->Stop();
    while (demux_->Input()->Disconnect() == VFW_E_TIMEOUT) SleepMilliseconds(1);
    for (const auto& sink : sinks_) sink->Forget();
    demux_.reset();
    sinks_.clear();
    reader_.Reset();
  }

  CVXMkvDmx& Filter() { return demux_->Filter(); }
  MisbehavingSink& Sink(std::size_t number) { return *sinks_[number - 1]; }
  FILTER_STATE State() {
    FILTER_STATE state = State_Running;
    EXPECT_EQ(Filter().GetState(0, &state), S_OK);
    return state;
  }
  HRESULT Run() {
    for (const auto& sink : sinks_) sink->Run(0);
    return Filter().Run(0);
  }
  // Until a worker that was left to itself has come home.
  HRESULT RunUntilInTime() {
    HRESULT result = Run();
    for (; result == VFW_E_TIMEOUT; result = Run()) SleepMilliseconds(1);
    return result;
  }
  void StopUntilInTime() {
    while (Filter().Stop() == VFW_E_TIMEOUT) SleepMilliseconds(1);
  }
  void WaitForEnds() {
    for (const auto& sink : sinks_) {
      while (sink->Ends() == 0) SleepMilliseconds(1);
    }
  }
  // Plays the rest of the file on both pins, whatever there was before.
  void PlayOut() {
    for (const auto& sink : sinks_) sink->Behave();
    ASSERT_EQ(RunUntilInTime(), S_OK);
    WaitForEnds();
    EXPECT_EQ(Filter().Stop(), S_OK);
  }
  void PlayWhole() {
    ASSERT_EQ(SeekTo(&Filter(), kMillisecond), S_OK);
    ASSERT_EQ(SeekTo(&Filter(), 0), S_OK);
    PlayOut();
    EXPECT_EQ(Sink(1).Played(), file_.frames[0]);
    EXPECT_EQ(Sink(2).Played(), file_.frames[1]);
    for (const auto& sink : sinks_) EXPECT_EQ(sink->FaultOfFlushes(), "");
    EXPECT_EQ(reader_->FaultOfFlushes(), "");
  }
  // Runs until the source holds the worker of that track at its second block.
  void RunUntilTheSourceHolds(std::size_t track, Stubbornness how) {
    reader_->Arm(how, file_.secondBlock[track - 1]);
    ASSERT_EQ(Run(), S_OK);
    while (reader_->Held() == 0) SleepMilliseconds(1);
  }
  void RunUntilTheSinkHolds(Misbehaviour how) {
    Sink(1).Misbehave(std::move(how));
    ASSERT_EQ(Run(), S_OK);
    while (!Sink(1).IsHolding()) SleepMilliseconds(1);
  }

  const ControlFile& file_ = ControlFile::Get();
  ComPtr<StubbornReader> reader_;
  std::vector<ComPtr<MisbehavingSink>> sinks_;
  std::unique_ptr<Demux> demux_;
};

}  // namespace vantor::test
