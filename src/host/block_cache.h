// BlockCache: a file's bytes through fixed-size blocks, so that many small reads cost one system call together.
//
// Every reading thread works in a lane, a few blocks with a lock of their own; threads share a lane only when there are
// more threads than lanes, so readers that walk different parts of the file neither wait for each other nor push each
// other's blocks out. Memory is bounded by kLanes * kBlocksPerLane * kBlockSize and taken as lanes come into use.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>

#include "host/byte_store.h"
#include "platform/lock.h"
#include "platform/mapped_file.h"

namespace vantor {

class BlockCache {
 public:
  static constexpr std::size_t kBlockSize = std::size_t{32} * 1024;
  static constexpr std::size_t kBlocksPerLane = 4;
  static constexpr std::size_t kLanes = 64;

  // The file must outlive the cache.
  explicit BlockCache(const platform::ReadableFile& file) noexcept : file_(file) {}

  // Copies exactly size bytes from the position; false, with the reason, when the file does not hold them or cannot be
  // read, and when memory for a block is lacking.
  bool Read(std::int64_t position, void* buffer, std::size_t size, ReadFailure& failure) noexcept;

 private:
  struct Block {
    std::int64_t index = -1;
    std::size_t size = 0;
    std::uint64_t lastUse = 0;
    std::unique_ptr<unsigned char[]> bytes;
  };
  struct Lane {
    Lock lock{LockRank::Host};
    std::uint64_t uses VANTOR_GUARDED_BY(lock) = 0;
    std::array<Block, kBlocksPerLane> blocks VANTOR_GUARDED_BY(lock);
  };

  // The block with that index, fetched if need be, holding at least the byte at the offset; null when that cannot be
  // had.
  const Block* Find(Lane& lane, std::int64_t index, std::size_t offset, ReadFailure& failure) const noexcept
      VANTOR_REQUIRES(lane.lock);

  const platform::ReadableFile& file_;
  std::array<Lane, kLanes> lanes_;
};

}  // namespace vantor
