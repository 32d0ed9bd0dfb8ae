// Conversion between UTF-8 and the platform's 16-bit text. Neither direction fails: what is not valid text becomes
// U+FFFD, so a damaged name still names something.
#pragma once

#include <string>
#include <string_view>

#include "platform/com.h"

namespace vantor {

using WideStringView = std::basic_string_view<WCHAR>;

// Every maximal run of bytes that starts a valid sequence but does not finish it, and every other invalid byte, becomes
// one U+FFFD. Zero bytes are characters like any other.
WideString Utf8ToWide(std::string_view text);

// A surrogate without its other half becomes U+FFFD.
std::string WideToUtf8(WideStringView text);

// The registry's form of a GUID: "{E436EB83-524F-11CE-9F53-0020AF0BA770}".
std::string GuidText(const GUID& guid);

}  // namespace vantor
