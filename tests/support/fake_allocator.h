// An allocator over the framework's own, whose answers a test may change.
//
//   const auto allocator = FakeAllocator::GivenTo(*sink);
//   allocator->onSetProperties = [](const ALLOCATOR_PROPERTIES&) { return E_FAIL; };
#pragma once

#include <atomic>
#include <functional>

#include "baseclasses/allocator.h"
#include "platform/com_ptr.h"
#include "support/fake_sink.h"

namespace vantor::test {

class FakeAllocator final : public CUnknown, public IMemAllocator {
 public:
  static ComPtr<FakeAllocator> Create() { return ComPtr<FakeAllocator>(new FakeAllocator); }
  // A new one, which the sink offers from now on.
  static ComPtr<FakeAllocator> GivenTo(FakeSink& sink) {
    ComPtr<FakeAllocator> allocator = Create();
    sink.allocator = ComPtr<IMemAllocator>(allocator.Get());
    return allocator;
  }

  // Each hook comes first; anything but S_OK is the answer, S_OK lets the allocator do its work. They may be called on
  // the worker; change them while nothing streams.
  std::function<HRESULT(ALLOCATOR_PROPERTIES& request)> onSetProperties;
  std::function<HRESULT()> onGetBuffer;
  std::function<HRESULT()> onCommit;
  std::function<HRESULT()> onDecommit;
  // Changes what SetProperties says it granted.
  std::function<void(ALLOCATOR_PROPERTIES& actual)> onGranted;

  // Changes a sample before it is given out, ...
  std::function<void(IMediaSample*)> onSample;
  // ... or gives another out in its place, which then holds it.
  std::function<ComPtr<IMediaSample>(ComPtr<IMediaSample>)> onReplace;

  // That many times GetBuffer succeeds and gives nothing.
  std::atomic<int> emptyAnswers{0};

  // Samples given out so far.
  int Buffers() const { return buffers_; }
  bool Committed() const { return committed_; }

  DECLARE_IUNKNOWN
  STDMETHODIMP NonDelegatingQueryInterface(REFIID riid, void** object) override {
    if (SameGuid(riid, IID_IMemAllocator)) return GetInterface(static_cast<IMemAllocator*>(this), object);
    return CUnknown::NonDelegatingQueryInterface(riid, object);
  }
  STDMETHODIMP SetProperties(ALLOCATOR_PROPERTIES* request, ALLOCATOR_PROPERTIES* actual) override {
    ALLOCATOR_PROPERTIES asked = *request;
    if (onSetProperties) {
      const HRESULT result = onSetProperties(asked);
      if (result != S_OK) return result;
    }
    const HRESULT result = inner_->SetProperties(&asked, actual);
    if (SUCCEEDED(result) && onGranted) onGranted(*actual);
    return result;
  }
  STDMETHODIMP GetProperties(ALLOCATOR_PROPERTIES* properties) override { return inner_->GetProperties(properties); }
  STDMETHODIMP Commit() override {
    const HRESULT result = onCommit ? onCommit() : S_OK;
    if (result != S_OK) return result;
    committed_ = true;
    return inner_->Commit();
  }
  STDMETHODIMP Decommit() override {
    const HRESULT result = onDecommit ? onDecommit() : S_OK;
    if (result != S_OK) return result;
    committed_ = false;
    return inner_->Decommit();
  }
  STDMETHODIMP GetBuffer(IMediaSample** sample, REFERENCE_TIME* start, REFERENCE_TIME* stop, DWORD flags) override {
    const HRESULT refused = onGetBuffer ? onGetBuffer() : S_OK;
    if (refused != S_OK) return refused;
    if (emptyAnswers > 0) {
      --emptyAnswers;
      *sample = nullptr;
      return S_OK;
    }
    const HRESULT result = inner_->GetBuffer(sample, start, stop, flags);
    if (FAILED(result)) return result;
    ++buffers_;
    if (onSample) onSample(*sample);
    if (onReplace) *sample = onReplace(ComPtr<IMediaSample>::Adopt(*sample)).Detach();
    return result;
  }
  STDMETHODIMP ReleaseBuffer(IMediaSample* sample) override { return inner_->ReleaseBuffer(sample); }

 private:
  FakeAllocator() : CUnknown(OLESTR("fake allocator"), nullptr) {
    HRESULT result = S_OK;
    inner_ = ComPtr<CMemAllocator>(new CMemAllocator(OLESTR("inner"), nullptr, &result));
  }
  ~FakeAllocator() override = default;

  ComPtr<CMemAllocator> inner_;
  std::atomic<int> buffers_{0};
  std::atomic<bool> committed_{false};
};

}  // namespace vantor::test
