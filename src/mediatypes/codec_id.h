// Codec identifiers: comparing a track's with those of a table.
//
//   const VideoCodec* codec = FindCodec(kVideoCodecs, track.CodecID);   // null: not one of them
#pragma once

#include <string_view>

#include "parser/ebml_value.h"

namespace vantor {

// Identifiers that the code treats apart from others of their kind.
inline constexpr std::string_view kCodecAvc = "V_MPEG4/ISO/AVC";
inline constexpr std::string_view kCodecDts = "A_DTS";

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

}  // namespace vantor
