// Control calls end, whatever downstream and upstream do: every sink that misbehaves, with every source, under every
// call, from one thread and from two.
//
// A test is one way to misbehave of the sink; it plays the sources and the calls. What a rule of the platform forbids
// is no cell:
//
//   what                                                     the rule
//   A thread inside a method while another releases the      Whoever calls a method holds a reference until it returns:
//   last reference                                           in cells with Release each thread has one of its own.
//   BeginFlush, EndFlush, Decommit or Disconnect of a        They return: a call that waits in one waits for that
//   neighbour that does not return                           neighbour. Actions inside them do return.
//   NewSegment, EndOfStream, BeginFlush and EndFlush of the  They belong to the upstream neighbour of the pin that they
//   filter's pins from downstream                            are called on.
//   The sink's last Release of the filter inside a callback  A connected pin holds its peer; the sink forgets it only
//   without a reference of the worker's                      when it no longer calls, or has one for the call.
//   A sink that keeps all samples and an action in           Two samples are all there are: the end does not come.
//   EndOfStream                                              The cell is played; the action meets nothing.
#include <gtest/gtest.h>

#include <algorithm>
#include <ostream>
#include <string>
#include <vector>

#include "filter/patient_filter.h"
#include "host/graph_manager.h"
#include "platform/platform.h"
#include "support/cell_runner.h"

namespace vantor::test {
namespace {

constexpr Hold kHolds[] = {Hold::kNothing, Hold::kOneSample, Hold::kTheCall, Hold::kTheLastSample, Hold::kEverySample};
constexpr Callback kCallbacks[] = {Callback::kReceive, Callback::kNewSegment, Callback::kEndOfStream,
                                   Callback::kBeginFlush, Callback::kEndFlush};
constexpr Action kActions[] = {Action::kAsks, Action::kControls, Action::kStops, Action::kDisconnectsInput,
                               Action::kDisconnectsPin};
constexpr Stubbornness kSources[] = {Stubbornness::kNone, Stubbornness::kFailsHalfway,
                                     Stubbornness::kBlocksUntilFlushed, Stubbornness::kBlocksUntilLetGo};
constexpr ControlCall kCalls[] = {ControlCall::kStop,   ControlCall::kPause,           ControlCall::kRun,
                                  ControlCall::kSeek,   ControlCall::kDisconnectInput, ControlCall::kDisconnectOutput,
                                  ControlCall::kRelease};
constexpr std::size_t kCallCount = std::size(kCalls);

struct SinkCase {
  std::size_t number;
  Hold hold;
  Callback where;
  Action action;
};

void PrintTo(const SinkCase& sink, std::ostream* out) { *out << NameOfSink(sink.hold, sink.where, sink.action); }

std::vector<SinkCase> AllSinks() {
  std::vector<SinkCase> sinks;
  const auto add = [&](Hold hold, Callback where, Action action) {
    sinks.push_back({sinks.size(), hold, where, action});
  };
  for (const Hold hold : kHolds) {
    add(hold, Callback::kReceive, Action::kNone);
    for (const Callback where : kCallbacks) {
      for (const Action action : kActions) add(hold, where, action);
    }
  }
  add(Hold::kTheCall, Callback::kNewSegment, Action::kNone);
  add(Hold::kTheCall, Callback::kEndOfStream, Action::kNone);
  return sinks;
}

// Each call alone, and beside one other: a different one for each sink, so that every pair meets.
std::vector<ControlCell> CellsOf(const SinkCase& sink) {
  std::vector<ControlCell> cells;
  for (const Stubbornness source : kSources) {
    for (std::size_t i = 0; i < kCallCount; ++i) {
      ControlCell cell{sink.hold, sink.where, sink.action, source, kCalls[i], {}};
      cells.push_back(cell);
      cell.other = kCalls[(i + sink.number) % kCallCount];
      cells.push_back(cell);
    }
  }
  return cells;
}

// A sink that yields to the first step, and a source that does not block, have all the time they want: a call that
// runs out of it then has waited for somebody who did not have to be late.
Patience PatienceFor(bool everybodyYields) {
  Patience patience;
  patience.answer = std::chrono::milliseconds(15);
  patience.step = everybodyYields ? std::chrono::milliseconds(10000) : std::chrono::milliseconds(15);
  patience.enlarging = std::chrono::milliseconds(15);
  return patience;
}

class ControlMatrixTest : public testing::TestWithParam<SinkCase> {};

void Play(const std::vector<ControlCell>& cells, bool everybodyYields) {
  const auto makeGraph = [] { return ComPtr<IFilterGraph>(GraphManager::Create().Get()); };
  const auto makeFilter = [=] { return ComPtr<IBaseFilter>(NewPatientFilter(PatienceFor(everybodyYields)).Get()); };
  for (const std::string& complaint : PlayCells(cells, makeGraph, makeFilter)) ADD_FAILURE() << complaint;
}

TEST_P(ControlMatrixTest, EveryCallEnds) {
  std::vector<ControlCell> cells = CellsOf(GetParam());
  const auto yields = [](const ControlCell& cell) {
    return cell.hold != Hold::kEverySample &&
           (cell.source == Stubbornness::kNone || cell.source == Stubbornness::kFailsHalfway);
  };
  const auto middle = std::stable_partition(cells.begin(), cells.end(), yields);
  Play({cells.begin(), middle}, true);
  Play({middle, cells.end()}, false);
  // What was left to itself ends in its own time.
  const auto deadline = std::chrono::steady_clock::now() + kCellBound;
  while (CBaseObject::ObjectsActive() != 0 && std::chrono::steady_clock::now() < deadline && !HasFailure()) {
    SleepMilliseconds(1);
  }
  if (!HasFailure()) {
    EXPECT_EQ(CBaseObject::ObjectsActive(), 0);
  }
}

INSTANTIATE_TEST_SUITE_P(, ControlMatrixTest, testing::ValuesIn(AllSinks()), [](const auto& parameter) {
  return NameOfSink(parameter.param.hold, parameter.param.where, parameter.param.action);
});

}  // namespace
}  // namespace vantor::test
