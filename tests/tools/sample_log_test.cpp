#include "tools/sample_log.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <vector>

#include "support/allocation_monitor.h"
#include "support/temporary_folder.h"

namespace vantor::tools {
namespace {

using test::LiveBytes;
using test::PeakBytes;
using test::ResetPeakBytes;
using test::WatchesAllocations;

LogRecord Numbered(std::int64_t number) {
  LogRecord record;
  record.timed = true;
  record.start = number * 1000;
  record.stop = record.start + number % 7;
  record.size = static_cast<std::uint32_t>(number % 5);
  record.crc32 = record.size;
  return record;
}

// Keeps so many records and gives the most that memory held meanwhile.
std::size_t PeakOfKeeping(std::int64_t count) {
  const auto spill = std::make_shared<SpillFile>();
  ResetPeakBytes();
  const std::size_t before = LiveBytes();
  SampleLog log(spill);
  bool isKept = true;
  for (std::int64_t i = 0; i < count; ++i) {
    isKept = SUCCEEDED(log.Keep(Numbered(i))) && isKept;
  }
  EXPECT_TRUE(isKept);
  std::int64_t next = 0;
  EXPECT_TRUE(log.ForEach([&](const LogRecord& record) { return record.start == 1000 * next++; }));
  EXPECT_EQ(next, count);
  EXPECT_EQ(spill->Trouble(), "");
  return PeakBytes() - before;
}

// The folder for temporary files is one that does not exist, for as long as this lives.
class NoTemporaryFolder {
 public:
  NoTemporaryFolder() {
    for (const char* name : {"TMPDIR", "TMP", "TEMP"}) {
      const char* const value = std::getenv(name);  // NOLINT(concurrency-mt-unsafe): the test has one thread
      before_.emplace_back(name, value != nullptr ? value : "");
      Set(name, (folder_ / "missing").string());
    }
  }
  ~NoTemporaryFolder() {
    for (const auto& [name, value] : before_) {
      Set(name, value);
    }
  }
  NoTemporaryFolder(const NoTemporaryFolder&) = delete;
  NoTemporaryFolder& operator=(const NoTemporaryFolder&) = delete;

 private:
  static void Set(const std::string& name, const std::string& value) {
#if defined(_WIN32)
    SetEnvironmentVariableA(name.c_str(), value.empty() ? nullptr : value.c_str());
#else
    // NOLINTNEXTLINE(concurrency-mt-unsafe): the test has one thread
    value.empty() ? unsetenv(name.c_str()) : setenv(name.c_str(), value.c_str(), 1);
#endif
  }

  const test::TemporaryFolder folder_;
  std::vector<std::pair<std::string, std::string>> before_;
};

TEST(SampleLogTest, KeepsTheOrderOverManyPiecesOfManyLogs) {
  const auto spill = std::make_shared<SpillFile>();
  std::vector<std::unique_ptr<SampleLog>> logs;
  for (int i = 0; i < 3; ++i) {
    logs.push_back(std::make_unique<SampleLog>(spill, 100));
  }
  for (std::int64_t i = 0; i < 1000; ++i) {
    for (std::int64_t log = 0; log < 3; ++log) {
      ASSERT_EQ(logs[static_cast<std::size_t>(log)]->Keep(Numbered(3 * i + log)), S_OK);
    }
  }
  for (std::int64_t log = 0; log < 3; ++log) {
    std::int64_t next = log;
    EXPECT_TRUE(logs[static_cast<std::size_t>(log)]->ForEach([&](const LogRecord& record) {
      EXPECT_EQ(record.start, 1000 * next);
      EXPECT_EQ(record.stop, record.start + next % 7);
      EXPECT_EQ(record.size, next % 5);
      next += 3;
      return !HasFailure();
    }));
    EXPECT_EQ(next, 3000 + log);
  }
}

TEST(SampleLogTest, AnEmptyOneIsWhole) {
  const SampleLog log(std::make_shared<SpillFile>());
  EXPECT_TRUE(log.ForEach([](const LogRecord&) { return false; }));
}

TEST(SampleLogTest, IsReadUntilTheVisitorHasEnough) {
  SampleLog log(std::make_shared<SpillFile>(), 100);
  for (std::int64_t i = 0; i < 1000; ++i) {
    log.Keep(Numbered(i));
  }
  int visited = 0;
  EXPECT_FALSE(log.ForEach([&](const LogRecord&) { return ++visited < 500; }));
  EXPECT_EQ(visited, 500);
}

TEST(SampleLogTest, MemoryDoesNotGrowWithTheNumberOfRecords) {
  if (!WatchesAllocations()) {
    GTEST_SKIP();
  }
  const std::size_t few = PeakOfKeeping(50000);
  const std::size_t many = PeakOfKeeping(800000);
  // A piece in memory, a second one to read it back, and 16 bytes for each piece that went out.
  EXPECT_LE(few, 2 * SampleLog::kPieceSize + 4096);
  EXPECT_LE(many, few + 16384);
}

TEST(SampleLogTest, WithoutATemporaryFileItSaysSoAndHasNoGaps) {
  const NoTemporaryFolder nowhere;
  const auto spill = std::make_shared<SpillFile>();
  SampleLog log(spill, 100);
  std::int64_t kept = 0;
  while (log.Keep(Numbered(kept)) == S_OK) {
    ASSERT_LT(++kept, 100) << "that does not fit into memory";
  }
  EXPECT_EQ(log.Keep(Numbered(0)), STG_E_WRITEFAULT) << "after one that was lost none is kept";
  EXPECT_EQ(spill->Trouble().find("cannot write a temporary file: "), 0U) << spill->Trouble();
  std::int64_t next = 0;
  EXPECT_FALSE(log.ForEach([&](const LogRecord& record) { return record.start == 1000 * next++; }));
  EXPECT_EQ(next, kept);
}

}  // namespace
}  // namespace vantor::tools
