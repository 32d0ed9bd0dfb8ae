#include "platform/text.h"

#include <cstdint>

namespace vantor {
namespace {

constexpr std::uint32_t kReplacement = 0xFFFD;

// What may follow a lead byte: the number of continuation bytes and the range of the first of them, which shuts out
// overlong forms, surrogates and everything above U+10FFFF.
struct Lead {
  int continuations;
  std::uint8_t low;
  std::uint8_t high;
};

Lead LeadOf(std::uint8_t byte) {
  if (byte < 0xC2) return {0, 0, 0};
  if (byte < 0xE0) return {1, 0x80, 0xBF};
  if (byte == 0xE0) return {2, 0xA0, 0xBF};
  if (byte == 0xED) return {2, 0x80, 0x9F};
  if (byte < 0xF0) return {2, 0x80, 0xBF};
  if (byte == 0xF0) return {3, 0x90, 0xBF};
  if (byte < 0xF4) return {3, 0x80, 0xBF};
  if (byte == 0xF4) return {3, 0x80, 0x8F};
  return {0, 0, 0};
}

// Decodes the character at `at` and moves past it, or past the run that one replacement stands for.
std::uint32_t DecodeUtf8(std::string_view text, std::size_t& at) {
  const auto first = static_cast<std::uint8_t>(text[at++]);
  if (first < 0x80) return first;
  Lead lead = LeadOf(first);
  if (lead.continuations == 0) return kReplacement;
  std::uint32_t character = first & (0x3Fu >> lead.continuations);
  for (int i = 0; i < lead.continuations; ++i) {
    if (at == text.size()) return kReplacement;
    const auto next = static_cast<std::uint8_t>(text[at]);
    if (next < lead.low || next > lead.high) return kReplacement;
    lead.low = 0x80;
    lead.high = 0xBF;
    character = character << 6 | (next & 0x3Fu);
    ++at;
  }
  return character;
}

void AppendUtf8(std::string& text, std::uint32_t character) {
  const auto put = [&text](std::uint32_t byte) { text.push_back(static_cast<char>(byte)); };
  if (character < 0x80) {
    put(character);
  } else if (character < 0x800) {
    put(0xC0 | character >> 6);
    put(0x80 | (character & 0x3F));
  } else if (character < 0x10000) {
    put(0xE0 | character >> 12);
    put(0x80 | (character >> 6 & 0x3F));
    put(0x80 | (character & 0x3F));
  } else {
    put(0xF0 | character >> 18);
    put(0x80 | (character >> 12 & 0x3F));
    put(0x80 | (character >> 6 & 0x3F));
    put(0x80 | (character & 0x3F));
  }
}

bool IsHighSurrogate(std::uint32_t unit) { return unit >= 0xD800 && unit < 0xDC00; }
bool IsLowSurrogate(std::uint32_t unit) { return unit >= 0xDC00 && unit < 0xE000; }

}  // namespace

WideString Utf8ToWide(std::string_view text) {
  WideString wide;
  wide.reserve(text.size());
  for (std::size_t at = 0; at < text.size();) {
    const std::uint32_t character = DecodeUtf8(text, at);
    if (character < 0x10000) {
      wide.push_back(static_cast<WCHAR>(character));
    } else {
      wide.push_back(static_cast<WCHAR>(0xD7C0 + (character >> 10)));
      wide.push_back(static_cast<WCHAR>(0xDC00 + (character & 0x3FF)));
    }
  }
  return wide;
}

std::string WideToUtf8(WideStringView text) {
  std::string narrow;
  narrow.reserve(text.size());
  for (std::size_t at = 0; at < text.size(); ++at) {
    std::uint32_t character = text[at];
    if (IsHighSurrogate(character) && at + 1 < text.size() && IsLowSurrogate(text[at + 1])) {
      character = 0x10000 + ((character & 0x3FF) << 10) + (text[++at] & 0x3FFu);
    } else if (IsHighSurrogate(character) || IsLowSurrogate(character)) {
      character = kReplacement;
    }
    AppendUtf8(narrow, character);
  }
  return narrow;
}

std::string GuidText(const GUID& guid) {
  WCHAR text[39] = {};
  StringFromGUID2(guid, text, 39);
  return WideToUtf8(text);
}

}  // namespace vantor
