#include "mediatypes/nal_units.h"

#include "platform/big_endian.h"

namespace vantor {

namespace {

constexpr std::size_t kUnitLengthSize = 2;

}  // namespace

bool TakeUnit(ByteSpan& bytes, ByteSpan& unit) {
  if (bytes.size() < kUnitLengthSize) return false;
  const auto length = BigEndian<std::size_t>(bytes.data(), kUnitLengthSize);
  if (length > bytes.size() - kUnitLengthSize) return false;
  unit = bytes.subspan(kUnitLengthSize, length);
  bytes = bytes.subspan(kUnitLengthSize + length);
  return true;
}

void AppendUnit(Bytes& bytes, ByteSpan unit) {
  const std::size_t at = bytes.size();
  bytes.resize(at + kUnitLengthSize);
  StoreBigEndian(&bytes[at], kUnitLengthSize, unit.size());
  bytes.insert(bytes.end(), unit.begin(), unit.end());
}

std::size_t FindStartCode(ByteSpan bytes, std::size_t from) {
  for (std::size_t at = from; at + kStartCodeSize <= bytes.size(); ++at) {
    if (bytes[at] == 0 && bytes[at + 1] == 0 && bytes[at + 2] == 1) return at;
  }
  return bytes.size();
}

std::size_t FindLongStartCode(ByteSpan bytes, std::size_t from) {
  // A start code of three bytes with one more zero in front of it.
  for (std::size_t at = from + 1; (at = FindStartCode(bytes, at)) < bytes.size(); ++at) {
    if (bytes[at - 1] == 0) return at - 1;
  }
  return bytes.size();
}

}  // namespace vantor
