#include "parser/header_cursor.h"

namespace vantor {

namespace {

// Shifts `count` more bytes into the value, each by a read of its own.
template <typename T>
HRESULT ShiftIn(CMkvFileReader& file, int count, T& value) {
  for (; count > 0; --count) {
    std::uint8_t byte = 0;
    if (const HRESULT result = file.ReadByte(byte); result != S_OK) return result;
    value = static_cast<T>(value << 8 | byte);
  }
  return S_OK;
}

// The number of zero bits before the marker: how many bytes follow the first one.
int LeadingZeros(std::uint8_t byte) {
  int count = 0;
  for (int bit = 0x80; bit != 0 && (byte & bit) == 0; bit >>= 1) ++count;
  return count;
}

}  // namespace

HRESULT HeaderCursor::Read(CMkvFileReader& file, void* buffer, std::uint32_t size) {
  return file.ReadFew(buffer, size);
}

void HeaderCursor::NoteFailedRead(CMkvFileReader& file, std::uint32_t size) { file.NoteFailedRead(size); }

HRESULT HeaderCursor::RestOfId(CMkvFileReader& file, std::uint8_t first, std::uint32_t& value) {
  const int more = LeadingZeros(first);
  if (more > 3) return E_FAIL;
  value = first;
  return ShiftIn(file, more, value);
}

HRESULT HeaderCursor::RestOfLength(CMkvFileReader& file, std::uint8_t first, EbmlLength& length) {
  const int more = LeadingZeros(first);
  if (more > 7) return E_FAIL;
  length.value = first & (0x7Fu >> more);
  length.bytes = more + 1;
  if (const HRESULT result = ShiftIn(file, more, length.value); result != S_OK) return result;
  // All bits set mean the rest of the file, even in a lace or a track number, where that says nothing sensible: one
  // reader for all, and what it makes of them is refused for its size.
  length.isUnknown = length.value == length.LargestOfItsBytes();
  if (length.isUnknown) length.value = file.Remaining();
  return S_OK;
}

}  // namespace vantor
