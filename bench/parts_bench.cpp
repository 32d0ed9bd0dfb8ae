// The parts that a sample's cost is made of, each alone: a read of the source, walking the blocks, a sample's life.
#include <benchmark/benchmark.h>

#include <filesystem>
#include <fstream>
#include <list>
#include <memory>
#include <string>
#include <vector>

#include "baseclasses/input_pin.h"
#include "bench/bench_graph.h"
#include "bench/synthetic_file.h"
#include "host/file_source_filter.h"
#include "parser/file_root.h"
#include "platform/com_ptr.h"
#include "streaming/block_cursor.h"

namespace vantor::bench {

namespace {

ComPtr<FileSourceFilter> SourceOf(const std::shared_ptr<ByteStore>& bytes) {
  auto source = ComPtr<FileSourceFilter>::Adopt(FileSourceFilter::Create());
  source->SetBytes(bytes, OLESTR("synthetic.mkv"));
  return source;
}

// A file in the folder for temporary files, gone with the object.
class TemporaryFile {
 public:
  explicit TemporaryFile(const std::vector<unsigned char>& bytes) {
    std::ofstream(path_, std::ios::binary)
        .write(reinterpret_cast<const char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
  }
  ~TemporaryFile() {
    std::error_code ignored;
    std::filesystem::remove(path_, ignored);
  }
  TemporaryFile(const TemporaryFile&) = delete;
  TemporaryFile& operator=(const TemporaryFile&) = delete;
  std::string Path() const { return path_.string(); }

 private:
  const std::filesystem::path path_ = std::filesystem::temp_directory_path() / "vantor_bench_source";
};

// One SyncRead of as many bytes as the argument says, going forward through a file in which every second byte is zero
// (the high bytes of sizes and times, and the flags of most blocks, are).
void SourceRead(benchmark::State& state, StoreKind kind) {
  std::vector<unsigned char> bytes(std::size_t{16} << 20);
  for (std::size_t i = 0; i < bytes.size(); i += 2) bytes[i] = static_cast<unsigned char>(i / 2 % 255 + 1);
  const TemporaryFile file(bytes);
  FileError error = FileError::kNone;
  const std::shared_ptr<ByteStore> store = OpenStore(file.Path(), kind, error);
  if (!store) {
    state.SkipWithError("the temporary file cannot be opened");
    return;
  }
  const ComPtr<FileSourceFilter> source = SourceOf(store);
  IAsyncReader* const reader = source->OutputPin();
  const auto size = static_cast<LONG>(state.range(0));
  std::vector<BYTE> buffer(static_cast<std::size_t>(size));
  LONGLONG position = 0;
  for ([[maybe_unused]] auto iteration : state) {
    reader->SyncRead(position, size, buffer.data());
    benchmark::DoNotOptimize(buffer.data());
    position += size;
    if (position + size > store->Length()) position = 0;
  }
}
void SourceReadMemory(benchmark::State& state) { SourceRead(state, StoreKind::kMemory); }
BENCHMARK(SourceReadMemory)->ArgName("bytes")->Arg(1)->Arg(50)->Arg(1 << 20);
void SourceReadMapped(benchmark::State& state) { SourceRead(state, StoreKind::kMapped); }
BENCHMARK(SourceReadMapped)->ArgName("bytes")->Arg(1)->Arg(50)->Arg(1 << 20);
void SourceReadCached(benchmark::State& state) { SourceRead(state, StoreKind::kCached); }
BENCHMARK(SourceReadCached)->ArgName("bytes")->Arg(1)->Arg(50)->Arg(1 << 20);

// Every block of a file of 50-byte blocks on one track, read without thread, pin or sample.
void WalkBlocks(benchmark::State& state) {
  const FileShape shape = {.clusters = 200};
  const ComPtr<FileSourceFilter> source = SourceOf(SyntheticFile::Make(shape));
  CMkvFileRoot root(source->OutputPin(), true);
  if (FAILED(root.Open()) || root.segment.tracks.empty() || root.segment.tracks.front().empty()) {
    state.SkipWithError("the file is refused");
    return;
  }
  BlockCursor cursor(root, FindFirstCluster(root), *root.segment.tracks.front().front());
  std::size_t blocks = 0;
  Spent total;
  for ([[maybe_unused]] auto iteration : state) {
    const Stopwatch stopwatch;
    cursor.Rewind();
    while (cursor.FillQueue([] { return false; }) > 0) {
      benchmark::DoNotOptimize(cursor.Take());
      cursor.Release();
      ++blocks;
    }
    const Spent spent = stopwatch.Stop();
    state.SetIterationTime(spent.seconds);
    total += spent;
  }
  if (blocks != shape.Blocks() * static_cast<std::size_t>(state.iterations())) {
    state.SkipWithError("not every block was found");
    return;
  }
  state.counters["ns/block"] = total.seconds * 1e9 / static_cast<double>(blocks);
  state.counters["cpu_ns/block"] = total.processorSeconds * 1e9 / static_cast<double>(blocks);
}
BENCHMARK(WalkBlocks)->UseManualTime()->Unit(benchmark::kMillisecond);

// A sample got from an allocator and given back.
void SampleLife(benchmark::State& state) {
  ComPtr<IMemAllocator> allocator;
  ALLOCATOR_PROPERTIES wanted = {2, 256000, 1, 0};
  ALLOCATOR_PROPERTIES actual = {};
  if (FAILED(CreateMemoryAllocator(allocator.Out())) || FAILED(allocator->SetProperties(&wanted, &actual)) ||
      FAILED(allocator->Commit())) {
    state.SkipWithError("the allocator refuses");
    return;
  }
  for ([[maybe_unused]] auto iteration : state) {
    IMediaSample* sample = nullptr;
    allocator->GetBuffer(&sample, nullptr, nullptr, 0);
    sample->Release();
  }
  allocator->Decommit();
}
BENCHMARK(SampleLife);

}  // namespace

}  // namespace vantor::bench
