#include "parser/lacing.h"

#include <algorithm>

namespace vantor {

namespace {

enum class Lacing : std::uint8_t { kNone = 0, kXiph = 1, kFixed = 2, kEbml = 3 };

Lacing LacingOf(std::uint8_t flags) { return static_cast<Lacing>(flags >> 1 & 3); }

// Bytes between the cursor and the payload's end. False when the cursor is beyond it.
bool Rest(const MkvElement& element, std::uint64_t& rest) {
  const std::uint64_t end = element.DataEnd();
  if (element.file->position > end) return false;
  rest = end - element.file->position;
  return true;
}

// One Xiph size: bytes up to the first that is not 255, added. Gives up once it is over the limit.
bool ReadXiphSize(const MkvElement& element, std::uint64_t limit, std::uint64_t& size) {
  size = 0;
  CMkvByte byte;
  do {
    if (byte.Read(element) != S_OK) return false;
    size += byte.value;
  } while (byte.value == 255 && size <= limit);
  return size <= limit;
}

// One EBML size: the first as it is, the others as the difference to the one before.
bool ReadEbmlSize(const MkvElement& element, bool isFirst, std::uint64_t limit, std::uint64_t& size) {
  if (isFirst) {
    CMkvLength first;
    if (first.Read(element) != S_OK) return false;
    size = first.value;
  } else {
    CMkvSignedLength delta;
    if (delta.Read(element) != S_OK) return false;
    const bool isNegative = static_cast<std::int64_t>(delta.value) < 0;
    if (isNegative && ~delta.value + 1 > size) return false;
    size += delta.value;
  }
  return size <= limit;
}

// Reads all sizes but the last, which takes what they leave of the payload.
template <typename ReadSize>
HRESULT ReadSizes(const MkvElement& element, LaceSizes& sizes, ReadSize readSize) {
  std::uint64_t limit = 0;
  if (!Rest(element, limit)) return E_FAIL;
  std::uint64_t sum = 0;
  std::uint64_t size = 0;
  for (std::size_t i = 0; i + 1 < sizes.count; ++i) {
    if (!readSize(i, limit - sum, size)) return E_FAIL;
    sizes.size[i] = size;
    sum += size;
  }
  std::uint64_t rest = 0;
  if (!Rest(element, rest) || sum > rest) return E_FAIL;
  sizes.size[sizes.count - 1] = rest - sum;
  return S_OK;
}

}  // namespace

HRESULT ReadLaceSizes(const MkvElement& element, std::uint8_t flags, LaceSizes& sizes) {
  const Lacing lacing = LacingOf(flags);
  CMkvByte head;
  if (lacing != Lacing::kNone && head.Read(element) != S_OK) return E_FAIL;
  sizes.count = std::size_t{head.value} + 1;
  switch (lacing) {
    case Lacing::kXiph:
      return ReadSizes(element, sizes, [&](std::size_t, std::uint64_t limit, std::uint64_t& size) {
        return ReadXiphSize(element, limit, size);
      });
    case Lacing::kEbml:
      if (head.value == 0) return E_FAIL;
      return ReadSizes(element, sizes, [&](std::size_t index, std::uint64_t limit, std::uint64_t& size) {
        return ReadEbmlSize(element, index == 0, limit, size);
      });
    case Lacing::kFixed: {
      std::uint64_t rest = 0;
      if (head.value == 255 || !Rest(element, rest)) return E_FAIL;
      std::fill_n(sizes.size.begin(), sizes.count, rest / sizes.count);
      return S_OK;
    }
    case Lacing::kNone:
      break;
  }
  return Rest(element, sizes.size[0]) ? S_OK : E_FAIL;
}

}  // namespace vantor
