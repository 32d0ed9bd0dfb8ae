// Opening and seeking in a long film: two hours, one cluster and one cue point a second.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstdint>
#include <memory>
#include <random>

#include "bench/bench_graph.h"
#include "bench/synthetic_file.h"

namespace vantor::bench {

namespace {

constexpr std::size_t kClusters = 7200;
constexpr int kClusterMilliseconds = 75 * 13;

// 25 video and 50 audio frames a cluster; small ones, since no frame's bytes are read on the way to a position.
FileShape Film(bool cues) {
  return {.blockTracks = {1, 2, 2},
          .video = true,
          .frameSize = 200,
          .blocksPerCluster = 75,
          .clusters = kClusters,
          .ticksPerBlock = kClusterMilliseconds / 75,
          .cues = cues};
}

void Open(benchmark::State& state, bool cues) {
  const std::shared_ptr<SyntheticFile> file = SyntheticFile::Make(Film(cues));
  Spent total;
  double reads = 0;
  for ([[maybe_unused]] auto iteration : state) {
    BenchGraph graph(file);
    if (!graph.Error().empty()) {
      state.SkipWithError(graph.Error().c_str());
      return;
    }
    state.SetIterationTime(graph.Opening().seconds);
    total += graph.Opening();
    reads += static_cast<double>(graph->Totals().reads);
  }
  const double points = static_cast<double>(kClusters) * static_cast<double>(state.iterations());
  state.counters["ns/cue_point"] = total.seconds * 1e9 / points;
  state.counters["cpu_ns/cue_point"] = total.processorSeconds * 1e9 / points;
  state.counters["reads/cue_point"] = reads / points;
}

void OpenWithCues(benchmark::State& state) { Open(state, true); }
BENCHMARK(OpenWithCues)->UseManualTime()->Unit(benchmark::kMillisecond);

void OpenWithoutCues(benchmark::State& state) { Open(state, false); }
BENCHMARK(OpenWithoutCues)->UseManualTime()->Unit(benchmark::kMillisecond);

// From the call of SetPositions until every pin has delivered its first sample.
void Seek(benchmark::State& state, bool running) {
  BenchGraph graph(SyntheticFile::Make(Film(true)));
  if (!graph.Error().empty()) {
    state.SkipWithError(graph.Error().c_str());
    return;
  }
  const ComPtr<IMediaSeeking> seeking = graph->Seeking();
  LONGLONG duration = 0;
  seeking->GetDuration(&duration);
  std::mt19937_64 random(1);
  std::uniform_int_distribution<std::int64_t> targets(1, duration);
  graph.HoldFirstSamples();
  if (running) {
    graph->Run();
    graph.WaitForFirstSamples();
  }
  const std::uint64_t readsBefore = graph->Totals().reads;
  Spent total;
  double longest = 0;
  for ([[maybe_unused]] auto iteration : state) {
    LONGLONG target = targets(random);
    const Stopwatch stopwatch;
    const HRESULT result =
        seeking->SetPositions(&target, AM_SEEKING_AbsolutePositioning, nullptr, AM_SEEKING_NoPositioning);
    if (FAILED(result)) {
      state.SkipWithError("a seek failed");
      break;
    }
    if (!running) graph->Run();
    graph.WaitForFirstSamples();
    const Spent spent = stopwatch.Stop();
    if (!running) graph->Stop();
    state.SetIterationTime(spent.seconds);
    total += spent;
    longest = std::max(longest, spent.seconds);
  }
  graph->Stop();
  state.counters["longest_us"] = longest * 1e6;
  const auto seeks = static_cast<double>(state.iterations());
  state.counters["cpu_us/seek"] = total.processorSeconds * 1e6 / seeks;
  state.counters["reads/seek"] = static_cast<double>(graph->Totals().reads - readsBefore) / seeks;
}

void SeekWhileStopped(benchmark::State& state) { Seek(state, false); }
BENCHMARK(SeekWhileStopped)->UseManualTime()->Unit(benchmark::kMicrosecond);

void SeekWhileRunning(benchmark::State& state) { Seek(state, true); }
BENCHMARK(SeekWhileRunning)->UseManualTime()->Unit(benchmark::kMicrosecond);

}  // namespace

}  // namespace vantor::bench
