#include "parser/block.h"

#include <algorithm>

#include "parser/element_ids.h"
#include "parser/element_table.h"
#include "parser/lacing.h"

namespace vantor {

namespace {

// Reads the frame at the cursor: as much of it as the source holds, nothing when the read fails.
void ReadFrame(CMkvFile& file, std::uint64_t size, FrameList& frames) {
  const std::uint64_t there = std::min(size, file.Remaining());
  if (!frames.Take(there, MkvBlock::kLargestFrame)) return frames.AppendLost();
  FrameBytes& frame = frames.Append();
  if (there == 0) return;
  frame.resize(static_cast<std::size_t>(there));
  const std::uint64_t before = file.position;
  if (file.Read(frame.data(), there) != S_OK) frame.resize(static_cast<std::size_t>(file.position - before));
}

}  // namespace

void MkvBlock::Reset() {
  trackNumber = CMkvLength();
  timecode = CMkvInt();
  flags = CMkvByte();
  frames.Clear();
  BlockDuration = CMkvUInt();
  ReferencePriority = CMkvUInt();
  ReferenceBlock = CMkvInt();
  ReferenceVirtual = CMkvInt();
  CodecState.clear();
}

void MkvBlock::ReadHeader(const MkvElement& element) {
  trackNumber = CMkvLength();
  flags = CMkvByte();
  element.SeekToData();
  trackNumber.Read(element);
  CMkvShort relative;
  relative.Read(element);
  timecode = CMkvInt(relative.value);
  flags.Read(element);
}

HRESULT MkvBlock::ReadFrames(const MkvElement& element, std::size_t most) {
  LaceSizes sizes;
  if (const HRESULT result = ReadLaceSizes(element, flags.value, sizes); result != S_OK) return result;
  CMkvFile& file = *element.file;
  std::uint64_t next = file.position;
  for (std::size_t i = 0; i < std::min(sizes.count, most); ++i) {
    file.position = next;
    ReadFrame(file, sizes.size[i], frames);
    next += sizes.size[i];
  }
  return S_OK;
}

HRESULT MkvBlock::Read(const MkvElement& element, bool wantFrames) {
  if (!element) return E_POINTER;
  ReadHeader(element);
  return wantFrames ? ReadFrames(element) : S_OK;
}

template <typename ReadBlock>
HRESULT MkvBlock::WalkGroup(const MkvElement& group, const ReadBlock& readBlock) {
  return ReadChildren(group, {
                                 {ids::kBlock, readBlock},
                                 {0x9B, BlockDuration},
                                 {0xFA, ReferencePriority},
                                 {0xFB, ReferenceBlock},
                                 {0xFD, ReferenceVirtual},
                                 {0xA4, CodecState},
                             });
}

HRESULT MkvBlock::ReadGroup(const MkvElement& element, bool wantFrames) {
  return ReadEveryBlock(element, wantFrames, kEveryFrame);
}

HRESULT MkvBlock::ReadEveryBlock(const MkvElement& group, bool wantFrames, std::size_t most) {
  bool isDamaged = false;
  const HRESULT result = WalkGroup(group, [&](const MkvElement& child) {
    ReadHeader(child);
    if (wantFrames && FAILED(ReadFrames(child, most))) isDamaged = true;
  });
  return isDamaged ? E_FAIL : result;
}

HRESULT MkvBlock::ReadGroupOfTrack(const MkvElement& element, std::uint64_t track, std::size_t most) {
  bool isDamaged = false;
  bool isSkipped = false;
  const HRESULT result = WalkGroup(element, [&](const MkvElement& child) {
    ReadHeader(child);
    if (trackNumber.value != track) {
      isSkipped = true;
    } else if (FAILED(ReadFrames(child, most))) {
      isDamaged = true;
    }
  });
  if (trackNumber.value != track) {
    frames.Clear();
    return result;
  }
  if (!isSkipped || result == E_ABORT) return isDamaged ? E_FAIL : result;
  Reset();
  return ReadEveryBlock(element, true, most);
}

MkvElement FirstBlock(const MkvElement& cluster) {
  MkvElement block = cluster.FirstChild();
  if (block && !IsBlock(block)) NextBlock(block);
  return block;
}

bool NextBlock(MkvElement& block) {
  while (block.MoveNext()) {
    if (IsBlock(block)) return true;
  }
  return false;
}

bool ReadClusterTimecode(const MkvElement& cluster, std::int64_t& ticks) {
  constexpr std::uint32_t kWalkStep = 4096;
  MkvElement timecode = cluster.FirstChild();
  for (std::uint32_t walked = 1; timecode && timecode.id.value != ids::kTimecode; ++walked) {
    if (walked % kWalkStep == 0 && cluster.file->interrupted && cluster.file->interrupted()) return false;
    timecode.MoveNext();
  }
  if (!timecode) return false;
  CMkvUInt value;
  if (value.Read(timecode) != S_OK) return false;
  ticks = static_cast<std::int64_t>(value.value);
  return true;
}

HRESULT AppendBlock(std::list<MkvBlock>& blocks, const MkvElement& group, bool wantFrames) {
  std::list<MkvBlock> one(1);
  const HRESULT result = one.front().ReadGroup(group, wantFrames);
  if (result == S_OK) blocks.splice(blocks.end(), one);
  return result;
}

}  // namespace vantor
