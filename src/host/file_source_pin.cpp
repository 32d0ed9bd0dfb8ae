#include "host/file_source_pin.h"

#include <algorithm>
#include <utility>

#include "baseclasses/allocator.h"
#include "platform/com_ptr.h"
#include "platform/result.h"

namespace vantor {
namespace {

// Sample times name byte positions in this unit.
constexpr LONGLONG kUnitsPerByte = 10000000;

HRESULT Agree(IMemAllocator* allocator, ALLOCATOR_PROPERTIES* properties) {
  ALLOCATOR_PROPERTIES actual = {};
  HRESULT hr = allocator->SetProperties(properties, &actual);
  if (FAILED(hr)) {
    return hr;
  }
  *properties = actual;
  return S_OK;
}

}  // namespace

FileSourcePin::FileSourcePin(CBaseFilter* filter, CCritSec* lock, const AM_MEDIA_TYPE* type, HRESULT* result)
    : CBasePin(nullptr, filter, lock, result, OLESTR("Output"), PINDIR_OUTPUT), type_(type) {}

STDMETHODIMP FileSourcePin::NonDelegatingQueryInterface(REFIID riid, void** object) {
  if (object != nullptr && IsEqualGUID(riid, IID_IAsyncReader)) {
    return GetInterface(static_cast<IAsyncReader*>(this), object);
  }
  return CBasePin::NonDelegatingQueryInterface(riid, object);
}

HRESULT FileSourcePin::CheckMediaType(const CMediaType* type) {
  return IsEqualGUID(type->majortype, type_->majortype) && IsEqualGUID(type->subtype, type_->subtype) ? S_OK : S_FALSE;
}

HRESULT FileSourcePin::GetMediaType(int position, CMediaType* type) {
  if (position < 0 || type == nullptr) {
    return E_INVALIDARG;
  }
  if (position > 0) {
    return VFW_S_NO_MORE_ITEMS;
  }
  return Guarded([&] {
    *type = *type_;
    return S_OK;
  });
}

STDMETHODIMP FileSourcePin::BeginFlush() {
  // First: a queued request is read without the lock, and what it waits for is let go here.
  if (bytes_) bytes_->BeginFlush();
  const LockScope hold(requestLock_);
  flushing_ = true;
  requestReady_.NotifyAll();
  return S_OK;
}

STDMETHODIMP FileSourcePin::EndFlush() {
  const LockScope hold(requestLock_);
  flushing_ = false;
  if (bytes_) bytes_->EndFlush();
  return S_OK;
}

STDMETHODIMP FileSourcePin::RequestAllocator(IMemAllocator* preferred, ALLOCATOR_PROPERTIES* properties,
                                             IMemAllocator** actual) {
  if (properties == nullptr || actual == nullptr) {
    return E_POINTER;
  }
  *actual = nullptr;
  return Guarded([&]() -> HRESULT {
    ALLOCATOR_PROPERTIES wanted = *properties;
    wanted.cbAlign = std::max<long>(wanted.cbAlign, 1);
    wanted.cBuffers = std::max<long>(wanted.cBuffers, 1);
    wanted.cbBuffer = std::max<long>(wanted.cbBuffer, 1);
    if (preferred != nullptr && SUCCEEDED(Agree(preferred, &wanted))) {
      *properties = wanted;
      preferred->AddRef();
      *actual = preferred;
      return S_OK;
    }
    HRESULT hr = S_OK;
    ComPtr<CMemAllocator> own(new CMemAllocator(nullptr, nullptr, &hr));
    if (SUCCEEDED(hr)) {
      hr = Agree(own.Get(), &wanted);
    }
    if (FAILED(hr)) {
      return hr;
    }
    *properties = wanted;
    *actual = own.Detach();
    return S_OK;
  });
}

STDMETHODIMP FileSourcePin::Request(IMediaSample* sample, DWORD_PTR user) {
  if (sample == nullptr) {
    return E_POINTER;
  }
  return Guarded([&]() -> HRESULT {
    {
      const LockScope hold(requestLock_);
      if (flushing_) {
        return VFW_E_WRONG_STATE;
      }
    }
    // Read at once, on the caller's thread; WaitForNext finds the answer there.
    const HRESULT result = SyncReadAligned(sample);
    const LockScope hold(requestLock_);
    requests_.push_back({sample, user, result});
    requestReady_.NotifyOne();
    return S_OK;
  });
}

STDMETHODIMP FileSourcePin::WaitForNext(DWORD timeout, IMediaSample** sample, DWORD_PTR* user) {
  if (sample == nullptr || user == nullptr) {
    return E_POINTER;
  }
  *sample = nullptr;
  *user = 0;
  return Guarded([&]() -> HRESULT {
    const Deadline over(timeout);
    const LockScope hold(requestLock_);
    while (requests_.empty() && !flushing_ && requestReady_.WaitFor(requestLock_, over.Left())) {
    }
    if (requests_.empty()) {
      return flushing_ ? VFW_E_WRONG_STATE : VFW_E_TIMEOUT;
    }
    const Pending next = requests_.front();
    requests_.pop_front();
    *sample = next.sample;
    *user = next.user;
    return next.result;
  });
}

STDMETHODIMP FileSourcePin::SyncReadAligned(IMediaSample* sample) {
  if (sample == nullptr) {
    return E_POINTER;
  }
  REFERENCE_TIME start = 0;
  REFERENCE_TIME stop = 0;
  BYTE* buffer = nullptr;
  HRESULT hr = sample->GetTime(&start, &stop);
  if (SUCCEEDED(hr)) {
    hr = sample->GetPointer(&buffer);
  }
  if (FAILED(hr)) {
    return hr;
  }
  const LONGLONG position = start / kUnitsPerByte;
  const LONGLONG wanted = stop / kUnitsPerByte - position;
  if (position < 0 || wanted < 0 || wanted > sample->GetSize()) {
    return E_INVALIDARG;
  }
  const LONGLONG held = std::clamp<LONGLONG>(length_ - position, 0, wanted);
  hr = SyncRead(position, static_cast<LONG>(wanted), buffer);
  const HRESULT sized = sample->SetActualDataLength(FAILED(hr) ? 0 : static_cast<LONG>(held));
  return FAILED(sized) ? sized : hr;
}

// Called several times for each block of the file by every pin of the splitter, nearly always for a byte or two of a
// file that lies in memory: that takes no call, and so has nothing to keep for afterwards.
STDMETHODIMP FileSourcePin::SyncRead(LONGLONG position, LONG length, BYTE* buffer) {
  if (buffer == nullptr || !resident_.CopyShort(position, buffer, static_cast<std::size_t>(length))) {
    return ReadAny(position, length, buffer);
  }
  statistics_.Count(static_cast<std::uint64_t>(length));
  return S_OK;
}

HRESULT FileSourcePin::ReadAny(LONGLONG position, LONG length, BYTE* buffer) {
  if (buffer == nullptr) {
    return E_POINTER;
  }
  if (position < 0 || length < 0) {
    return E_INVALIDARG;
  }
  ByteStore* const bytes = bytes_.get();
  if (bytes == nullptr) {
    return E_UNEXPECTED;
  }
  const auto held = static_cast<LONG>(std::clamp<LONGLONG>(length_ - position, 0, length));
  if (!bytes->Read(position, buffer, static_cast<std::size_t>(held))) {
    statistics_.Count(0);
    return HRESULT_FROM_WIN32(ERROR_READ_FAULT);
  }
  statistics_.Count(static_cast<std::uint64_t>(held));
  return held == length ? S_OK : S_FALSE;
}

STDMETHODIMP FileSourcePin::Length(LONGLONG* total, LONGLONG* available) {
  if (!bytes_) {
    return E_UNEXPECTED;
  }
  if (total != nullptr) {
    *total = length_;
  }
  if (available != nullptr) {
    *available = length_;
  }
  return S_OK;
}

}  // namespace vantor
