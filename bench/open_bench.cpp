// Opening and seeking in a long film: two hours, one cluster and one cue point a second.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <random>
#include <vector>

#include "bench/bench_graph.h"
#include "bench/synthetic_file.h"

namespace vantor::bench {

namespace {

constexpr int kTwoHours = 7200;  // clusters
constexpr int kClusterMilliseconds = 75 * 13;

// 25 video and 50 audio frames a cluster; small ones, since no frame's bytes are read on the way to a position.
FileShape Film(bool cues, int clusters) {
  return {.blockTracks = {1, 2, 2},
          .video = true,
          .frameSize = 200,
          .blocksPerCluster = 75,
          .clusters = static_cast<std::size_t>(clusters),
          .ticksPerBlock = kClusterMilliseconds / 75,
          .cues = cues};
}

void Open(benchmark::State& state, bool cues) {
  const auto clusters = static_cast<int>(state.range(0));
  const std::shared_ptr<SyntheticFile> file = SyntheticFile::Make(Film(cues, clusters));
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
  const double points = static_cast<double>(clusters) * static_cast<double>(state.iterations());
  state.counters["ns/cue_point"] = total.seconds * 1e9 / points;
  state.counters["cpu_ns/cue_point"] = total.processorSeconds * 1e9 / points;
  state.counters["reads/cue_point"] = reads / points;
  state.SetComplexityN(clusters);
}

// Half an hour, an hour and two: the fit that is printed tells whether opening is linear in the cue points.
void ByLength(benchmark::internal::Benchmark* benchmark) {
  benchmark->ArgName("points")->UseManualTime()->Unit(benchmark::kMillisecond)->Complexity(benchmark::oN);
  for (const int points : {kTwoHours / 4, kTwoHours / 2, kTwoHours}) {
    benchmark->Arg(points);
  }
}

void OpenWithCues(benchmark::State& state) { Open(state, true); }
BENCHMARK(OpenWithCues)->Apply(ByLength);

void OpenWithoutCues(benchmark::State& state) { Open(state, false); }
BENCHMARK(OpenWithoutCues)->Apply(ByLength);

// From the call of SetPositions until every pin has delivered its first sample.
void Seek(benchmark::State& state, bool running) {
  BenchGraph graph(SyntheticFile::Make(Film(state.range(0) != 0, kTwoHours)));
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
  std::vector<double> latencies;
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
    latencies.push_back(spent.seconds);
  }
  graph->Stop();
  if (latencies.empty()) return;
  // Half of all seeks take no longer: a busy machine lengthens the mean, which a few seeks make that wait for their
  // turn.
  const auto middle = latencies.begin() + static_cast<std::ptrdiff_t>(latencies.size() / 2);
  std::nth_element(latencies.begin(), middle, latencies.end());
  state.counters["median_us"] = *middle * 1e6;
  state.counters["longest_us"] = *std::max_element(middle, latencies.end()) * 1e6;
  const auto seeks = static_cast<double>(state.iterations());
  state.counters["cpu_us/seek"] = total.processorSeconds * 1e6 / seeks;
  state.counters["reads/seek"] = static_cast<double>(graph->Totals().reads - readsBefore) / seeks;
}

void SeekWhileStopped(benchmark::State& state) { Seek(state, false); }
BENCHMARK(SeekWhileStopped)->ArgName("cues")->Arg(1)->Arg(0)->UseManualTime()->Unit(benchmark::kMicrosecond);

void SeekWhileRunning(benchmark::State& state) { Seek(state, true); }
BENCHMARK(SeekWhileRunning)->ArgName("cues")->Arg(1)->Arg(0)->UseManualTime()->Unit(benchmark::kMicrosecond);

}  // namespace

}  // namespace vantor::bench
