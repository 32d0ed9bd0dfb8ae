// Uncompressed sound, and the simple codecs that have a wave format tag, as WAV; as RF64 where the sizes do not fit
// into 32 bits. The room for its sizes is kept from the beginning.
#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <memory>
#include <optional>
#include <vector>

#include "published/subtype_codes.h"
#include "tools/format_fields.h"
#include "tools/forms/form_bytes.h"
#include "tools/forms/stream_forms.h"

namespace vantor::tools {
namespace {

struct WaveSettings {
  std::vector<std::uint8_t> format;  // the fmt chunk's content
  unsigned swappedBytes = 0;         // of a number whose bytes are the other way round; 0: as they are
  std::uint32_t blockAlign = 1;
  std::uint32_t samplesPerBlock = 1;
  bool hasFact = false;  // whether the count of samples is told
};

class WaveWriter final : public TrackWriter {
 public:
  WaveWriter(OutputBytes& out, const WaveSettings& settings);

  void Write(const TrackSample& sample) override;
  void Finish() override;

 private:
  OutputBytes& out_;
  const WaveSettings settings_;
  std::vector<std::uint8_t> swapped_;
  std::uint64_t factAt_ = 0;
  std::uint64_t dataAt_ = 0;
};

constexpr std::uint64_t kChunkHeader = 8;
constexpr std::uint64_t kRiffSizeAt = 4;
constexpr std::uint64_t kRoomAt = 12;    // of the chunk that becomes ds64
constexpr std::uint64_t kRoomSize = 28;  // three sizes of 64 bits, and the length of an empty table
constexpr std::uint64_t kUnsaid = 0xFFFFFFFF;

constexpr std::uint32_t kAdpcm = 0x0002;  // WAVE_FORMAT_ADPCM and the others of mmreg.h
constexpr std::uint32_t kALaw = 0x0006;
constexpr std::uint32_t kMuLaw = 0x0007;
constexpr std::uint32_t kImaAdpcm = 0x0011;

// Bytes of a number that stands the other way round, by the code of the subtype.
unsigned SwappedBytesOf(std::uint32_t code) {
  if (code == FourCc("twos")) return 2;
  if (code == FourCc("in24")) return 3;
  return code == FourCc("in32") ? 4 : 0;
}

// The tag that counts: behind an extensible header it is a part of the subtype there.
std::uint32_t TagOf(const SoundFields& fields) {
  constexpr std::size_t kSubtypeAt = 6;
  if (fields.header.wFormatTag != format_tags::kExtensible) return fields.header.wFormatTag;
  GUID subtype = {};
  if (fields.codecData.size() < kSubtypeAt + sizeof subtype) return 0;
  std::memcpy(&subtype, fields.codecData.data() + kSubtypeAt, sizeof subtype);
  return CodeOf(subtype).value_or(0);
}

bool IsUncompressed(std::uint32_t tag) { return tag == format_tags::kPcm || tag == format_tags::kFloat; }

// Whether a frame of samples is made of whole bytes, as many as the header says.
bool HasWholeBytes(const WAVEFORMATEX& header) {
  return header.wBitsPerSample > 0 && header.wBitsPerSample % 8 == 0 &&
         header.nBlockAlign == header.nChannels * (header.wBitsPerSample / 8);
}

std::vector<std::uint8_t> FormatChunk(const WAVEFORMATEX& header, std::span<const std::uint8_t> codecData) {
  FormBytes chunk;
  chunk.Little(2, header.wFormatTag).Little(2, header.nChannels).Little(4, header.nSamplesPerSec);
  chunk.Little(4, header.nAvgBytesPerSec).Little(2, header.nBlockAlign).Little(2, header.wBitsPerSample);
  if (header.wFormatTag != format_tags::kPcm) chunk.Little(2, codecData.size()).Append(codecData);
  return chunk.Take();
}

std::uint64_t Limited(std::uint64_t size) { return std::min(size, kUnsaid); }

WaveWriter::WaveWriter(OutputBytes& out, const WaveSettings& settings) : out_(out), settings_(settings) {
  FormBytes header;
  header.Text("RIFF").Little(4, 0).Text("WAVE").Text("JUNK").Little(4, kRoomSize).Little(kRoomSize, 0);
  header.Text("fmt ").Little(4, settings.format.size()).Append(settings.format).Little(settings.format.size() % 2, 0);
  if (settings.hasFact) {
    header.Text("fact").Little(4, 4);
    factAt_ = header.Bytes().size();
    header.Little(4, 0);
  }
  header.Text("data").Little(4, 0);
  dataAt_ = header.Bytes().size();
  out_.Append(header.Bytes());
}

void WaveWriter::Write(const TrackSample& sample) {
  const std::size_t size = settings_.swappedBytes;
  if (size == 0) return out_.Append(sample.payload);
  swapped_.assign(sample.payload.begin(), sample.payload.end());
  for (std::size_t at = 0; at + size <= swapped_.size(); at += size) {
    std::reverse(swapped_.begin() + static_cast<std::ptrdiff_t>(at),
                 swapped_.begin() + static_cast<std::ptrdiff_t>(at + size));
  }
  out_.Append(swapped_);
}

void WaveWriter::Finish() {
  const std::uint64_t dataSize = out_.Size() - dataAt_;
  if (dataSize % 2 != 0) out_.Append(std::array<std::uint8_t, 1>{});
  const std::uint64_t riffSize = out_.Size() - kChunkHeader;
  const std::uint64_t samples = dataSize / settings_.blockAlign * settings_.samplesPerBlock;
  const bool isLarge = riffSize >= kUnsaid;
  if (isLarge) {
    FormBytes sizes;
    sizes.Text("ds64").Little(4, kRoomSize).Little(8, riffSize).Little(8, dataSize).Little(8, samples).Little(4, 0);
    FormBytes name;
    out_.Replace(0, name.Text("RF64").Bytes());
    out_.Replace(kRoomAt, sizes.Bytes());
  }
  FormBytes riff;
  out_.Replace(kRiffSizeAt, riff.Little(4, isLarge ? kUnsaid : riffSize).Bytes());
  FormBytes data;
  out_.Replace(dataAt_ - 4, data.Little(4, isLarge ? kUnsaid : dataSize).Bytes());
  if (factAt_ != 0) {
    FormBytes fact;
    out_.Replace(factAt_, fact.Little(4, isLarge ? kUnsaid : Limited(samples)).Bytes());
  }
}

}  // namespace

std::optional<TrackForm> WaveFormOf(const AM_MEDIA_TYPE& type) {
  const std::optional<std::uint32_t> code = CodeOf(type.subtype);
  const std::optional<SoundFields> fields = SoundFieldsOf(type);
  if (!code || !fields) return std::nullopt;
  WAVEFORMATEX header = fields->header;
  WaveSettings settings;
  settings.swappedBytes = SwappedBytesOf(*code);
  std::uint32_t tag = TagOf(*fields);
  if (settings.swappedBytes != 0) {
    if (header.wBitsPerSample != settings.swappedBytes * 8) return std::nullopt;
    header.wFormatTag = format_tags::kPcm;
    tag = format_tags::kPcm;
  } else if (*code != tag && *code != header.wFormatTag) {
    return std::nullopt;
  }
  const bool isAdpcm = tag == kAdpcm || tag == kImaAdpcm;
  if (!IsUncompressed(tag) && !isAdpcm && tag != kALaw && tag != kMuLaw) return std::nullopt;
  if (header.nChannels == 0 || header.nBlockAlign == 0 || (!isAdpcm && !HasWholeBytes(header))) return std::nullopt;
  if (isAdpcm && fields->codecData.size() >= 2) {
    settings.samplesPerBlock = fields->codecData[0] | std::uint32_t{fields->codecData[1]} << 8;
  }
  settings.blockAlign = header.nBlockAlign;
  settings.hasFact = tag != format_tags::kPcm;
  settings.format = FormatChunk(header, fields->codecData);
  return TrackForm{
      .name = "WAV",
      .extension = "wav",
      .companion = {},
      .make = [settings](OutputBytes& out, OutputBytes*) { return std::make_unique<WaveWriter>(out, settings); },
      .changesItsHead = true};
}

}  // namespace vantor::tools
