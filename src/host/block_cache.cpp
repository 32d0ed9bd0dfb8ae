#include "host/block_cache.h"

#include <algorithm>
#include <cstring>
#include <new>

#include "host/thread_slot.h"

namespace vantor {

bool BlockCache::Read(std::int64_t position, void* buffer, std::size_t size) noexcept {
  if (size >= kBlockSize) {
    return file_.ReadAt(position, buffer, size) == static_cast<std::int64_t>(size);
  }
  auto* to = static_cast<unsigned char*>(buffer);
  Lane& lane = lanes_[ThreadSlot() % kLanes];
  const LockScope hold(lane.lock);
  while (size > 0) {
    const std::int64_t index = position / static_cast<std::int64_t>(kBlockSize);
    const auto offset = static_cast<std::size_t>(position % static_cast<std::int64_t>(kBlockSize));
    const Block* block = Find(lane, index, offset);
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

const BlockCache::Block* BlockCache::Find(Lane& lane, std::int64_t index, std::size_t offset) const noexcept {
  Block* oldest = nullptr;
  for (Block& block : lane.blocks) {
    if (block.index == index) {
      if (block.size > offset) {
        block.lastUse = ++lane.uses;
        return &block;
      }
      oldest = &block;
      break;
    }
    if (oldest == nullptr || block.lastUse < oldest->lastUse) {
      oldest = &block;
    }
  }
  if (!oldest->bytes) {
    oldest->bytes.reset(new (std::nothrow) unsigned char[kBlockSize]);
    if (!oldest->bytes) {
      return nullptr;
    }
  }
  oldest->index = -1;
  const std::int64_t count =
      file_.ReadAt(index * static_cast<std::int64_t>(kBlockSize), oldest->bytes.get(), kBlockSize);
  if (count <= static_cast<std::int64_t>(offset)) {
    return nullptr;
  }
  oldest->size = static_cast<std::size_t>(count);
  oldest->lastUse = ++lane.uses;
  oldest->index = index;
  return oldest;
}

}  // namespace vantor
