// Filling a media type's format block: a published header structure with bytes of the codec's behind it.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>

#include "baseclasses/media_type.h"
#include "parser/ebml_value.h"
#include "platform/com.h"

namespace vantor {

// Gives the type a format block of that many zero bytes, at least one. S_OK or E_OUTOFMEMORY, also for sizes that a
// media type cannot hold.
HRESULT MakeFormatBlock(CMediaType& type, const GUID& formatType, std::uint64_t size);

// Copies bytes into the block at the offset; they lie inside it.
void StoreBytes(CMediaType& type, std::size_t offset, const void* bytes, std::size_t size);

inline void StoreBytes(CMediaType& type, std::size_t offset, const Bytes& bytes) {
  StoreBytes(type, offset, bytes.data(), bytes.size());
}

// Copies the first `size` bytes of a header structure to the block's start.
template <typename Header>
void StoreHeader(CMediaType& type, const Header& header, std::size_t size = sizeof(Header)) {
  StoreBytes(type, 0, &header, size);
}

}  // namespace vantor
