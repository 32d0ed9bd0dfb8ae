// `vantor-mkv check` against a common lister that is asked for the same facts: track, time, size, key flag and position
// of every packet. Both are run as programs, in turn, over the same file.
#include <benchmark/benchmark.h>

#include <string>

#include "bench/program_run.h"

namespace vantor::bench {

namespace {

void CheckAgainst(benchmark::State& state, const std::string& lister) {
  const WrittenFile file({.blockTracks = {1, 2, 2},
                          .video = true,
                          .frameSize = 1000,
                          .blocksPerCluster = 75,
                          .clusters = 900,
                          .ticksPerBlock = 13});
  if (!file.IsWhole()) return state.SkipWithError("the temporary file cannot be written");
  double checking = 0;
  double listing = 0;
  for ([[maybe_unused]] auto iteration : state) {
    const double checked = RunProgram(Quoted(ToolPath()) + " check " + Quoted(file.Path()));
    const double listed = RunProgram(lister + " " + Quoted(file.Path()));
    if (checked < 0) return state.SkipWithError("vantor-mkv is not beside this program, or finds an error");
    if (listed < 0) return state.SkipWithError("the lister is not there");
    state.SetIterationTime(checked);
    checking += checked;
    listing += listed;
  }
  constexpr double kBlocks = 75.0 * 900;
  state.counters["cpu_ns/block"] = checking * 1e9 / kBlocks / static_cast<double>(state.iterations());
  state.counters["x_lister"] = checking / listing;
}

void CheckAgainstFfprobe(benchmark::State& state) {
  CheckAgainst(state, "ffprobe -v error -show_entries packet=stream_index,pts,size,flags,pos -of csv");
}
BENCHMARK(CheckAgainstFfprobe)->UseManualTime()->Unit(benchmark::kMillisecond)->Iterations(3);

void CheckAgainstMkvinfo(benchmark::State& state) { CheckAgainst(state, "mkvinfo --all"); }
BENCHMARK(CheckAgainstMkvinfo)->UseManualTime()->Unit(benchmark::kMillisecond)->Iterations(3);

}  // namespace

}  // namespace vantor::bench
