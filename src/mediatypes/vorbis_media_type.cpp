// Vorbis: a block of its own with the three header packets, which the private data holds Xiph-laced.
#include <array>
#include <cstddef>
#include <type_traits>

#include "mediatypes/audio_builders.h"
#include "mediatypes/format_block.h"
#include "mediatypes/skip_track.h"
#include "platform/conversions.h"
#include "platform/result.h"
#include "published/format_blocks.h"
#include "published/media_guids.h"

namespace vantor {

namespace {

constexpr std::size_t kPackets = std::extent_v<decltype(VorbisFormat::headerSizes)>;

struct Packets {
  std::array<std::size_t, kPackets> sizes;
  std::size_t start;  // of the first packet; the others follow
};

// The lace of three packets. Raises E_INVALIDARG when it runs past the data.
Packets ReadLace(const Bytes& codecPrivate) {
  Packets packets{};
  std::size_t offset = 1;
  std::size_t sum = 0;
  for (std::size_t packet = 0; packet + 1 < kPackets; ++packet) {
    std::uint8_t byte = 255;
    while (byte == 255) {
      if (offset == codecPrivate.size()) throw ResultError(E_INVALIDARG);
      byte = codecPrivate[offset++];
      packets.sizes[packet] += byte;
    }
    sum += packets.sizes[packet];
  }
  if (sum > codecPrivate.size() - offset) throw ResultError(E_INVALIDARG);
  packets.sizes[kPackets - 1] = codecPrivate.size() - offset - sum;
  packets.start = offset;
  return packets;
}

HRESULT Build(const MkvTrackEntry& track, const Bytes& codecPrivate, const GUID& subtype, const GUID& formatType,
              TrackMediaType& result) {
  if (codecPrivate.empty() || codecPrivate[0] != kPackets - 1) return SkipTrackFor(codecPrivate, result);
  const Packets packets = ReadLace(codecPrivate);

  const std::size_t packetBytes = codecPrivate.size() - packets.start;
  const HRESULT made = MakeFormatBlock(result.mediaType, formatType, sizeof(VorbisFormat) + std::uint64_t{packetBytes});
  if (FAILED(made)) return made;
  VorbisFormat header{};
  header.channels = static_cast<std::uint32_t>(track.audio.Channels.value);
  header.samplesPerSecond = SamplesPerSecond(track);
  header.bitsPerSample = static_cast<std::uint32_t>(track.audio.BitDepth.value);
  for (std::size_t i = 0; i < kPackets; ++i) header.headerSizes[i] = static_cast<std::uint32_t>(packets.sizes[i]);
  StoreHeader(result.mediaType, header);
  StoreBytes(result.mediaType, sizeof(VorbisFormat), codecPrivate.data() + packets.start, packetBytes);
  result.mediaType.SetSubtype(&subtype);
  return S_OK;
}

}  // namespace

HRESULT BuildVorbis(const AudioCodec&, const MkvTrackEntry& track, const Bytes& codecPrivate, TrackMediaType& result) {
  return Build(track, codecPrivate, kSubtypeVorbis, kFormatVorbis, result);
}

HRESULT BuildVorbis2(const AudioCodec&, const MkvTrackEntry& track, const Bytes& codecPrivate, TrackMediaType& result) {
  return Build(track, codecPrivate, kSubtypeVorbis2, kFormatVorbis2, result);
}

}  // namespace vantor
