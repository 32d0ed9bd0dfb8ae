// Vorbis in Ogg: the three headers from the format block, then the packets with positions counted by their block sizes.
#include <algorithm>
#include <string_view>
#include <vector>

#include "tools/forms/ogg_pages.h"
#include "tools/forms/packaged_audio.h"
#include "tools/forms/vorbis_modes.h"
#include "tools/little_endian.h"
#include "tools/sample_span.h"

namespace vantor::tools {
namespace {

bool IsVorbisHeader(std::span<const std::uint8_t> packet, std::uint8_t kind) {
  constexpr std::string_view kWord = "vorbis";
  return packet.size() > kWord.size() && packet[0] == kind && std::equal(kWord.begin(), kWord.end(), &packet[1]);
}

// 0 for what is no identification header.
std::uint32_t VorbisRate(std::span<const std::uint8_t> identification) {
  constexpr std::size_t kSize = 30;
  constexpr std::size_t kRateAt = 12;
  if (identification.size() < kSize || !IsVorbisHeader(identification, 1)) return 0;
  return static_cast<std::uint32_t>(LittleEndian(identification.subspan(kRateAt, 4)));
}

struct KeptVorbis {
  explicit KeptVorbis(const VorbisHeaders& from)
      : identification(from.identification.begin(), from.identification.end()),
        comments(from.comments.begin(), from.comments.end()),
        setup(from.setup.begin(), from.setup.end()) {}

  std::vector<std::uint8_t> identification;
  std::vector<std::uint8_t> comments;
  std::vector<std::uint8_t> setup;
};

class VorbisWriter final : public TrackWriter {
 public:
  VorbisWriter(OutputBytes& out, const KeptVorbis& headers)
      : pages_(out),
        rate_(VorbisRate(headers.identification)),
        modes_(VorbisModes::Read(headers.identification, headers.setup)) {
    pages_.Packet(headers.identification, 0);
    pages_.EndPage();
    pages_.Packet(headers.comments, 0);
    pages_.Packet(headers.setup, 0);
    pages_.EndPage();
  }

  void Write(const TrackSample& sample) override {
    // Packets of sound have a first bit of 0; the filter may send the headers before them.
    if (sample.payload.empty() || sample.payload[0] % 2 != 0) return;
    span_.Add(sample);
    lastPacket_ = modes_ ? modes_->Sounds(sample.payload) : span_.At(rate_).value_or(position_) - position_;
    position_ += std::max<std::int64_t>(lastPacket_, 0);
    pages_.Packet(sample.payload, position_);
    if (position_ - pageStart_ >= rate_) {
      pages_.EndPage();
      pageStart_ = position_;
    }
  }

  void Finish() override { pages_.End(TrimmedEnd(position_, lastPacket_, span_.At(rate_), rate_)); }

 private:
  OggPages pages_;
  const std::uint32_t rate_;
  std::optional<VorbisModes> modes_;
  SampleSpan span_;
  std::int64_t position_ = 0;
  std::int64_t pageStart_ = 0;
  std::int64_t lastPacket_ = 0;
};

}  // namespace

std::optional<TrackForm> VorbisForm(const VorbisHeaders& headers) {
  if (VorbisRate(headers.identification) == 0) return std::nullopt;
  if (!IsVorbisHeader(headers.comments, 3) || !IsVorbisHeader(headers.setup, 5)) return std::nullopt;
  return TrackForm{.name = "Ogg Vorbis",
                   .extension = "ogg",
                   .companion = {},
                   .make = [kept = KeptVorbis(headers)](OutputBytes& out, OutputBytes*) {
                     return std::make_unique<VorbisWriter>(out, kept);
                   }};
}

}  // namespace vantor::tools
