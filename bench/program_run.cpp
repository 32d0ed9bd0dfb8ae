#include "bench/program_run.h"

#include <sys/resource.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <memory>
#include <system_error>
#include <vector>

namespace vantor::bench {
namespace {

double ProcessorSecondsOfChildren() {
  rusage usage{};
  getrusage(RUSAGE_CHILDREN, &usage);
  const auto seconds = [](const timeval& time) {
    return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_usec) / 1e6;
  };
  return seconds(usage.ru_utime) + seconds(usage.ru_stime);
}

}  // namespace

WrittenFile::WrittenFile(const FileShape& shape, const std::string& name)
    : path_((std::filesystem::temp_directory_path() / ("vantor_bench_" + name + ".mkv")).string()) {
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

WrittenFile::~WrittenFile() {
  std::error_code ignored;
  std::filesystem::remove(path_, ignored);
}

double RunProgram(const std::string& command) {
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

std::string ToolPath() {
  return (std::filesystem::read_symlink("/proc/self/exe").parent_path() / "vantor-mkv").string();
}

}  // namespace vantor::bench
