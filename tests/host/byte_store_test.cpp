#include "host/byte_store.h"

#include <gtest/gtest.h>

#include <atomic>
#include <cstring>
#include <limits>
#include <thread>

#include "host/block_cache.h"
#include "host/host_test.h"

namespace vantor::test {
namespace {

constexpr std::size_t kBlock = BlockCache::kBlockSize;

const char* NameOf(StoreKind kind) {
  switch (kind) {
    case StoreKind::kMemory:
      return "Memory";
    case StoreKind::kMapped:
      return "Mapped";
    case StoreKind::kCached:
      return "Cached";
    case StoreKind::kFastest:
      break;
  }
  return "Fastest";
}

std::vector<unsigned char> ReadRange(ByteStore& store, std::int64_t position, std::size_t size) {
  std::vector<unsigned char> bytes(size);
  EXPECT_TRUE(store.Read(position, bytes.data(), size)) << position << " + " << size;
  return bytes;
}

std::vector<unsigned char> Part(const std::vector<unsigned char>& bytes, std::size_t position, std::size_t size) {
  return {bytes.begin() + static_cast<std::ptrdiff_t>(position),
          bytes.begin() + static_cast<std::ptrdiff_t>(position + size)};
}

class EveryStore : public testing::TestWithParam<StoreKind> {
 protected:
  static std::shared_ptr<ByteStore> Open(const std::string& path) {
    FileError error = FileError::kOther;
    auto store = OpenStore(path, GetParam(), error);
    EXPECT_EQ(error, FileError::kNone);
    return store;
  }
};

std::string KindName(const testing::TestParamInfo<StoreKind>& info) { return NameOf(info.param); }

INSTANTIATE_TEST_SUITE_P(Kinds, EveryStore,
                         testing::Values(StoreKind::kMemory, StoreKind::kMapped, StoreKind::kCached,
                                         StoreKind::kFastest),
                         KindName);

TEST_P(EveryStore, GivesTheFilesBytesAtEveryPositionAndSize) {
  const auto bytes = PatternBytes(3 * kBlock + 17);
  const TemporaryFile file(bytes);
  const auto store = Open(file.Path());
  ASSERT_NE(store, nullptr);
  EXPECT_EQ(store->Length(), static_cast<std::int64_t>(bytes.size()));
  for (const std::size_t size : {std::size_t{1}, std::size_t{8}, kBlock - 1, kBlock, kBlock + 1, 2 * kBlock}) {
    for (const std::size_t position : {std::size_t{0}, std::size_t{1}, kBlock - 1, kBlock, bytes.size() - size}) {
      EXPECT_EQ(ReadRange(*store, static_cast<std::int64_t>(position), size), Part(bytes, position, size));
    }
  }
  EXPECT_EQ(ReadRange(*store, 0, bytes.size()), bytes);
}

TEST_P(EveryStore, ReadsOneByteAtATimeThroughTheWholeFile) {
  const auto bytes = PatternBytes(2 * kBlock + 5);
  const TemporaryFile file(bytes);
  const auto store = Open(file.Path());
  ASSERT_NE(store, nullptr);
  std::vector<unsigned char> read;
  for (std::size_t i = 0; i < bytes.size(); ++i) {
    unsigned char byte = 0;
    ASSERT_TRUE(store->Read(static_cast<std::int64_t>(i), &byte, 1));
    read.push_back(byte);
  }
  EXPECT_EQ(read, bytes);
}

TEST_P(EveryStore, ReadsZeroBytesLikeAnyOthers) {
  const std::vector<unsigned char> zeros(kBlock + 3, 0);
  const TemporaryFile file(zeros);
  const auto store = Open(file.Path());
  ASSERT_NE(store, nullptr);
  EXPECT_EQ(ReadRange(*store, 0, zeros.size()), zeros);
  EXPECT_EQ(ReadRange(*store, static_cast<std::int64_t>(zeros.size()) - 1, 1), Part(zeros, 0, 1));
}

TEST_P(EveryStore, ShortCopiesOfWhatLiesInMemoryAreTheFilesBytes) {
  std::vector<unsigned char> bytes = PatternBytes(3 * 4096 + 5);
  for (std::size_t i = 0; i < bytes.size(); i += 3) bytes[i] = 0;
  const TemporaryFile file(bytes);
  const auto store = Open(file.Path());
  ASSERT_NE(store, nullptr);
  const auto length = static_cast<std::int64_t>(bytes.size());
  std::size_t copied = 0;
  for (std::int64_t position = 0; position < length; ++position) {
    for (const std::size_t size : {1u, 2u}) {
      unsigned char buffer[3] = {1, 2, 3};
      if (!store->Resident().CopyShort(position, buffer, size)) continue;
      ++copied;
      ASSERT_LE(position + static_cast<std::int64_t>(size), length);
      EXPECT_EQ(std::memcmp(buffer, bytes.data() + position, size), 0) << position << " + " << size;
      EXPECT_EQ(buffer[2], 3);
    }
  }
  const bool isInMemory = GetParam() != StoreKind::kCached;
  EXPECT_EQ(copied > bytes.size(), isInMemory) << copied;
}

TEST_P(EveryStore, ShortCopiesLeaveEverythingElseToRead) {
  const TemporaryFile file(std::vector<unsigned char>(10, 7));
  const auto store = Open(file.Path());
  ASSERT_NE(store, nullptr);
  unsigned char buffer[4] = {};
  const platform::ResidentBytes& bytes = store->Resident();
  EXPECT_FALSE(bytes.CopyShort(0, buffer, 0));
  EXPECT_FALSE(bytes.CopyShort(0, buffer, 3));
  EXPECT_FALSE(bytes.CopyShort(0, buffer, static_cast<std::size_t>(-1)));
  EXPECT_FALSE(bytes.CopyShort(10, buffer, 1));
  EXPECT_FALSE(bytes.CopyShort(9, buffer, 2));
  EXPECT_FALSE(bytes.CopyShort(-1, buffer, 1));
  EXPECT_FALSE(bytes.CopyShort(-1, buffer, 2));
  EXPECT_FALSE(bytes.CopyShort(std::numeric_limits<std::int64_t>::max(), buffer, 2));
  EXPECT_EQ(buffer[0], 0);
}

TEST_P(EveryStore, AnEmptyReadSucceedsAtTheEnd) {
  const TemporaryFile file(PatternBytes(10));
  const auto store = Open(file.Path());
  ASSERT_NE(store, nullptr);
  EXPECT_TRUE(store->Read(10, nullptr, 0));
}

TEST_P(EveryStore, SaysThatAMissingFileIsMissing) {
  FileError error = FileError::kNone;
  EXPECT_EQ(OpenStore("no/such/file.mkv", GetParam(), error), nullptr);
  EXPECT_EQ(error, FileError::kMissing);
}

TEST_P(EveryStore, SaysThatADirectoryIsADirectory) {
  FileError error = FileError::kNone;
  EXPECT_EQ(OpenStore(platform::FromPath(std::filesystem::temp_directory_path()), GetParam(), error), nullptr);
  EXPECT_EQ(error, FileError::kDirectory);
}

TEST_P(EveryStore, SeveralThreadsReadTheirOwnBytes) {
  const auto bytes = PatternBytes(6 * kBlock);
  const TemporaryFile file(bytes);
  const auto store = Open(file.Path());
  ASSERT_NE(store, nullptr);
  std::atomic<int> wrong{0};
  std::vector<std::thread> threads;
  for (std::size_t t = 0; t < 8; ++t) {
    threads.emplace_back([&, t] {
      unsigned char buffer[64];
      for (std::size_t i = t * 31; i + sizeof buffer < bytes.size(); i += 509 + t) {
        if (!store->Read(static_cast<std::int64_t>(i), buffer, sizeof buffer) ||
            std::memcmp(buffer, bytes.data() + i, sizeof buffer) != 0) {
          ++wrong;
        }
      }
    });
  }
  for (std::thread& thread : threads) {
    thread.join();
  }
  EXPECT_EQ(wrong, 0);
}

TEST(FastestStore, OpensAnEmptyFile) {
  const TemporaryFile file({});
  FileError error = FileError::kOther;
  const auto store = OpenStore(file.Path(), StoreKind::kFastest, error);
  ASSERT_NE(store, nullptr);
  EXPECT_EQ(error, FileError::kNone);
  EXPECT_EQ(store->Length(), 0);
}

TEST(MemoryStore, HoldsBytesThatNeverWereAFile) {
  const auto store = MakeMemoryStore({1, 2, 3});
  EXPECT_EQ(store->Length(), 3);
  EXPECT_EQ(ReadRange(*store, 1, 2), (std::vector<unsigned char>{2, 3}));
}

TEST(MemoryStore, KeepsTheBytesOfAFileThatShrinks) {
  const auto bytes = PatternBytes(1000);
  const TemporaryFile file(bytes);
  FileError error = FileError::kOther;
  const auto store = OpenStore(file.Path(), StoreKind::kMemory, error);
  file.Truncate(0);
  EXPECT_EQ(ReadRange(*store, 0, bytes.size()), bytes);
}

// The system may keep a mapped file from being shortened; there is nothing to survive then.
// Clang's race detector ends the program at a SIGBUS, whoever wants to handle it.
#if defined(__has_feature)
#if __has_feature(thread_sanitizer)
#define VANTOR_NO_BUS_ERRORS
#endif
#endif

class ShrinkingFile : public EveryStore {
 protected:
  void SetUp() override {
#if defined(VANTOR_NO_BUS_ERRORS)
    if (GetParam() == StoreKind::kMapped) GTEST_SKIP();
#endif
  }

