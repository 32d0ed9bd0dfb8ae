// A buffer between a byte source and its reader, of one cursor: small reads are answered from what was read ahead, so
// that identifiers and sizes do not cost a call each. What comes out is what the reader would have given.
//
//   ReadBuffer buffer(file.length);
//   BYTE bytes[8];
//   HRESULT hr = buffer.Read(*reader, file.position, sizeof bytes, bytes);  // as reader->SyncRead
//
// Not locked; a cursor's is used by whoever uses the cursor.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>

#include "parser/source_flushes.h"
#include "platform/com.h"

namespace vantor {

class ReadBuffer {
 public:
  // The most that is read at a time, and how many of these are kept: 128 KiB a cursor, 16 MiB for as many as there may
  // be pins.
  static constexpr std::size_t kBlock = 65536;
  static constexpr std::size_t kBlocks = 2;
  // Reads of so many bytes go past the buffer.
  static constexpr std::size_t kLarge = 32768;

  // Of a file of that length, bytes: nothing behind it is read.
  explicit ReadBuffer(std::uint64_t length);

  // The flushes under which the reads are made, and how many there had been at a time before.
  struct Watch {
    const SourceFlushes* flushes = nullptr;
    std::uint32_t known = 0;
  };

  // The bytes lie within the file. A failure is the reader's own, to a read of what the buffer did not have.
  HRESULT Read(IAsyncReader& reader, std::uint64_t position, std::size_t size, BYTE* to) {
    return Read(reader, position, size, to, Watch());
  }
  HRESULT Read(IAsyncReader& reader, std::uint64_t position, std::size_t size, BYTE* to, const Watch& watch);

  // Bytes may be read ahead anew, a multiple of the file's length; without, what is asked for is read and no more.
  void Renew();
  // As many as the other may still read ahead.
  void TakeAheadOf(const ReadBuffer& other) { ahead_ = other.ahead_; }

  // What was read is asked for once more, and what failed may be there by now.
  void Forget();

 private:
  struct Block {
    std::uint64_t start = 0;
    std::size_t size = 0;
    std::size_t room = 0;
    std::unique_ptr<BYTE[]> bytes;
  };

  std::size_t CopyKept(std::uint64_t position, std::size_t size, BYTE* to) const;
  std::size_t AmountAt(std::uint64_t position, std::size_t size);
  const Block* Fill(IAsyncReader& reader, std::uint64_t position, std::size_t amount, HRESULT& result);

  const std::uint64_t length_;
  std::array<Block, kBlocks> blocks_;
  std::size_t oldest_ = 0;
  std::uint64_t end_ = 0;       // of what was read last
  std::size_t amount_ = 0;      // and how much that was
  std::uint64_t ahead_ = 0;     // bytes that may be read without having been asked for
  std::uint64_t failedAt_ = 0;  // where reading ahead failed last; nothing is read ahead before it is passed
  std::uint64_t failedEnd_ = 0;
};

}  // namespace vantor
