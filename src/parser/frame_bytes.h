// A frame's bytes: a vector whose new elements are left uninitialised, so that a buffer sized for a read is written
// once, by the read. FrameList keeps its buffers when it is cleared, so a recycled record costs no allocation.
//
//   FrameList frames;
//   FrameBytes& frame = frames.Append();
//   frame.resize(100);  // 100 bytes of whatever was there
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <new>
#include <utility>
#include <vector>

namespace vantor {

template <typename T>
class UninitialisedAllocator : public std::allocator<T> {
 public:
  template <typename U>
  struct rebind {
    using other = UninitialisedAllocator<U>;
  };
  using std::allocator<T>::allocator;

  template <typename U>
  void construct(U* at) noexcept {
    ::new (static_cast<void*>(at)) U;
  }
  template <typename U, typename... Arguments>
  void construct(U* at, Arguments&&... arguments) {
    ::new (static_cast<void*>(at)) U(std::forward<Arguments>(arguments)...);
  }
};

using FrameBytes = std::vector<std::uint8_t, UninitialisedAllocator<std::uint8_t>>;

class FrameList {
 public:
  std::size_t size() const { return count_; }
  bool empty() const { return count_ == 0; }
  FrameBytes& operator[](std::size_t index) { return buffers_[index]; }
  const FrameBytes& operator[](std::size_t index) const { return buffers_[index]; }
  FrameBytes* begin() { return buffers_.data(); }
  FrameBytes* end() { return buffers_.data() + count_; }

  // Appends a frame and returns its buffer, empty but perhaps with capacity from an earlier use.
  FrameBytes& Append() {
    if (count_ == buffers_.size()) {
      buffers_.emplace_back();
      lost_.resize(buffers_.size());
    }
    lost_[count_] = false;
    FrameBytes& buffer = buffers_[count_++];
    buffer.clear();
    return buffer;
  }
  // Appends a frame that is there in the file but was not read.
  void AppendLost() {
    Append();
    lost_[count_ - 1] = true;
  }
  bool IsLost(std::size_t index) const { return lost_[index]; }
  // Whether a frame of that size still fits when all of them are to stay within `most` bytes; if so, it counts.
  bool Take(std::uint64_t size, std::uint64_t most) {
    if (taken_ > most || size > most - taken_) return false;
    taken_ += size;
    return true;
  }
  // Forgets the frames and keeps their memory.
  void Clear() {
    count_ = 0;
    taken_ = 0;
  }
  // Bytes held in buffers, used or not.
  std::size_t Capacity() const {
    std::size_t total = 0;
    for (const FrameBytes& buffer : buffers_) total += buffer.capacity();
    return total;
  }

 private:
  std::vector<FrameBytes> buffers_;
  std::vector<bool> lost_;  // as long as buffers_
  std::size_t count_ = 0;
  std::uint64_t taken_ = 0;
};

}  // namespace vantor
