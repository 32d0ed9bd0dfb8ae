// A file in memory, opened as the filter opens it.
#pragma once

#include <gtest/gtest.h>

#include <list>
#include <vector>

#include "parser/file_root.h"
#include "streaming/block_cursor.h"
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

inline bool NeverStop() { return false; }

// Takes the next block off the cursor; false at the end of the data.
inline bool TakeNext(BlockCursor& cursor, std::list<MkvBlock>& taken) {
  cursor.Recycle(taken);
  if (cursor.FillQueue(NeverStop) == 0) return false;
  cursor.TakeBlock(taken);
  return true;
}

// The first byte of the first frame of every block that is left.
inline Raw FirstBytes(BlockCursor& cursor) {
  Raw bytes;
  std::list<MkvBlock> taken;
  while (TakeNext(cursor, taken)) {
    const MkvBlock& block = taken.front();
    bytes.push_back(block.frames.empty() || block.frames[0].empty() ? 0xFF : block.frames[0][0]);
  }
  return bytes;
}

}  // namespace vantor::test
