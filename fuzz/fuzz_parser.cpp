// Arbitrary bytes through the parser alone: open, complete the cues, read every block of every cluster. As the input's
// last bytes say, switches are on, and a read fails, or all of them from one on, or one comes short.
//
// Besides what the sanitizers find: work and memory stay in proportion to the input.
#include <cstdint>
#include <vector>

#include "fuzz/drawn_policy.h"
#include "fuzz/expect.h"
#include "fuzz/fault_plan.h"
#include "fuzz/heap_bound.h"
#include "fuzz/reader_faults.h"
#include "parser/block.h"
#include "parser/cue_synthesis.h"
#include "parser/element_ids.h"
#include "parser/file_root.h"
#include "support/memory_reader.h"

namespace vantor::fuzz {

namespace {

// Bytes read from the source for each byte of input while it is opened: eight for the records, which is where opening
// gives up on them, then four for the one walk along the Clusters. What the records of a small file may take besides is
// much for it: many short Segments, each searched through for its end.
constexpr std::uint64_t kOpeningReads = 8 + 4;
constexpr std::uint64_t kOpeningBase = 65536 + 4096;

void ReadBlock(const MkvElement& element, std::uint64_t length) {
  MkvBlock block;
  const HRESULT result =
      element.id.value == ids::kSimpleBlock ? block.Read(element, true) : block.ReadGroup(element, true);
  std::uint64_t total = 0;
  for (const FrameBytes& frame : block.frames) total += frame.size();
  Expect(result != S_OK || total <= length, "a block's frames are no larger than the file");
}

void WalkClusters(CMkvFileRoot& root) {
  CMkvFileClone file(root);
  file.tolerated.Collect();
  const MkvElement whole = MkvElement::WholeFile(file);
  const MkvElement segment = whole.FirstChild(ids::kSegment);
  if (!segment) return;
  for (MkvElement cluster = segment.FirstChild(ids::kCluster); cluster;) {
    std::int64_t ticks = 0;
    (void)ReadClusterTimecode(cluster, ticks);
    for (MkvElement block = FirstBlock(cluster); block;) {
      ReadBlock(block, file.length);
      const std::uint64_t before = block.start;
      if (!NextBlock(block)) break;
      Expect(block.start > before, "a walk moves forward");
    }
    const std::uint64_t before = cluster.start;
    if (!cluster.MoveNextOfSameId()) break;
    Expect(cluster.start > before, "a walk moves forward");
  }
}

}  // namespace

}  // namespace vantor::fuzz

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace vantor;
  const fuzz::HeapBound bound(size);
  test::MemoryReader reader(std::vector<std::uint8_t>(data, data + size));
  fuzz::SetFaults(reader, fuzz::ReadFaultPlan({data, size}));
  const PlaybackPolicy policy = fuzz::DrawPolicy({data, size});
  CMkvFileRoot root(&reader, true, policy);
  root.tolerated.Collect();
  if (FAILED(root.Open())) return 0;
  (void)SynthesiseCues(root);
  // A buffer reads ahead, twice the length and a block of its own at the most: for the records, for the first Cluster
  // and for the index.
  const std::uint64_t ahead = policy.bufferReads ? 3 * (2 * size + ReadBuffer::kBlock) : 0;
  // Where sizes are unknown, or Cues are tried, a Cluster is walked once more.
  const std::uint64_t again = policy.playToEnd || policy.distrustSeekIndex ? 4 * size : 0;
  fuzz::Expect(reader.BytesRead() <= fuzz::kOpeningReads * size + again + ahead + fuzz::kOpeningBase,
               "opening reads in proportion to the file");
  fuzz::WalkClusters(root);
  fuzz::Expect(root.tolerated.Notes().size() <= ToleranceList::kUsualLimit, "what was tolerated is bounded");
  return 0;
}
