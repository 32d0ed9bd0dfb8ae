// AAC tracks named by profile ("A_AAC/MPEG4/LC"): the AudioSpecificConfig is made from the name and the audio settings.
#include <cstddef>
#include <cstdlib>
#include <iterator>

#include "mediatypes/audio_builders.h"
#include "mediatypes/format_block.h"
#include "mediatypes/skip_track.h"

namespace vantor {

namespace {

// SBR is a layer over LC. Its index makes it LC where only the magnitude counts.
constexpr int kSbr = -1;

struct NamedProfile {
  std::string_view suffix;
  int index;
};

// The first that occurs in the codec's name wins.
constexpr NamedProfile kNamedProfiles[] = {{"/MAIN", 0}, {"/SBR", kSbr}, {"/LC", 1}, {"/SSR", 2}, {"/LTP", 3}};

const NamedProfile* FindProfile(std::string_view codecId) {
  for (const NamedProfile& profile : kNamedProfiles) {
    if (codecId.find(profile.suffix) != std::string_view::npos) return &profile;
  }
  return nullptr;
}

// The sampling frequency index: that of the first threshold not above the rate.
unsigned FrequencyIndex(std::uint32_t samplesPerSecond) {
  constexpr std::uint32_t kThresholds[] = {92017, 75132, 55426, 46009, 37566, 27713, 23004, 18783, 13856, 11502, 9391};
  unsigned index = 0;
  while (index < std::size(kThresholds) && samplesPerSecond < kThresholds[index]) ++index;
  return index;
}

}  // namespace

HRESULT BuildAacProfile(const AudioCodec& codec, const MkvTrackEntry& track, const Bytes&, TrackMediaType& result) {
  constexpr std::size_t kConfigRoom = 5;  // whatever the profile; cbSize says how much of it counts
  const NamedProfile* profile = FindProfile(CodecIdText(track.CodecID));
  if (profile == nullptr) return SkipTrack(NoPinReason::kCodec, result);

  WAVEFORMATEX header = UncorrectedWaveFormat(track, codec.formatTag);
  header.cbSize = 2;
  const unsigned objectType = static_cast<unsigned>(std::abs(profile->index)) + 1;
  const unsigned frequency = FrequencyIndex(header.nSamplesPerSec);
  const unsigned channels = static_cast<unsigned>(track.audio.Channels.value & 0xFF);
  std::uint8_t config[kConfigRoom] = {static_cast<std::uint8_t>(objectType << 3 | frequency >> 1),
                                      static_cast<std::uint8_t>((frequency & 1) << 7 | channels << 3)};
  if (profile->index == kSbr) {
    header.cbSize = kConfigRoom;
    header.nSamplesPerSec *= 2;
    header.nAvgBytesPerSec *= 2;
    config[2] = 0x56;  // the sync extension 0x2B7 and object type 5
    config[3] = 0xE5;
    config[4] = static_cast<std::uint8_t>(0x80 | FrequencyIndex(header.nSamplesPerSec) << 3);
  }

  const HRESULT made =
      MakeFormatBlock(result.mediaType, FORMAT_WaveFormatEx, sizeof(WAVEFORMATEX) + std::uint64_t{kConfigRoom});
  if (FAILED(made)) return made;
  StoreHeader(result.mediaType, header);
  StoreBytes(result.mediaType, sizeof(WAVEFORMATEX), config, kConfigRoom);
  return S_OK;
}

}  // namespace vantor
