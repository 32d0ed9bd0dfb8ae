#include "parser/byte_source.h"

#include <algorithm>

namespace vantor {

CMkvFileReader::CMkvFileReader(IAsyncReader* source) : reader(source) {
  reader->AddRef();
  LONGLONG total = 0;
  LONGLONG available = 0;
  if (SUCCEEDED(reader->Length(&total, &available)) && total > 0) length = static_cast<std::uint64_t>(total);
}

CMkvFileReader::~CMkvFileReader() { reader->Release(); }

HRESULT CMkvFileReader::Read(void* buffer, std::uint64_t size) {
  if (position >= length) return E_FAIL;
  if (size == 0) return S_OK;
  if (size > allowance) return E_FAIL;
  allowance -= size;
  constexpr std::uint64_t kLargestChunk = 0x7FFFFFFF;
  auto* to = static_cast<BYTE*>(buffer);
  std::uint64_t chunk = std::min(size, kLargestChunk);
  for (;;) {
    if (chunk > length - position) chunk = length - position;
    const std::uint32_t before = flushes ? flushes->Changes() : 0;
    const HRESULT result = reader->SyncRead(static_cast<LONGLONG>(position), static_cast<LONG>(chunk), to);
    if (result != S_OK) {
      // One that was under way at the call is still, or has changed the count by ending.
      if (flushes && (flushes->IsUnderWay() || flushes->Changes() != before)) wasLetGo = true;
      return result;
    }
    position += chunk;
    if (chunk == size) return S_OK;
    if (position >= length) return E_FAIL;
    to += chunk;
    size -= chunk;
    chunk = std::min(size, kLargestChunk);
  }
}

std::uint64_t CMkvFileReader::AllowanceOf(std::uint64_t times, std::uint64_t slack) const {
  return std::min(length, (~std::uint64_t{0} - slack) / times) * times + slack;
}

CMkvFileClone::CMkvFileClone(CMkvFile& root) : CMkvFile(root.reader), source_(&root) {
  position = root.position;
  length = root.length;
  flushes = root.flushes;
}

}  // namespace vantor
