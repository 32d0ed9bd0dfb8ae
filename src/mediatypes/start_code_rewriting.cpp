#include "mediatypes/start_code_rewriting.h"

#include <cstddef>
#include <utility>

namespace vantor {

namespace {

constexpr std::size_t kLengthSize = 2;

// Calls `visit(begin, size)` for every unit's payload; false at a length that is cut short or does not fit.
template <typename Visitor>
bool WalkUnits(const Bytes& units, Visitor visit) {
  std::size_t offset = 0;
  while (offset < units.size()) {
    if (units.size() - offset < kLengthSize) return false;
    const std::size_t length = static_cast<std::size_t>(units[offset]) << 8 | units[offset + 1];
    offset += kLengthSize;
    if (length > units.size() - offset) return false;
    visit(units.begin() + static_cast<std::ptrdiff_t>(offset), static_cast<std::ptrdiff_t>(length));
    offset += length;
  }
  return true;
}

}  // namespace

HRESULT RewriteParameterSets(Bytes& units) {
  std::size_t count = 0;
  if (!WalkUnits(units, [&](auto, auto) { ++count; }) || count == 0) return S_OK;
  Bytes rewritten;
  rewritten.reserve(units.size() + count);
  const HRESULT result = AppendWithStartCodes(units, rewritten);
  if (SUCCEEDED(result)) units = std::move(rewritten);
  return result;
}

HRESULT AppendWithStartCodes(const Bytes& units, Bytes& rewritten) {
  const bool whole = WalkUnits(units, [&](auto begin, auto size) {
    rewritten.insert(rewritten.end(), {0, 0, 1});
    rewritten.insert(rewritten.end(), begin, begin + size);
  });
  return whole ? S_OK : E_INVALIDARG;
}

}  // namespace vantor
