// What the component must deliver for a file of the test media, worked out from what its muxer was given.
//
//   for (const ExpectedPin& pin : ExpectedPins(ReadPacketList("avc_aac.mkv"))) ... pin.samples ...
//
// It knows nothing of the file's bytes: payloads, key frames and the grouping into blocks come from the packet list,
// times from the packets' own, rounded to the file's ticks.
#pragma once

#include <cstdint>
#include <ostream>
#include <string>
#include <vector>

#include "realfiles/packet_list.h"

namespace vantor::test {

struct ExpectedSample {
  std::int64_t start = 0;  // 100 ns
  std::int64_t stop = 0;
  bool sync = false;
  bool discontinuity = false;
  bool preroll = false;
  std::uint32_t size = 0;
  std::uint32_t crc32 = 0;

  bool operator==(const ExpectedSample&) const = default;
};

void PrintTo(const ExpectedSample& sample, std::ostream* out);

struct ExpectedPin {
  std::string codec;
  std::vector<ExpectedSample> samples;
  // Vorbis headers are delivered before them, in a file that starts at time 0.
  bool headersFirst = false;
};

// The presentation's duration, which is also where playing stops, in 100 ns.
std::int64_t ExpectedDuration(const PacketList& list);

// What is played: positions in 100 ns, and the first block of each track, in the order of the list, that is read.
struct ExpectedRange {
  std::int64_t start = 0;
  std::int64_t stop = 0;
  std::vector<int> firstBlocks;  // empty: all from their first
};

// The pins in their order: pictures, sound but DTS, DTS, subtitles; codecs without a pin left out. Times are relative
// to the start of the range.
std::vector<ExpectedPin> ExpectedPins(const PacketList& list, const ExpectedRange& range);
// The same for the whole file.
std::vector<ExpectedPin> ExpectedPins(const PacketList& list);

}  // namespace vantor::test
