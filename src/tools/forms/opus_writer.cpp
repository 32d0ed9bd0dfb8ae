// Opus in Ogg (RFC 7845). Positions count samples of 48 kHz, those of the pre-skip included; a packet's first byte
// tells how many it holds. Sound that is cut off at the end is told by the file, or else from the times, which is as
// near as they are exact.
#include <algorithm>
#include <string_view>
#include <vector>

#include "tools/forms/form_bytes.h"
#include "tools/forms/ogg_pages.h"
#include "tools/forms/packaged_audio.h"
#include "tools/sample_span.h"

namespace vantor::tools {
namespace {

constexpr std::uint32_t kOpusRate = 48'000;
// No packet is longer: 120 ms.
constexpr std::int64_t kLongestOpusPacket = 5760;

// Of one frame, by the five bits of the configuration.
std::int64_t OpusFrameLength(std::uint8_t configuration) {
  constexpr std::int64_t kSilk[] = {480, 960, 1920, 2880};
  constexpr std::int64_t kCelt[] = {120, 240, 480, 960};
  if (configuration < 12) return kSilk[configuration % 4];
  if (configuration < 16) return configuration % 2 == 0 ? 480 : 960;
  return kCelt[configuration % 4];
}

// 0 for what is no packet of Opus.
std::int64_t OpusPacketLength(std::span<const std::uint8_t> packet) {
  if (packet.empty()) return 0;
  std::int64_t frames = 2;
  if (packet[0] % 4 == 0) frames = 1;
  if (packet[0] % 4 == 3) frames = packet.size() > 1 ? packet[1] % 64 : 0;
  const std::int64_t length = frames * OpusFrameLength(packet[0] >> 3);
  return length <= kLongestOpusPacket ? length : 0;
}

// The identification header, which the file keeps as private data.
bool IsOpusHead(std::span<const std::uint8_t> head) {
  constexpr std::size_t kPlainSize = 19;
  constexpr std::size_t kFamilyAt = 18;
  if (head.size() < kPlainSize || !std::equal(head.begin(), head.begin() + 8, "OpusHead")) return false;
  const std::size_t channels = head[9];
  // The upper half of the version is 0 for all that later readers understand.
  if (head[8] >> 4 != 0 || channels == 0) return false;
  if (head[kFamilyAt] == 0) return channels <= 2;
  return head.size() >= kPlainSize + 2 + channels;
}

class OpusWriter final : public TrackWriter {
 public:
  OpusWriter(OutputBytes& out, std::span<const std::uint8_t> head) : pages_(out) {
    constexpr std::string_view kVendor = "vantor-mkv";
    pages_.Packet(head, 0);
    pages_.EndPage();
    FormBytes tags;
    tags.Text("OpusTags").Little(4, kVendor.size()).Text(kVendor).Little(4, 0);
    pages_.Packet(tags.Bytes(), 0);
    pages_.EndPage();
  }

  void Write(const TrackSample& sample) override {
    const std::int64_t length = OpusPacketLength(sample.payload);
    if (length == 0) return;
    lastPacket_ = length;
    span_.Add(sample);
    position_ += lastPacket_;
    pages_.Packet(sample.payload, position_);
    if (position_ - pageStart_ >= kOpusRate) {
      pages_.EndPage();
      pageStart_ = position_;
    }
  }

  void TellEnd(const SoundEnd& end) override {
    const std::int64_t nanoseconds = end.padding;
    // Less than a packet: there is one for no other reason than the sound in it.
    constexpr std::int64_t kSecond = 1'000'000'000;
    if (nanoseconds <= 0 || nanoseconds >= kSecond) return;
    const std::int64_t sounds = (nanoseconds * kOpusRate + kSecond / 2) / kSecond;
    if (sounds < lastPacket_) cut_ = sounds;
  }

  void Finish() override {
    pages_.End(cut_ ? position_ - *cut_ : TrimmedEnd(position_, lastPacket_, span_.At(kOpusRate), kOpusRate));
  }

 private:
  OggPages pages_;
  SampleSpan span_;
  std::int64_t position_ = 0;
  std::int64_t pageStart_ = 0;
  std::int64_t lastPacket_ = 0;
  std::optional<std::int64_t> cut_;  // from the last packet, where the file tells it
};

}  // namespace

std::optional<TrackForm> OpusForm(std::span<const std::uint8_t> head) {
  if (!IsOpusHead(head)) return std::nullopt;
  return TrackForm{.name = "Ogg Opus",
                   .extension = "opus",
                   .companion = {},
                   .make = [kept = std::vector(head.begin(), head.end())](
                               OutputBytes& out, OutputBytes*) { return std::make_unique<OpusWriter>(out, kept); },
                   .asksForEnd = true};
}

}  // namespace vantor::tools
