#include "diag/byte_buffer.h"

#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <new>
#include <utility>

#include "platform/process_heap.h"

namespace vantor {

namespace {

// The length in use plus an addition, or a negative number when that is no 32-bit length.
std::int32_t Sum(std::int32_t length, std::int32_t extra) { return extra > INT32_MAX - length ? -1 : length + extra; }

void RuntimeFree(void* block) { std::free(block); }

void* RuntimeResize(void* block, std::size_t size) { return std::realloc(block, size); }

}  // namespace

CBaseBuffer::CBaseBuffer(FreeFunction freeFunction, ResizeFunction resizeFunction)
    : free_(freeFunction), resize_(resizeFunction) {}

CBaseBuffer::~CBaseBuffer() { ReleaseData(); }

void CBaseBuffer::ReleaseData() {
  if (data_ != nullptr) free_(data_);
  data_ = nullptr;
  length_ = 0;
  capacity_ = 0;
}

HRESULT CBaseBuffer::Free() {
  ReleaseData();
  return S_OK;
}

bool CBaseBuffer::Resize(std::int32_t size) {
  void* block = resize_(data_, static_cast<std::size_t>(size));
  if (block == nullptr) return false;
  data_ = static_cast<std::uint8_t*>(block);
  capacity_ = size;
  return true;
}

bool CBaseBuffer::EnsureCapacity(std::int32_t size) { return capacity_ >= size || Resize(size); }

HRESULT CBaseBuffer::Append(const void* bytes, std::int32_t count) {
  if (count < 0) return E_INVALIDARG;
  const std::int32_t needed = Sum(length_, count);
  if (needed < 0 || (capacity_ < needed && !Resize(needed))) return E_OUTOFMEMORY;
  if (count > 0) std::memcpy(data_ + length_, bytes, static_cast<std::size_t>(count));
  length_ = needed;
  return S_OK;
}

HRESULT CBaseBuffer::Reserve(std::int32_t extra) {
  if (extra < 0) return E_INVALIDARG;
  const std::int32_t needed = Sum(length_, extra);
  return needed >= 0 && EnsureCapacity(needed) ? S_OK : E_OUTOFMEMORY;
}

HRESULT CBaseBuffer::Swap(CBaseBuffer* other) {
  if (other == nullptr) return E_POINTER;
  std::swap(data_, other->data_);
  std::swap(length_, other->length_);
  std::swap(capacity_, other->capacity_);
  return S_OK;
}

HRESULT CBaseBuffer::Format(const char* format, ...) {
  va_list arguments;
  va_start(arguments, format);
  va_list again;  // measuring uses up the arguments
  va_copy(again, arguments);
  const int measured = std::vsnprintf(nullptr, 0, format, arguments);
  va_end(arguments);

  HRESULT result = S_OK;
  if (measured < 0) {
    length_ = 0;  // no text, and no failure: what formats for a trace has nobody to tell
  } else if (measured == INT32_MAX || !EnsureCapacity(measured + 1)) {
    result = E_OUTOFMEMORY;
  } else {
    const int written =
        std::vsnprintf(reinterpret_cast<char*>(data_), static_cast<std::size_t>(capacity_), format, again);
    length_ = written < 0 ? 0 : written + 1;
  }
  va_end(again);
  return result;
}

CBuffer::CBuffer() : CBaseBuffer(RuntimeFree, RuntimeResize) {}

CBuffer::CBuffer(FreeFunction freeFunction, ResizeFunction resizeFunction)
    : CBaseBuffer(freeFunction, resizeFunction) {}

CBuffer::~CBuffer() { delete companion; }

HRESULT CBuffer::Free() {
  delete std::exchange(companion, nullptr);
  return CBaseBuffer::Free();
}

CHeapBuffer::CHeapBuffer() : CBaseBuffer(platform::ProcessHeapFree, platform::ProcessHeapReallocate) {}

void* CHeapBuffer::operator new(std::size_t size) {
  void* block = platform::ProcessHeapAllocate(size);
  if (block == nullptr) throw std::bad_alloc();
  return block;
}

void CHeapBuffer::operator delete(void* block) { platform::ProcessHeapFree(block); }

}  // namespace vantor
