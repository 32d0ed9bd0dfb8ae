// A file in memory, opened as the filter opens it.
#pragma once

#include <gtest/gtest.h>

#include <optional>
#include <vector>

#include "parser/file_root.h"
#include "streaming/block_cursor.h"
#include "streaming/cue_search.h"
#include "support/memory_reader.h"
#include "support/mkv_builder.h"

namespace vantor::test {

class OpenedFile {
 public:
  explicit OpenedFile(const Raw& bytes) : reader(bytes), root(&reader, true) {
    EXPECT_EQ(root.Open(), S_OK);
    first = FindFirstCluster(root);
  }

  const MkvTrackEntry& TrackAt(std::size_t index) { return *root.GetSegment()->tracks.at(0).at(index); }

  MemoryReader reader;
  CMkvFileRoot root;
  FirstCluster first;
};

// Moves the cursor as a seek does: true when something was found, or the target is the start.
inline bool SeekCursor(OpenedFile& file, BlockCursor& cursor, std::int64_t target) {
  CMkvFileClone clone(file.root);
  const auto place = target > 0 ? FindPlace(clone, file.first, target) : std::nullopt;
  if (place) {
    cursor.MoveTo(*place);
  } else {
    cursor.Rewind();
  }
  return place || target == 0;
}

inline bool NeverStop() { return false; }

// Takes the cursor's next block in hand; null at the end of the data.
inline StampedBlock* TakeNext(BlockCursor& cursor) {
  return cursor.FillQueue(NeverStop) != 0 ? &cursor.Take() : nullptr;
}

// When the cursor's next block starts, 100 ns of the file; -1 at the end of the data.
inline std::int64_t NextStart(BlockCursor& cursor) {
  return cursor.FillQueue(NeverStop) != 0 ? cursor.Next().start : -1;
}

// The first byte of the first frame of every block that is left.
inline Raw FirstBytes(BlockCursor& cursor) {
  Raw bytes;
  while (StampedBlock* const block = TakeNext(cursor)) {
    const FrameList& frames = block->record.frames;
    bytes.push_back(frames.empty() || frames[0].empty() ? 0xFF : frames[0][0]);
  }
  return bytes;
}

}  // namespace vantor::test
