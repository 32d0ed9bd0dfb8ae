// Walks over NAL units, the parts of an AVC stream, in both framings: each behind its big-endian length, or between
// start codes.
//
//   while (TakeUnit(rest, unit)) Use(unit);                                        // 00 02 67 64 ...
//   VisitUnitsAfterStartCodes(bytes, [&](ByteSpan unit) { return Use(unit); });    // 00 00 01 67 64 ...
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

#include "parser/ebml_value.h"

namespace vantor {

using ByteSpan = std::span<const std::uint8_t>;

// Takes a unit with a 2-byte length from the front of the bytes. False, with both unchanged, when the length is cut
// short or does not fit.
bool TakeUnit(ByteSpan& bytes, ByteSpan& unit);

// Appends the unit, of at most 65,535 bytes, behind its 2-byte length.
void AppendUnit(Bytes& bytes, ByteSpan unit);

// Takes `count` such units, each of which `visit(unit)` is called with; false at the first that does not fit.
template <typename Visit>
bool TakeUnits(ByteSpan& bytes, unsigned count, Visit&& visit) {
  ByteSpan unit;
  for (unsigned i = 0; i < count; ++i) {
    if (!TakeUnit(bytes, unit)) return false;
    visit(unit);
  }
  return true;
}

// Bytes of an AVC configuration record in front of its sequence sets, the count of those included.
inline constexpr std::size_t kAvcRecordHeaderSize = 6;

// Calls `visit(unit)` for the sequence sets of an AVC configuration record, then for its picture sets. False when the
// record ends before its last set; those up to there have been visited.
template <typename Visit>
bool VisitParameterSets(ByteSpan record, Visit&& visit) {
  if (record.size() < kAvcRecordHeaderSize) return false;
  ByteSpan rest = record.subspan(kAvcRecordHeaderSize);
  if (!TakeUnits(rest, record[kAvcRecordHeaderSize - 1] & 31U, visit) || rest.empty()) return false;
  const unsigned pictureSets = rest.front();
  rest = rest.subspan(1);
  return TakeUnits(rest, pictureSets, visit);
}

// Where the next start code 00 00 01 begins, at `from` or behind; the size when there is none.
std::size_t FindStartCode(ByteSpan bytes, std::size_t from);
// The same for the start code of four bytes, 00 00 00 01.
std::size_t FindLongStartCode(ByteSpan bytes, std::size_t from);

inline constexpr std::size_t kStartCodeSize = 3;
inline constexpr std::size_t kLongStartCodeSize = 4;

// Calls `visit(unit)` for every unit behind a start code until it answers false. A unit ends before the zero bytes in
// front of the next start code, which may be part of that; the last one keeps its zeros.
template <typename Visit>
void VisitUnitsAfterStartCodes(ByteSpan bytes, Visit&& visit) {
  std::size_t code = FindStartCode(bytes, 0);
  while (code < bytes.size()) {
    const std::size_t begin = code + kStartCodeSize;
    const std::size_t next = FindStartCode(bytes, begin);
    std::size_t end = next;
    if (next < bytes.size()) {
      while (end > begin && bytes[end - 1] == 0) --end;
    }
    if (!visit(bytes.subspan(begin, end - begin))) return;
    code = next;
  }
}

}  // namespace vantor
