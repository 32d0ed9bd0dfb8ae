#include "tools/log_record.h"

#include <cstring>

#include "platform/wrapping.h"

namespace vantor::tools {
namespace {

// The first byte: two bits of the kind and these.
constexpr unsigned kTimed = 1U << 2;
constexpr unsigned kSync = 1U << 3;
constexpr unsigned kDiscontinuity = 1U << 4;
constexpr unsigned kPrerollSample = 1U << 5;
constexpr unsigned kHasChecksum = 1U << 6;  // an empty payload has 0
constexpr unsigned kHasRate = 1U << 7;

std::uint8_t* PutNumber(std::uint64_t value, std::uint8_t* to) {
  for (; value >= 0x80; value >>= 7) {
    *to++ = static_cast<std::uint8_t>(value | 0x80);
  }
  *to++ = static_cast<std::uint8_t>(value);
  return to;
}

const std::uint8_t* GetNumber(const std::uint8_t* from, std::uint64_t& value) {
  value = 0;
  for (unsigned shift = 0;; shift += 7) {
    value |= (*from & std::uint64_t{0x7F}) << shift;
    if ((*from++ & 0x80) == 0) {
      return from;
    }
  }
}

// The sign goes last, so that small numbers of either sign are short.
std::uint8_t* PutSigned(std::int64_t value, std::uint8_t* to) {
  return PutNumber(static_cast<std::uint64_t>(value) << 1 ^ static_cast<std::uint64_t>(value >> 63), to);
}

const std::uint8_t* GetSigned(const std::uint8_t* from, std::int64_t& value) {
  std::uint64_t number = 0;
  from = GetNumber(from, number);
  value = static_cast<std::int64_t>(number >> 1 ^ (0 - (number & 1)));
  return from;
}

template <typename Value>
std::uint8_t* PutBytes(const Value& value, std::uint8_t* to) {
  std::memcpy(to, &value, sizeof value);
  return to + sizeof value;
}

template <typename Value>
const std::uint8_t* GetBytes(const std::uint8_t* from, Value& value) {
  std::memcpy(&value, from, sizeof value);
  return from + sizeof value;
}

}  // namespace

void RecordHistory::Add(const LogRecord& record) {
  if (record.timed) {
    stop = record.stop;
    duration = WrappingSubtract(record.stop, record.start);
  }
}

std::uint8_t* RecordPacker::Pack(const LogRecord& record, std::uint8_t* to) {
  const bool hasTimes = record.timed || record.kind == LogKind::kSegment;
  *to++ = static_cast<std::uint8_t>(static_cast<unsigned>(record.kind) | (record.timed ? kTimed : 0) |
                                    (record.sync ? kSync : 0) | (record.discontinuity ? kDiscontinuity : 0) |
                                    (record.preroll ? kPrerollSample : 0) | (record.crc32 != 0 ? kHasChecksum : 0) |
                                    (record.rate != 0 ? kHasRate : 0));
  if (hasTimes) {
    to = PutSigned(WrappingSubtract(record.start, history_.stop), to);
    const std::int64_t duration = WrappingSubtract(record.stop, record.start);
    to = PutSigned(WrappingSubtract(duration, history_.duration), to);
  }
  if (record.rate != 0) {
    to = PutBytes(record.rate, to);
  }
  if (record.kind == LogKind::kSample) {
    to = PutNumber(record.size, to);
  }
  if (record.crc32 != 0) {
    to = PutBytes(record.crc32, to);
  }
  history_.Add(record);
  return to;
}

const std::uint8_t* RecordUnpacker::Unpack(const std::uint8_t* from, LogRecord& record) {
  const unsigned flags = *from++;
  record = {};
  record.kind = static_cast<LogKind>(flags & 3);
  record.timed = (flags & kTimed) != 0;
  record.sync = (flags & kSync) != 0;
  record.discontinuity = (flags & kDiscontinuity) != 0;
  record.preroll = (flags & kPrerollSample) != 0;
  if (record.timed || record.kind == LogKind::kSegment) {
    std::int64_t difference = 0;
    from = GetSigned(from, difference);
    record.start = WrappingAdd(history_.stop, difference);
    from = GetSigned(from, difference);
    record.stop = WrappingAdd(record.start, WrappingAdd(history_.duration, difference));
  }
  if ((flags & kHasRate) != 0) {
    from = GetBytes(from, record.rate);
  }
  if (record.kind == LogKind::kSample) {
    std::uint64_t size = 0;
    from = GetNumber(from, size);
    record.size = static_cast<std::uint32_t>(size);
  }
  if ((flags & kHasChecksum) != 0) {
    from = GetBytes(from, record.crc32);
  }
  history_.Add(record);
  return from;
}

}  // namespace vantor::tools
