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

const FileShape kWalked = {.clusters = 200};

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

std::vector<unsigned char> BytesOf(SyntheticFile& file) {
  std::vector<unsigned char> bytes(static_cast<std::size_t>(file.Length()));
  file.Read(0, bytes.data(), bytes.size());
  return bytes;
}

// Every block of a mapped file of 50-byte blocks on track 1, walked for a track without thread, pin or sample. `found`
// is how many blocks are to be that track's.
void Walk(benchmark::State& state, std::uint64_t trackNumber, std::size_t found) {
  const TemporaryFile file(BytesOf(*SyntheticFile::Make(kWalked)));
  FileError error = FileError::kNone;
  const ComPtr<FileSourceFilter> source = SourceOf(OpenStore(file.Path(), StoreKind::kMapped, error));
  CMkvFileRoot root(source->OutputPin(), true);
  if (FAILED(root.Open())) {
    state.SkipWithError("the file is refused");
    return;
  }
  MkvTrackEntry track;
  track.TrackNumber = CMkvUInt(trackNumber);
  BlockCursor cursor(root, FindFirstCluster(root), track);
  const std::uint64_t readsBefore = source->Totals().reads;
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
  const auto rounds = static_cast<std::size_t>(state.iterations());
  if (blocks != found * rounds) {
    state.SkipWithError("not every block was found");
    return;
  }
  const auto walked = static_cast<double>(kWalked.Blocks() * rounds);
  state.counters["ns/block"] = total.seconds * 1e9 / walked;
  state.counters["cpu_ns/block"] = total.processorSeconds * 1e9 / walked;
  state.counters["reads/block"] = static_cast<double>(source->Totals().reads - readsBefore) / walked;
}
void WalkBlocks(benchmark::State& state) { Walk(state, 1, kWalked.Blocks()); }
BENCHMARK(WalkBlocks)->UseManualTime()->Unit(benchmark::kMillisecond);
void WalkBlocksOfAnotherTrack(benchmark::State& state) { Walk(state, 2, 0); }
BENCHMARK(WalkBlocksOfAnotherTrack)->UseManualTime()->Unit(benchmark::kMillisecond);

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
