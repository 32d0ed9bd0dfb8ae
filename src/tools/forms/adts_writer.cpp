#include "tools/forms/adts_writer.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <iterator>
#include <memory>
#include <stdexcept>

#include "published/media_guids.h"
#include "tools/format_fields.h"
#include "tools/forms/form_bytes.h"

namespace vantor::tools {
namespace {

constexpr std::size_t kAdtsHeaderSize = 7;
constexpr std::size_t kLargestFrame = (1U << 13) - 1;  // header included

constexpr std::array<unsigned, 13> kFrequencies = {96000, 88200, 64000, 48000, 44100, 32000, 24000,
                                                   22050, 16000, 12000, 11025, 8000,  7350};

// Reads bits, the highest of a byte first; zeros behind the end.
class ConfigBits {
 public:
  explicit ConfigBits(std::span<const std::uint8_t> bytes) : bytes_(bytes) {}

  unsigned Take(unsigned count) {
    unsigned value = 0;
    for (; count > 0; --count, ++at_) {
      const bool bit = at_ / 8 < bytes_.size() && (bytes_[at_ / 8] >> (7 - at_ % 8) & 1) != 0;
      value = value << 1 | (bit ? 1 : 0);
    }
    return value;
  }
  bool IsPastEnd() const { return at_ > bytes_.size() * 8; }

 private:
  const std::span<const std::uint8_t> bytes_;
  std::size_t at_ = 0;
};

unsigned TakeObjectType(ConfigBits& bits) {
  constexpr unsigned kEscape = 31;
  const unsigned type = bits.Take(5);
  return type == kEscape ? 32 + bits.Take(6) : type;
}

// The index; the table's size where the rate is none of the table's.
unsigned TakeFrequencyIndex(ConfigBits& bits) {
  constexpr unsigned kExplicit = 15;
  const unsigned index = bits.Take(4);
  if (index != kExplicit) return std::min<unsigned>(index, kFrequencies.size());
  const unsigned frequency = bits.Take(24);
  return static_cast<unsigned>(std::find(kFrequencies.begin(), kFrequencies.end(), frequency) - kFrequencies.begin());
}

}  // namespace

std::optional<AdtsSettings> ReadAdtsSettings(std::span<const std::uint8_t> config) {
  constexpr unsigned kSbr = 5;
  constexpr unsigned kPs = 29;
  constexpr unsigned kLtp = 4;  // the last that ADTS has a number for
  ConfigBits bits(config);
  unsigned objectType = TakeObjectType(bits);
  AdtsSettings settings;
  settings.frequencyIndex = TakeFrequencyIndex(bits);
  settings.channels = bits.Take(4);
  if (objectType == kSbr || objectType == kPs) {
    TakeFrequencyIndex(bits);  // what they make of it
    objectType = TakeObjectType(bits);
  }
  const bool isShort = bits.Take(1) != 0;  // frames of 960 samples
  // 0 channels are told by the file's own table, which would have to stand in the frames.
  const bool isSayable = objectType >= 1 && objectType <= kLtp && settings.frequencyIndex < kFrequencies.size() &&
                         settings.channels >= 1 && settings.channels <= 7 && !isShort;
  settings.profile = objectType - 1;
  return isSayable && !bits.IsPastEnd() ? std::optional(settings) : std::nullopt;
}

void AdtsWriter::Write(const TrackSample& sample) {
  const std::size_t size = kAdtsHeaderSize + sample.payload.size();
  if (size > kLargestFrame) {
    throw std::runtime_error(fmt::format("a frame of {} bytes is more than ADTS can hold", sample.payload.size()));
  }
  constexpr std::uint64_t kSyncMpeg4WithoutChecksum = 0xFFF1;
  constexpr std::uint64_t kUnknownFullness = 0x7FF;
  // Sixteen bits, then: profile 2, frequency 4, private 1, channels 3, four flags, length 13, fullness 11, more
  // frames 2.
  const std::uint64_t header = kSyncMpeg4WithoutChecksum << 40 | std::uint64_t{settings_.profile} << 38 |
                               std::uint64_t{settings_.frequencyIndex} << 34 | std::uint64_t{settings_.channels} << 30 |
                               std::uint64_t{size} << 13 | kUnknownFullness << 2;
  FormBytes bytes;
  out_.Append(bytes.Big(kAdtsHeaderSize, header).Bytes());
  out_.Append(sample.payload);
}

std::optional<TrackForm> AdtsFormOf(const AM_MEDIA_TYPE& type) {
  if (!SameGuid(type.subtype, kSubtypeRawAac)) return std::nullopt;
  const std::optional<SoundFields> fields = SoundFieldsOf(type);
  const std::optional<AdtsSettings> settings = fields ? ReadAdtsSettings(fields->codecData) : std::nullopt;
  if (!settings) return std::nullopt;
  return TrackForm{"AAC, ADTS", "aac", {}, [settings = *settings](OutputBytes& out, OutputBytes*) {
                     return std::make_unique<AdtsWriter>(out, settings);
                   }};
}

}  // namespace vantor::tools
