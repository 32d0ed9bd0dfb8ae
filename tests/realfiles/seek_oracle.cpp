#include "realfiles/seek_oracle.h"

#include <algorithm>
#include <cstddef>
#include <stdexcept>

#include "realfiles/recorded_run.h"

namespace vantor::test {

namespace {

constexpr std::uint32_t kSegment = 0x18538067;
constexpr std::uint32_t kCluster = 0x1F43B675;
constexpr std::uint32_t kCues = 0x1C53BB6B;

// A block of any track farther behind the target than this ends the search in a Cluster, 100 ns.
constexpr std::int64_t kMargin = 5'000'000;

using Bytes = std::vector<unsigned char>;

// A number with its length in front; the marker bit stays where it belongs to an identifier.
std::uint64_t Number(const Bytes& file, std::size_t& at, bool keepsMarker, bool& allOnes) {
  const unsigned first = file.at(at);
  int length = 1;
  while (length < 8 && (first & (0x80U >> (length - 1))) == 0) {
    ++length;
  }
  std::uint64_t value = keepsMarker ? first : first & (0xFFU >> length);
  for (int index = 1; index < length; ++index) {
    value = value << 8 | file.at(at + static_cast<std::size_t>(index));
  }
  at += static_cast<std::size_t>(length);
  allOnes = value == (std::uint64_t{1} << (7 * length)) - 1;
  return value;
}

}  // namespace

struct SeekOracle::Element {
  std::uint32_t id = 0;
  std::size_t start = 0;
  std::size_t data = 0;
  std::size_t end = 0;

  static Element At(const Bytes& file, std::size_t at, std::size_t parentEnd) {
    Element element;
    element.start = at;
    bool allOnes = false;
    element.id = static_cast<std::uint32_t>(Number(file, at, true, allOnes));
    const std::uint64_t size = Number(file, at, false, allOnes);
    element.data = at;
    element.end = allOnes ? parentEnd : std::min<std::size_t>(parentEnd, at + static_cast<std::size_t>(size));
    return element;
  }

  static std::vector<Element> Children(const Bytes& file, const Element& parent) {
    std::vector<Element> children;
    for (std::size_t at = parent.data; at < parent.end; at = children.back().end) {
      children.push_back(At(file, at, parent.end));
      // A Cluster of unknown size would end at the next one, which none of these files needs.
      if (parent.id == kCluster && children.back().id == kCluster) {
        throw std::runtime_error("a Cluster in a Cluster");
      }
    }
    return children;
  }

