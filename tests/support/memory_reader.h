// An IAsyncReader over bytes in memory, which counts what is asked of it and fails where a test wants it to.
//
//   MemoryReader reader(bytes);           // on the stack: the end of the scope checks that nobody holds it any more
//   reader.FailRead(3, E_ABORT);          // the third SyncRead from now on fails
//   CMkvFileRoot root(&reader, true);
//   EXPECT_EQ(reader.Reads(), 12u);
//
//   MemoryReader* shared = MemoryReader::Create(bytes);  // on the heap, one reference held by the caller
//   shared->Release();
//
// SyncRead may be called from several threads at once. The Fail..., On... and Set... members are called while nobody
// reads. Only SyncRead and Length are implemented; the other methods answer E_NOTIMPL.
#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <vector>

#include "platform/com.h"

namespace vantor::test {

class MemoryReader final : public IAsyncReader {
 public:
  explicit MemoryReader(std::vector<std::uint8_t> bytes);
  // Ends the program with a message when a reference is still held: a leak in the code under test.
  virtual ~MemoryReader();
  MemoryReader(const MemoryReader&) = delete;
  MemoryReader& operator=(const MemoryReader&) = delete;

  // A reader that deletes itself at its last Release.
  static MemoryReader* Create(std::vector<std::uint8_t> bytes);

  // References held besides the owner's.
  unsigned long References() const { return references_.load() - 1; }

  // SyncRead calls, the bytes they asked for, and the largest of them, since construction or ResetCounters.
  std::uint64_t Reads() const { return reads_.load(); }
  std::uint64_t BytesRead() const { return bytesRead_.load(); }
  std::uint64_t LargestRead() const { return largestRead_.load(); }
  std::uint64_t LengthCalls() const { return lengthCalls_.load(); }
  void ResetCounters();

  // The n-th read from now on (1 is the next) fails with the code and fills nothing; 0 takes the failure back. Every
  // later read too when `andAllLater`.
  void FailRead(std::uint64_t n, HRESULT code = E_FAIL, bool andAllLater = false);
  // The n-th read from now on answers S_FALSE after half of its bytes; 0 takes it back. Every later read too when
  // `andAllLater`.
  void ShortenRead(std::uint64_t n, bool andAllLater = false);
  // Called at the start of every read, before any failure, on the reading thread.
  void OnRead(std::function<void(std::int64_t position, std::int32_t size)> hook) { onRead_ = std::move(hook); }
  // What Length reports. Reads beyond the bytes that are really there answer S_FALSE with what was there.
  void SetLength(LONGLONG length) { length_ = length; }
  // Makes Length fail with the code.
  void FailLength(HRESULT code) { lengthResult_ = code; }

  HRESULT STDMETHODCALLTYPE QueryInterface(REFIID iid, void** object) override;
  ULONG STDMETHODCALLTYPE AddRef() override;
  ULONG STDMETHODCALLTYPE Release() override;

  HRESULT STDMETHODCALLTYPE SyncRead(LONGLONG position, LONG size, BYTE* buffer) override;
  HRESULT STDMETHODCALLTYPE Length(LONGLONG* total, LONGLONG* available) override;

  HRESULT STDMETHODCALLTYPE RequestAllocator(IMemAllocator*, ALLOCATOR_PROPERTIES*, IMemAllocator**) override;
  HRESULT STDMETHODCALLTYPE Request(IMediaSample*, DWORD_PTR) override;
  HRESULT STDMETHODCALLTYPE WaitForNext(DWORD, IMediaSample**, DWORD_PTR*) override;
  HRESULT STDMETHODCALLTYPE SyncReadAligned(IMediaSample*) override;
  HRESULT STDMETHODCALLTYPE BeginFlush() override;
  HRESULT STDMETHODCALLTYPE EndFlush() override;

 private:
  const std::vector<std::uint8_t> bytes_;
  LONGLONG length_;
  HRESULT lengthResult_ = S_OK;
  bool onHeap_ = false;
  std::atomic<unsigned long> references_{1};
  std::atomic<std::uint64_t> reads_{0};
  std::atomic<std::uint64_t> bytesRead_{0};
  std::atomic<std::uint64_t> largestRead_{0};
  std::atomic<std::uint64_t> lengthCalls_{0};
  std::atomic<std::uint64_t> allReads_{0};  // never reset: what the failing and short reads are counted by
  std::uint64_t failAt_ = 0;
  HRESULT failCode_ = E_FAIL;
  bool failLater_ = false;
  std::uint64_t shortAt_ = 0;
  bool shortLater_ = false;
  std::function<void(std::int64_t, std::int32_t)> onRead_;
};

}  // namespace vantor::test
