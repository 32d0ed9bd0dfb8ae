#include "mediatypes/lengths_to_start_codes.h"

#include <cstddef>
#include <utility>

#include "mediatypes/nal_units.h"

namespace vantor {

namespace {

// Calls `visit(unit)` for every unit; false when the bytes are no run of whole units.
template <typename Visit>
bool VisitAll(ByteSpan bytes, Visit visit) {
  ByteSpan unit;
  while (!bytes.empty()) {
    if (!TakeUnit(bytes, unit)) return false;
    visit(unit);
  }
  return true;
}

}  // namespace

HRESULT RewriteParameterSets(Bytes& units) {
  std::size_t count = 0;
  if (!VisitAll(units, [&](ByteSpan) { ++count; }) || count == 0) return S_OK;
  Bytes rewritten;
  rewritten.reserve(units.size() + count);
  const HRESULT result = AppendWithStartCodes(units, rewritten);
  if (SUCCEEDED(result)) units = std::move(rewritten);
  return result;
}

HRESULT AppendWithStartCodes(const Bytes& units, Bytes& rewritten) {
  const bool whole = VisitAll(units, [&](ByteSpan unit) {
    rewritten.insert(rewritten.end(), {0, 0, 1});
    rewritten.insert(rewritten.end(), unit.begin(), unit.end());
  });
  return whole ? S_OK : E_INVALIDARG;
}

}  // namespace vantor
