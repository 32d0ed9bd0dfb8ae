#include "mediatypes/base64.h"

#include <string>

#include "platform/result.h"

namespace vantor {

namespace {

constexpr char kAlphabet[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
constexpr std::size_t kLineLength = 76;

// The letter's 6 bits, or -1 outside the alphabet.
int Value(char letter) {
  if (letter >= 'A' && letter <= 'Z') return letter - 'A';
  if (letter >= 'a' && letter <= 'z') return letter - 'a' + 26;
  if (letter >= '0' && letter <= '9') return letter - '0' + 52;
  if (letter == '+') return 62;
  if (letter == '/') return 63;
  return -1;
}

}  // namespace

std::int32_t CVKBase64Encoder::DecodedSize(std::int32_t length) const {
  return static_cast<std::int32_t>(static_cast<std::uint32_t>(length) + 3) / 4 * 3;
}

std::int32_t CVKBase64Encoder::Decode(const char* text, std::int32_t length, std::uint8_t* output) const {
  std::int32_t written = 0;
  std::uint32_t bits = 0;
  int bitCount = 0;
  for (std::int32_t i = 0; i < length && text[i] != '='; ++i) {
    const int value = Value(text[i]);
    if (value < 0) continue;
    bits = (bits << 6 | static_cast<std::uint32_t>(value)) & 0xFFFF;
    bitCount += 6;
    if (bitCount >= 8) {
      bitCount -= 8;
      output[written++] = static_cast<std::uint8_t>(bits >> bitCount);
    }
  }
  return written;
}

HRESULT CVKBase64Encoder::Encode(const std::uint8_t* bytes, std::int32_t count) {
  return Guarded([&] { return AppendText(bytes, count); });
}

HRESULT CVKBase64Encoder::AppendText(const std::uint8_t* bytes, std::int32_t count) {
  std::string text;
  std::size_t column = 0;
  for (std::int64_t i = 0; i < count; i += 3) {
    if (column == kLineLength) {
      text += "\r\n";
      column = 0;
    }
    const std::int64_t left = count - i;
    const std::uint32_t group = static_cast<std::uint32_t>(bytes[i]) << 16 |
                                (left > 1 ? static_cast<std::uint32_t>(bytes[i + 1]) << 8 : 0) |
                                (left > 2 ? static_cast<std::uint32_t>(bytes[i + 2]) : 0);
    text += kAlphabet[group >> 18];
    text += kAlphabet[group >> 12 & 63];
    text += left > 1 ? kAlphabet[group >> 6 & 63] : '=';
    text += left > 2 ? kAlphabet[group & 63] : '=';
    column += 4;
  }
  return text.size() > INT32_MAX ? E_OUTOFMEMORY : Append(text.data(), static_cast<std::int32_t>(text.size()));
}

}  // namespace vantor
