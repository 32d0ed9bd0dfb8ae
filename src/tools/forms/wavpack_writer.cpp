// WavPack: Matroska takes the headers off the blocks and keeps of them the number of sounds, once a frame, then flags
// and checksum of every block, and its size where a frame has several. The rest is put back: where the block begins is
// counted, and the whole length stands in the first blocks once it is known. Blocks of later versions end in a checksum
// that covers their headers, and it is made anew.
#include <algorithm>
#include <vector>

#include "tools/forms/form_bytes.h"
#include "tools/forms/packaged_audio.h"
#include "tools/little_endian.h"

namespace vantor::tools {
namespace {

constexpr std::size_t kWavPackHeader = 32;
constexpr std::uint32_t kInitialBlock = 0x800;
constexpr std::uint32_t kFinalBlock = 0x1000;

// What all blocks of a frame share.
struct WavPackFrame {
  std::uint16_t version = 0;
  std::uint64_t total = 0;
  std::uint64_t index = 0;
  std::uint32_t sounds = 0;
};

constexpr std::uint64_t kUnknownTotal = 0xFFFFFFFF;

std::vector<std::uint8_t> WavPackBlock(const WavPackFrame& frame, std::uint32_t flags, std::uint32_t checksum,
                                       std::span<const std::uint8_t> data) {
  // 40 bits, of which the low 32 leave out the value that means an unknown length.
  const std::uint64_t total = frame.total == kUnknownTotal ? frame.total : frame.total + frame.total / kUnknownTotal;
  FormBytes block;
  block.Text("wvpk").Little(4, kWavPackHeader - 8 + data.size()).Little(2, frame.version);
  block.Little(1, frame.index >> 32).Little(1, total >> 32).Little(4, total).Little(4, frame.index);
  block.Little(4, frame.sounds).Little(4, flags).Little(4, checksum).Append(data);
  return block.Take();
}

// Makes the checksum over a whole block fit it, where it has one: the number of 2 or 4 bytes in a part of its own.
void RenewBlockChecksum(std::vector<std::uint8_t>& block) {
  constexpr std::uint8_t kPartMask = 0x3F;
  constexpr std::uint8_t kBlockChecksum = 0x2F;
  constexpr std::uint8_t kLargePart = 0x80;
  std::uint32_t whole = 0xFFFFFFFF;  // of the bytes before
  std::size_t summed = 0;
  for (std::size_t at = kWavPackHeader; block.size() - at >= 2;) {
    const std::size_t header = (block[at] & kLargePart) != 0 ? 4 : 2;
    if (block.size() - at < header) return;
    const std::size_t size = LittleEndian(std::span(block).subspan(at + 1, header - 1)) * 2;
    if (size > block.size() - at - header) return;
    if ((block[at] & kPartMask) == kBlockChecksum && (size == 2 || size == 4)) {
      for (; summed < at; summed += 2) {
        whole = whole * 3 + block[summed] + (std::uint32_t{block[summed + 1]} << 8);
      }
      std::uint32_t sum = whole;
      if (size == 2) sum ^= sum >> 16;
      for (std::size_t i = 0; i < size; ++i, sum >>= 8) block[at + header + i] = static_cast<std::uint8_t>(sum);
    }
    at += header + size;
  }
}

// The numbers at the front of what is left.
class WavPackFields {
 public:
  explicit WavPackFields(std::span<const std::uint8_t> bytes) : rest_(bytes) {}

  std::size_t Left() const { return rest_.size(); }
  std::uint32_t Number() { return static_cast<std::uint32_t>(LittleEndian(Take(4))); }
  std::span<const std::uint8_t> Take(std::size_t count) {
    const auto taken = rest_.first(count);
    rest_ = rest_.subspan(count);
    return taken;
  }

 private:
  std::span<const std::uint8_t> rest_;
};

class WavPackWriter final : public TrackWriter {
 public:
  WavPackWriter(OutputBytes& out, std::uint16_t version) : out_(out), version_(version) {}

  void Write(const TrackSample& sample) override {
    WavPackFields fields(sample.payload);
    if (fields.Left() < 4) return;
    const WavPackFrame frame{version_, kUnknownTotal, total_, fields.Number()};
    if (out_.Size() == 0) firstFrame_.assign(sample.payload.begin(), sample.payload.end());
    if (WriteBlocks(frame, fields, [this](const std::vector<std::uint8_t>& block) { out_.Append(block); })) {
      total_ += frame.sounds;
    }
  }

  void Finish() override {
    WavPackFields fields(firstFrame_);
    if (fields.Left() < 4) return;
    const WavPackFrame frame{version_, total_, 0, fields.Number()};
    std::uint64_t place = 0;
    WriteBlocks(frame, fields, [&](const std::vector<std::uint8_t>& block) {
      out_.Replace(place, block);
      place += block.size();
    });
  }

 private:
  // The blocks that are whole; whether there was one.
  template <typename Put>
  static bool WriteBlocks(const WavPackFrame& frame, WavPackFields& fields, Put&& put) {
    constexpr std::uint32_t kOnlyBlock = kInitialBlock | kFinalBlock;
    bool isAny = false;
    while (fields.Left() >= 8) {
      const std::uint32_t flags = fields.Number();
      const std::uint32_t checksum = fields.Number();
      std::size_t size = fields.Left();
      if ((flags & kOnlyBlock) != kOnlyBlock) {
        if (fields.Left() < 4) break;
        size = fields.Number();
        if (size > fields.Left()) break;
      }
      std::vector<std::uint8_t> block = WavPackBlock(frame, flags, checksum, fields.Take(size));
      RenewBlockChecksum(block);
      put(block);
      isAny = true;
    }
    return isAny;
  }

  OutputBytes& out_;
  const std::uint16_t version_;
  std::vector<std::uint8_t> firstFrame_;
  std::uint64_t total_ = 0;
};

}  // namespace

std::optional<TrackForm> WavPackForm(std::span<const std::uint8_t> version) {
  constexpr std::uint16_t kFirstVersion = 0x402;
  constexpr std::uint16_t kLastVersion = 0x410;
  if (version.size() < 2) return std::nullopt;
  const auto number = static_cast<std::uint16_t>(LittleEndian(version.first(2)));
  if (number < kFirstVersion || number > kLastVersion) return std::nullopt;
  return TrackForm{
      .name = "WavPack",
      .extension = "wv",
      .companion = {},
      .make = [number](OutputBytes& out, OutputBytes*) { return std::make_unique<WavPackWriter>(out, number); },
      .changesItsHead = true};
}

}  // namespace vantor::tools
