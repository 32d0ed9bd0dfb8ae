// Growable byte buffers: the bytes and the pair of memory functions that a derived class chooses for them.
//
//   CHeapBuffer text;
//   if (SUCCEEDED(text.Format("%d", 42))) Write(text.Data(), text.Length());   // length 3: the terminating zero counts
//
// Buffers grow to exactly what is asked for, never further, and never shrink before Free. Lengths are in bytes. A
// buffer is not safe for several threads at once.
#pragma once

#include <cstddef>
#include <cstdint>

#include "platform/com.h"

namespace vantor {

class CBaseBuffer {
 public:
  // Releases a block.
  using FreeFunction = void (*)(void* block);
  // A block of the new size with the old contents (the old block may be null), or null with the old block untouched.
  using ResizeFunction = void* (*)(void* block, std::size_t size);

  CBaseBuffer(FreeFunction freeFunction, ResizeFunction resizeFunction);
  virtual ~CBaseBuffer();
  CBaseBuffer(const CBaseBuffer&) = delete;
  CBaseBuffer& operator=(const CBaseBuffer&) = delete;

  // Releases the bytes. Returns 0.
  virtual HRESULT Free();
  // Makes room for `size` bytes in all. False, with the buffer unchanged, when there is no memory.
  virtual bool EnsureCapacity(std::int32_t size);

  // Adds the bytes after those in use. E_OUTOFMEMORY, with the buffer unchanged, when they find no room; E_INVALIDARG
  // for a negative count.
  HRESULT Append(const void* bytes, std::int32_t count);
  // Makes room for so many bytes after those in use. E_INVALIDARG for a negative number; E_OUTOFMEMORY.
  HRESULT Reserve(std::int32_t extra);
  // Forgets the bytes in use and keeps the memory.
  void Reset() { length_ = 0; }
  // Exchanges bytes, length and capacity; the memory functions stay, so both must use the same ones. E_POINTER for
  // null.
  HRESULT Swap(CBaseBuffer* other);
  // Replaces the contents by the printf-style text and its terminating zero, which counts: so length 0 is no text, even
  // an empty one has length 1. That is how a text that cannot be formatted shows, with S_OK; the only failure is
  // E_OUTOFMEMORY, with the buffer unchanged.
  HRESULT Format(const char* format, ...);

  std::uint8_t* Data() { return data_; }
  const std::uint8_t* Data() const { return data_; }
  std::int32_t Length() const { return length_; }
  std::int32_t Capacity() const { return capacity_; }

 private:
  bool Resize(std::int32_t size);
  void ReleaseData();

  std::uint8_t* data_ = nullptr;
  std::int32_t length_ = 0;
  std::int32_t capacity_ = 0;
  FreeFunction free_;
  ResizeFunction resize_;
};

// What a CBuffer can own beside its bytes.
class CBufferCompanion {
 public:
  virtual ~CBufferCompanion() = default;
};

// A buffer on the runtime's heap.
class CBuffer : public CBaseBuffer {
 public:
  CBuffer();
  // With other memory functions.
  CBuffer(FreeFunction freeFunction, ResizeFunction resizeFunction);
  ~CBuffer() override;

  // Releases the companion as well.
  HRESULT Free() override;

  CBufferCompanion* companion = nullptr;  // owned, made with new
  void* context = nullptr;                // not owned
};

// A buffer on the process heap, itself allocated there.
class CHeapBuffer final : public CBaseBuffer {
 public:
  CHeapBuffer();

  static void* operator new(std::size_t size);
  static void operator delete(void* block);
};

}  // namespace vantor
