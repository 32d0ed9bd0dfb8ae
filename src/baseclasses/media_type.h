// Media types and their format blocks, which live in COM task memory.
#pragma once

#include "platform/com.h"

// Copies the structure, its format block and a reference on its unknown. `pmtTarget` is overwritten, not freed.
// E_OUTOFMEMORY leaves it without a format block or unknown.
HRESULT CopyMediaType(AM_MEDIA_TYPE* pmtTarget, const AM_MEDIA_TYPE* pmtSource) noexcept;
// Frees what the structure holds, not the structure. It may be freed again.
void FreeMediaType(AM_MEDIA_TYPE& mt) noexcept;
// Frees a structure in task memory and what it holds; null is allowed.
void DeleteMediaType(AM_MEDIA_TYPE* pmt) noexcept;
// A copy in task memory, or null when there is no memory.
AM_MEDIA_TYPE* CreateMediaType(const AM_MEDIA_TYPE* pSource) noexcept;

// An AM_MEDIA_TYPE that owns its format block. A fresh one is all zero but for a fixed sample size of 1.
class CMediaType : public AM_MEDIA_TYPE {
 public:
  CMediaType() noexcept;
  explicit CMediaType(const GUID* pMajorType) noexcept;
  // `phr`, when given, receives E_OUTOFMEMORY when the format block cannot be copied; it is otherwise left alone.
  explicit CMediaType(const AM_MEDIA_TYPE& mt, HRESULT* phr = nullptr) noexcept;
  // Copies raise std::bad_alloc when the format block cannot be copied; Set reports instead.
  CMediaType(const CMediaType& mt);
  CMediaType& operator=(const CMediaType& mt);
  CMediaType& operator=(const AM_MEDIA_TYPE& mt);
  CMediaType(CMediaType&& mt) noexcept;
  CMediaType& operator=(CMediaType&& mt) noexcept;
  ~CMediaType();

  // E_OUTOFMEMORY leaves this type as it was.
  HRESULT Set(const AM_MEDIA_TYPE& mt) noexcept;

  // The same major type, subtype, format type and format block; nothing else is compared.
  bool operator==(const CMediaType& mt) const noexcept;
  bool operator!=(const CMediaType& mt) const noexcept { return !(*this == mt); }

  // Has a major type.
  BOOL IsValid() const noexcept;

  const GUID* Type() const noexcept { return &majortype; }
  void SetType(const GUID* pType) noexcept { majortype = *pType; }
  const GUID* Subtype() const noexcept { return &subtype; }
  void SetSubtype(const GUID* pType) noexcept { subtype = *pType; }
  const GUID* FormatType() const noexcept { return &formattype; }
  void SetFormatType(const GUID* pType) noexcept { formattype = *pType; }

  BOOL IsFixedSize() const noexcept { return bFixedSizeSamples; }
  BOOL IsTemporalCompressed() const noexcept { return bTemporalCompression; }
  // The fixed size, or 0 for a variable one.
  ULONG GetSampleSize() const noexcept { return bFixedSizeSamples ? lSampleSize : 0; }
  // 0 makes the size variable.
  void SetSampleSize(ULONG size) noexcept;
  void SetVariableSize() noexcept { bFixedSizeSamples = FALSE; }
  void SetTemporalCompression(BOOL bCompressed) noexcept { bTemporalCompression = bCompressed; }

  BYTE* Format() const noexcept { return pbFormat; }
  ULONG FormatLength() const noexcept { return cbFormat; }
  // Copies the bytes in; FALSE, with this type as it was, when there is no memory.
  BOOL SetFormat(const BYTE* pFormat, ULONG length) noexcept;
  // A format block of that length with undefined content; null, with this type as it was, when there is no memory or
  // the length is 0.
  BYTE* AllocFormatBuffer(ULONG length) noexcept;
  // The same, keeping the content up to the shorter length; bytes beyond it are undefined.
  BYTE* ReallocFormatBuffer(ULONG length) noexcept;
  void ResetFormatBuffer() noexcept;

  // Back to a fresh media type.
  void InitMediaType() noexcept;

  // Whether the given type, whose null GUIDs stand for anything, is met by this one. A format type in it compares the
  // format block as well.
  BOOL MatchesPartial(const CMediaType* pPartial) const noexcept;
  // Lacks a major type or a format type.
  BOOL IsPartiallySpecified() const noexcept;
};
