#include "tools/log_record.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <limits>
#include <random>
#include <vector>

namespace vantor::tools {
namespace {

LogRecord Timed(std::int64_t start, std::int64_t stop, std::uint32_t size = 0) {
  LogRecord record;
  record.timed = true;
  record.start = start;
  record.stop = stop;
  record.size = size;
  record.crc32 = size * 2654435761U;
  return record;
}

std::vector<std::uint8_t> Packed(const std::vector<LogRecord>& records) {
  std::vector<std::uint8_t> bytes(records.size() * kLargestPackedRecord);
  std::uint8_t* end = bytes.data();
  RecordPacker packer;
  for (const LogRecord& record : records) {
    std::uint8_t* const next = packer.Pack(record, end);
    EXPECT_LE(static_cast<std::size_t>(next - end), kLargestPackedRecord);
    end = next;
  }
  bytes.resize(static_cast<std::size_t>(end - bytes.data()));
  return bytes;
}

void ExpectUnpacksTo(const std::vector<LogRecord>& records) {
  const std::vector<std::uint8_t> bytes = Packed(records);
  const std::uint8_t* next = bytes.data();
  RecordUnpacker unpacker;
  for (const LogRecord& expected : records) {
    LogRecord record;
    next = unpacker.Unpack(next, record);
    ASSERT_EQ(record.kind, expected.kind);
    ASSERT_EQ(record.timed, expected.timed);
    ASSERT_EQ(record.start, expected.start);
    ASSERT_EQ(record.stop, expected.stop);
    ASSERT_EQ(record.rate, expected.rate);
    ASSERT_EQ(record.size, expected.size);
    ASSERT_EQ(record.crc32, expected.crc32);
    ASSERT_EQ(record.sync, expected.sync);
    ASSERT_EQ(record.discontinuity, expected.discontinuity);
    ASSERT_EQ(record.preroll, expected.preroll);
  }
  EXPECT_EQ(next, bytes.data() + bytes.size());
}

TEST(PackedRecords, ComeBackAsTheyWere) {
  LogRecord segment;
  segment.kind = LogKind::kSegment;
  segment.start = 10000000;
  segment.stop = std::numeric_limits<std::int64_t>::max();
  segment.rate = 2.5;
  LogRecord marked = Timed(-800000, -590000, 4711);
  marked.sync = marked.discontinuity = marked.preroll = true;
  LogRecord untimed;
  untimed.size = std::numeric_limits<std::uint32_t>::max();
  untimed.crc32 = 1;
  LogRecord end;
  end.kind = LogKind::kEndOfStream;
  ExpectUnpacksTo({segment, marked, Timed(-590000, -380000, 12), untimed, Timed(0, 100), end, segment, Timed(5, 4)});
}

TEST(PackedRecords, TimesMayBeAnything) {
  constexpr std::int64_t kLeast = std::numeric_limits<std::int64_t>::min();
  constexpr std::int64_t kMost = std::numeric_limits<std::int64_t>::max();
  ExpectUnpacksTo({Timed(kLeast, kMost), Timed(kMost, kLeast), Timed(0, kLeast), Timed(-1, kMost), Timed(kMost, kMost),
                   Timed(kLeast, kLeast), Timed(1, -1)});
}

TEST(PackedRecords, AnythingAtAllComesBack) {
  std::mt19937_64 random(1);
  std::vector<LogRecord> records;
  for (int i = 0; i < 20000; ++i) {
    LogRecord record;
    record.kind = static_cast<LogKind>(random() % 3);
    if (record.kind == LogKind::kSample) {
      record = Timed(static_cast<std::int64_t>(random() >> random() % 64),
                     static_cast<std::int64_t>(random() >> random() % 64),
                     static_cast<std::uint32_t>(random() >> (32 + random() % 32)));
      record.sync = random() % 2 == 0;
      record.preroll = random() % 2 == 0;
    }
    records.push_back(record);
  }
  ExpectUnpacksTo(records);
}

TEST(PackedRecords, AnEmptyFrameBehindAnotherTakesFourBytes) {
  const std::size_t one = Packed({Timed(0, 400), Timed(400, 800)}).size();
  EXPECT_EQ(Packed({Timed(0, 400), Timed(400, 800), Timed(800, 1200)}).size(), one + 4);
}

}  // namespace
}  // namespace vantor::tools
