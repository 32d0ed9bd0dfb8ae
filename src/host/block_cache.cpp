#include "host/block_cache.h"

#include <algorithm>
#include <cstring>
#include <new>

#include "host/thread_slot.h"
#include "platform/system_error.h"

namespace vantor {

bool BlockCache::Read(std::int64_t position, void* buffer, std::size_t size, ReadFailure& failure) noexcept {
  // A large read costs one call by itself, and would push out what small ones need.
  if (size >= kBlockSize) {
    return ReadWhole(file_, position, buffer, size, failure);
  }
  auto* to = static_cast<unsigned char*>(buffer);
  Lane& lane = lanes_[ThreadSlot() % kLanes];
  const LockScope hold(lane.lock);
  while (size > 0) {
    const std::int64_t index = position / static_cast<std::int64_t>(kBlockSize);
    const auto offset = static_cast<std::size_t>(position % static_cast<std::int64_t>(kBlockSize));
    const Block* block = Find(lane, index, offset, failure);
    if (block == nullptr) {
      return false;
    }
    const std::size_t count = std::min(size, block->size - offset);
    std::memcpy(to, block->bytes.get() + offset, count);
    to += count;
    size -= count;
    position += static_cast<std::int64_t>(count);
  }
  return true;
}

// Among a few blocks a search through all is as fast as any. On the way it finds whose memory to fetch into: the block
// itself when it was read while the file was shorter, or else the one that was not used for longest.
const BlockCache::Block* BlockCache::Find(Lane& lane, std::int64_t index, std::size_t offset,
                                          ReadFailure& failure) const noexcept {
  const std::int64_t start = index * static_cast<std::int64_t>(kBlockSize);
  Block* target = &lane.blocks.front();
  for (Block& block : lane.blocks) {
    if (block.index == index) {
      if (block.size > offset) {
        block.lastUse = ++lane.uses;
        return &block;
      }
      target = &block;
      break;
    }
    if (block.lastUse < target->lastUse) {
      target = &block;
    }
  }
  if (!target->bytes) {
    target->bytes.reset(new (std::nothrow) unsigned char[kBlockSize]);
    if (!target->bytes) {
      failure = {ReadFault::kNoMemory, start, 0};
      return nullptr;
    }
  }
  target->index = -1;  // of no use to anybody if the read fails
  const std::int64_t count = file_.ReadAt(start, target->bytes.get(), kBlockSize);
  if (count < 0) {
    failure = {ReadFault::kSystem, start, platform::LastSystemError()};
    return nullptr;
  }
  if (count <= static_cast<std::int64_t>(offset)) {
    failure = {ReadFault::kCut, start + count, 0};
    return nullptr;
  }
  target->size = static_cast<std::size_t>(count);
  target->lastUse = ++lane.uses;
  target->index = index;
  return target;
}

}  // namespace vantor
