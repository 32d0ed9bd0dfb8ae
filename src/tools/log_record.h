// LogRecord: what is kept of one thing that a pin delivered; and its packed form, of a few bytes, in which millions
// wait for their turn in a listing.
//
//   RecordPacker packer;
//   std::uint8_t* end = packer.Pack(record, bytes);        // room for kLargestPackedRecord there
//   RecordUnpacker unpacker;
//   const std::uint8_t* next = unpacker.Unpack(bytes, record);
//
// A sample mostly begins where the one before it ended and is as long, so the differences from that are what is
// written, in as many bytes as they need: four for an empty frame, about ten for another. So records are unpacked in
// the order in which they were packed.
#pragma once

#include <cstddef>
#include <cstdint>

namespace vantor::tools {

enum class LogKind : std::uint8_t { kSegment, kSample, kEndOfStream };

struct LogRecord {
  std::int64_t start = 0;  // of the segment or sample, 100 ns
  std::int64_t stop = 0;
  double rate = 0;  // of a segment
  std::uint32_t size = 0;
  std::uint32_t crc32 = 0;
  LogKind kind = LogKind::kSample;
  bool timed = false;  // a sample without times has none to print
  bool sync = false;
  bool discontinuity = false;
  bool preroll = false;
};

// Flags, two numbers of 64 bits at 7 a byte, one of 32, a checksum; or a rate.
inline constexpr std::size_t kLargestPackedRecord = 1 + 10 + 10 + 8 + 5 + 4;

// What the record before leaves to be expected of the next.
struct RecordHistory {
  std::int64_t stop = 0;
  std::int64_t duration = 0;

  void Add(const LogRecord& record);
};

class RecordPacker {
 public:
  // Writes the record there and gives where it ends.
  std::uint8_t* Pack(const LogRecord& record, std::uint8_t* to);

 private:
  RecordHistory history_;
};

class RecordUnpacker {
 public:
  // Reads a packed record and gives where it ends.
  const std::uint8_t* Unpack(const std::uint8_t* from, LogRecord& record);

 private:
  RecordHistory history_;
};

}  // namespace vantor::tools
