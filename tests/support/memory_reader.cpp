#include "support/memory_reader.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <utility>

namespace vantor::test {

MemoryReader::MemoryReader(std::vector<std::uint8_t> bytes)
    : bytes_(std::move(bytes)), length_(static_cast<LONGLONG>(bytes_.size())) {}

MemoryReader::~MemoryReader() {
  if (onHeap_ || references_ == 1) return;
  std::fprintf(stderr, "MemoryReader: destroyed while %lu references are held\n", References());
  std::abort();
}

MemoryReader* MemoryReader::Create(std::vector<std::uint8_t> bytes) {
  auto* reader = new MemoryReader(std::move(bytes));
  reader->onHeap_ = true;
  return reader;
}

void MemoryReader::ResetCounters() {
  reads_ = 0;
  bytesRead_ = 0;
  largestRead_ = 0;
  lengthCalls_ = 0;
}

void MemoryReader::FailRead(std::uint64_t n, HRESULT code, bool andAllLater) {
  failAt_ = n == 0 ? 0 : allReads_ + n;
  failCode_ = code;
  failLater_ = andAllLater;
}

void MemoryReader::ShortenRead(std::uint64_t n, bool andAllLater) {
  shortAt_ = n == 0 ? 0 : allReads_ + n;
  shortLater_ = andAllLater;
}

HRESULT MemoryReader::QueryInterface(REFIID iid, void** object) {
  if (object == nullptr) return E_POINTER;
  *object = nullptr;
  if (!SameGuid(iid, IID_IUnknown) && !SameGuid(iid, IID_IAsyncReader)) return E_NOINTERFACE;
  *object = static_cast<IAsyncReader*>(this);
  AddRef();
  return S_OK;
}

ULONG MemoryReader::AddRef() { return static_cast<ULONG>(++references_); }

ULONG MemoryReader::Release() {
  const unsigned long left = --references_;
  if (left == 0 && onHeap_) delete this;
  return static_cast<ULONG>(left);
}

HRESULT MemoryReader::SyncRead(LONGLONG position, LONG size, BYTE* buffer) {
  if (onRead_) onRead_(position, size);
  const std::uint64_t number = ++allReads_;
  ++reads_;
  const auto asked = static_cast<std::uint64_t>(size < 0 ? 0 : size);
  bytesRead_ += asked;
  std::uint64_t largest = largestRead_;
  while (largest < asked && !largestRead_.compare_exchange_weak(largest, asked)) {
  }
  const auto isMeant = [number](std::uint64_t at, bool andLater) {
    return at != 0 && (number == at || (andLater && number > at));
  };
  if (isMeant(failAt_, failLater_)) return failCode_;
  if (position < 0 || size < 0 || buffer == nullptr) return E_INVALIDARG;
  const auto at = static_cast<std::uint64_t>(position);
  const std::uint64_t there = at < bytes_.size() ? bytes_.size() - at : 0;
  const std::uint64_t wanted = isMeant(shortAt_, shortLater_) ? asked / 2 : asked;
  const std::uint64_t given = std::min(wanted, there);
  if (given != 0) std::memcpy(buffer, bytes_.data() + at, static_cast<std::size_t>(given));
  return given == asked ? S_OK : S_FALSE;
}

HRESULT MemoryReader::Length(LONGLONG* total, LONGLONG* available) {
  ++lengthCalls_;
  if (FAILED(lengthResult_)) return lengthResult_;
  if (total != nullptr) *total = length_;
  if (available != nullptr) *available = length_;
  return lengthResult_;
}

HRESULT MemoryReader::RequestAllocator(IMemAllocator*, ALLOCATOR_PROPERTIES*, IMemAllocator**) { return E_NOTIMPL; }
HRESULT MemoryReader::Request(IMediaSample*, DWORD_PTR) { return E_NOTIMPL; }
HRESULT MemoryReader::WaitForNext(DWORD, IMediaSample**, DWORD_PTR*) { return E_NOTIMPL; }
HRESULT MemoryReader::SyncReadAligned(IMediaSample*) { return E_NOTIMPL; }
HRESULT MemoryReader::BeginFlush() { return E_NOTIMPL; }
HRESULT MemoryReader::EndFlush() { return E_NOTIMPL; }

}  // namespace vantor::test
