// Subtypes that follow from a four-character code or a wave format tag: XXXXXXXX-0000-0010-8000-00AA00389B71.
//
//   SubtypeOf(FourCc("AVC1"));     // a video subtype
//   SubtypeOf(format_tags::kAc3);  // an audio subtype
#pragma once

#include <cstdint>
#include <optional>

#include "platform/com.h"

namespace vantor {

// Four characters as they lie in memory, little-endian.
constexpr std::uint32_t FourCc(char a, char b, char c, char d) {
  return static_cast<std::uint32_t>(static_cast<unsigned char>(a)) |
         static_cast<std::uint32_t>(static_cast<unsigned char>(b)) << 8 |
         static_cast<std::uint32_t>(static_cast<unsigned char>(c)) << 16 |
         static_cast<std::uint32_t>(static_cast<unsigned char>(d)) << 24;
}

constexpr std::uint32_t FourCc(const char (&code)[5]) { return FourCc(code[0], code[1], code[2], code[3]); }

// The subtype of a code or tag.
constexpr GUID SubtypeOf(std::uint32_t code) {
  return {code, 0x0000, 0x0010, {0x80, 0x00, 0x00, 0xAA, 0x00, 0x38, 0x9B, 0x71}};
}

// The code or tag that the subtype stands for, if it is of that form.
inline std::optional<std::uint32_t> CodeOf(const GUID& subtype) {
  if (!SameGuid(subtype, SubtypeOf(subtype.Data1))) return std::nullopt;
  return subtype.Data1;
}

// The tags of WAVEFORMATEX that this component writes.
namespace format_tags {
inline constexpr std::uint16_t kPcm = 0x0001;
inline constexpr std::uint16_t kFloat = 0x0003;
inline constexpr std::uint16_t kMpeg = 0x0050;
inline constexpr std::uint16_t kMpegLayer3 = 0x0055;
inline constexpr std::uint16_t kAac = 0x00FF;
inline constexpr std::uint16_t kSipro = 0x0130;
inline constexpr std::uint16_t kAtrac = 0x0270;
inline constexpr std::uint16_t kAc3 = 0x2000;
inline constexpr std::uint16_t kDts = 0x2001;
inline constexpr std::uint16_t kReal144 = 0x2002;
inline constexpr std::uint16_t kReal288 = 0x2003;
inline constexpr std::uint16_t kCook = 0x2004;
inline constexpr std::uint16_t kWavPack = 0x5756;
inline constexpr std::uint16_t kOpus = 0x704F;
inline constexpr std::uint16_t kTta = 0x77A1;
inline constexpr std::uint16_t kAlac = 0x6C61;  // WAVE_FORMAT_ALAC of mmreg.h
inline constexpr std::uint16_t kFlac = 0xF1AC;
inline constexpr std::uint16_t kExtensible = 0xFFFE;  // WAVE_FORMAT_EXTENSIBLE: the subtype is behind the header
}  // namespace format_tags

}  // namespace vantor
