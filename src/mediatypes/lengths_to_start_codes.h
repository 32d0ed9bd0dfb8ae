// Parameter sets with 2-byte lengths, as AVC types carry them, turned into the form with start codes.
#pragma once

#include "parser/ebml_value.h"
#include "platform/com.h"

namespace vantor {

// Gives every unit a 3-byte start code in place of its length, so the bytes grow by one a unit. Bytes that are no run
// of whole units stay as they are. S_OK in both cases.
HRESULT RewriteParameterSets(Bytes& units);

// The second half of it: appends the rewritten units to `rewritten`. E_INVALIDARG at a length that does not fit.
HRESULT AppendWithStartCodes(const Bytes& units, Bytes& rewritten);

}  // namespace vantor
