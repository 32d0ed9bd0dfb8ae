// How lacing works.
//
// Bits 1 and 2 of the flags say how the payload behind the block's header divides into frames. Without lacing it is one
// frame. Otherwise a byte follows that counts the frames, less one, then the sizes, then the frames without a gap.
//
//   fixed   no sizes: all frames are equally long. What the division leaves over at the end is no frame's.
//   Xiph    all but the last frame: bytes that add up, each 255 announcing another.
//   EBML    the first frame as an element size, each further one but the last as the signed difference to the one
//           before.
//
// With the latter two the last frame takes what is left, so that the sizes always fill the payload or exceed it; those
// that exceed it reject the block, as a negative or an unreadable one does: after it nothing is where it should be.
// Each size is held against what the payload has left as it is read, which also ends the Xiph bytes of a hostile file.
// The sizes stand within the payload, so what the last frame gets is known only after the last of them was read.
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
    // In two's complement, so that the addition below wraps to the right result; it must not lead below zero.
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
      // One frame would be the first, whose size is told, and the last, whose size is not.
      if (head.value == 0) return E_FAIL;
      return ReadSizes(element, sizes, [&](std::size_t index, std::uint64_t limit, std::uint64_t& size) {
        return ReadEbmlSize(element, index == 0, limit, size);
      });
    case Lacing::kFixed: {
      std::uint64_t rest = 0;
      // 256 frames are 0 in the 8 bits that count them.
      if (head.value == 255 || !Rest(element, rest)) return E_FAIL;
      if (const std::uint64_t over = rest % sizes.count; over != 0) {
        element.file->Tolerate(Tolerated::kLaceRemainder, element.file->position, over);
      }
      std::fill_n(sizes.size.begin(), sizes.count, rest / sizes.count);
      return S_OK;
    }
    case Lacing::kNone:
      break;
  }
  return Rest(element, sizes.size[0]) ? S_OK : E_FAIL;
}

}  // namespace vantor
