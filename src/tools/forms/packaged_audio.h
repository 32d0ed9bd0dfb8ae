// The forms of sound whose packets need a file around them, each by what its format block holds: nothing when the block
// does not hold what the file takes.
//
//   std::optional<TrackForm> opus = OpusForm(payload);
#pragma once

#include <cstdint>
#include <optional>
#include <span>

#include "tools/forms/track_writer.h"

namespace vantor::tools {

// What a WAVEFORMATEX says; the data behind it is that of the block, whatever the header counts.
struct SoundFormat {
  std::uint16_t channels = 0;
  std::uint32_t rate = 0;
  std::uint16_t bits = 0;
  std::span<const std::uint8_t> codecData;
};

struct VorbisHeaders {
  std::span<const std::uint8_t> identification;
  std::span<const std::uint8_t> comments;
  std::span<const std::uint8_t> setup;
};

// The whole format block of a type; empty when it has none.
std::span<const std::uint8_t> FormatBlockOf(const AM_MEDIA_TYPE& type);

std::optional<TrackForm> OpusForm(std::span<const std::uint8_t> head);
std::optional<TrackForm> VorbisForm(const VorbisHeaders& headers);
std::optional<TrackForm> FlacForm(std::span<const std::uint8_t> header);
std::optional<TrackForm> TtaForm(const SoundFormat& format);
std::optional<TrackForm> WavPackForm(std::span<const std::uint8_t> version);

}  // namespace vantor::tools
