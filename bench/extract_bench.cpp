// `vantor-mkv extract` against copying the file: reading it and writing what it holds is what both have to do. Both are
// run as programs, in turn.
#include <benchmark/benchmark.h>

#include <filesystem>
#include <string>
#include <system_error>

#include "bench/program_run.h"

namespace vantor::bench {

namespace {

// Where both write to, gone with the object.
class OutputPath {
 public:
  OutputPath() = default;
  ~OutputPath() {
    std::error_code ignored;
    std::filesystem::remove(path_, ignored);
  }
  OutputPath(const OutputPath&) = delete;
  OutputPath& operator=(const OutputPath&) = delete;

  std::string Path() const { return path_.string(); }

 private:
  const std::filesystem::path path_ = std::filesystem::temp_directory_path() / "vantor_bench_extracted";
};

void ExtractAgainstCopy(benchmark::State& state, const FileShape& shape) {
  const WrittenFile file(shape);
  const OutputPath output;
  if (!file.IsWhole()) return state.SkipWithError("the temporary file cannot be written");
  double extracting = 0;
  double copying = 0;
  for ([[maybe_unused]] auto iteration : state) {
    // Bytes are copied, not named a second time, as some file systems would.
    const double copied = RunProgram("cp --reflink=never " + Quoted(file.Path()) + " " + Quoted(output.Path()));
    const double extracted =
        RunProgram(Quoted(ToolPath()) + " extract --force -o " + Quoted(output.Path()) + " " + Quoted(file.Path()));
    if (copied < 0) return state.SkipWithError("the file cannot be copied");
    if (extracted < 0) return state.SkipWithError("vantor-mkv is not beside this program, or extracts nothing");
    state.SetIterationTime(extracted);
    extracting += extracted;
    copying += copied;
  }
  state.counters["cpu_ns/sample"] =
      extracting * 1e9 / static_cast<double>(shape.Blocks()) / static_cast<double>(state.iterations());
  state.counters["x_copy"] = extracting / copying;
}

// Half a gigabyte of video in frames of 1 MiB.
void ExtractLargeFrames(benchmark::State& state) {
  ExtractAgainstCopy(state, {.video = true, .frameSize = 1 << 20, .blocksPerCluster = 8, .clusters = 64});
}
BENCHMARK(ExtractLargeFrames)->UseManualTime()->Unit(benchmark::kMillisecond)->Iterations(3);

// Half a million packets of sound of 50 bytes.
void ExtractSmallPackets(benchmark::State& state) {
  ExtractAgainstCopy(state, {.frameSize = 50, .blocksPerCluster = 1000, .clusters = 500});
}
BENCHMARK(ExtractSmallPackets)->UseManualTime()->Unit(benchmark::kMillisecond)->Iterations(3);

}  // namespace

}  // namespace vantor::bench
