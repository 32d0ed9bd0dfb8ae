// Matroska files made at run time, of any length: a head, then clusters of one layout.
//
//   std::shared_ptr<SyntheticFile> file = SyntheticFile::Make({.frameSize = 1 << 20, .clusters = 256});
//   graph.ConnectInput(file, OLESTR("large.mkv"));
//
// The clusters are read from a ring in memory: cluster k has the bytes of ring place k modulo the ring's clusters, but
// for its Timecode. A ring that is larger than the processor's caches makes reading such a file cost what reading a
// mapped file costs, without holding all of it.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

#include "host/byte_store.h"

namespace vantor::bench {

struct FileShape {
  // The track number of each block, over and over.
  std::vector<int> blockTracks = {1};
  // Track 1 is video, with a key frame at each cluster's start; all other tracks are audio.
  bool video = false;
  std::size_t frameSize = 50;
  std::size_t blocksPerCluster = 1000;
  std::size_t clusters = 1;
  int ticksPerBlock = 20;        // of 1 ms; the blocks of a cluster span at most 32767
  bool cues = true;              // one cue point a cluster, found through the seek index
  std::size_t ringClusters = 0;  // 0: all of them

  int Tracks() const;
  std::size_t Blocks() const { return blocksPerCluster * clusters; }
  std::size_t FrameBytes() const { return Blocks() * frameSize; }
};

class SyntheticFile final : public ByteStore {
 public:
  static std::shared_ptr<SyntheticFile> Make(const FileShape& shape);

  std::int64_t Length() const noexcept override;
  bool Read(std::int64_t position, void* buffer, std::size_t size) noexcept override;

  // The bytes of the n-th block's frame, where they lie in the ring.
  const std::uint8_t* Frame(std::size_t block) const noexcept;

 private:
  explicit SyntheticFile(const FileShape& shape);
  void MakeRing();
  void ReadBeyondRing(std::size_t offset, std::uint8_t* buffer, std::size_t size) const noexcept;
  std::uint64_t ClusterTime(std::size_t cluster) const noexcept;  // ticks

  const FileShape shape_;
  std::size_t blockHeaderSize_ = 0;
  std::size_t clusterHeaderSize_ = 0;
  std::size_t clusterSize_ = 0;
  std::size_t ringClusters_ = 0;
  std::size_t headSize_ = 0;
  std::int64_t length_ = 0;
  std::vector<std::uint8_t> resident_;  // the head, then the ring as it is on its first lap
};

}  // namespace vantor::bench
