// A record's frames count in the file's memory twice over: as used from when they are taken to when the list is
// cleared, and from then on as kept, until the buffers are let go. Both counts stay as they are from block to block
// where frames are small or all alike, so that threads do not meet there.
#include "parser/frame_bytes.h"

#include <utility>

namespace vantor {

FrameBytes& FrameList::Append(std::size_t size) {
  if (count_ == buffers_.size()) {
    lost_.resize(count_ + 1);  // first: should the other run out of memory, there is a mark too many, not one too few
    buffers_.emplace_back();
  }
  lost_[count_] = false;
  FrameBytes& buffer = buffers_[count_];
  buffer.clear();
  const std::size_t before = buffer.capacity();
  buffer.resize(size);
  capacity_ += buffer.capacity() - before;
  ++count_;
  return buffer;
}

bool FrameList::Take(std::uint64_t size, std::uint64_t most, const std::shared_ptr<FrameMemory>& memory) {
  if (memory_ != memory && used_ == 0 && kept_ == 0) memory_ = memory;
  if (taken_ > most || size > most - taken_ || !Count(taken_ + size)) return false;
  taken_ += size;
  return true;
}

bool FrameList::Count(std::uint64_t total) {
  if (!memory_ || total <= FrameMemory::kUncounted || total <= used_) return true;
  if (!memory_->records.Take(total - used_)) return false;
  used_ = total;
  return true;
}

void FrameList::Clear() {
  count_ = 0;
  taken_ = 0;
  if (used_ != 0) memory_->records.Give(std::exchange(used_, 0));
  if (!MayKeep()) Drop();
}

bool FrameList::MayKeep() {
  if (capacity_ > kLargestKept || buffers_.size() > kMostKept) return false;
  if (!memory_ || capacity_ <= FrameMemory::kUncounted || capacity_ <= kept_) return true;
  if (!memory_->kept.Take(capacity_ - kept_)) return false;
  kept_ = capacity_;
  return true;
}

void FrameList::Drop() noexcept {
  if (used_ != 0) memory_->records.Give(std::exchange(used_, 0));
  if (kept_ != 0) memory_->kept.Give(std::exchange(kept_, 0));
  std::vector<FrameBytes>().swap(buffers_);
  std::vector<bool>().swap(lost_);
  count_ = 0;
  capacity_ = 0;
}

void FrameList::Swap(FrameList& other) noexcept {
  std::swap(buffers_, other.buffers_);
  std::swap(lost_, other.lost_);
  std::swap(count_, other.count_);
  std::swap(capacity_, other.capacity_);
  std::swap(taken_, other.taken_);
  std::swap(memory_, other.memory_);
  std::swap(used_, other.used_);
  std::swap(kept_, other.kept_);
}

}  // namespace vantor
