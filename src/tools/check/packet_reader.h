// PacketReader: the packets of one track number, one after the other, in the file's order.
//
//   PacketReader reader(root, 1);
//   for (Packet packet; reader.Next(packet);) Use(packet.position, packet.size);
#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>

#include "parser/file_root.h"
#include "tools/check/block_frames.h"
#include "tools/check/block_walk.h"

namespace vantor::tools {

struct Packet {
  std::uint64_t block = 0;     // where its Block begins
  std::uint64_t position = 0;  // of the payload
  std::uint64_t size = 0;
  std::int64_t start = 0;      // of its Block, 100 ns from the file's first Cluster
  bool isFirstOfLace = false;  // or the only one
};

class PacketReader {
 public:
  // The root outlives the reader, and has been opened; several may read it at once.
  PacketReader(CMkvFileRoot& root, std::uint64_t track);

  // False at the end.
  bool Next(Packet& packet);
  // The end came because elements claim each other's bytes too often.
  bool HasGivenUp() const { return file_.tolerated.WasMet(Tolerated::kWorkExhausted); }

 private:
  void TakeBlock(const MkvElement& element);

  CMkvFileRoot& root_;
  CMkvFileClone file_;
  const std::uint64_t track_;
  BlockWalk walk_;
  BlockFrames frames_;
  std::deque<Packet> ready_;  // of the current SimpleBlock or BlockGroup
};

}  // namespace vantor::tools
