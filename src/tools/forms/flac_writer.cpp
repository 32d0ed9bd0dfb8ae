// FLAC (RFC 9639): the headers that the file keeps as private data, then the frames as they are. What the headers say
// of the whole stream (its length, its checksum, where to seek) is true only when all of it comes: the frames are
// counted, and what no longer holds is taken out at the end.
#include <algorithm>
#include <string_view>
#include <vector>

#include "platform/big_endian.h"
#include "tools/forms/form_bytes.h"
#include "tools/forms/packaged_audio.h"

namespace vantor::tools {
namespace {

constexpr std::string_view kFlacMarker = "fLaC";
constexpr std::size_t kFlacBlockHeader = 4;  // a type, whose highest bit marks the last block, and 24 bits of size
constexpr std::size_t kStreamInfoSize = 34;
constexpr std::uint8_t kLastFlacBlock = 0x80;
// From the file's start: rate, channels and bits in 28 bits and the length in 36, then the checksum of the sound.
constexpr std::size_t kFlacLengthAt = 18;
constexpr std::size_t kFlacChecksumAt = 26;
constexpr std::uint64_t kFlacLengthMask = 0xFFFFFFFFF;

enum FlacBlock : std::uint8_t { kStreamInfo = 0, kPadding = 1, kSeekTable = 3 };

// The headers up to the last whole one, which is marked so; empty when the first is not what it must be. A bare first
// block without its own header is taken for one.
std::vector<std::uint8_t> FlacHeaders(std::span<const std::uint8_t> stored) {
  FormBytes bare;
  if (stored.size() == kStreamInfoSize) {
    bare.Text(kFlacMarker).Big(kFlacBlockHeader, kStreamInfoSize).Append(stored);
    stored = bare.Bytes();
  }
  if (!std::ranges::equal(stored.first(std::min(stored.size(), kFlacMarker.size())), kFlacMarker)) return {};
  std::size_t last = 0;
  std::size_t end = kFlacMarker.size();
  for (bool isLast = false; !isLast && stored.size() - end >= kFlacBlockHeader;) {
    const auto size = BigEndian<std::size_t>(&stored[end + 1], 3);
    if (size > stored.size() - end - kFlacBlockHeader) break;
    if (last == 0 && (stored[end] % kLastFlacBlock != kStreamInfo || size != kStreamInfoSize)) return {};
    last = end;
    isLast = stored[end] >= kLastFlacBlock;
    end += kFlacBlockHeader + size;
  }
  if (last == 0) return {};
  std::vector<std::uint8_t> headers(stored.begin(), stored.begin() + static_cast<std::ptrdiff_t>(end));
  headers[last] |= kLastFlacBlock;
  return headers;
}

// How many sounds a frame holds; 0 when its header does not say.
std::uint64_t FlacFrameLength(std::span<const std::uint8_t> frame) {
  constexpr std::size_t kNumberAt = 4;
  if (frame.size() <= kNumberAt || frame[0] != 0xFF || (frame[1] & 0xFE) != 0xF8) return 0;
  const unsigned code = frame[2] >> 4;
  if (code == 0) return 0;
  if (code == 1) return 192;
  if (code < 6) return 576U << (code - 2);
  if (code > 7) return 256U << (code - 8);
  // The length stands behind the frame's number, which is written like a letter of UTF-8.
  std::size_t lengthAt = kNumberAt + 1;
  for (unsigned bits = frame[kNumberAt]; (bits & 0xC0) == 0xC0; bits <<= 1) ++lengthAt;
  const std::size_t size = code - 5;
  if (frame.size() < lengthAt + size) return 0;
  return BigEndian<std::uint64_t>(&frame[lengthAt], size) + 1;
}

class FlacWriter final : public TrackWriter {
 public:
  FlacWriter(OutputBytes& out, const std::vector<std::uint8_t>& headers) : out_(out), headers_(headers) {
    out_.Append(headers_);
  }

  void Write(const TrackSample& sample) override {
    const std::uint64_t length = FlacFrameLength(sample.payload);
    isCounted_ = isCounted_ && length != 0;
    length_ += length;
    out_.Append(sample.payload);
  }

  void Finish() override {
    const auto said = BigEndian<std::uint64_t>(&headers_[kFlacLengthAt], 8);
    if (isCounted_ && (said & kFlacLengthMask) == length_) return;
    const std::uint64_t length = isCounted_ && length_ <= kFlacLengthMask ? length_ : 0;
    StoreBigEndian(&headers_[kFlacLengthAt], 8, (said & ~kFlacLengthMask) | length);
    std::fill_n(&headers_[kFlacChecksumAt], 16, std::uint8_t{0});
    ClearSeekTables();
    out_.Replace(0, headers_);
  }

 private:
  void ClearSeekTables() {
    for (std::size_t at = kFlacMarker.size(); at < headers_.size();) {
      const auto size = BigEndian<std::size_t>(&headers_[at + 1], 3);
      if (headers_[at] % kLastFlacBlock == kSeekTable) {
        headers_[at] = static_cast<std::uint8_t>((headers_[at] & kLastFlacBlock) | kPadding);
        std::fill_n(headers_.begin() + static_cast<std::ptrdiff_t>(at + kFlacBlockHeader), size, std::uint8_t{0});
      }
      at += kFlacBlockHeader + size;
    }
  }

  OutputBytes& out_;
  std::vector<std::uint8_t> headers_;
  std::uint64_t length_ = 0;
  bool isCounted_ = true;
};

}  // namespace

std::optional<TrackForm> FlacForm(std::span<const std::uint8_t> header) {
  std::vector<std::uint8_t> headers = FlacHeaders(header);
  if (headers.empty()) return std::nullopt;
  return TrackForm{.name = "FLAC",
                   .extension = "flac",
                   .companion = {},
                   .make = [kept = std::move(headers)](OutputBytes& out, OutputBytes*) {
                     return std::make_unique<FlacWriter>(out, kept);
                   }};
}

}  // namespace vantor::tools
