#include "tools/forms/av1_units.h"

#include <algorithm>
#include <cstddef>

namespace vantor::tools {
namespace {

using Span = std::span<const std::uint8_t>;

constexpr unsigned kSequenceHeader = 1;
constexpr unsigned kTemporalDelimiter = 2;
constexpr std::uint8_t kHasExtension = 0x04;
constexpr std::uint8_t kHasSize = 0x02;

struct Unit {
  unsigned kind = 0;
  Span header;  // with its extension
  Span whole;   // the size included, where it has one
  Span payload;
};

// A number of 7 bits a byte, the lowest first.
bool TakeSize(Span& rest, std::size_t& size) {
  constexpr unsigned kLongest = 8;
  std::uint64_t value = 0;
  for (unsigned i = 0; i < kLongest && i < rest.size(); ++i) {
    value |= std::uint64_t{rest[i] & 0x7FU} << (7 * i);
    if ((rest[i] & 0x80) != 0) continue;
    rest = rest.subspan(i + 1);
    size = static_cast<std::size_t>(value);
    return value <= rest.size();
  }
  return false;
}

// False at the end, and where the rest is no unit.
bool TakeObu(Span& rest, Unit& unit) {
  if (rest.empty()) return false;
  const Span whole = rest;
  const std::uint8_t header = rest.front();
  const std::size_t headerSize = (header & kHasExtension) != 0 ? 2 : 1;
  if (rest.size() < headerSize) return false;
  Span behind = rest.subspan(headerSize);
  std::size_t size = behind.size();
  if ((header & kHasSize) != 0 && !TakeSize(behind, size)) return false;
  unit = {header >> 3 & 0xFU, whole.first(headerSize), {}, behind.first(size)};
  rest = behind.subspan(size);
  unit.whole = whole.first(whole.size() - rest.size());
  return true;
}

void AppendTo(std::vector<std::uint8_t>& made, Span bytes) { made.insert(made.end(), bytes.begin(), bytes.end()); }

void AppendWithSize(std::vector<std::uint8_t>& made, const Unit& unit) {
  if ((unit.header.front() & kHasSize) != 0) return AppendTo(made, unit.whole);
  made.push_back(unit.header.front() | kHasSize);
  AppendTo(made, unit.header.subspan(1));
  std::size_t size = unit.payload.size();
  for (; size > 0x7F; size >>= 7) made.push_back(static_cast<std::uint8_t>(size & 0x7F) | 0x80);
  made.push_back(static_cast<std::uint8_t>(size));
  AppendTo(made, unit.payload);
}

}  // namespace

bool HasSequenceHeader(Span units) {
  Unit unit;
  while (TakeObu(units, unit)) {
    if (unit.kind == kSequenceHeader) return true;
  }
  return false;
}

void MakeTemporalUnit(Span units, Span inFront, std::vector<std::uint8_t>& made) {
  made.assign({kTemporalDelimiter << 3 | kHasSize, 0});
  AppendTo(made, inFront);
  Unit unit;
  while (TakeObu(units, unit)) {
    if (unit.kind != kTemporalDelimiter) AppendWithSize(made, unit);
  }
  AppendTo(made, units);
}

}  // namespace vantor::tools
