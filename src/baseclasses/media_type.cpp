#include "baseclasses/media_type.h"

#include <algorithm>
#include <cstring>
#include <new>
#include <utility>

using vantor::SameGuid;

namespace {

const GUID kNullGuid = {};

bool SameFormat(const AM_MEDIA_TYPE& left, const AM_MEDIA_TYPE& right) {
  return left.cbFormat == right.cbFormat &&
         (left.cbFormat == 0 || std::memcmp(left.pbFormat, right.pbFormat, left.cbFormat) == 0);
}

void Clear(AM_MEDIA_TYPE& mt) { mt = AM_MEDIA_TYPE{}; }

}  // namespace

HRESULT CopyMediaType(AM_MEDIA_TYPE* pmtTarget, const AM_MEDIA_TYPE* pmtSource) noexcept {
  *pmtTarget = *pmtSource;
  pmtTarget->pbFormat = nullptr;
  if (pmtSource->cbFormat != 0 && pmtSource->pbFormat) {
    pmtTarget->pbFormat = static_cast<BYTE*>(CoTaskMemAlloc(pmtSource->cbFormat));
    if (!pmtTarget->pbFormat) {
      pmtTarget->cbFormat = 0;
      pmtTarget->pUnk = nullptr;
      return E_OUTOFMEMORY;
    }
    std::memcpy(pmtTarget->pbFormat, pmtSource->pbFormat, pmtSource->cbFormat);
  } else {
    pmtTarget->cbFormat = 0;
  }
  if (pmtTarget->pUnk) pmtTarget->pUnk->AddRef();
  return S_OK;
}

void FreeMediaType(AM_MEDIA_TYPE& mt) noexcept {
  CoTaskMemFree(mt.pbFormat);
  mt.pbFormat = nullptr;
  mt.cbFormat = 0;
  if (IUnknown* pUnk = mt.pUnk) {
    mt.pUnk = nullptr;
    pUnk->Release();
  }
}

void DeleteMediaType(AM_MEDIA_TYPE* pmt) noexcept {
  if (!pmt) return;
  FreeMediaType(*pmt);
  CoTaskMemFree(pmt);
}

AM_MEDIA_TYPE* CreateMediaType(const AM_MEDIA_TYPE* pSource) noexcept {
  void* pMemory = CoTaskMemAlloc(sizeof(AM_MEDIA_TYPE));
  if (!pMemory) return nullptr;
  auto* pmt = new (pMemory) AM_MEDIA_TYPE;
  if (FAILED(CopyMediaType(pmt, pSource))) {
    CoTaskMemFree(pmt);
    return nullptr;
  }
  return pmt;
}

CMediaType::CMediaType() noexcept : AM_MEDIA_TYPE{} { InitMediaType(); }

CMediaType::CMediaType(const GUID* pMajorType) noexcept : CMediaType() { majortype = *pMajorType; }

CMediaType::CMediaType(const AM_MEDIA_TYPE& mt, HRESULT* phr) noexcept : AM_MEDIA_TYPE{} {
  const HRESULT hr = CopyMediaType(this, &mt);
  if (FAILED(hr) && phr) *phr = hr;
}

CMediaType::CMediaType(const CMediaType& mt) : AM_MEDIA_TYPE{} {
  if (FAILED(CopyMediaType(this, &mt))) throw std::bad_alloc();
}

CMediaType& CMediaType::operator=(const CMediaType& mt) { return *this = static_cast<const AM_MEDIA_TYPE&>(mt); }

CMediaType& CMediaType::operator=(const AM_MEDIA_TYPE& mt) {
  if (FAILED(Set(mt))) throw std::bad_alloc();
  return *this;
}

CMediaType::CMediaType(CMediaType&& mt) noexcept : AM_MEDIA_TYPE(mt) {
  Clear(mt);
  mt.InitMediaType();
}

CMediaType& CMediaType::operator=(CMediaType&& mt) noexcept {
  if (this != &mt) {
    std::swap(static_cast<AM_MEDIA_TYPE&>(*this), static_cast<AM_MEDIA_TYPE&>(mt));
    mt.InitMediaType();
  }
  return *this;
}

CMediaType::~CMediaType() { FreeMediaType(*this); }

HRESULT CMediaType::Set(const AM_MEDIA_TYPE& mt) noexcept {
  if (&mt == this) return S_OK;
  AM_MEDIA_TYPE copy;
  const HRESULT hr = CopyMediaType(&copy, &mt);
  if (FAILED(hr)) return hr;
  FreeMediaType(*this);
  static_cast<AM_MEDIA_TYPE&>(*this) = copy;
  return S_OK;
}

bool CMediaType::operator==(const CMediaType& mt) const noexcept {
  return SameGuid(majortype, mt.majortype) && SameGuid(subtype, mt.subtype) && SameGuid(formattype, mt.formattype) &&
         SameFormat(*this, mt);
}

BOOL CMediaType::IsValid() const noexcept { return !SameGuid(majortype, kNullGuid); }

void CMediaType::SetSampleSize(ULONG size) noexcept {
  if (size == 0) {
    SetVariableSize();
    return;
  }
  bFixedSizeSamples = TRUE;
  lSampleSize = size;
}

BOOL CMediaType::SetFormat(const BYTE* pFormat, ULONG length) noexcept {
  if (length == 0) {
    ResetFormatBuffer();
    return TRUE;
  }
  auto* pBlock = static_cast<BYTE*>(CoTaskMemAlloc(length));
  if (!pBlock) return FALSE;
  std::memcpy(pBlock, pFormat, length);  // which may lie in the block that goes
  CoTaskMemFree(pbFormat);
  pbFormat = pBlock;
  cbFormat = length;
  return TRUE;
}

BYTE* CMediaType::AllocFormatBuffer(ULONG length) noexcept {
  if (length == 0) return nullptr;
  if (pbFormat && cbFormat == length) return pbFormat;
  auto* pBlock = static_cast<BYTE*>(CoTaskMemAlloc(length));
  if (!pBlock) return nullptr;
  CoTaskMemFree(pbFormat);
  pbFormat = pBlock;
  cbFormat = length;
  return pbFormat;
}

BYTE* CMediaType::ReallocFormatBuffer(ULONG length) noexcept {
  if (length == 0) return nullptr;
  if (pbFormat && cbFormat == length) return pbFormat;
  auto* pBlock = static_cast<BYTE*>(CoTaskMemRealloc(pbFormat, length));
  if (!pBlock) return nullptr;
  pbFormat = pBlock;
  cbFormat = length;
  return pbFormat;
}

void CMediaType::ResetFormatBuffer() noexcept {
  CoTaskMemFree(pbFormat);
  pbFormat = nullptr;
  cbFormat = 0;
}

void CMediaType::InitMediaType() noexcept {
  FreeMediaType(*this);
  Clear(*this);
  lSampleSize = 1;
  bFixedSizeSamples = TRUE;
}

BOOL CMediaType::MatchesPartial(const CMediaType* pPartial) const noexcept {
  const auto meets = [](const GUID& wanted, const GUID& actual) {
    return SameGuid(wanted, kNullGuid) || SameGuid(wanted, actual);
  };
  if (!meets(pPartial->majortype, majortype) || !meets(pPartial->subtype, subtype)) return FALSE;
  if (SameGuid(pPartial->formattype, kNullGuid)) return TRUE;
  return SameGuid(pPartial->formattype, formattype) && SameFormat(*this, *pPartial);
}

BOOL CMediaType::IsPartiallySpecified() const noexcept {
  return SameGuid(majortype, kNullGuid) || SameGuid(formattype, kNullGuid);
}
