// A frame's bytes: a vector whose new elements are left uninitialised, so that a buffer sized for a read is written
// once, by the read. FrameList keeps its buffers when it is cleared, so a recycled record costs no allocation.
//
//   FrameList frames;
//   FrameBytes& frame = frames.Append(100);  // 100 bytes of whatever was there
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <new>
#include <utility>
#include <vector>

#include "parser/frame_memory.h"

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
  FrameList() = default;
  ~FrameList() { Drop(); }
  FrameList(FrameList&& other) noexcept { Swap(other); }
  FrameList& operator=(FrameList&& other) noexcept {
    FrameList(std::move(other)).Swap(*this);
    return *this;
  }

  std::size_t size() const { return count_; }
  bool empty() const { return count_ == 0; }
  FrameBytes& operator[](std::size_t index) { return buffers_[index]; }
  const FrameBytes& operator[](std::size_t index) const { return buffers_[index]; }
  FrameBytes* begin() { return buffers_.data(); }
  FrameBytes* end() { return buffers_.data() + count_; }
  const FrameBytes* begin() const { return buffers_.data(); }
  const FrameBytes* end() const { return buffers_.data() + count_; }

  // Appends a frame of that many bytes and returns its buffer, perhaps one with capacity from an earlier use.
  FrameBytes& Append(std::size_t size = 0);
  // Appends a frame that is there in the file but was not read.
  void AppendLost() {
    Append();
    lost_[count_ - 1] = true;
  }
  bool IsLost(std::size_t index) const { return lost_[index]; }

  // Whether so many bytes more still fit when all that was taken is to stay within `most` bytes, and within the memory
  // (null: unlimited); if so, they count until the list is cleared. Not for a record of under FrameMemory::kUncounted.
  bool Take(std::uint64_t size, std::uint64_t most, const std::shared_ptr<FrameMemory>& memory = nullptr);

  // Forgets the frames. Their buffers stay, as far as the memory has room for what is kept.
  void Clear();

  // Bytes held in buffers, used or not.
  std::size_t Capacity() const { return capacity_; }

 private:
  // A larger capacity is not kept for the next frames, bytes; nor are more buffers.
  static constexpr std::size_t kLargestKept = std::size_t{16} << 20;
  static constexpr std::size_t kMostKept = 512;

  bool Count(std::uint64_t total);
  bool MayKeep();
  void Drop() noexcept;
  void Swap(FrameList& other) noexcept;

  std::vector<FrameBytes> buffers_;
  std::vector<bool> lost_;  // as long as buffers_
  std::size_t count_ = 0;
  std::size_t capacity_ = 0;  // of all buffers
  std::uint64_t taken_ = 0;
  // What is counted in the memory: of `taken_`, and of `capacity_`.
  std::shared_ptr<FrameMemory> memory_;
  std::uint64_t used_ = 0;
  std::uint64_t kept_ = 0;
};

}  // namespace vantor
