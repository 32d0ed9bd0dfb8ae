#include "realfiles/expected_samples.h"

#include <algorithm>
#include <cstddef>

namespace vantor::test {

namespace {

constexpr std::int64_t kNanosecondsASecond = 1'000'000'000;

// The packet's time in the file's ticks, the nearest, halves away from zero.
std::int64_t Ticks(const PacketList& list, const TrackPackets& track, std::int64_t pts) {
  const std::int64_t numerator = pts * track.timebase_numerator * kNanosecondsASecond;
  const std::int64_t denominator = track.timebase_denominator * list.tick;
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

std::vector<ExpectedSample> ExpectedSamples(const PacketList& list, const TrackPackets& track) {
  const std::int64_t playing_stop = ExpectedDuration(list);
  const std::int64_t origin = Units(list, list.first_cluster);
  const std::vector<std::size_t> blocks = BlockStarts(track);
  std::vector<ExpectedSample> samples;
  for (std::size_t block = 0; block + 1 < blocks.size(); ++block) {
    const std::size_t first = blocks[block];
    const std::size_t next = blocks[block + 1];
    const Packet& head = track.packets[first];
    const std::int64_t start = Units(list, Ticks(list, track, head.pts)) - origin;
    std::int64_t stop = start + 1;
    if (head.block_duration) {
      stop = start + Units(list, *head.block_duration);
    } else if (next < track.packets.size()) {
      stop = Units(list, Ticks(list, track, track.packets[next].pts)) - origin;
    }
    stop = std::max(stop, start + 1);
    const std::int64_t length = std::max<std::int64_t>((stop - start) / static_cast<std::int64_t>(next - first), 1);
    std::int64_t time = start;
    for (std::size_t index = first; index < next; ++index) {
      const Packet& packet = track.packets[index];
      const bool sync = index == first && packet.key;
      samples.push_back(
          {time, time + length, sync, samples.empty(), time < 0 || time > playing_stop, packet.size, packet.crc32});
      if (sync && time >= playing_stop) {
        return samples;
      }
      time += length;
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
  const std::int64_t first_in_milliseconds = Units(list, list.first_cluster) / 10000;
  const double ticks = static_cast<float>(list.last_cluster) - static_cast<float>(first_in_milliseconds);
  return static_cast<std::int64_t>(static_cast<double>(list.tick) * ticks / 100);
}

std::vector<ExpectedPin> ExpectedPins(const PacketList& list) {
  std::vector<const TrackPackets*> order;
  for (const TrackPackets& track : list.tracks) {
    if (Rank(track.codec) >= 0) {
      order.push_back(&track);
    }
  }
  std::stable_sort(order.begin(), order.end(), [](const TrackPackets* left, const TrackPackets* right) {
    return Rank(left->codec) < Rank(right->codec);
  });
  std::vector<ExpectedPin> pins;
  for (const TrackPackets* track : order) {
    pins.push_back(
        {track->codec, ExpectedSamples(list, *track), track->codec == "A_VORBIS" && list.first_cluster == 0});
    if (pins.back().headers_first && !pins.back().samples.empty()) {
      pins.back().samples.front().discontinuity = false;
    }
  }
  return pins;
}

}  // namespace vantor::test
