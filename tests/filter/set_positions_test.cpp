// SetPositions in every pair of positioning modes, in both time formats, while stopped, paused and running.
#include <algorithm>
#include <string>
#include <tuple>

#include "filter/active_seek.h"

namespace vantor::test {
namespace {

constexpr std::int64_t kWholeDuration = 1000 * kMillisecond;
constexpr std::int64_t kFrame = 400000;

using Parameters = std::tuple<DWORD, DWORD, bool, FILTER_STATE>;

std::string ModeName(DWORD mode) {
  switch (mode) {
    case AM_SEEKING_NoPositioning:
      return "None";
    case AM_SEEKING_AbsolutePositioning:
      return "Absolute";
    case AM_SEEKING_RelativePositioning:
      return "Relative";
    default:
      return "Incremental";
  }
}

std::string NameOfCase(const testing::TestParamInfo<Parameters>& info) {
  const auto& [current, stop, frames, state] = info.param;
  return ModeName(current) + "And" + ModeName(stop) + (frames ? "InFrames" : "InTime") +
         (state == State_Stopped  ? "Stopped"
          : state == State_Paused ? "Paused"
                                  : "Running");
}

class SetPositionsTest : public DemuxTest, public testing::WithParamInterface<Parameters> {
 protected:
  struct Call {
    DWORD mode;
    LONGLONG value;      // in the format in use
    std::int64_t units;  // the same in 100 ns
  };

  // In time: 300 ms, or 130 ms on; in frames: 7, or 3 on.
  Call Current() const {
    const DWORD mode = std::get<0>(GetParam());
    const bool absolute = mode == AM_SEEKING_AbsolutePositioning;
    return Frames() ? Of(mode, absolute ? 7 : 3, kFrame) : Of(mode, (absolute ? 300 : 130) * kMillisecond, 1);
  }
  // In time: 900 ms, 110 ms less, or 250 ms behind the start; in frames: 22, 2 less, 6 behind.
  Call Stop() const {
    const DWORD mode = std::get<1>(GetParam());
    const bool absolute = mode == AM_SEEKING_AbsolutePositioning;
    const bool relative = mode == AM_SEEKING_RelativePositioning;
    return Frames() ? Of(mode,
                         absolute   ? 22
                         : relative ? -2
                                    : 6,
                         kFrame)
                    : Of(mode,
                         (absolute   ? 900
                          : relative ? -110
                                     : 250) *
                             kMillisecond,
                         1);
  }
  bool Frames() const { return std::get<2>(GetParam()); }
  FILTER_STATE State() const { return std::get<3>(GetParam()); }

  void UseFormat(ActiveSeek& at, bool frames) const {
    ASSERT_EQ(at.demux.Filter().SetTimeFormat(frames ? &TIME_FORMAT_FRAME : &TIME_FORMAT_MEDIA_TIME), S_OK);
  }

