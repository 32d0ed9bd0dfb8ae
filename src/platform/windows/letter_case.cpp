#include "platform/letter_case.h"

#include <windows.h>

namespace vantor::platform {
namespace {

WideString Mapped(const WideString& text, DWORD how) {
  WideString mapped(text.size(), L'\0');
  const auto size = static_cast<int>(text.size());
  const int written =
      LCMapStringEx(LOCALE_NAME_INVARIANT, how, text.data(), size, mapped.data(), size, nullptr, nullptr, 0);
  return written == size ? mapped : text;
}

}  // namespace

// By way of the small letter, since some signs are the capital of a letter that has another one.
WideString WithoutCaseOfUnits(WideStringView text) {
  return Mapped(Mapped(WideString(text), LCMAP_LOWERCASE), LCMAP_UPPERCASE);
}

}  // namespace vantor::platform
