#include "platform/letter_case.h"

#include <clocale>
#include <cwctype>

namespace vantor::platform {
namespace {

class UnicodeLetters {
 public:
  UnicodeLetters() : locale_(newlocale(LC_CTYPE_MASK, "C.UTF-8", nullptr)) {}
  ~UnicodeLetters() {
    if (locale_ != nullptr) freelocale(locale_);
  }
  UnicodeLetters(const UnicodeLetters&) = delete;
  UnicodeLetters& operator=(const UnicodeLetters&) = delete;

  // By way of the small letter, since some signs are the capital of a letter that has another one.
  WCHAR Fold(WCHAR unit) const {
    // A system without that locale knows ASCII.
    const auto letter = static_cast<wint_t>(unit);
    const wint_t folded =
        locale_ != nullptr ? towupper_l(towlower_l(letter, locale_), locale_) : std::towupper(std::towlower(letter));
    return folded <= 0xFFFF ? static_cast<WCHAR>(folded) : unit;
  }

 private:
  const locale_t locale_;
};

}  // namespace

WideString WithoutCaseOfUnits(WideStringView text) {
  static const UnicodeLetters kLetters;
  WideString folded(text);
  for (WCHAR& unit : folded) unit = kLetters.Fold(unit);
  return folded;
}

}  // namespace vantor::platform