 private:
  static Call Of(DWORD mode, LONGLONG value, std::int64_t unit) { return {mode, value, value * unit}; }
};

INSTANTIATE_TEST_SUITE_P(
    , SetPositionsTest,
    testing::Combine(testing::Values(AM_SEEKING_NoPositioning, AM_SEEKING_AbsolutePositioning,
                                     AM_SEEKING_RelativePositioning, AM_SEEKING_IncrementalPositioning),
                     testing::Values(AM_SEEKING_NoPositioning, AM_SEEKING_AbsolutePositioning,
                                     AM_SEEKING_RelativePositioning, AM_SEEKING_IncrementalPositioning),
                     testing::Bool(), testing::Values(State_Stopped, State_Paused, State_Running)),
    NameOfCase);

TEST_P(SetPositionsTest, MovesAndAnnouncesWhatTheModesSay) {
  ActiveSeek at(NumberedFile(), {1, 2, 3});
  ASSERT_EQ(at.demux.Seek(200 * kMillisecond, 800 * kMillisecond), S_OK);
  at.HoldAt(0);
  at.Start(State());
  if (State() != State_Stopped) at.WaitUntilHeld();
  const auto [oldCurrent, oldStop] = at.Positions();
  EXPECT_EQ(oldCurrent, (State() == State_Stopped ? 200 : 250) * kMillisecond);

  const Call current = Current();
  const Call stop = Stop();
  std::int64_t wantedCurrent = oldCurrent;
  if (current.mode == AM_SEEKING_AbsolutePositioning) wantedCurrent = current.units;
  if (current.mode == AM_SEEKING_RelativePositioning || current.mode == AM_SEEKING_IncrementalPositioning) {
    wantedCurrent = oldCurrent + current.units;
  }
  std::int64_t wantedStop = oldStop;
  if (stop.mode == AM_SEEKING_AbsolutePositioning) wantedStop = stop.units;
  if (stop.mode == AM_SEEKING_RelativePositioning) wantedStop = oldStop + stop.units;
  if (stop.mode == AM_SEEKING_IncrementalPositioning) wantedStop = wantedCurrent + stop.units;
  const bool moves = wantedCurrent != oldCurrent || wantedStop != oldStop;
  EXPECT_EQ(moves, current.mode != AM_SEEKING_NoPositioning || stop.mode != AM_SEEKING_NoPositioning);
  ASSERT_LT(wantedCurrent, wantedStop);
  ASSERT_LE(wantedStop, kWholeDuration);

  // Workers that begin anew stay at the announcement, so that the position stays where the seek put it.
  at.HoldSegments(true);
  UseFormat(at, Frames());
  const std::size_t mark = at.record.Mark();
  LONGLONG currentValue = current.value;
  LONGLONG stopValue = stop.value;
  ASSERT_EQ(at.demux.Filter().SetPositions(&currentValue, current.mode | AM_SEEKING_ReturnTime, &stopValue,
                                           stop.mode | AM_SEEKING_ReturnTime),
            S_OK);
  EXPECT_EQ(currentValue, wantedCurrent) << "in 100 ns whatever the format";
  EXPECT_EQ(stopValue, wantedStop) << "in 100 ns whatever the format";
  UseFormat(at, false);

  if (State() == State_Stopped) {
    EXPECT_TRUE(at.record.All(mark).empty()) << "nothing is flushed while stopped";
    EXPECT_EQ(at.Positions(), std::pair(wantedCurrent, wantedStop));
    at.Start(State_Paused);
    at.WaitUntilHeld();
    for (const int pin : {1, 2, 3}) {
      EXPECT_EQ(at.CallsOf(pin, mark), std::vector<std::string>{SegmentCall(wantedCurrent, wantedStop)});
    }
  } else if (!moves) {
    EXPECT_TRUE(at.record.All(mark).empty()) << "nothing is flushed for what is set already";
    for (const auto& sink : at.sinks) EXPECT_TRUE(sink->IsHolding());
  } else {
    at.WaitUntilHeld();
    EXPECT_EQ(at.Positions(), std::pair(wantedCurrent, wantedStop));
    for (const int pin : {1, 2, 3}) {
      EXPECT_EQ(at.CallsOf(pin, mark),
                (std::vector<std::string>{"begin flush", "end flush", SegmentCall(wantedCurrent, wantedStop)}));
    }
  }
  at.PlayOut(1);
}

TEST_P(SetPositionsTest, APositionThatTheModesNeedMustBeThereOrNothingMoves) {
  ActiveSeek at(NumberedFile(), {1, 2, 3});
  ASSERT_EQ(at.demux.Seek(200 * kMillisecond, 800 * kMillisecond), S_OK);
  at.HoldAt(0);
  at.Start(State());
  if (State() != State_Stopped) at.WaitUntilHeld();
  const auto before = at.Positions();
  const std::size_t mark = at.record.Mark();
  UseFormat(at, Frames());
  const Call current = Current();
  const Call stop = Stop();
  const auto set = [&](LONGLONG* currentValue, LONGLONG* stopValue) {
    return at.demux.Filter().SetPositions(currentValue, current.mode | AM_SEEKING_ReturnTime, stopValue,
                                          stop.mode | AM_SEEKING_ReturnTime);
  };
  LONGLONG value = current.value;
  if (stop.mode != AM_SEEKING_NoPositioning) {
    EXPECT_EQ(set(&value, nullptr), E_POINTER);
    EXPECT_EQ(value, current.value) << "nothing is returned";
  }
  value = stop.value;
  if (current.mode != AM_SEEKING_NoPositioning) {
    EXPECT_EQ(set(nullptr, &value), E_POINTER);
    EXPECT_EQ(value, stop.value) << "nothing is returned";
    EXPECT_EQ(set(nullptr, nullptr), E_POINTER);
  }
  if (current.mode == AM_SEEKING_NoPositioning && stop.mode == AM_SEEKING_NoPositioning) {
    EXPECT_EQ(set(nullptr, nullptr), S_OK) << "nothing is needed";
  }
  UseFormat(at, false);
  EXPECT_EQ(at.Positions(), before);
  EXPECT_TRUE(at.record.All(mark).empty());
  if (State() != State_Stopped) {
    for (const auto& sink : at.sinks) EXPECT_TRUE(sink->IsHolding());
    at.PlayOut(1);
  }
}

}  // namespace
}  // namespace vantor::test
