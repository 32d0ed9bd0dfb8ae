#include "tools/check/block_frames.h"

#include <algorithm>

#include "parser/block.h"

namespace vantor::tools {
namespace {

constexpr std::uint8_t kLacing = 0x06;
constexpr std::uint8_t kFixedLacing = 0x04;
constexpr std::uint8_t kEbmlLacing = 0x06;

// Laces that the format has and the filter does not read: 256 frames of one size, and a single one in EBML lacing. The
// cursor is behind the flags.
bool ReadRareLace(const MkvElement& element, BlockFrames& frames) {
  CMkvByte head;
  if (head.Read(element) != S_OK || element.file->position > element.DataEnd()) return false;
  const std::uint64_t rest = element.DataEnd() - element.file->position;
  if ((frames.flags & kLacing) == kFixedLacing && head.value == 255) {
    frames.count = LaceSizes::kMaxFrames;
    std::fill_n(frames.sizes.size.begin(), frames.count, rest / frames.count);
    return true;
  }
  if ((frames.flags & kLacing) != kEbmlLacing || head.value != 0) return false;
  frames.count = 1;
  frames.sizes.size[0] = rest;
  return true;
}

void CountWhole(const MkvElement& element, BlockFrames& frames) {
  std::uint64_t left = element.file->length - std::min(frames.firstFrame, element.file->length);
  frames.whole = 0;
  frames.bytes = 0;
  while (frames.whole < frames.count && frames.sizes.size[frames.whole] <= left) {
    left -= frames.sizes.size[frames.whole];
    frames.bytes += frames.sizes.size[frames.whole++];
  }
  // Empty frames behind the end of the file are not in it.
  if (frames.firstFrame > element.file->length) frames.whole = 0;
}

}  // namespace

void ReadBlockFrames(const MkvElement& element, BlockFrames& frames) {
  constexpr std::uint64_t kTimeAndFlags = 3;
  CMkvFile& file = *element.file;
  // Not into a block's record, which would have to be made and emptied for every block of the file.
  HeaderCursor in(file);
  BlockFields fields;
  fields.Read(in, element);
  in.Store();
  frames.start = element.start;
  frames.track = fields.track.value;
  frames.relativeTime = fields.time;
  frames.flags = fields.flags;
  frames.whole = 0;
  frames.bytes = 0;
  const std::uint64_t behindHeader = file.position;
  const bool hasHeader = fields.isTrackRead && behindHeader > element.dataStart + kTimeAndFlags;
  frames.isReadByFilter = ReadLaceSizes(element, frames.flags, frames.sizes) == S_OK;
  frames.count = frames.isReadByFilter ? frames.sizes.count : 0;
  if (!frames.isReadByFilter) {
    file.position = behindHeader;
    if ((frames.flags & kLacing) == 0 || !ReadRareLace(element, frames)) return;
  }
  frames.firstFrame = file.position;
  if (hasHeader) CountWhole(element, frames);
}

}  // namespace vantor::tools
