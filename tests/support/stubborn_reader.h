// An IAsyncReader over bytes in memory that turns stubborn at one read: it fails half way, or does not come back until
// the source is flushed, or until the test lets it go, or it calls back. It may call back when it is flushed, too.
//
//   const auto reader = StubbornReader::Create(bytes);
//   reader->Arm(Stubbornness::kBlocksUntilFlushed, position);  // the next read that takes in this byte
//   while (!reader->IsEngaged()) SleepMilliseconds(1);
//   filter->Stop();                                            // has to flush the source
//   reader->Behave();
//
// Like a source with threads of its own, it refuses every read between BeginFlush and EndFlush. All members may be
// called from any thread.
#pragma once

#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <mutex>
#include <string>
#include <utility>

#include "baseclasses/unknown.h"
#include "platform/com_ptr.h"
#include "support/mkv_builder.h"

namespace vantor::test {

enum class Stubbornness { kNone, kFailsHalfway, kBlocksUntilFlushed, kBlocksUntilLetGo, kCallsBack };

class StubbornReader final : public CUnknown, public IAsyncReader {
 public:
  static ComPtr<StubbornReader> Create(Raw bytes);

  void Arm(Stubbornness how, std::uint64_t position);
  // What kCallsBack calls, and what the next BeginFlush and EndFlush call, each once, on the thread that reads or
  // flushes. Set before.
  void OnRead(std::function<void()> call) { onRead_ = std::move(call); }
  void OnBeginFlush(std::function<void()> call) { onBeginFlush_ = std::move(call); }
  void OnEndFlush(std::function<void()> call) { onEndFlush_ = std::move(call); }
  // Lets go of what is held; no read is stubborn any more.
  void Behave();

  // A read has been met since Arm: it failed, or is or was held.
  bool IsEngaged() const;
  // Reads that are held now.
  int Held() const;
  int Flushes() const;
  // What is wrong with the flushes: one inside another, an end without a beginning, one that is open now. Empty: none.
  std::string FaultOfFlushes() const;

  DECLARE_IUNKNOWN
  STDMETHODIMP NonDelegatingQueryInterface(REFIID riid, void** object) override;
  STDMETHODIMP SyncRead(LONGLONG position, LONG size, BYTE* buffer) override;
  STDMETHODIMP Length(LONGLONG* total, LONGLONG* available) override;
  STDMETHODIMP RequestAllocator(IMemAllocator*, ALLOCATOR_PROPERTIES*, IMemAllocator**) override { return E_NOTIMPL; }
  STDMETHODIMP Request(IMediaSample*, DWORD_PTR) override { return E_NOTIMPL; }
  STDMETHODIMP WaitForNext(DWORD, IMediaSample**, DWORD_PTR*) override { return E_NOTIMPL; }
  STDMETHODIMP SyncReadAligned(IMediaSample*) override { return E_NOTIMPL; }
  STDMETHODIMP BeginFlush() override;
  STDMETHODIMP EndFlush() override;

 private:
  explicit StubbornReader(Raw bytes);
  ~StubbornReader() override = default;
  // Copies what there is of the bytes; S_FALSE when that is less than asked for.
  HRESULT Copy(std::uint64_t position, std::uint64_t size, BYTE* buffer) const;

  const Raw bytes_;
  std::function<void()> onRead_, onBeginFlush_, onEndFlush_;
  mutable std::mutex lock_;
  std::condition_variable changed_;
  Stubbornness armed_ = Stubbornness::kNone;
  std::uint64_t position_ = 0;
  std::uint64_t arming_ = 0;  // counts Arm and Behave: a read is held for one arming only
  bool engaged_ = false;
  bool flushing_ = false;
  int held_ = 0;
  int flushes_ = 0;
  std::string fault_;
};

}  // namespace vantor::test
