// How values are read.
//
// A holder reads at the cursor, and what it reads is bounded by the element's size only where the format says so: an
// identifier, a size, a byte and a short have a width of their own. That may lead beyond the element, which does no
// harm, since a walk goes on where the element ends and not where the cursor stands. Identifiers and sizes are read a
// byte at a time: how many there are is known after the first, and at the end of the file no read may ask for more.
//
// A read that fails leaves `present` false, and perhaps a part of the value. Owners that have a default to lose read
// into a fresh holder and copy it (element_table.h).
#include "parser/ebml_value.h"

#include <cstddef>
#include <cstring>
#include <string_view>

#include "parser/element.h"
#include "parser/header_cursor.h"
#include "platform/big_endian.h"
#include "platform/text.h"

namespace vantor {

namespace {

template <typename Buffer>
HRESULT ReadPayload(const MkvElement& element, Buffer& buffer) {
  if (element.file == nullptr) return E_POINTER;
  const std::uint64_t size = element.size.value;
  Buffer read;
  if (size != 0) {
    // Asked before anything is allocated: a size is only a number in a file.
    if (size > element.file->Remaining() || size > kLargestPayload || !element.file->payloadRoom.Take(size)) {
      element.NotePassedOver(Tolerated::kPayloadOutOfBounds);
      return E_FAIL;
    }
    read.resize(static_cast<std::size_t>(size));
    if (const HRESULT result = element.file->Read(read.data(), size); result != S_OK) return result;
  }
  buffer = std::move(read);
  return S_OK;
}

}  // namespace

// Present before it is read, here and in CMkvShort: the two are the fixed fields of a block's header, which are there
// whether they could be read or not; those that could not are 0.
HRESULT CMkvByte::Read(const MkvElement& element) {
  if (element.file == nullptr) return E_POINTER;
  present = true;
  return element.file->ReadByte(value);
}

HRESULT CMkvShort::Read(const MkvElement& element) {
  if (element.file == nullptr) return E_POINTER;
  present = true;
  std::uint8_t bytes[2] = {};
  const HRESULT result = element.file->ReadFew(bytes, sizeof bytes);
  if (result == S_OK) value = static_cast<std::int16_t>(BigEndian(bytes, sizeof bytes));
  return result;
}

HRESULT CMkvID::Read(const MkvElement& element) {
  if (element.file == nullptr) return E_POINTER;
  HeaderCursor in(*element.file);
  const HRESULT result = in.ReadId(value);
  in.Store();
  if (result == S_OK) present = true;
  return result;
}

HRESULT CMkvLength::Read(const MkvElement& element) {
  if (element.file == nullptr) return E_POINTER;
  HeaderCursor in(*element.file);
  EbmlLength length;
  length.value = value;
  const HRESULT result = in.ReadLength(length);
  in.Store();
  value = length.value;
  if (result != S_OK) return result;
  isUnknown = length.isUnknown;
  if (isSigned) value -= length.LargestOfItsBytes() >> 1;
  present = true;
  return S_OK;
}

HRESULT CMkvUInt::Read(const MkvElement& element) {
  if (element.file == nullptr) return E_POINTER;
  CMkvFile& file = *element.file;
  std::uint8_t bytes[8] = {};
  std::uint64_t size = element.size.value;
  value = 0;
  if (size > sizeof bytes) {
    // All but the last 8 would be shifted out at the top; not reading them is the same, and as cheap as it can be.
    if (size > file.Remaining()) {
      file.position = file.length;
      return E_FAIL;
    }
    file.Tolerate(Tolerated::kIntegerTooLong, element.start, size - sizeof bytes);
    file.position += size - sizeof bytes;
    size = sizeof bytes;
  }
  if (size != 0) {
    const std::uint64_t before = file.position;
    const HRESULT result = file.Read(bytes, size);
    // Of a payload that the end cuts off, what was there: as if it had been shifted in byte by byte.
    value = BigEndian(bytes, static_cast<std::size_t>(file.position - before));
    if (result != S_OK) return result;
  }
  present = true;
  return S_OK;
}

HRESULT CMkvInt::Read(const MkvElement& element) {
  if (element.file == nullptr) return E_POINTER;
  std::uint8_t bytes[8] = {};
  const std::uint64_t size = element.size.value;
  value = 0;
  if (size > sizeof bytes) return E_FAIL;
  if (size != 0) {
    if (const HRESULT result = element.file->Read(bytes, size); result != S_OK) return result;
    value = static_cast<std::int64_t>(BigEndian(bytes, sizeof bytes)) >> (8 * (sizeof bytes - size));
  }
  present = true;
  return S_OK;
}

HRESULT CMkvFloat::Read(const MkvElement& element) {
  if (element.file == nullptr) return E_POINTER;
  std::uint8_t bytes[8] = {};
  const std::uint64_t size = element.size.value;
  value = 0.0;
  if (size != 4 && size != 8) return E_FAIL;
  if (const HRESULT result = element.file->Read(bytes, size); result != S_OK) return result;
  if (size == 4) {
    const auto bits = static_cast<std::uint32_t>(BigEndian(bytes, 4));
    float single = 0;
    std::memcpy(&single, &bits, sizeof single);
    value = single;
  } else {
    const std::uint64_t bits = BigEndian(bytes, 8);
    std::memcpy(&value, &bits, sizeof value);
  }
  present = true;
  return S_OK;
}

HRESULT ReadAsciiString(const MkvElement& element, std::string& text) {
  std::string read;
  if (const HRESULT result = ReadPayload(element, read); result != S_OK) return result;
  if (const std::size_t end = read.find('\0'); end != std::string::npos) {
    read.resize(end);
    read.shrink_to_fit();
  }
  text = std::move(read);
  return S_OK;
}

HRESULT ReadUtf8String(const MkvElement& element, WideString& text) {
  std::string read;
  if (const HRESULT result = ReadPayload(element, read); result != S_OK) return result;
  const std::string_view upToZero = std::string_view(read).substr(0, read.find('\0'));
  text = Utf8ToWide(upToZero);
  // Valid text survives the way back.
  if (element.file->tolerated.IsCollecting() && WideToUtf8(text) != upToZero) {
    element.NotePassedOver(Tolerated::kInvalidText);
  }
  return S_OK;
}

HRESULT ReadBytes(const MkvElement& element, Bytes& bytes) { return ReadPayload(element, bytes); }

}  // namespace vantor