  std::uint64_t Unsigned(const Bytes& file) const {
    std::uint64_t value = 0;
    for (std::size_t at = data; at < end; ++at) {
      value = value << 8 | file.at(at);
    }
    return value;
  }
};

SeekOracle::SeekOracle(const std::string& mediaName)
    : list_(ReadPacketList(mediaName)), blockCounts_(list_.tracks.size()) {
  const Bytes file = ReadMedia(mediaName);
  Element whole;
  whole.end = file.size();
  for (const Element& child : Element::Children(file, whole)) {
    if (child.id == kSegment) {
      ReadSegment(file, child);
    }
  }
  CheckBlocks();
  if (!list_.cues) {
    // Every Cluster is known by its time then.
    for (const FileCluster& cluster : clusters_) {
      cues_.push_back({cluster.ticks, cluster.position});
    }
  }
}

void SeekOracle::ReadSegment(const Bytes& file, const Element& segment) {
  for (const Element& child : Element::Children(file, segment)) {
    if (child.id == kCluster) {
      ReadCluster(file, segment, child);
    } else if (child.id == kCues) {
      ReadCues(file, child);
    }
  }
}

void SeekOracle::ReadCluster(const Bytes& file, const Element& segment, const Element& cluster) {
  FileCluster& read = clusters_.emplace_back();
  read.position = cluster.start - segment.data;
  for (const Element& child : Element::Children(file, cluster)) {
    if (child.id == 0xE7) {
      read.ticks = static_cast<std::int64_t>(child.Unsigned(file));
    } else if (child.id == 0xA3) {
      ReadBlock(file, child, read);
    } else if (child.id == 0xA0) {
      for (const Element& part : Element::Children(file, child)) {
        if (part.id == 0xA1) {
          ReadBlock(file, part, read);
        }
      }
    }
  }
}

void SeekOracle::ReadBlock(const Bytes& file, const Element& block, FileCluster& cluster) {
  std::size_t at = block.data;
  bool allOnes = false;
  const auto track = static_cast<std::size_t>(Number(file, at, false, allOnes)) - 1;
  const auto relative = static_cast<std::int16_t>(file.at(at) << 8 | file.at(at + 1));
  // Which frames are key frames is known from the packets: the first of a block says what the block is.
  const int number = blockCounts_.at(track)++;
  const std::vector<Packet>& packets = list_.tracks[track].packets;
  const auto first =
      std::find_if(packets.begin(), packets.end(), [&](const Packet& packet) { return packet.block == number; });
  if (first == packets.end()) {
    throw std::runtime_error("the file holds more blocks than its packet list");
  }
  cluster.blocks.push_back({track, number, cluster.ticks + relative, first->key});
}

void SeekOracle::ReadCues(const Bytes& file, const Element& cues) {
  const auto reference = static_cast<std::uint64_t>(ReferenceNumber());
  for (const Element& point : Element::Children(file, cues)) {
    if (point.id != 0xBB) {
      continue;
    }
    std::int64_t ticks = 0;
    for (const Element& child : Element::Children(file, point)) {
      if (child.id == 0xB3) {
        ticks = static_cast<std::int64_t>(child.Unsigned(file));
      } else if (child.id == 0xB7) {
        std::uint64_t track = 0;
        std::uint64_t cluster = 0;
        for (const Element& part : Element::Children(file, child)) {
          if (part.id == 0xF7) {
            track = part.Unsigned(file);
          } else if (part.id == 0xF1) {
            cluster = part.Unsigned(file);
          }
        }
        if (track == reference) {
          cues_.push_back({ticks, cluster});
        }
      }
    }
  }
}

void SeekOracle::CheckBlocks() const {
  for (std::size_t track = 0; track < list_.tracks.size(); ++track) {
    const std::vector<Packet>& packets = list_.tracks[track].packets;
    if (blockCounts_[track] != (packets.empty() ? 0 : packets.back().block + 1)) {
      throw std::runtime_error("the file holds fewer blocks than its packet list");
    }
  }
}

std::optional<std::size_t> SeekOracle::Reference() const {
  for (const char kind : {'V', 'A'}) {
    for (std::size_t track = 0; track < list_.tracks.size(); ++track) {
      if (list_.tracks[track].codec.front() == kind) {
        return track;
      }
    }
  }
  return std::nullopt;
}

int SeekOracle::ReferenceNumber() const {
  const std::optional<std::size_t> reference = Reference();
  return reference ? list_.tracks[*reference].number : 1;
}

const SeekOracle::FileBlock* SeekOracle::LastKey(const FileCluster& cluster, std::int64_t fileTime) const {
  const int number = ReferenceNumber();
  const auto ends = [&](const FileBlock& block) {
    const bool ofReference = list_.tracks[block.track].number == number;
    return Units(block.ticks) > fileTime + (ofReference ? 0 : kMargin);
  };
  const auto end = std::find_if(cluster.blocks.begin(), cluster.blocks.end(), ends);
  const FileBlock* last = nullptr;
  for (auto block = cluster.blocks.begin(); block != end; ++block) {
    if (list_.tracks[block->track].number == number && block->key) {
      last = &*block;
    }
  }
  return last;
}

SeekPlace SeekOracle::Find(std::int64_t target) const {
  SeekPlace place;
  place.firstBlocks.assign(list_.tracks.size(), 0);
  place.reached = target == 0;
  if (target == 0) {
    return place;
  }
  const std::int64_t origin = Units(list_.firstCluster);
  for (auto cue = cues_.rbegin(); cue != cues_.rend(); ++cue) {
    if (Units(cue->ticks) > target + origin) {
      continue;
    }
    const auto named = std::find_if(clusters_.begin(), clusters_.end(),
                                    [&](const FileCluster& cluster) { return cluster.position == cue->cluster; });
    const FileBlock* const key = named != clusters_.end() ? LastKey(*named, target + origin) : nullptr;
    if (key == nullptr) {
      continue;
    }
    place.reached = true;
    place.keyTime = Units(key->ticks) - origin;
    // All that lies before the key frame in the file is left behind.
    for (auto cluster = clusters_.begin(); cluster <= named; ++cluster) {
      for (const FileBlock& block : cluster->blocks) {
        if (&block == key) {
          break;
        }
        place.firstBlocks[block.track] = block.number + 1;
      }
    }
    return place;
  }
  return place;
}

std::vector<std::int64_t> SeekOracle::KeyTimes() const {
  std::vector<std::int64_t> times;
  const int number = ReferenceNumber();
  for (const FileCluster& cluster : clusters_) {
    for (const FileBlock& block : cluster.blocks) {
      if (list_.tracks[block.track].number == number && block.key) {
        times.push_back(Units(block.ticks) - Units(list_.firstCluster));
      }
    }
  }
  return times;
}

std::vector<std::int64_t> SeekOracle::CueTimes() const {
  std::vector<std::int64_t> times;
  for (const FileCue& cue : cues_) {
    times.push_back(Units(cue.ticks) - Units(list_.firstCluster));
  }
  return times;
}

}  // namespace vantor::test
