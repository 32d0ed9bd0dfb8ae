#include "tools/forms/packaged_audio.h"

#include <array>
#include <cstring>

#include "published/format_blocks.h"
#include "published/media_guids.h"
#include "published/subtype_codes.h"

namespace vantor::tools {
namespace {

std::optional<SoundFormat> SoundFormatOf(const AM_MEDIA_TYPE& type) {
  const std::span<const std::uint8_t> block = FormatBlockOf(type);
  WAVEFORMATEX header{};
  if (!SameGuid(type.formattype, FORMAT_WaveFormatEx) || block.size() < sizeof header) return std::nullopt;
  std::memcpy(&header, block.data(), sizeof header);
  return SoundFormat{.channels = header.nChannels,
                     .rate = header.nSamplesPerSec,
                     .bits = header.wBitsPerSample,
                     .codecData = block.subspan(sizeof header)};
}

std::optional<VorbisHeaders> VorbisHeadersOf(const AM_MEDIA_TYPE& type) {
  std::span<const std::uint8_t> rest = FormatBlockOf(type);
  VorbisFormat header{};
  if (!SameGuid(type.formattype, kFormatVorbis) && !SameGuid(type.formattype, kFormatVorbis2)) return std::nullopt;
  if (rest.size() < sizeof header) return std::nullopt;
  std::memcpy(&header, rest.data(), sizeof header);
  rest = rest.subspan(sizeof header);
  std::array<std::span<const std::uint8_t>, std::size(header.headerSizes)> packets;
  for (std::size_t i = 0; i < packets.size(); ++i) {
    if (header.headerSizes[i] > rest.size()) return std::nullopt;
    packets[i] = rest.first(header.headerSizes[i]);
    rest = rest.subspan(packets[i].size());
  }
  return VorbisHeaders{packets[0], packets[1], packets[2]};
}

}  // namespace

std::span<const std::uint8_t> FormatBlockOf(const AM_MEDIA_TYPE& type) {
  if (type.pbFormat == nullptr) return {};
  return {type.pbFormat, type.cbFormat};
}

std::optional<TrackForm> PackagedAudioFormOf(const AM_MEDIA_TYPE& type) {
  if (!SameGuid(type.majortype, MEDIATYPE_Audio)) return std::nullopt;
  if (SameGuid(type.subtype, kSubtypeVorbis) || SameGuid(type.subtype, kSubtypeVorbis2)) {
    const std::optional<VorbisHeaders> headers = VorbisHeadersOf(type);
    return headers ? VorbisForm(*headers) : std::nullopt;
  }
  const std::optional<SoundFormat> format = SoundFormatOf(type);
  if (!format) return std::nullopt;
  if (SameGuid(type.subtype, SubtypeOf(format_tags::kOpus))) return OpusForm(format->codecData);
  if (SameGuid(type.subtype, kSubtypeFlac)) return FlacForm(format->codecData);
  if (SameGuid(type.subtype, SubtypeOf(format_tags::kFlac))) return FlacForm(format->codecData);
  if (SameGuid(type.subtype, SubtypeOf(format_tags::kTta))) return TtaForm(*format);
  if (SameGuid(type.subtype, SubtypeOf(format_tags::kWavPack))) return WavPackForm(format->codecData);
  return std::nullopt;
}

}  // namespace vantor::tools
