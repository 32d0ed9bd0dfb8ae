// Streaming a whole file through the graph, beside the least that it can cost: copying every frame twice, once out of
// the file and once into a sample.
#include <benchmark/benchmark.h>

#include <cstring>
#include <memory>
#include <vector>

#include "bench/bench_graph.h"
#include "bench/synthetic_file.h"

namespace vantor::bench {

namespace {

// Copies every frame to a buffer and from there to another.
Spent CopyFramesTwice(const SyntheticFile& file, const FileShape& shape) {
  std::vector<std::uint8_t> frame(shape.frameSize);
  std::vector<std::uint8_t> sample(shape.frameSize);
  const Stopwatch stopwatch;
  for (std::size_t block = 0; block < shape.Blocks(); ++block) {
    std::memcpy(frame.data(), file.Frame(block), shape.frameSize);
    benchmark::DoNotOptimize(frame.data());
    benchmark::ClobberMemory();
    std::memcpy(sample.data(), frame.data(), shape.frameSize);
    benchmark::DoNotOptimize(sample.data());
    benchmark::ClobberMemory();
  }
  return stopwatch.Stop();
}

struct Measured {
  Spent streaming;
  Spent copying;
  double samples = 0;
  double reads = 0;
  double bytes = 0;
};

void Report(benchmark::State& state, const Measured& total) {
  const auto perSample = [&](double seconds) { return seconds * 1e9 / total.samples; };
  state.counters["bytes/s"] = benchmark::Counter(total.bytes / total.streaming.seconds, benchmark::Counter::kDefaults,
                                                 benchmark::Counter::OneK::kIs1024);
  state.counters["samples/s"] = total.samples / total.streaming.seconds;
  state.counters["reads/sample"] = total.reads / total.samples;
  state.counters["ns/sample"] = perSample(total.streaming.seconds);
  state.counters["cpu_ns/sample"] = perSample(total.streaming.processorSeconds);
  state.counters["copy_ns/sample"] = perSample(total.copying.seconds);
  state.counters["x_copies"] = total.streaming.seconds / total.copying.seconds;
  state.counters["cpu_x_copies"] = total.streaming.processorSeconds / total.copying.processorSeconds;
}

void Stream(benchmark::State& state, const FileShape& shape) {
  const std::shared_ptr<SyntheticFile> file = SyntheticFile::Make(shape);
  Measured total;
  for ([[maybe_unused]] auto iteration : state) {
    BenchGraph graph(file);
    if (!graph.Error().empty()) {
      state.SkipWithError(graph.Error().c_str());
      return;
    }
    const std::uint64_t readsToOpen = graph->Totals().reads;
    const Stopwatch stopwatch;
    graph->Run();
    graph->Wait();
    const Spent spent = stopwatch.Stop();
    graph->Stop();
    if (graph.Samples() != shape.Blocks()) {
      state.SkipWithError("not every block came out as a sample");
      return;
    }
    state.SetIterationTime(spent.seconds);
    total.streaming += spent;
    total.samples += static_cast<double>(shape.Blocks());
    total.bytes += static_cast<double>(shape.FrameBytes());
    total.reads += static_cast<double>(graph->Totals().reads - readsToOpen);
    total.copying += CopyFramesTwice(*file, shape);
  }
  Report(state, total);
}

// 1 GiB in frames of 1 MiB, out of 256 MiB of memory that no cache holds.
void StreamLargeFrames(benchmark::State& state) {
  Stream(state, {.video = true,
                 .frameSize = std::size_t{1} << 20,
                 .blocksPerCluster = 4,
                 .clusters = 256,
                 .ticksPerBlock = 40,
                 .ringClusters = 64});
}
BENCHMARK(StreamLargeFrames)->UseManualTime()->Unit(benchmark::kMillisecond);

// Two million frames of 50 bytes, 20 ms each, over as many tracks as the argument says.
void StreamSmallFrames(benchmark::State& state) {
  FileShape shape = {.clusters = 2000};
  for (int track = 2; track <= static_cast<int>(state.range(0)); ++track) shape.blockTracks.push_back(track);
  Stream(state, shape);
}
BENCHMARK(StreamSmallFrames)
    ->ArgName("tracks")
    ->Arg(1)
    ->Arg(4)
    ->Arg(32)
    ->UseManualTime()
    ->Unit(benchmark::kMillisecond);

}  // namespace

}  // namespace vantor::bench
