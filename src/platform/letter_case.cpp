// The systems fold letters of one unit. Those of two, of a few young or ancient scripts, stand here, so that the same
// texts are equal everywhere.
#include "platform/letter_case.h"

#include <algorithm>
#include <cstdint>
#include <iterator>

namespace vantor::platform {
namespace {

// Capitals of a script without a gap, and how far behind each its small letter stands.
struct CapitalLetters {
  std::uint32_t first;
  std::uint32_t last;
  std::uint32_t distance;
};

constexpr CapitalLetters kCapitals[] = {
    {0x10400, 0x10427, 0x28},  // Deseret
    {0x104B0, 0x104D3, 0x28},  // Osage
    {0x10570, 0x1057A, 0x27},  // Vithkuqi, in four runs
    {0x1057C, 0x1058A, 0x27}, {0x1058C, 0x10592, 0x27},
    {0x10594, 0x10595, 0x27}, {0x10C80, 0x10CB2, 0x40},  // Old Hungarian
    {0x10D50, 0x10D65, 0x20},                            // Garay
    {0x118A0, 0x118BF, 0x20},                            // Warang Citi
    {0x16E40, 0x16E5F, 0x20},                            // Medefaidrin
    {0x1E900, 0x1E921, 0x22},                            // Adlam
};

std::uint32_t CapitalOf(std::uint32_t letter) {
  const auto* const script = std::find_if(std::begin(kCapitals), std::end(kCapitals), [&](const CapitalLetters& one) {
    return letter >= one.first + one.distance && letter <= one.last + one.distance;
  });
  return script == std::end(kCapitals) ? letter : letter - script->distance;
}

}  // namespace

WideString WithoutCase(WideStringView text) {
  WideString folded = WithoutCaseOfUnits(text);
  for (std::size_t i = 0; i + 1 < folded.size(); ++i) {
    const std::uint32_t high = folded[i];
    const std::uint32_t low = folded[i + 1];
    if (high < 0xD800 || high > 0xDBFF || low < 0xDC00 || low > 0xDFFF) continue;
    const std::uint32_t letter = CapitalOf(0x10000 + ((high - 0xD800) << 10 | (low - 0xDC00))) - 0x10000;
    folded[i] = static_cast<WCHAR>(0xD800 + (letter >> 10));
    folded[++i] = static_cast<WCHAR>(0xDC00 + (letter & 0x3FF));
  }
  return folded;
}

}  // namespace vantor::platform
