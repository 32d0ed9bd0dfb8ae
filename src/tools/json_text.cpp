#include "tools/json_text.h"

#include <cmath>
#include <cstdint>
#include <iterator>

#include "platform/text.h"

namespace vantor::tools {

void AppendJsonString(Buffer& out, std::string_view utf8) {
  const auto isControl = [](unsigned char c) { return c < 0x20 || c == 0x7F; };
  out.push_back('"');
  for (std::size_t i = 0; i < utf8.size(); ++i) {
    const auto c = static_cast<unsigned char>(utf8[i]);
    const auto next = static_cast<unsigned char>(i + 1 < utf8.size() ? utf8[i + 1] : 0);
    if (c == '"' || c == '\\') {
      out.push_back('\\');
      out.push_back(utf8[i]);
    } else if (isControl(c)) {
      fmt::format_to(std::back_inserter(out), "\\u{:04x}", c);
    } else if (c == 0xC2 && next >= 0x80 && next <= 0x9F) {
      fmt::format_to(std::back_inserter(out), "\\u{:04x}", next);
      ++i;
    } else {
      out.push_back(utf8[i]);
    }
  }
  out.push_back('"');
}

void AppendJsonString(Buffer& out, const WideString& text) { AppendJsonString(out, WideToUtf8(text)); }

void AppendHex(Buffer& out, const unsigned char* bytes, std::size_t size) {
  static constexpr char kDigits[] = "0123456789abcdef";
  for (std::size_t i = 0; i < size; ++i) {
    out.push_back(kDigits[bytes[i] >> 4]);
    out.push_back(kDigits[bytes[i] & 15]);
  }
}

void AppendReal(Buffer& out, double value) {
  if (!std::isfinite(value)) {
    out.append(std::string_view("null"));
    return;
  }
  const std::string text = fmt::format("{}", value);
  out.append(text);
  if (text.find_first_of(".e") == std::string::npos) {
    out.append(std::string_view(".0"));
  }
}

std::string ValidUtf8(std::string_view text) { return WideToUtf8(Utf8ToWide(text)); }

std::string ResultText(HRESULT result) { return fmt::format("0x{:08X}", static_cast<std::uint32_t>(result)); }

}  // namespace vantor::tools
