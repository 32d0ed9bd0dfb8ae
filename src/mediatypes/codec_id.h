// Codec identifiers and the subtypes that follow from four-character codes and wave format tags.
#pragma once

#include <cstdint>
#include <string_view>

#include "parser/ebml_value.h"
#include "platform/com.h"

namespace vantor {

enum class Match { kExact, kPrefix };

inline std::string_view CodecIdText(const Bytes& codecId) {
  return {reinterpret_cast<const char*>(codecId.data()), codecId.size()};
}

// The first row of a codec table whose `id` the codec identifier matches, or null.
template <typename Table>
auto FindCodec(const Table& table, const Bytes& codecId) -> decltype(&table[0]) {
  const std::string_view text = CodecIdText(codecId);
  for (const auto& row : table) {
    const std::string_view compared = row.match == Match::kPrefix ? text.substr(0, row.id.size()) : text;
    if (compared == row.id) return &row;
  }
  return nullptr;
}

// Four characters as they lie in memory, little-endian.
constexpr std::uint32_t FourCc(char a, char b, char c, char d) {
  return static_cast<std::uint32_t>(static_cast<unsigned char>(a)) |
         static_cast<std::uint32_t>(static_cast<unsigned char>(b)) << 8 |
         static_cast<std::uint32_t>(static_cast<unsigned char>(c)) << 16 |
         static_cast<std::uint32_t>(static_cast<unsigned char>(d)) << 24;
}

constexpr std::uint32_t FourCc(const char (&code)[5]) { return FourCc(code[0], code[1], code[2], code[3]); }

// The subtype of a four-character code or wave format tag.
constexpr GUID SubtypeOf(std::uint32_t code) {
  return {code, 0x0000, 0x0010, {0x80, 0x00, 0x00, 0xAA, 0x00, 0x38, 0x9B, 0x71}};
}

}  // namespace vantor
