#include "tools/json_text.h"

#include <cmath>
#include <cstdint>
#include <iterator>

#include "platform/text.h"

namespace vantor::tools {

void AppendJsonString(Buffer& out, std::string_view utf8) {
  out.push_back('"');
  for (const char c : utf8) {
    if (c == '"' || c == '\\') {
      out.push_back('\\');
      out.push_back(c);
    } else if (static_cast<unsigned char>(c) < 0x20 || c == 0x7F) {
      fmt::format_to(std::back_inserter(out), "\\u{:04x}", static_cast<unsigned>(c));
    } else {
      out.push_back(c);
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

std::string ResultText(HRESULT result) { return fmt::format("0x{:08X}", static_cast<std::uint32_t>(result)); }

}  // namespace vantor::tools
