// Blocks and the encodings of their track, without a file around them: the input is elements one after the other,
// ContentEncodings, SimpleBlocks and BlockGroups. Each block is read, and its frames are restored by the encodings that
// stand before it.
//
// Besides what the sanitizers find: the frames are those of a second reading of the lace, and a restored frame is what
// it was, behind bytes of an encoding's or none.
#include <algorithm>
#include <cstdint>
#include <optional>
#include <span>
#include <vector>

#include "fuzz/expect.h"
#include "fuzz/fault_plan.h"
#include "fuzz/heap_bound.h"
#include "fuzz/reader_faults.h"
#include "fuzz/reference_lace.h"
#include "parser/block.h"
#include "parser/content_encoding.h"
#include "parser/file_root.h"
#include "support/memory_reader.h"

namespace vantor::fuzz {

namespace {

constexpr std::uint32_t kContentEncodings = 0x6D80;

void CheckFrames(const MkvElement& element, const MkvBlock& block, HRESULT result,
                 std::span<const std::uint8_t> input) {
  const auto wanted = ReferenceFrameSizes(input, element.dataStart, element.DataEnd());
  if (wanted) {
    Expect(result == S_OK && block.frames.size() == wanted->size(), "a sound lace gives its frames");
    for (std::size_t i = 0; i < wanted->size(); ++i) {
      Expect(block.frames[i].size() <= (*wanted)[i], "a frame has no more bytes than its lace says");
      const bool isWhole = element.DataEnd() <= input.size();
      Expect(!isWhole || block.frames[i].size() == (*wanted)[i], "a frame that is there is whole");
    }
  }
}

void Restore(const MkvTrackEntry& track, const MkvBlock& block) {
  for (std::size_t i = 0; i < block.frames.size(); ++i) {
    const FrameBytes& frame = block.frames[i];
    FrameBytes restored = frame;
    ApplyContentEncodings(track, restored, MkvContentEncoding::kScopeFrames);
    Expect(restored.size() >= frame.size() && std::equal(frame.rbegin(), frame.rend(), restored.rbegin()),
           "a restored frame ends in what was there");
    const std::size_t more = restored.size() - frame.size();
    const bool isOfOne = std::any_of(
        track.contentEncodings.begin(), track.contentEncodings.end(), [&](const MkvContentEncoding& encoding) {
          const Bytes& prefix = encoding.ContentCompSettings;
          return prefix.size() == more && std::equal(prefix.begin(), prefix.end(), restored.begin());
        });
    Expect(more == 0 || isOfOne, "what stands before a restored frame is an encoding's");
  }
}

void ReadElements(const MkvElement& whole, std::span<const std::uint8_t> input, bool isSound) {
  MkvTrackEntry track;
  for (MkvElement element = whole.FirstChild(); element; element.MoveNext()) {
    MkvBlock block;
    if (element.id.value == kContentEncodings) ReadContentEncodings(element, track.contentEncodings);
    if (element.id.value == ids::kSimpleBlock) {
      const HRESULT result = block.Read(element, true);
      if (isSound) CheckFrames(element, block, result, input);
    }
    if (element.id.value == ids::kBlockGroup) (void)block.ReadGroupOfTrack(element, 1);
    Restore(track, block);
  }
}

}  // namespace

}  // namespace vantor::fuzz

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace vantor;
  const fuzz::HeapBound bound(size);
  test::MemoryReader reader(std::vector<std::uint8_t>(data, data + size));
  CMkvFileRoot root(&reader, true);
  const fuzz::FaultPlan faults = fuzz::ReadFaultPlan({data, size});
  fuzz::SetFaults(reader, faults);
  fuzz::ReadElements(MkvElement::WholeFile(root), {data, size}, faults.kind == fuzz::FaultPlan::Kind::kNone);
  return 0;
}
