// Where a seek in a file of the test media must land, worked out from the file's own Cues and Clusters and from what
// its muxer was given. It walks the file with a few lines of its own and shares nothing with the component.
//
//   const SeekOracle oracle("avc_aac.mkv");
//   const SeekPlace place = oracle.Find(5'000'000);    // half a second
//   if (place.reached) ... place.keyTime ...
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "realfiles/packet_list.h"

namespace vantor::test {

struct SeekPlace {
  bool reached = false;          // false: streaming begins at the first Cluster
  std::int64_t keyTime = 0;      // of the key frame reached, 100 ns after the file's start
  std::vector<int> firstBlocks;  // by track, in the order of the list: its first block that is read
};

class SeekOracle {
 public:
  // Throws std::runtime_error when the file and its packet list do not tell the same blocks.
  explicit SeekOracle(const std::string& mediaName);

  const PacketList& List() const { return list_; }
  // The place in the list of the track that seeks go by: the first with pictures, else the first with sound; none
  // without both, where the Cues of track number 1 count.
  std::optional<std::size_t> Reference() const;

  // For a target in 100 ns after the file's start.
  SeekPlace Find(std::int64_t target) const;

  // The times of the reference track's key frames and of its Cues, 100 ns after the file's start.
  std::vector<std::int64_t> KeyTimes() const;
  std::vector<std::int64_t> CueTimes() const;

 private:
  struct FileBlock {
    std::size_t track;   // place in the list
    int number;          // within the track
    std::int64_t ticks;  // since the file's zero
    bool key;
  };
  struct FileCluster {
    std::uint64_t position;  // in the Segment's payload
    std::int64_t ticks;
    std::vector<FileBlock> blocks;
  };
  struct FileCue {
    std::int64_t ticks;
    std::uint64_t cluster;  // position in the Segment's payload
  };
  struct Element;

  void ReadSegment(const std::vector<unsigned char>& file, const Element& segment);
  void ReadCluster(const std::vector<unsigned char>& file, const Element& segment, const Element& cluster);
  void ReadBlock(const std::vector<unsigned char>& file, const Element& block, FileCluster& cluster);
  void ReadCues(const std::vector<unsigned char>& file, const Element& cues);
  void CheckBlocks() const;
  int ReferenceNumber() const;
  // The key frame of the reference track in the cluster that a seek to this time of the file ends at.
  const FileBlock* LastKey(const FileCluster& cluster, std::int64_t fileTime) const;
  std::int64_t Units(std::int64_t ticks) const { return ticks * list_.tick / 100; }

  PacketList list_;
  std::vector<int> blockCounts_;  // by track
  std::vector<FileCluster> clusters_;
  std::vector<FileCue> cues_;  // of the reference track, in the order of the file
};

}  // namespace vantor::test
