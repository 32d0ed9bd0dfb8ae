// Codecs described by a WAVEFORMATEX.
#include <algorithm>
#include <cstring>

#include "mediatypes/audio_builders.h"
#include "mediatypes/format_block.h"
#include "mediatypes/skip_track.h"
#include "platform/conversions.h"
#include "published/media_guids.h"

namespace vantor {

namespace {

// Stores the header with the private data behind it, which takes `smallestPrivate` bytes at the least.
HRESULT Store(const WAVEFORMATEX& header, const Bytes& codecPrivate, std::uint64_t smallestPrivate,
              TrackMediaType& result) {
  const std::uint64_t privateSize = std::max<std::uint64_t>(codecPrivate.size(), smallestPrivate);
  const HRESULT made = MakeFormatBlock(result.mediaType, FORMAT_WaveFormatEx, sizeof(WAVEFORMATEX) + privateSize);
  if (FAILED(made)) return made;
  StoreHeader(result.mediaType, header);
  StoreBytes(result.mediaType, sizeof(WAVEFORMATEX), codecPrivate);
  return S_OK;
}

HRESULT StoreWithPrivate(const AudioCodec& codec, const MkvTrackEntry& track, const Bytes& codecPrivate,
                         std::uint64_t smallestPrivate, TrackMediaType& result) {
  WAVEFORMATEX header = CommonWaveFormat(track, codec.formatTag);
  header.cbSize = static_cast<WORD>(codecPrivate.size());
  return Store(header, codecPrivate, smallestPrivate, result);
}

// Signed 32-bit arithmetic that wraps, of which 16 bits are kept.
WORD BlockAlign(std::uint32_t bitDepth, std::uint32_t channels) {
  return static_cast<WORD>(static_cast<std::int32_t>(bitDepth * channels) / 8);
}

WAVEFORMATEX WaveFormat(const MkvTrackEntry& track, std::uint16_t formatTag, WORD blockAlign) {
  WAVEFORMATEX header{};
  header.wFormatTag = formatTag;
  header.nChannels = static_cast<WORD>(track.audio.Channels.value);
  header.nSamplesPerSec = SamplesPerSecond(track);
  header.nBlockAlign = blockAlign;
  header.nAvgBytesPerSec = blockAlign * header.nSamplesPerSec;
  header.wBitsPerSample = static_cast<WORD>(track.audio.BitDepth.value);
  return header;
}

}  // namespace

std::uint32_t SamplesPerSecond(const MkvTrackEntry& track) {
  return TruncateToUInt32(track.audio.SamplingFrequency.value);
}

WAVEFORMATEX CommonWaveFormat(const MkvTrackEntry& track, std::uint16_t formatTag) {
  const WORD channels = static_cast<WORD>(track.audio.Channels.value);
  const WORD align = BlockAlign(static_cast<std::uint32_t>(track.audio.BitDepth.value), channels);
  return WaveFormat(track, formatTag, align == 0 ? WORD{1} : align);
}

WAVEFORMATEX UncorrectedWaveFormat(const MkvTrackEntry& track, std::uint16_t formatTag) {
  return WaveFormat(track, formatTag,
                    BlockAlign(static_cast<std::uint32_t>(track.audio.BitDepth.value),
                               static_cast<std::uint32_t>(track.audio.Channels.value)));
}

HRESULT BuildWaveFormat(const AudioCodec& codec, const MkvTrackEntry& track, const Bytes&, TrackMediaType& result) {
  return Store(CommonWaveFormat(track, codec.formatTag), {}, 0, result);
}

HRESULT BuildWaveFormatWithPrivate(const AudioCodec& codec, const MkvTrackEntry& track, const Bytes& codecPrivate,
                                   TrackMediaType& result) {
  return StoreWithPrivate(codec, track, codecPrivate, 0, result);
}

// The block has room for the rest of an MPEG1WAVEFORMAT, whether or not the file fills it.
HRESULT BuildMpegLayer(const AudioCodec& codec, const MkvTrackEntry& track, const Bytes& codecPrivate,
                       TrackMediaType& result) {
  constexpr std::uint64_t kMpegPart = 22;
  return StoreWithPrivate(codec, track, codecPrivate, kMpegPart, result);
}

HRESULT BuildFlac(const AudioCodec& codec, const MkvTrackEntry& track, const Bytes& codecPrivate,
                  TrackMediaType& result) {
  result.mediaType.SetSubtype(&kSubtypeFlac);
  return StoreWithPrivate(codec, track, codecPrivate, 0, result);
}

HRESULT BuildStoredWaveFormat(const AudioCodec&, const MkvTrackEntry&, const Bytes& stored, TrackMediaType& result) {
  if (stored.size() < sizeof(WAVEFORMATEX)) return SkipTrackFor(stored, result);
  const HRESULT made = MakeFormatBlock(result.mediaType, FORMAT_WaveFormatEx, stored.size());
  if (FAILED(made)) return made;
  StoreBytes(result.mediaType, 0, stored);
  const GUID subtype = SubtypeOf(static_cast<std::uint32_t>(stored[0] | stored[1] << 8));
  result.mediaType.SetSubtype(&subtype);
  return S_OK;
}

// Its subtype has no format tag: the header says so, and the subtype stands behind it, as WAVEFORMATEXTENSIBLE has it.
HRESULT BuildEac3(const AudioCodec&, const MkvTrackEntry& track, const Bytes&, TrackMediaType& result) {
  constexpr std::size_t kExtension = 22;  // bits, channels, subtype
  constexpr std::size_t kSubtypeAt = 6;
  result.mediaType.SetSubtype(&kSubtypeEac3);
  WAVEFORMATEX header = CommonWaveFormat(track, format_tags::kExtensible);
  header.cbSize = kExtension;
  Bytes extension(kExtension);
  std::memcpy(extension.data() + kSubtypeAt, &kSubtypeEac3, sizeof kSubtypeEac3);
  return Store(header, extension, 0, result);
}

// No format tag means it either. The codes are those of the sound descriptions in Apple's QuickTime File Format; of 8
// bits it has none that says what the bytes here are.
HRESULT BuildBigEndianPcm(const AudioCodec&, const MkvTrackEntry& track, const Bytes&, TrackMediaType& result) {
  std::uint32_t code = 0;
  switch (track.audio.BitDepth.value) {
    case 16:
      code = FourCc("twos");
      break;
    case 24:
      code = FourCc("in24");
      break;
    case 32:
      code = FourCc("in32");
      break;
    default:
      return SkipTrack(NoPinReason::kCodec, result);
  }
  const GUID subtype = SubtypeOf(code);
  result.mediaType.SetSubtype(&subtype);
  return Store(CommonWaveFormat(track, 0), {}, 0, result);
}

// The private bytes ride along uncounted: decoders look for them behind the header whatever cbSize says.
HRESULT BuildRealAudio(const AudioCodec& codec, const MkvTrackEntry& track, const Bytes& codecPrivate,
                       TrackMediaType& result) {
  struct Tag {
    std::uint32_t fourCc;
    std::uint16_t formatTag;
  };
  constexpr Tag kTags[] = {
      {FourCc("14_4"), format_tags::kReal144}, {FourCc("28_8"), format_tags::kReal288},
      {FourCc("ATRC"), format_tags::kAtrac},   {FourCc("COOK"), format_tags::kCook},
      {FourCc("SIPR"), format_tags::kSipro},
  };
  const std::string_view suffix = CodecIdText(track.CodecID).substr(codec.id.size());
  if (suffix.size() < 4) return SkipTrack(NoPinReason::kCodec, result);
  const std::uint32_t fourCc = FourCc(suffix[0], suffix[1], suffix[2], suffix[3]);
  const auto* tag = std::find_if(std::begin(kTags), std::end(kTags), [&](const Tag& t) { return t.fourCc == fourCc; });

  const GUID subtype = SubtypeOf(fourCc);
  result.mediaType.SetSubtype(&subtype);
  result.mediaType.SetTemporalCompression(TRUE);
  const std::uint16_t formatTag = tag != std::end(kTags) ? tag->formatTag : std::uint16_t{0};
  return Store(UncorrectedWaveFormat(track, formatTag), codecPrivate, 0, result);
}

}  // namespace vantor
