// `vantor-mkv check` against a common lister that is asked for the same facts: track, time, size, key flag and position
// of every packet. Both are run as programs, in turn, over the same file.
#include <benchmark/benchmark.h>
#include <sys/resource.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <memory>
#include <string>
#include <system_error>
#include <vector>

#include "bench/synthetic_file.h"

namespace vantor::bench {

namespace {

// The bytes of a synthetic file as a file, gone with the object.
class WrittenFile {
 public:
  explicit WrittenFile(const FileShape& shape) {
    const std::shared_ptr<SyntheticFile> source = SyntheticFile::Make(shape);
    std::ofstream file(path_, std::ios::binary);
    std::vector<char> piece(std::size_t{1} << 20);
    for (std::int64_t at = 0; at < source->Length() && file; at += static_cast<std::int64_t>(piece.size())) {
      const auto size = std::min(source->Length() - at, static_cast<std::int64_t>(piece.size()));
      source->Read(at, piece.data(), static_cast<std::size_t>(size));
      file.write(piece.data(), size);
    }
    file.close();
    isWhole_ = static_cast<bool>(file);
  }
  ~WrittenFile() {
    std::error_code ignored;
    std::filesystem::remove(path_, ignored);
  }
  WrittenFile(const WrittenFile&) = delete;
  WrittenFile& operator=(const WrittenFile&) = delete;

  bool IsWhole() const { return isWhole_; }
  std::string Path() const { return path_.string(); }

 private:
  const std::filesystem::path path_ = std::filesystem::temp_directory_path() / "vantor_bench_check.mkv";
  bool isWhole_ = false;
};

double ProcessorSecondsOfChildren() {
  rusage usage{};
  getrusage(RUSAGE_CHILDREN, &usage);
  const auto seconds = [](const timeval& time) {
    return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_usec) / 1e6;
  };
  return seconds(usage.ru_utime) + seconds(usage.ru_stime);
}

// What the command took of the processor; below 0 when it failed.
double Run(const std::string& command) {
  const double before = ProcessorSecondsOfChildren();
  // NOLINTNEXTLINE(concurrency-mt-unsafe): one thread
  const int ended = std::system((command + " >/dev/null 2>&1").c_str());
  return ended == 0 ? ProcessorSecondsOfChildren() - before : -1;
}

std::string Quoted(const std::string& text) {
  std::string quoted = "'";
  quoted += text;
  quoted += "'";
  return quoted;
}

// Where the program runs from.
std::string ToolPath() {
  return (std::filesystem::read_symlink("/proc/self/exe").parent_path() / "vantor-mkv").string();
}

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
    const double checked = Run(Quoted(ToolPath()) + " check " + Quoted(file.Path()));
    const double listed = Run(lister + " " + Quoted(file.Path()));
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
