// MemoryReader: bytes in memory as an IAsyncReader, the interface by which a demultiplexer reads its source.
//
// Begin with it where such a reader exists already, or where the same one is to serve other graphs, too; a
// vantor::ByteSource (download.h) is less to write. Of a reader that is handed to Host::OpenReader only Length and
// SyncRead are needed, and the two members of a flush where reads can wait, which these do not.
#pragma once

#include <vantor-mkv/host.h>

#include <algorithm>
#include <atomic>
#include <cstddef>
#include <cstring>
#include <utility>
#include <vector>

class MemoryReader final : public IAsyncReader {
 public:
  // With one reference, which is the caller's.
  static MemoryReader* Create(std::vector<unsigned char> bytes) { return new MemoryReader(std::move(bytes)); }

  HRESULT STDMETHODCALLTYPE QueryInterface(REFIID id, void** object) override {
    if (object == nullptr) return E_POINTER;
    const bool known = IsEqualGUID(id, IID_IUnknown) || IsEqualGUID(id, IID_IAsyncReader);
    *object = known ? this : nullptr;
    if (known) AddRef();
    return known ? S_OK : E_NOINTERFACE;
  }
  ULONG STDMETHODCALLTYPE AddRef() override { return ++references_; }
  ULONG STDMETHODCALLTYPE Release() override {
    const ULONG left = --references_;
    if (left == 0) delete this;
    return left;
  }

  // All of the bytes are here.
  HRESULT STDMETHODCALLTYPE Length(LONGLONG* total, LONGLONG* available) override {
    *total = *available = static_cast<LONGLONG>(bytes_.size());
    return S_OK;
  }

  // Called from several threads at once; the bytes never change, so that no lock is needed.
  HRESULT STDMETHODCALLTYPE SyncRead(LONGLONG position, LONG length, BYTE* buffer) override {
    if (position < 0 || length < 0) return E_INVALIDARG;
    const std::size_t start = std::min(static_cast<std::size_t>(position), bytes_.size());
    const std::size_t count = std::min(static_cast<std::size_t>(length), bytes_.size() - start);
    std::memcpy(buffer, bytes_.data() + start, count);
    return count == static_cast<std::size_t>(length) ? S_OK : S_FALSE;  // S_FALSE: the end came first
  }

  HRESULT STDMETHODCALLTYPE BeginFlush() override { return S_OK; }
  HRESULT STDMETHODCALLTYPE EndFlush() override { return S_OK; }

  // Reads into samples, and those that are asked for first and waited for later.
  HRESULT STDMETHODCALLTYPE SyncReadAligned(IMediaSample*) override { return E_NOTIMPL; }
  HRESULT STDMETHODCALLTYPE RequestAllocator(IMemAllocator*, ALLOCATOR_PROPERTIES*, IMemAllocator**) override {
    return E_NOTIMPL;
  }
  HRESULT STDMETHODCALLTYPE Request(IMediaSample*, DWORD_PTR) override { return E_NOTIMPL; }
  HRESULT STDMETHODCALLTYPE WaitForNext(DWORD, IMediaSample**, DWORD_PTR*) override { return E_NOTIMPL; }

 private:
  explicit MemoryReader(std::vector<unsigned char> bytes) : bytes_(std::move(bytes)) {}
  virtual ~MemoryReader() = default;

  const std::vector<unsigned char> bytes_;
  std::atomic<ULONG> references_{1};
};
