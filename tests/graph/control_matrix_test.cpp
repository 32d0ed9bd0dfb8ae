// Control calls end, whatever downstream and upstream do, in the platform's graph: a part of the matrix that
// tests/filter plays as a whole. The component has the patience it ships with, so a cell takes seconds, and many are
// played at a time.
//
// Besides what is no cell there: Release. The graph has references of its own, and lets a filter go that is stopped and
// disconnected.
#include <gtest/gtest.h>

#include <algorithm>
#include <ostream>
#include <string>
#include <vector>

#include "graph/real_graph.h"
#include "host/component.h"
#include "platform/platform.h"
#include "published/component.h"
#include "realfiles/recorded_run.h"
#include "support/cell_runner.h"

namespace vantor::test {

namespace {

constexpr std::size_t kAtATime = 24;
constexpr ControlCall kCalls[] = {ControlCall::kStop, ControlCall::kPause,           ControlCall::kRun,
                                  ControlCall::kSeek, ControlCall::kDisconnectInput, ControlCall::kDisconnectOutput};
constexpr std::size_t kCallCount = std::size(kCalls);

class ControlMatrix : public RealGraphTest, public testing::WithParamInterface<Stubbornness> {
 protected:
  static ComPtr<IFilterGraph> MakeGraph() {
    ComPtr<IFilterGraph> graph;
    CoCreateInstance(CLSID_FilterGraph, nullptr, CLSCTX_INPROC_SERVER, IID_IFilterGraph, graph.Void());
    return graph;
  }
  static ComPtr<IBaseFilter> MakeFilter() {
    ComPtr<IBaseFilter> filter;
    TestedComponent().CreateFilter(kClsidMkvDmx, filter.Out());
    return filter;
  }
  static void Play(const std::vector<ControlCell>& cells) {
    for (const std::string& complaint : PlayCells(cells, MakeGraph, MakeFilter, kAtATime)) ADD_FAILURE() << complaint;
    // What was left to itself ends in its own time.
    const auto deadline = std::chrono::steady_clock::now() + kCellBound;
    while (!TestedComponent().CanUnloadNow() && std::chrono::steady_clock::now() < deadline && !HasFailure()) {
      SleepMilliseconds(1);
    }
  }
};

// Every way to hold, alone; and each action of a sink that holds its calls, from each callback. The calls take turns.
std::vector<ControlCell> CellsWith(Stubbornness source) {
  std::vector<ControlCell> cells;
  const auto add = [&](Hold hold, Callback where, Action action) {
    const std::size_t turn = cells.size();
    ControlCell cell{hold, where, action, source, kCalls[turn % kCallCount], {}};
    if (turn % 2 != 0) cell.other = kCalls[turn / kCallCount % kCallCount];
    cells.push_back(cell);
  };
  for (const Hold hold : {Hold::kNothing, Hold::kOneSample, Hold::kTheCall, Hold::kTheLastSample, Hold::kEverySample}) {
    for (std::size_t i = 0; i < kCallCount; ++i) add(hold, Callback::kReceive, Action::kNone);
  }
  for (const Callback where : {Callback::kReceive, Callback::kNewSegment, Callback::kEndOfStream, Callback::kBeginFlush,
                               Callback::kEndFlush}) {
    for (const Action action :
         {Action::kAsks, Action::kControls, Action::kStops, Action::kDisconnectsInput, Action::kDisconnectsPin}) {
      add(Hold::kTheCall, where, action);
    }
  }
  return cells;
}

TEST_P(ControlMatrix, EveryCallEnds) { Play(CellsWith(GetParam())); }

std::string NameOfSource(const testing::TestParamInfo<Stubbornness>& source) {
  constexpr const char* kNames[] = {"SourceIsWell", "SourceFailsHalfway", "SourceBlocksUntilFlushed",
                                    "SourceBlocksUntilLetGo"};
  return kNames[static_cast<std::size_t>(source.param)];
}

INSTANTIATE_TEST_SUITE_P(, ControlMatrix,
                         testing::Values(Stubbornness::kNone, Stubbornness::kFailsHalfway,
                                         Stubbornness::kBlocksUntilFlushed, Stubbornness::kBlocksUntilLetGo),
                         NameOfSource);

}  // namespace

}  // namespace vantor::test
