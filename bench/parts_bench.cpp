// The parts that a sample's cost is made of, each alone: a read of the source, walking the blocks, a sample's life.
#include <benchmark/benchmark.h>

#include <memory>
#include <vector>

#include "baseclasses/allocator.h"
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

// One SyncRead of as many bytes as the argument says.
void SourceRead(benchmark::State& state) {
  const auto size = static_cast<LONG>(state.range(0));
  const LONGLONG length = 64 << 20;
  const ComPtr<FileSourceFilter> source = SourceOf(MakeMemoryStore(std::vector<unsigned char>(length)));
  IAsyncReader* const reader = source->OutputPin();
  std::vector<BYTE> buffer(static_cast<std::size_t>(size));
  LONGLONG position = 0;
  for ([[maybe_unused]] auto iteration : state) {
    reader->SyncRead(position, size, buffer.data());
    benchmark::DoNotOptimize(buffer.data());
    position = position + size < length - size ? position + size : 0;
  }
}
BENCHMARK(SourceRead)->ArgName("bytes")->Arg(1)->Arg(50)->Arg(1 << 20);

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
  std::list<MkvBlock> taken;
  std::size_t blocks = 0;
  double seconds = 0;
  for ([[maybe_unused]] auto iteration : state) {
    const auto start = Clock::now();
    cursor.SeekCursor(0);
    while (cursor.FillQueue([] { return false; }) > 0) {
      cursor.TakeBlock(taken);
      cursor.Recycle(taken);
      ++blocks;
    }
    const double spent = SecondsSince(start);
    state.SetIterationTime(spent);
    seconds += spent;
  }
  if (blocks != shape.Blocks() * static_cast<std::size_t>(state.iterations())) {
    state.SkipWithError("not every block was found");
    return;
  }
  state.counters["ns/block"] = seconds * 1e9 / static_cast<double>(blocks);
}
BENCHMARK(WalkBlocks)->UseManualTime()->Unit(benchmark::kMillisecond);

// A sample got from an allocator and given back.
void SampleLife(benchmark::State& state) {
  HRESULT result = S_OK;
  const ComPtr<CMemAllocator> allocator(new CMemAllocator(nullptr, nullptr, &result));
  ALLOCATOR_PROPERTIES wanted = {2, 256000, 1, 0};
  ALLOCATOR_PROPERTIES actual = {};
  if (FAILED(allocator->SetProperties(&wanted, &actual)) || FAILED(allocator->Commit())) {
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
