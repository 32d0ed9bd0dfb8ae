// Memory of the tool's commands over a file, and over one of ten times the length: the largest that each process took
// by wait4. Mapped, a file's own pages would count, which the system can take back at any time; here the fault library
// of the tests has no file mapped, so that what is counted is the process's own.
#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cstddef>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <system_error>
#include <utility>
#include <vector>

#include "bench/program_run.h"

namespace vantor::bench {

namespace {

std::string ShimPath() { return (std::filesystem::path(ToolPath()).parent_path() / "fault_shim.so").string(); }

// In a process of its own that ends with the program.
[[noreturn]] void Become(const std::vector<std::string>& words) {
  std::vector<char*> arguments;
  for (const std::string& word : words) arguments.push_back(const_cast<char*>(word.c_str()));
  arguments.push_back(nullptr);
  std::array<std::string, 3> settings = {"LD_PRELOAD=" + ShimPath(), "VANTOR_FAULT=none:0:once:unmapped",
                                         "VANTOR_FAULT_COUNTS=/dev/null"};
  std::array<char*, 4> environment = {settings[0].data(), settings[1].data(), settings[2].data(), nullptr};
  const int nothing = open("/dev/null", O_RDWR | O_CLOEXEC);
  for (const int stream : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) dup2(nothing, stream);
  execve(arguments[0], arguments.data(), environment.data());
  _exit(127);
}

// KiB; below 0 when the command failed. What this process holds at the time counts for the new one as long as it has
// not become the other program, so that no less than that can be told.
long PeakMemory(const std::vector<std::string>& words) {
  const pid_t process = fork();
  if (process == 0) Become(words);
  int status = -1;
  rusage usage{};
  if (process < 0 || wait4(process, &status, 0, &usage) != process || status != 0) return -1;
  return usage.ru_maxrss;
}

long OwnMemory() { return PeakMemory({"/bin/true"}); }

void MemoryOf(benchmark::State& state, const std::vector<std::string>& command) {
  FileShape shape = {.blockTracks = {1, 2, 2},
                     .video = true,
                     .frameSize = 1000,
                     .blocksPerCluster = 75,
                     .clusters = 400,
                     .ticksPerBlock = 13,
                     .ringClusters = 2};
  const WrittenFile brief(shape, "brief");
  shape.clusters *= 10;
  const WrittenFile lengthy(shape, "lengthy");
  shape.clusters /= 10;
  shape.blocksPerCluster *= 10;
  const WrittenFile dense(shape, "dense");
  if (!brief.IsWhole() || !lengthy.IsWhole() || !dense.IsWhole()) {
    return state.SkipWithError("the temporary files cannot be written");
  }
  if (!std::filesystem::exists(ShimPath())) {
    return state.SkipWithError("fault_shim.so, which is built with the tests, is not beside this program");
  }
  const auto peakOver = [&](const WrittenFile& file) {
    std::vector<std::string> words = {ToolPath()};
    words.insert(words.end(), command.begin(), command.end());
    words.push_back(file.Path());
    return PeakMemory(words);
  };
  for ([[maybe_unused]] auto iteration : state) {
    const long one = peakOver(brief);
    const long ten = peakOver(lengthy);
    const long same = peakOver(dense);
    if (one < 0 || ten < 0 || same < 0) return state.SkipWithError("vantor-mkv is not beside this program, or fails");
    if (one <= OwnMemory()) return state.SkipWithError("it takes less memory than this program, and cannot be told");
    state.counters["KiB"] = static_cast<double>(ten);
    state.counters["x_short"] = static_cast<double>(ten) / static_cast<double>(one);
    state.counters["x_same_index"] = static_cast<double>(same) / static_cast<double>(one);
  }
}

void RegisterAll() {
  const std::string output = (std::filesystem::temp_directory_path() / "vantor_bench_memory").string();
  const std::vector<std::pair<const char*, std::vector<std::string>>> commands = {
      {"MemoryOfInfo", {"info"}},
      {"MemoryOfCheck", {"check"}},
      {"MemoryOfDeepCheck", {"check", "--deep"}},
      {"MemoryOfSamples", {"samples"}},
      {"MemoryOfExtract", {"extract", "--force", "--all", "--raw", "-d", output}},
      {"MemoryOfReport", {"report", "--force", "-o", output + ".html"}}};
  for (const auto& [name, command] : commands) {
    benchmark::RegisterBenchmark(name,
                                 [words = command, output](benchmark::State& state) {
                                   MemoryOf(state, words);
                                   std::error_code ignored;
                                   std::filesystem::remove_all(output, ignored);
                                   std::filesystem::remove(output + ".html", ignored);
                                 })
        ->Unit(benchmark::kMillisecond)
        ->Iterations(1);
  }
}

[[maybe_unused]] const bool isRegistered = (RegisterAll(), true);

}  // namespace

}  // namespace vantor::bench
