#include "mediatypes/format_block.h"

#include <limits>

namespace vantor {

HRESULT MakeFormatBlock(CMediaType& type, const GUID& formatType, std::uint64_t size) {
  if (size > std::numeric_limits<ULONG>::max()) return E_OUTOFMEMORY;
  const ULONG length = static_cast<ULONG>(size);
  BYTE* block = type.AllocFormatBuffer(length);
  if (block == nullptr) return E_OUTOFMEMORY;
  std::memset(block, 0, length);
  type.SetFormatType(&formatType);
  return S_OK;
}

void StoreBytes(CMediaType& type, std::size_t offset, const void* bytes, std::size_t size) {
  if (size != 0) std::memcpy(type.Format() + offset, bytes, size);
}

}  // namespace vantor
