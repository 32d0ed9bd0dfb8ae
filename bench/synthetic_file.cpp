#include "bench/synthetic_file.h"

#include <algorithm>
#include <cstring>
#include <string_view>

#include "support/mkv_builder.h"

namespace vantor::bench {

namespace {

using test::Raw;

constexpr std::uint32_t kSegment = 0x18538067;
constexpr std::uint32_t kInfo = 0x1549A966;
constexpr std::uint32_t kTracks = 0x1654AE6B;
constexpr std::uint32_t kCues = 0x1C53BB6B;
constexpr std::uint32_t kCluster = 0x1F43B675;
constexpr std::uint32_t kSimpleBlock = 0xA3;
constexpr std::uint32_t kTimecode = 0xE7;
constexpr std::size_t kTimecodeSize = 8;

Raw BlockHeader(const FileShape& shape, int track, std::size_t place) {
  const bool key = track != 1 || !shape.video || place == 0;
  const int relative = static_cast<int>(place) * shape.ticksPerBlock;
  const Raw header = test::BlockPayload(static_cast<std::uint64_t>(track), relative, key ? test::kKey : 0, {});
  return test::Join({test::IdBytes(kSimpleBlock), test::Vint(header.size() + shape.frameSize), header});
}

// The cluster's bytes before its first block; the Timecode's payload is the last of them.
Raw ClusterHeader(std::size_t payload, std::uint64_t timecode) {
  const Raw time = test::UInt(kTimecode, timecode, kTimecodeSize);
  return test::Join({test::IdBytes(kCluster), test::Vint(time.size() + payload, 8), time});
}

Raw TrackEntries(const FileShape& shape) {
  std::vector<Raw> entries;
  for (int number = 1; number <= shape.Tracks(); ++number) {
    const auto id = static_cast<std::uint64_t>(number);
    entries.push_back(number == 1 && shape.video ? test::Track(id, 1, "V_VP8", {test::Video(1920, 1080)})
                                                 : test::Track(id, 2, "A_MPEG/L3", {test::Audio(48000, 2)}));
  }
  return test::Tracks(entries);
}

Raw CueList(const FileShape& shape, std::size_t firstCluster, std::size_t clusterSize) {
  std::vector<Raw> points;
  points.reserve(shape.clusters);
  for (std::size_t k = 0; k < shape.clusters; ++k) {
    points.push_back(test::CuePoint(k * shape.blocksPerCluster * static_cast<std::size_t>(shape.ticksPerBlock), 1,
                                    firstCluster + k * clusterSize));
  }
  return test::Cues(points);
}

// The Segment's payload up to its first cluster, which is said to lie at `firstCluster`.
Raw SegmentHead(const FileShape& shape, std::size_t firstCluster, std::size_t clusterSize) {
  const double duration = static_cast<double>(shape.Blocks()) * shape.ticksPerBlock;
  std::vector<test::Part> parts = {
      {"index",
       [&](const test::Positions& at) {
         std::vector<Raw> entries = {test::SeekEntry(kInfo, at["info"]), test::SeekEntry(kTracks, at["tracks"])};
         if (shape.cues) entries.push_back(test::SeekEntry(kCues, at["cues"]));
         return test::SeekHead(entries);
       }},
      {"info", test::Info(1000000, duration)},
      {"tracks", TrackEntries(shape)},
  };
  if (shape.cues) parts.push_back({"cues", CueList(shape, firstCluster, clusterSize)});
  return test::Layout(parts);
}

}  // namespace

int FileShape::Tracks() const { return *std::ranges::max_element(blockTracks); }

std::shared_ptr<SyntheticFile> SyntheticFile::Make(const FileShape& shape) {
  return std::shared_ptr<SyntheticFile>(new SyntheticFile(shape));
}

SyntheticFile::SyntheticFile(const FileShape& shape) : shape_(shape) {
  blockHeaderSize_ = BlockHeader(shape, 1, 0).size();
  clusterHeaderSize_ = ClusterHeader(0, 0).size();
  clusterSize_ = clusterHeaderSize_ + shape.blocksPerCluster * (blockHeaderSize_ + shape.frameSize);
  ringClusters_ = shape.ringClusters == 0 ? shape.clusters : std::min(shape.ringClusters, shape.clusters);

  // Cue points take the same number of bytes wherever they point.
  const std::size_t headSize = SegmentHead(shape, 0, clusterSize_).size();
  const Raw head = SegmentHead(shape, headSize, clusterSize_);
  head_ = test::Join(
      {test::EbmlHeader(), test::IdBytes(kSegment), test::Vint(head.size() + shape.clusters * clusterSize_, 8), head});
  MakeRing();
}

void SyntheticFile::MakeRing() {
  ring_.resize(ringClusters_ * clusterSize_);
  const Raw clusterHeader = ClusterHeader(clusterSize_ - clusterHeaderSize_, 0);
  std::uint8_t* to = ring_.data();
  std::uint32_t noise = 1;
  for (std::size_t k = 0; k < ringClusters_; ++k) {
    to = std::ranges::copy(clusterHeader, to).out;
    for (std::size_t place = 0; place < shape_.blocksPerCluster; ++place) {
      to = std::ranges::copy(BlockHeader(shape_, shape_.blockTracks[place % shape_.blockTracks.size()], place), to).out;
      std::generate_n(to, shape_.frameSize, [&] {
        noise = noise * 1664525 + 1013904223;
        return static_cast<std::uint8_t>(noise >> 24);
      });
      to += shape_.frameSize;
    }
  }
}

std::int64_t SyntheticFile::Length() const noexcept {
  return static_cast<std::int64_t>(head_.size() + shape_.clusters * clusterSize_);
}

bool SyntheticFile::Read(std::int64_t position, void* buffer, std::size_t size) noexcept {
  auto offset = static_cast<std::size_t>(position);
  auto* to = static_cast<std::uint8_t*>(buffer);
  if (offset < head_.size()) {
    const std::size_t part = std::min(size, head_.size() - offset);
    std::memcpy(to, head_.data() + offset, part);
    to += part;
    offset += part;
    size -= part;
  }
  ReadClusters(offset - head_.size(), to, size);
  return true;
}

void SyntheticFile::ReadClusters(std::size_t offset, std::uint8_t* buffer, std::size_t size) const noexcept {
  while (size > 0) {
    const std::size_t cluster = offset / clusterSize_;
    const std::size_t within = offset % clusterSize_;
    const std::size_t part = std::min(size, clusterSize_ - within);
    std::memcpy(buffer, ring_.data() + cluster % ringClusters_ * clusterSize_ + within, part);
    if (within < clusterHeaderSize_) {
      const std::uint64_t time = cluster * shape_.blocksPerCluster * static_cast<std::size_t>(shape_.ticksPerBlock);
      for (std::size_t i = 0; i < kTimecodeSize; ++i) {
        const std::size_t at = clusterHeaderSize_ - kTimecodeSize + i;
        if (at < within || at >= within + part) continue;
        buffer[at - within] = static_cast<std::uint8_t>(time >> (8 * (kTimecodeSize - 1 - i)));
      }
    }
    buffer += part;
    offset += part;
    size -= part;
  }
}

const std::uint8_t* SyntheticFile::Frame(std::size_t block) const noexcept {
  const std::size_t cluster = block / shape_.blocksPerCluster % ringClusters_;
  const std::size_t place = block % shape_.blocksPerCluster;
  return ring_.data() + cluster * clusterSize_ + clusterHeaderSize_ + place * (blockHeaderSize_ + shape_.frameSize) +
         blockHeaderSize_;
}

}  // namespace vantor::bench
