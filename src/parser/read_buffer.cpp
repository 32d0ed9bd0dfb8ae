// How much is read ahead. A walk goes forward: through the blocks of a Cluster, by their headers, over payloads that it
// does not want. Where the next read lies close behind what was read last, it is worth the most that fits, since one
// call is then shared by many headers. Where the walk has leapt, it may leap again, and the bytes that it leaps over
// should not be read: then a little, and more with each read that stays close.
//
// A file that makes walks leap for each few bytes would have many times its length read in this way. So what is read
// without having been asked for is limited to a multiple of the length; behind that, reads are as without a buffer.
//
// Failures must not change. A read ahead that fails, or comes short, is forgotten, and what was asked for is read by
// itself: the bytes in front of a place that cannot be read are still there, and those at it give what the reader says.
// Until the walk has passed it, nothing is read ahead there any more. Only under a flush of the source the failure of
// the read ahead is the answer, since there is to be one call, and it is made again later.
#include "parser/read_buffer.h"

#include <algorithm>
#include <cstring>
#include <limits>
#include <new>

namespace vantor {

namespace {

constexpr std::size_t kSmallest = 4096;
constexpr std::size_t kGrowth = 4;
// How far behind the last read the next one may lie to be close.
constexpr std::uint64_t kClose = ReadBuffer::kBlock;
// How many times the length may be read ahead.
constexpr std::uint64_t kTimesAhead = 2;
constexpr std::uint64_t kSlackAhead = ReadBuffer::kBlock;

HRESULT ReadExactly(IAsyncReader& reader, std::uint64_t position, std::size_t size, BYTE* to) {
  return reader.SyncRead(static_cast<LONGLONG>(position), static_cast<LONG>(size), to);
}

}  // namespace

ReadBuffer::ReadBuffer(std::uint64_t length) : length_(length) { Renew(); }

void ReadBuffer::Renew() {
  const std::uint64_t most = std::numeric_limits<std::uint64_t>::max() - kSlackAhead;
  ahead_ = std::min(length_, most / kTimesAhead) * kTimesAhead + kSlackAhead;
}

void ReadBuffer::Forget() {
  for (Block& block : blocks_) block.size = 0;
  end_ = 0;
  amount_ = 0;
  failedAt_ = failedEnd_ = 0;
}

HRESULT ReadBuffer::Read(IAsyncReader& reader, std::uint64_t position, std::size_t size, BYTE* to, const Watch& watch) {
  for (std::size_t copied = CopyKept(position, size, to); copied != 0; copied = CopyKept(position, size, to)) {
    size -= copied;
    if (size == 0) return S_OK;
    position += copied;
    to += copied;
  }
  const std::size_t amount = AmountAt(position, size);
  HRESULT result = S_OK;
  const Block* const block = amount > size ? Fill(reader, position, amount, result) : nullptr;
  // Whoever flushes waits for the reader's thread: it is not to call once more.
  if (result != S_OK && watch.flushes != nullptr && watch.flushes->LayBetween(watch.known)) {
    failedAt_ = 0;
    failedEnd_ = 0;
    return result;
  }
  if (block == nullptr) return ReadExactly(reader, position, size, to);
  std::memcpy(to, block->bytes.get(), size);
  return S_OK;
}

// Copies the bytes from the position on that are kept, as far as one block has them.
std::size_t ReadBuffer::CopyKept(std::uint64_t position, std::size_t size, BYTE* to) const {
  for (const Block& block : blocks_) {
    if (position < block.start || position - block.start >= block.size) continue;
    const auto offset = static_cast<std::size_t>(position - block.start);
    const std::size_t count = std::min(size, block.size - offset);
    std::memcpy(to, block.bytes.get() + offset, count);
    return count;
  }
  return 0;
}

// How much to read at the position, of which `size` bytes are asked for.
std::size_t ReadBuffer::AmountAt(std::uint64_t position, std::size_t size) {
  if (size >= kLarge || (position < failedEnd_ && position >= failedAt_)) return size;
  const bool isClose = position >= end_ && position - end_ <= kClose;
  amount_ = isClose ? std::clamp(amount_ * kGrowth, kSmallest, kBlock) : kSmallest;
  const std::uint64_t there = length_ - position;
  const auto amount = static_cast<std::size_t>(std::min<std::uint64_t>(std::max(amount_, size), there));
  return amount - size <= ahead_ ? amount : size;
}

// Reads them into the block that was filled the longest ago; null when they cannot be had.
const ReadBuffer::Block* ReadBuffer::Fill(IAsyncReader& reader, std::uint64_t position, std::size_t amount,
                                          HRESULT& result) {
  Block& block = blocks_[oldest_];
  block.size = 0;
  if (block.room < amount) {
    const std::size_t room = amount > kSmallest ? kBlock : kSmallest;
    block.bytes.reset(new (std::nothrow) BYTE[std::min<std::uint64_t>(room, length_)]);
    block.room = block.bytes ? static_cast<std::size_t>(std::min<std::uint64_t>(room, length_)) : 0;
    if (!block.bytes) return nullptr;
  }
  ahead_ -= std::min<std::uint64_t>(ahead_, amount);
  result = ReadExactly(reader, position, amount, block.bytes.get());
  if (result != S_OK) {
    failedAt_ = position;
    failedEnd_ = position + amount;
    return nullptr;
  }
  block.start = position;
  block.size = amount;
  end_ = position + amount;
  oldest_ = (oldest_ + 1) % kBlocks;
  return &block;
}

}  // namespace vantor
