#include "host/file_source_filter.h"

#include <cstring>
#include <new>
#include <utility>

#include "platform/result.h"
#include "platform/text.h"

namespace vantor {
namespace {

// {6B1D2C60-52A5-4F0E-9C0B-3D5A3B0E7B41}
constexpr GUID kFileSourceClassId = {0x6B1D2C60, 0x52A5, 0x4F0E, {0x9C, 0x0B, 0x3D, 0x5A, 0x3B, 0x0E, 0x7B, 0x41}};

}  // namespace

FileSourceFilter* FileSourceFilter::Create() noexcept {
  FileSourceFilter* created = nullptr;
  Guarded([&] {
    HRESULT hr = S_OK;
    created = new FileSourceFilter(&hr);
    created->AddRef();
    return hr;
  });
  return created;
}

FileSourceFilter::FileSourceFilter(HRESULT* result)
    : CBaseFilter(nullptr, nullptr, &lock_, kFileSourceClassId), pin_(new FileSourcePin(this, &lock_, &type_, result)) {
  pin_->HoldByFilter();
  type_.majortype = MEDIATYPE_Stream;
  type_.subtype = kSubtypePrivateMatroska;
  // A type without a format type would count as partly specified, and its refusal as another result.
  type_.formattype = FORMAT_None;
  type_.bFixedSizeSamples = TRUE;
  type_.lSampleSize = 1;
}

FileSourceFilter::~FileSourceFilter() { pin_->ReleaseByFilter(); }

STDMETHODIMP FileSourceFilter::NonDelegatingQueryInterface(REFIID riid, void** object) {
  if (object != nullptr && IsEqualGUID(riid, IID_IFileSourceFilter)) {
    return GetInterface(static_cast<IFileSourceFilter*>(this), object);
  }
  return CBaseFilter::NonDelegatingQueryInterface(riid, object);
}

STDMETHODIMP FileSourceFilter::Load(LPCOLESTR fileName, const AM_MEDIA_TYPE* type) {
  if (fileName == nullptr) {
    return E_POINTER;
  }
  return Guarded([&]() -> HRESULT {
    if (pin_->Bytes()) {
      return E_FAIL;
    }
    WideString name(fileName);
    FileError error = FileError::kNone;
    std::shared_ptr<ByteStore> bytes = OpenStore(WideToUtf8(name), StoreKind::kFastest, error);
    if (!bytes) {
      return ResultOf(error);
    }
    if (type != nullptr) {
      type_ = *type;
    }
    SetBytes(std::move(bytes), std::move(name));
    return S_OK;
  });
}

STDMETHODIMP FileSourceFilter::GetCurFile(LPOLESTR* fileName, AM_MEDIA_TYPE* type) {
  if (fileName == nullptr) {
    return E_POINTER;
  }
  *fileName = nullptr;
  if (!pin_->Bytes()) {
    return E_FAIL;
  }
  const std::size_t size = (name_.size() + 1) * sizeof(WCHAR);
  auto* copy = static_cast<LPOLESTR>(CoTaskMemAlloc(size));
  if (copy == nullptr) {
    return E_OUTOFMEMORY;
  }
  std::memcpy(copy, name_.c_str(), size);
  *fileName = copy;
  return type != nullptr ? CopyMediaType(type, &type_) : S_OK;
}

void FileSourceFilter::SetBytes(std::shared_ptr<ByteStore> bytes, WideString name) {
  name_ = std::move(name);
  pin_->SetBytes(std::move(bytes));
}

}  // namespace vantor
