// ByteSource: bytes of your own for a Host to play, wherever they come from.
//
//   class Received : public ByteSource {
//     std::int64_t Length() noexcept override { return total; }
//     bool Read(std::int64_t position, void* buffer, std::size_t size) noexcept override {
//       return WaitUntilHere(position + size) && CopyTo(buffer, position, size);
//     }
//   };
//
// Stable as hosting/host.h says: the virtual functions, their order and what they promise.
#pragma once

#include <cstddef>
#include <cstdint>

namespace vantor {

// Bytes of a known number, read at positions by several threads at once.
class ByteSource {
 public:
  virtual ~ByteSource() = default;

  // How many bytes there are, those still on their way included. Asked once, when the source is opened.
  virtual std::int64_t Length() noexcept = 0;

  // Copies exactly size bytes from the position; the range lies within Length(). May wait until the bytes are there.
  // False when they cannot be had, for good or while flushing. Called from several threads at once.
  virtual bool Read(std::int64_t position, void* buffer, std::size_t size) noexcept = 0;

  // From BeginFlush to EndFlush reads that would wait fail instead, those that wait already included. Called from any
  // thread, when a stop or a seek has waited for a read for a second. Needed only where Read can wait for long.
  virtual void BeginFlush() noexcept {}
  // Reads wait again.
  virtual void EndFlush() noexcept {}
};

}  // namespace vantor