  static bool Shrink(const TemporaryFile& file, std::uintmax_t size) {
    try {
      file.Truncate(size);
      return true;
    } catch (const std::filesystem::filesystem_error&) {
      return false;
    }
  }
};

INSTANTIATE_TEST_SUITE_P(Kinds, ShrinkingFile, testing::Values(StoreKind::kMapped, StoreKind::kCached), KindName);

TEST_P(ShrinkingFile, ReadsBehindTheNewEndFail) {
  const TemporaryFile file(PatternBytes(8 * kBlock));
  const auto store = Open(file.Path());
  ASSERT_NE(store, nullptr);
  if (!Shrink(file, kBlock)) {
    GTEST_SKIP();
  }
  std::vector<unsigned char> buffer(2 * kBlock);
  EXPECT_TRUE(store->Read(0, buffer.data(), 100));
  EXPECT_FALSE(store->FirstFailure());
  EXPECT_FALSE(store->Read(4 * kBlock, buffer.data(), 1));
  ASSERT_TRUE(store->FirstFailure());
  EXPECT_EQ(store->FirstFailure()->fault, ReadFault::kCut);
  EXPECT_EQ(store->FirstFailure()->position, 4 * kBlock);
  EXPECT_FALSE(store->Read(4 * kBlock, buffer.data(), 100));
  EXPECT_FALSE(store->Read(4 * kBlock, buffer.data(), buffer.size()));
  EXPECT_FALSE(store->Read(kBlock - 10, buffer.data(), 100));
  EXPECT_TRUE(store->Read(kBlock - 100, buffer.data(), 100));
  EXPECT_EQ(store->FirstFailure()->position, 4 * kBlock) << "the first one stays";
}

TEST_P(ShrinkingFile, BytesBehindTheEndWithinItsLastPageAreNotReadAsZeros) {
  const TemporaryFile file(PatternBytes(kBlock));
  const auto store = Open(file.Path());
  ASSERT_NE(store, nullptr);
  if (!Shrink(file, 100)) {
    GTEST_SKIP();
  }
  unsigned char buffer[50];
  EXPECT_TRUE(store->Read(50, buffer, 50));
  EXPECT_FALSE(store->Read(100, buffer, 1));
  EXPECT_FALSE(store->Read(200, buffer, 50));
  EXPECT_FALSE(store->Read(90, buffer, 20));
}

TEST_P(ShrinkingFile, ShortCopiesEndWithTheFile) {
  const TemporaryFile file(std::vector<unsigned char>(2 * kBlock, 7));
  const auto store = Open(file.Path());
  ASSERT_NE(store, nullptr);
  if (!Shrink(file, 100)) {
    GTEST_SKIP();
  }
  unsigned char buffer[2] = {};
  const platform::ResidentBytes& bytes = store->Resident();
  EXPECT_EQ(bytes.CopyShort(98, buffer, 2), GetParam() == StoreKind::kMapped);
  EXPECT_FALSE(bytes.CopyShort(99, buffer, 2)) << "within the last page";
  EXPECT_FALSE(bytes.CopyShort(100, buffer, 1));
  EXPECT_FALSE(bytes.CopyShort(kBlock, buffer, 1)) << "in a page that is gone";
  EXPECT_FALSE(bytes.CopyShort(98, buffer, 2)) << "from then on Read alone can tell";
  EXPECT_TRUE(store->Read(98, buffer, 2));
  EXPECT_EQ(buffer[1], 7);
}

TEST_P(ShrinkingFile, LeavesOtherFilesAlone) {
  const auto bytes = PatternBytes(2 * kBlock);
  const TemporaryFile whole(bytes);
  const TemporaryFile cut(bytes);
  const TemporaryFile later(bytes);
  const auto other = Open(whole.Path());
  auto store = Open(cut.Path());
  ASSERT_NE(store, nullptr);
  ASSERT_NE(other, nullptr);
  if (!Shrink(cut, 100)) {
    GTEST_SKIP();
  }
  unsigned char byte = 0;
  EXPECT_FALSE(store->Read(kBlock, &byte, 1));
  EXPECT_EQ(ReadRange(*other, 0, bytes.size()), bytes);
  EXPECT_FALSE(other->FirstFailure());
  store.reset();
  store = Open(later.Path());
  ASSERT_NE(store, nullptr);
  EXPECT_EQ(ReadRange(*store, 0, bytes.size()), bytes) << "nor is one opened afterwards taken for it";
  EXPECT_FALSE(store->FirstFailure());
}

TEST_P(ShrinkingFile, IsReadByManyThreadsWhileItShrinksWithoutACrashOrAWrongByte) {
  const auto bytes = PatternBytes(64 * kBlock);
  const TemporaryFile file(bytes);
  const auto store = Open(file.Path());
  ASSERT_NE(store, nullptr);
  std::atomic<bool> goOn{true};
  std::atomic<int> started{0};
  std::atomic<int> wrong{0};
  std::vector<std::thread> threads;
  for (std::size_t t = 0; t < 4; ++t) {
    threads.emplace_back([&, t] {
      std::vector<unsigned char> buffer(t % 2 == 0 ? 1 : kBlock + 7);
      std::size_t position = t * 4099;
      ++started;
      while (goOn) {
        position = (position + 7919 * (t + 1)) % (bytes.size() - buffer.size());
        if (store->Read(static_cast<std::int64_t>(position), buffer.data(), buffer.size()) &&
            std::memcmp(buffer.data(), bytes.data() + position, buffer.size()) != 0) {
          ++wrong;
        }
      }
    });
  }
  while (started < 4) {
    std::this_thread::yield();
  }
  bool shrank = true;
  for (std::size_t left = 60; left > 0 && shrank; left -= 4) {
    shrank = Shrink(file, left * kBlock + 123);
    std::this_thread::yield();
  }
  goOn = false;
  for (std::thread& thread : threads) {
    thread.join();
  }
  EXPECT_EQ(wrong, 0);
  unsigned char byte = 0;
  EXPECT_EQ(store->Read(63 * kBlock, &byte, 1), !shrank);
  EXPECT_TRUE(store->Read(0, &byte, 1));
}

TEST(BlockCacheTest, RereadsABlockThatWasShortWhenTheFileHasGrown) {
  const auto bytes = PatternBytes(2000);
  const TemporaryFile file(Part(bytes, 0, 1000));
  platform::ReadableFile readable;
  ASSERT_EQ(readable.Open(file.Path()), FileError::kNone);
  BlockCache cache(readable);
  unsigned char byte = 0;
  ReadFailure failure;
  EXPECT_TRUE(cache.Read(999, &byte, 1, failure));
  EXPECT_FALSE(cache.Read(1000, &byte, 1, failure));
  EXPECT_EQ(failure.fault, ReadFault::kCut);
  EXPECT_EQ(failure.position, 1000);
  std::ofstream(platform::ToPath(file.Path()), std::ios::binary | std::ios::app)
      .write(reinterpret_cast<const char*>(bytes.data()) + 1000, 1000);
  EXPECT_TRUE(cache.Read(1000, &byte, 1, failure));
  EXPECT_EQ(byte, bytes[1000]);
}

TEST(BlockCacheTest, ServesMoreThreadsThanItHasLanes) {
  const auto bytes = PatternBytes(4 * kBlock);
  const TemporaryFile file(bytes);
  platform::ReadableFile readable;
  ASSERT_EQ(readable.Open(file.Path()), FileError::kNone);
  BlockCache cache(readable);
  std::atomic<int> wrong{0};
  std::vector<std::thread> threads;
  for (std::size_t t = 0; t < BlockCache::kLanes + 8; ++t) {
    threads.emplace_back([&, t] {
      const std::size_t position = t * 997 % (bytes.size() - 40);
      unsigned char buffer[40];
      ReadFailure failure;
      if (!cache.Read(static_cast<std::int64_t>(position), buffer, sizeof buffer, failure) ||
          std::memcmp(buffer, bytes.data() + position, sizeof buffer) != 0) {
        ++wrong;
      }
    });
  }
  for (std::thread& thread : threads) {
    thread.join();
  }
  EXPECT_EQ(wrong, 0);
}

}  // namespace
}  // namespace vantor::test
