// How blocks are read.
//
// A SimpleBlock's payload is a header of its own (track, time, flags), perhaps the lace's head, and frames. A
// BlockGroup is a master element with such a payload as its Block child and the rest (duration, references) in children
// beside it. A pin's cursor meets the blocks of all tracks: of others it reads no frame, so the header comes
// first and the frames only when asked for. A BlockGroup is walked once, since its children may stand in
// any order: the block is decided upon when its Block is met, and what is beside it is read along.
//
// Nothing here allocates in the steady state. A record is reset and filled again, its frames' buffers with it, and the
// lace's sizes lie on the stack.
#include "parser/block.h"

#include <algorithm>

#include "parser/element_ids.h"
#include "parser/element_table.h"
#include "parser/interruption.h"
#include "parser/lacing.h"

namespace vantor {

namespace {

// Reads the frame at the cursor: as much of it as the source holds, nothing when the read fails.
void ReadFrame(CMkvFile& file, std::uint64_t size, FrameList& frames) {
  const std::uint64_t there = std::min(size, file.Remaining());
  if (there < size) file.Tolerate(Tolerated::kFrameCutOff, file.position, size - there);
  if (!frames.Take(there, MkvBlock::kLargestFrame, file.frameMemory)) {
    // It is in the list all the same, so that the frames behind it keep their places in the lace, and their times.
    file.Tolerate(Tolerated::kFrameTooLarge, file.position, there);
    return frames.AppendLost();
  }
  FrameBytes& frame = frames.Append(static_cast<std::size_t>(there));
  if (there == 0) return;
  const std::uint64_t before = file.position;
  if (file.Read(frame.data(), there) != S_OK) frame.resize(static_cast<std::size_t>(file.position - before));
}

}  // namespace

void MkvBlock::Reset() {
  trackNumber = CMkvLength();
  timecode = CMkvInt();
  flags = CMkvByte();
  frames.Clear();
  framesTold_ = 0;
  BlockDuration = CMkvUInt();
  ReferencePriority = CMkvUInt();
  ReferenceBlock = CMkvInt();
  ReferenceVirtual = CMkvInt();
  CodecState = Bytes();
}

void MkvBlockHeader::ReadHeader(const MkvElement& element) {
  HeaderCursor in(*element.file);
  BlockFields fields;
  fields.Read(in, element);
  in.Store();
  Take(fields);
}

void MkvBlockHeader::Take(const BlockFields& fields) {
  trackNumber = CMkvLength();
  trackNumber.value = fields.track.value;
  trackNumber.isUnknown = fields.track.isUnknown;
  trackNumber.present = fields.isTrackRead;
  timecode = CMkvInt(fields.time);
  flags = CMkvByte(fields.flags);
}

HRESULT MkvBlock::ReadFrames(const MkvElement& element, std::size_t mostFrames) {
  LaceSizes sizes;
  const HRESULT result = ReadLaceSizes(element, flags.value, sizes);
  // Sizes of no bytes cost a file next to nothing, and each is a frame that has to be kept until it is delivered.
  if (result != S_OK || sizes.count > kMostFrames - framesTold_) {
    element.NotePassedOver(Tolerated::kRejectedBlock);
    return E_FAIL;
  }
  framesTold_ += sizes.count;
  CMkvFile& file = *element.file;
  std::uint64_t next = file.position;
  for (std::size_t i = 0; i < std::min(sizes.count, mostFrames); ++i) {
    // Set for each: the frame before may have been cut off, refused by the reader, or not read at all.
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

// Held against what the record's frames may take, since it is as long as it says.
void MkvBlock::ReadCodecState(const MkvElement& element) {
  CMkvFile& file = *element.file;
  const std::uint64_t size = element.size.value;
  if (size > file.Remaining() || !frames.Take(size, kLargestFrame, file.frameMemory)) {
    return element.NotePassedOver(Tolerated::kPayloadOutOfBounds);
  }
  (void)ReadBytes(element, CodecState);
}

template <typename ReadBlock>
HRESULT MkvBlock::WalkGroup(const MkvElement& group, const ReadBlock& readBlock) {
  return ReadChildren(group, {
                                 {ids::kBlock, readBlock},
                                 {0x9B, BlockDuration},
                                 {0xFA, ReferencePriority},
                                 {0xFB, ReferenceBlock},
                                 {0xFD, ReferenceVirtual},
                                 {0xA4, [&](const MkvElement& child) { ReadCodecState(child); }},
                             });
}

HRESULT MkvBlock::ReadGroup(const MkvElement& element, bool wantFrames) {
  return ReadEveryBlock(element, wantFrames, kEveryFrame);
}

HRESULT MkvBlock::ReadEveryBlock(const MkvElement& group, bool wantFrames, std::size_t mostFrames) {
  bool isDamaged = false;
  const HRESULT result = WalkGroup(group, [&](const MkvElement& child) {
    ReadHeader(child);
    if (wantFrames && !isDamaged) isDamaged = FAILED(ReadFrames(child, mostFrames));
  });
  if (!isDamaged) return result;
  DropPayload();
  return E_FAIL;
}

HRESULT MkvBlock::ReadGroupOfTrack(const MkvElement& element, std::uint64_t track, std::size_t mostFrames) {
  // The format has one Block in a group. A file may have more, and then the last one's track is the group's: when that
  // is another one, what was read before is dropped; when one before was another's and skipped, all are read after all.
  bool isDamaged = false;
  bool isSkipped = false;
  const HRESULT result = WalkGroup(element, [&](const MkvElement& child) {
    ReadHeader(child);
    if (trackNumber.value != track) {
      isSkipped = true;
    } else if (!isDamaged) {
      isDamaged = FAILED(ReadFrames(child, mostFrames));
    }
  });
  const bool isOfTrack = trackNumber.value == track;
  if (!isOfTrack || isDamaged) DropPayload();
  if (isOfTrack && isDamaged) return E_FAIL;
  if (!isOfTrack || !isSkipped || result == E_ABORT) return result;
  Reset();
  constexpr bool kWantFrames = true;
  return ReadEveryBlock(element, kWantFrames, mostFrames);
}

// Together, since what the state takes is counted with the frames.
void MkvBlock::DropPayload() {
  frames.Clear();
  CodecState = Bytes();
}

MkvElement FirstBlock(const MkvElement& cluster) {
  MkvElement block = cluster.FirstChild();
  if (block && !IsBlock(block)) (void)NextBlock(block);  // without any it is empty
  return block;
}

bool NextBlock(MkvElement& block) {
  while (block.MoveNext()) {
    if (IsBlock(block)) return true;
  }
  return false;
}

bool ReadClusterTimecode(const MkvElement& cluster, std::int64_t& ticks) {
  if (!cluster) return false;
  InterruptionPoll poll(*cluster.file);
  MkvElement timecode = cluster.FirstChild();
  while (timecode && timecode.id.value != ids::kTimecode) {
    if (poll.Interrupted()) return false;
    (void)timecode.MoveNext();  // at the end it is empty
  }
  CMkvUInt value;
  if (!timecode || value.Read(timecode) != S_OK) {
    cluster.file->Tolerate(Tolerated::kUnusableClusterTime, cluster.start, 0);
    return false;
  }
  // Unsigned in the file, signed wherever it is used: a time of more than 63 bits is one before 0.
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
