#include "realfiles/expected_samples.h"

#include <algorithm>
#include <cstddef>

namespace vantor::test {

namespace {

constexpr std::int64_t kNanosecondsASecond = 1'000'000'000;

// The packet's time in the file's ticks, the nearest, halves away from zero.
std::int64_t Ticks(const PacketList& list, const TrackPackets& track, std::int64_t pts) {
  const std::int64_t numerator = pts * track.timebaseNumerator * kNanosecondsASecond;
  const std::int64_t denominator = track.timebaseDenominator * list.tick;
  const std::int64_t half = numerator < 0 ? -denominator : denominator;
  return (2 * numerator + half) / (2 * denominator) + track.shift;
}

std::int64_t Units(const PacketList& list, std::int64_t ticks) { return ticks * list.tick / 100; }

// Where each block begins among the track's packets, and one past the last.
std::vector<std::size_t> BlockStarts(const TrackPackets& track) {
  std::vector<std::size_t> starts;
  for (std::size_t index = 0; index < track.packets.size(); ++index) {
    if (index == 0 || track.packets[index].block != track.packets[index - 1].block) {
      starts.push_back(index);
    }
  }
  starts.push_back(track.packets.size());
  return starts;
}

// The samples of a track from its block with that index on. Those before the first key frame are left out, unless
// headers went before them.
std::vector<ExpectedSample> ExpectedSamples(const PacketList& list, const TrackPackets& track,
                                            const ExpectedRange& range, std::size_t firstBlock, bool headersFirst) {
  const std::int64_t length = range.stop - range.start;
  const std::int64_t origin = Units(list, list.firstCluster) + range.start;
  const std::vector<std::size_t> blocks = BlockStarts(track);
  bool delivers = headersFirst;
  std::vector<ExpectedSample> samples;
  for (std::size_t block = firstBlock; block + 1 < blocks.size(); ++block) {
    const std::size_t first = blocks[block];
    const std::size_t next = blocks[block + 1];
    const Packet& head = track.packets[first];
    const std::int64_t start = Units(list, Ticks(list, track, head.pts)) - origin;
    std::int64_t stop = start + 1;
    if (head.blockDuration) {
      stop = start + Units(list, *head.blockDuration);
    } else if (next < track.packets.size()) {
      stop = Units(list, Ticks(list, track, track.packets[next].pts)) - origin;
    }
    stop = std::max(stop, start + 1);
    const std::int64_t duration = std::max<std::int64_t>((stop - start) / static_cast<std::int64_t>(next - first), 1);
    std::int64_t time = start;
    for (std::size_t index = first; index < next; ++index) {
      const Packet& packet = track.packets[index];
      const bool sync = index == first && packet.key;
      const bool discontinuity = sync && !delivers;
      delivers = delivers || sync;
      if (delivers) {
        const bool preroll = time < 0 || time > length;
        samples.push_back({time, time + duration, sync, discontinuity, preroll, packet.size, packet.crc32});
      }
      if (sync && time >= length) {
        return samples;
      }
      time += duration;
    }
  }
  return samples;
}

// The place of a codec's track among the pins; negative without a pin.
int Rank(const std::string& codec) {
  if (codec == "A_EAC3") {
    return -1;
  }
  if (codec == "A_DTS") {
    return 3;
  }
  switch (codec.front()) {
    case 'V':
      return 1;
    case 'A':
      return 2;
    default:
      return 4;
  }
}

}  // namespace

std::int64_t ExpectedDuration(const PacketList& list) {
  if (list.cues) {
    return static_cast<std::int64_t>(static_cast<double>(list.tick) * list.duration / 100);
  }
  const std::int64_t firstInMilliseconds = Units(list, list.firstCluster) / 10000;
  const double ticks = static_cast<float>(list.lastCluster) - static_cast<float>(firstInMilliseconds);
  return static_cast<std::int64_t>(static_cast<double>(list.tick) * ticks / 100);
}

std::vector<ExpectedPin> ExpectedPins(const PacketList& list, const ExpectedRange& range) {
  std::vector<std::size_t> order;
  for (std::size_t index = 0; index < list.tracks.size(); ++index) {
    if (Rank(list.tracks[index].codec) >= 0) {
      order.push_back(index);
    }
  }
  std::stable_sort(order.begin(), order.end(), [&](std::size_t left, std::size_t right) {
    return Rank(list.tracks[left].codec) < Rank(list.tracks[right].codec);
  });
  std::vector<ExpectedPin> pins;
  for (const std::size_t index : order) {
    const TrackPackets& track = list.tracks[index];
    const bool headersFirst = track.codec == "A_VORBIS" && list.firstCluster == 0;
    const int firstBlock = range.firstBlocks.empty() ? 0 : range.firstBlocks.at(index);
    pins.push_back({track.codec,
                    ExpectedSamples(list, track, range, static_cast<std::size_t>(firstBlock), headersFirst),
                    headersFirst});
  }
  return pins;
}

std::vector<ExpectedPin> ExpectedPins(const PacketList& list) {
  return ExpectedPins(list, {0, ExpectedDuration(list), {}});
}

void PrintTo(const ExpectedSample& sample, std::ostream* out) {
  *out << "[" << sample.start << ", " << sample.stop << ") " << sample.size << " bytes, crc " << std::hex
       << sample.crc32 << std::dec << (sample.sync ? ", sync" : "") << (sample.discontinuity ? ", discontinuity" : "")
       << (sample.preroll ? ", preroll" : "");
}

}  // namespace vantor::test
