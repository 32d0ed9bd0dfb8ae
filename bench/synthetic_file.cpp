#include "bench/synthetic_file.h"

#include <algorithm>
#include <atomic>
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

// A SimpleBlock's bytes before its frame: a key frame at its cluster's time. Tracks have one byte, so the last three
// bytes are the relative time and the flags.
Raw BlockHeader(const FileShape& shape, int track) {
  const Raw header = test::BlockPayload(static_cast<std::uint64_t>(track), 0, test::kKey, {});
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
  blockHeaderSize_ = BlockHeader(shape, 1).size();
  clusterHeaderSize_ = ClusterHeader(0, 0).size();
  clusterSize_ = clusterHeaderSize_ + shape.blocksPerCluster * (blockHeaderSize_ + shape.frameSize);
  ringClusters_ = shape.ringClusters == 0 ? shape.clusters : std::min(shape.ringClusters, shape.clusters);

  // Cue points take the same number of bytes wherever they point.
  const std::size_t headSize = SegmentHead(shape, 0, clusterSize_).size();
  const Raw head = SegmentHead(shape, headSize, clusterSize_);
  resident_ = test::Join(
      {test::EbmlHeader(), test::IdBytes(kSegment), test::Vint(head.size() + shape.clusters * clusterSize_, 8), head});
  headSize_ = resident_.size();
  MakeRing();
  length_ = static_cast<std::int64_t>(headSize_ + shape.clusters * clusterSize_);
  // On the first lap it is read like a mapped file.
  static constexpr std::atomic<bool> kNever{false};
  SetResident({resident_.data(), static_cast<std::int64_t>(resident_.size()), kNever});
}

void SyntheticFile::MakeRing() {
  resident_.resize(headSize_ + ringClusters_ * clusterSize_);
  std::vector<Raw> blockHeaders;
  for (const int track : shape_.blockTracks) blockHeaders.push_back(BlockHeader(shape_, track));
  std::uint8_t* to = resident_.data() + headSize_;
  std::uint32_t noise = 1;
  for (std::size_t k = 0; k < ringClusters_; ++k) {
    to = std::ranges::copy(ClusterHeader(clusterSize_ - clusterHeaderSize_, ClusterTime(k)), to).out;
    for (std::size_t place = 0; place < shape_.blocksPerCluster; ++place) {
      const std::size_t turn = place % blockHeaders.size();
      to = std::ranges::copy(blockHeaders[turn], to).out;
      const auto relative = static_cast<std::uint16_t>(place * static_cast<std::size_t>(shape_.ticksPerBlock));
      to[-3] = static_cast<std::uint8_t>(relative >> 8);
      to[-2] = static_cast<std::uint8_t>(relative);
      if (shape_.video && shape_.blockTracks[turn] == 1 && place != 0) to[-1] = 0;
      for (std::size_t i = 0; i < shape_.frameSize; ++i) {
        noise = noise * 1664525 + 1013904223;
        *to++ = static_cast<std::uint8_t>(noise >> 24);
      }
    }
  }
}

std::uint64_t SyntheticFile::ClusterTime(std::size_t cluster) const noexcept {
  return cluster * shape_.blocksPerCluster * static_cast<std::size_t>(shape_.ticksPerBlock);
}

std::int64_t SyntheticFile::Length() const noexcept { return length_; }

bool SyntheticFile::Read(std::int64_t position, void* buffer, std::size_t size) noexcept {
  const auto offset = static_cast<std::size_t>(position);
  if (offset + size <= resident_.size()) {
    std::memcpy(buffer, resident_.data() + offset, size);
  } else {
    ReadBeyondRing(offset, static_cast<std::uint8_t*>(buffer), size);
  }
  return true;
}

void SyntheticFile::ReadBeyondRing(std::size_t offset, std::uint8_t* buffer, std::size_t size) const noexcept {
  while (size > 0) {
    const std::size_t cluster = offset < headSize_ ? 0 : (offset - headSize_) / clusterSize_;
    const std::size_t clusterStart = headSize_ + cluster * clusterSize_;
    const std::size_t lap = cluster / ringClusters_ * ringClusters_ * clusterSize_;
    const std::size_t part = std::min(size, clusterStart + clusterSize_ - offset);
    std::memcpy(buffer, resident_.data() + offset - lap, part);
    for (std::size_t i = 0; i < kTimecodeSize; ++i) {
      const std::size_t at = clusterStart + clusterHeaderSize_ - kTimecodeSize + i;
      if (at < offset || at >= offset + part) continue;
      buffer[at - offset] = static_cast<std::uint8_t>(ClusterTime(cluster) >> (8 * (kTimecodeSize - 1 - i)));
    }
    buffer += part;
    offset += part;
    size -= part;
  }
}

const std::uint8_t* SyntheticFile::Frame(std::size_t block) const noexcept {
  const std::size_t cluster = block / shape_.blocksPerCluster % ringClusters_;
  const std::size_t place = block % shape_.blocksPerCluster;
  return resident_.data() + headSize_ + cluster * clusterSize_ + clusterHeaderSize_ +
         place * (blockHeaderSize_ + shape_.frameSize) + blockHeaderSize_;
}

}  // namespace vantor::bench
