// `vantor-mkv play` against a common demultiplexer that is asked for the same packets, and against `cat` where bytes
// are what counts; `vantor-mkv info` of a long file against the same of a short one. All run as programs, in turn.
#include <benchmark/benchmark.h>

#include <string>

#include "bench/program_run.h"

namespace vantor::bench {

namespace {

// Reports the first command's processor time, and what multiple it is of the second's.
void InTurn(benchmark::State& state, const std::string& ours, const std::string& other, const char* ratio,
            double samples) {
  double our = 0;
  double others = 0;
  for ([[maybe_unused]] auto iteration : state) {
    const double one = RunProgram(ours);
    const double two = RunProgram(other);
    if (one < 0) return state.SkipWithError("vantor-mkv is not beside this program, or does not play to the end");
    if (two < 0) return state.SkipWithError("the other program is not there");
    state.SetIterationTime(one);
    our += one;
    others += two;
  }
  if (samples > 0) state.counters["cpu_ns/sample"] = our * 1e9 / samples / static_cast<double>(state.iterations());
  state.counters[ratio] = our / others;
}

std::string Play(const WrittenFile& file) { return Quoted(ToolPath()) + " play " + Quoted(file.Path()); }

// A million frames of 50 bytes, over as many tracks as the argument says.
void PlayAgainstFfmpeg(benchmark::State& state) {
  FileShape shape = {.clusters = 1000};
  for (int track = 2; track <= static_cast<int>(state.range(0)); ++track) shape.blockTracks.push_back(track);
  const WrittenFile file(shape);
  if (!file.IsWhole()) return state.SkipWithError("the temporary file cannot be written");
  InTurn(state, Play(file), "ffmpeg -nostdin -v error -i " + Quoted(file.Path()) + " -map 0 -c copy -f null -",
         "x_demultiplexer", static_cast<double>(shape.Blocks()));
}
BENCHMARK(PlayAgainstFfmpeg)
    ->ArgName("tracks")
    ->Arg(1)
    ->Arg(8)
    ->Arg(32)
    ->UseManualTime()
    ->Unit(benchmark::kMillisecond)
    ->Iterations(3);

// Half a gigabyte of video in frames of 1 MiB; `cat` into a pipe, so that it reads the bytes, too.
void PlayAgainstCat(benchmark::State& state) {
  const FileShape shape = {.video = true, .frameSize = 1 << 20, .blocksPerCluster = 8, .clusters = 64};
  const WrittenFile file(shape);
  if (!file.IsWhole()) return state.SkipWithError("the temporary file cannot be written");
  InTurn(state, Play(file), "cat " + Quoted(file.Path()) + " | cat", "x_cat", static_cast<double>(shape.Blocks()));
}
BENCHMARK(PlayAgainstCat)->UseManualTime()->Unit(benchmark::kMillisecond)->Iterations(3);

// Half a gigabyte of video against an eighth of it, which has the same headers but for the length of the index.
void InfoOfALongFile(benchmark::State& state) {
  FileShape shape = {.video = true, .frameSize = 1 << 20, .blocksPerCluster = 8, .clusters = 8};
  const std::string info = Quoted(ToolPath()) + " info ";
  const WrittenFile shortFile(shape, "short");
  shape.clusters *= 8;
  const WrittenFile file(shape);
  if (!shortFile.IsWhole() || !file.IsWhole()) return state.SkipWithError("the temporary file cannot be written");
  InTurn(state, info + Quoted(file.Path()), info + Quoted(shortFile.Path()), "x_short", 0);
}
BENCHMARK(InfoOfALongFile)->UseManualTime()->Unit(benchmark::kMillisecond)->Iterations(20);

}  // namespace

}  // namespace vantor::bench
