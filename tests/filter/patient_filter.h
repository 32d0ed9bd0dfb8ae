// The filter with a patience of the test's own, so that what it waits for in vain does not take seconds.
#pragma once

#include "filter/mkv_filter.h"
#include "platform/com_ptr.h"
#include "platform/font_functions.h"
#include "streaming/patience.h"

namespace vantor::test {

inline ComPtr<CVXMkvDmx> NewPatientFilter(const Patience& patience) {
  HRESULT result = S_OK;
  return ComPtr<CVXMkvDmx>(
      new CVXMkvDmx(nullptr, &result, platform::FindFontFunctions(), platform::SystemTemporaryFiles(), patience));
}

}  // namespace vantor::test
