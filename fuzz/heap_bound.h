// HeapBound: ends the program when more memory is alive than an input of that size may cost.
//
//   HeapBound bound(size);
//   ... open and play the input ...
//
// Counts what is allocated while the object lives, by all threads. Buffers that samples are delivered in are pages
// outside the heap, taken as they are written to; they are not counted.
#pragma once

#include <cstddef>

namespace vantor::fuzz {

class HeapBound {
 public:
  // Bytes that each byte of input may cost. The records of an element take up to 16 times its bytes, twice that while
  // a list of them grows, and a track of 30 bytes costs a pin.
  static constexpr std::size_t kPerByte = 128;
  // Bytes that any file may cost, threads and graph included.
  static constexpr std::size_t kBase = std::size_t{1} << 20;

  explicit HeapBound(std::size_t inputSize);
  ~HeapBound();
  HeapBound(const HeapBound&) = delete;
  HeapBound& operator=(const HeapBound&) = delete;

  // The most that was alive at once so far, bytes.
  static std::size_t Peak();
};

}  // namespace vantor::fuzz
