// The packet list beside a file of the test media: what the file's muxer was given. tests/media/README.md has the
// format.
//
//   const PacketList list = ReadPacketList("avc_aac.mkv");
//   for (const TrackPackets& track : list.tracks) ... track.packets[0].crc32 ...
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace vantor::test {

struct Packet {
  std::int64_t pts = 0;  // of the track's timebase
  std::uint32_t size = 0;
  std::uint32_t crc32 = 0;
  bool key = false;
  int block = 0;                              // within the track
  std::optional<std::int64_t> blockDuration;  // ticks
};

struct TrackPackets {
  int number = 0;
  std::string codec;
  std::int64_t timebaseNumerator = 0;  // seconds
  std::int64_t timebaseDenominator = 1;
  std::int64_t shift = 0;  // ticks
  std::vector<Packet> packets;
};

struct PacketList {
  std::int64_t tick = 0;  // nanoseconds
  std::int64_t firstCluster = 0;
  std::int64_t lastCluster = 0;
  double duration = 0;  // ticks, as the file states it
  bool cues = false;
  std::vector<TrackPackets> tracks;
};

// The path of a file of the test media.
std::string MediaPath(const std::string& name);

// The names of the files, sorted.
std::vector<std::string> MediaNames();

// Throws std::runtime_error with the line that cannot be understood.
PacketList ReadPacketList(const std::string& mediaName);

}  // namespace vantor::test
