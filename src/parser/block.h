// Clusters and blocks: walking the blocks of a Cluster, reading a block's header and side elements, unlacing frames.
//
//   for (MkvElement block = FirstBlock(cluster); block; ) { ...; if (!NextBlock(block)) break; }
#pragma once

#include <cstddef>
#include <cstdint>
#include <list>
#include <vector>

#include "parser/ebml_value.h"
#include "parser/element.h"
#include "parser/element_ids.h"
#include "parser/frame_bytes.h"
#include "parser/header_cursor.h"
#include "platform/big_endian.h"

namespace vantor {

// What every Block and SimpleBlock begins with, as it is read. A field that cannot be read is 0, whatever that says,
// and the block is one of track 0 or at the Cluster's time: no result of these reads ends anything. They are not
// bounded by the payload either; a block that ends within its header is found out when its frames are to be read.
struct BlockFields {
  EbmlLength track;
  bool isTrackRead = false;
  std::int16_t time = 0;
  std::uint8_t flags = 0;

  // From the payload's first byte on; notes with the source when not all could be read. Stores the cursor then.
  void Read(HeaderCursor& in, const MkvElement& element) {
    in.MoveTo(element.dataStart);
    const HRESULT trackRead = in.ReadLength(track);
    isTrackRead = trackRead == S_OK;
    std::uint8_t bytes[2] = {};
    const HRESULT timeRead = in.ReadFew(bytes, sizeof bytes);
    if (timeRead == S_OK) time = static_cast<std::int16_t>(BigEndian(bytes, sizeof bytes));
    const HRESULT flagsRead = in.ReadByte(flags);
    if ((trackRead | timeRead | flagsRead) != S_OK) {
      in.Store();
      element.NotePassedOver(Tolerated::kUnreadableBlockHeader);
    }
  }
};

// The same in a block's record.
struct MkvBlockHeader {
  CMkvLength trackNumber;
  CMkvInt timecode;  // relative to the cluster's, TimecodeScale ticks
  CMkvByte flags;

  // Reads it from the Block or SimpleBlock. The cursor stays behind the flags.
  void ReadHeader(const MkvElement& element);
  // The same of fields that were read.
  void Take(const BlockFields& fields);
};

struct MkvBlock : MkvBlockHeader {
  // A frame that would make the record hold more than this, or all records more than the file's frameMemory has, is not
  // read but counted as lost, bytes.
  static constexpr std::uint64_t kLargestFrame = std::uint64_t{256} << 20;
  static constexpr std::size_t kEveryFrame = SIZE_MAX;
  // A BlockGroup whose Blocks have more frames than this is rejected. One Block, which is what the format has in a
  // group, cannot: a lace has at most LaceSizes::kMaxFrames.
  static constexpr std::size_t kMostFrames = 4096;

  FrameList frames;
  // The rest comes from a BlockGroup.
  CMkvUInt BlockDuration;  // TimecodeScale ticks
  CMkvUInt ReferencePriority;
  CMkvInt ReferenceBlock;  // present: not a key frame
  CMkvInt ReferenceVirtual;
  Bytes CodecState;

  // Back to the state after construction, frame memory kept.
  void Reset();

  // Reads the frames of the Block or SimpleBlock whose header was just read (the cursor is behind it), or the first
  // `mostFrames` of them, one read per frame, and appends them. E_FAIL for damaged lacing, with nothing appended. A
  // frame cut off by the end of the source keeps the bytes that were there; one that the reader refuses is empty, and
  // delivered as it is: the result tells of the lace only. With more than kMostFrames in the record it is rejected too.
  HRESULT ReadFrames(const MkvElement& element, std::size_t mostFrames = kEveryFrame);

  // Header, and frames when wanted, of a Block or SimpleBlock.
  HRESULT Read(const MkvElement& element, bool wantFrames);

  // Reads a BlockGroup's children. S_OK; S_FALSE when it has none; E_POINTER for an empty element; E_FAIL when a Block
  // of it is damaged or there are too many frames, of which none is kept then; E_ABORT when the file's `interrupted`
  // ended it.
  HRESULT ReadGroup(const MkvElement& element, bool wantFrames);

  // ReadGroup with frames, or the first `mostFrames` of them, when the group's block is of that track. Of another
  // track's no frame is kept and damaged lacing not told: `trackNumber` says which it was. Results as of ReadGroup. In
  // one walk, and a second one only where another track's Block stands before the track's last one.
  HRESULT ReadGroupOfTrack(const MkvElement& element, std::uint64_t track, std::size_t mostFrames = kEveryFrame);

  // A block is a key frame when it refers to no other.
  bool IsKeyFrame() const { return !ReferenceBlock.present; }

 private:
  void DropPayload();
  HRESULT ReadEveryBlock(const MkvElement& group, bool wantFrames, std::size_t mostFrames);
  void ReadCodecState(const MkvElement& element);
  template <typename ReadBlock>
  HRESULT WalkGroup(const MkvElement& group, const ReadBlock& readBlock);

  std::size_t framesTold_ = 0;  // by the laces read into the record, those that were not asked for included
};

// Whether the element, a child of a Cluster, is a BlockGroup or a SimpleBlock.
inline bool IsBlock(const MkvElement& element) {
  return element.id.value == ids::kBlockGroup || element.id.value == ids::kSimpleBlock;
}
// The Cluster's first BlockGroup or SimpleBlock; empty when it has none.
MkvElement FirstBlock(const MkvElement& cluster);
// Moves on to the next one; false at the end of the Cluster.
bool NextBlock(MkvElement& block);

// The Cluster's time: its first Timecode child, in ticks. False when it has none, it cannot be read, or the file's
// `interrupted` ended the search.
bool ReadClusterTimecode(const MkvElement& cluster, std::int64_t& ticks);

// Appends the BlockGroup's record to the list when it can be read.
HRESULT AppendBlock(std::list<MkvBlock>& blocks, const MkvElement& group, bool wantFrames);

}  // namespace vantor
