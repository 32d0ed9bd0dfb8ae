// A page lists the sizes of its segments, and a packet is the segments up to the first of under 255 bytes, an empty one
// where its size is a multiple of 255. A packet that does not fit goes on in the next page. The checksum covers the
// whole page with its own field zero: a CRC of 32 bits, the highest first, without the inversions of zlib's.
#include "tools/forms/ogg_pages.h"

#include <algorithm>

#include "tools/forms/form_bytes.h"

namespace vantor::tools {
namespace {

constexpr std::size_t kFullSegment = 255;
constexpr std::size_t kChecksumAt = 22;

constexpr std::uint8_t kContinuedPage = 1;
constexpr std::uint8_t kFirstPage = 2;
constexpr std::uint8_t kLastPage = 4;

constexpr std::array<std::uint32_t, 256> MakeOggTable() {
  constexpr std::uint32_t kPolynomial = 0x04C11DB7;
  std::array<std::uint32_t, 256> table{};
  for (std::uint32_t i = 0; i < table.size(); ++i) {
    std::uint32_t rest = i << 24;
    for (int bit = 0; bit < 8; ++bit) rest = rest << 1 ^ ((rest & 0x80000000) != 0 ? kPolynomial : 0);
    table[i] = rest;
  }
  return table;
}

constexpr std::array<std::uint32_t, 256> kOggTable = MakeOggTable();

std::uint32_t OggChecksum(std::uint32_t before, std::span<const std::uint8_t> bytes) {
  for (const std::uint8_t byte : bytes) before = before << 8 ^ kOggTable[before >> 24 ^ byte];
  return before;
}

}  // namespace

void OggPages::Packet(std::span<const std::uint8_t> packet, std::int64_t position) {
  if (isPageEnded_) WritePage(false);
  for (bool isWhole = false; !isWhole;) {
    if (segmentCount_ == kMostSegments) WritePage(false);
    const auto segment = packet.first(std::min(packet.size(), kFullSegment));
    packet = packet.subspan(segment.size());
    isWhole = segment.size() < kFullSegment;
    // A page that this packet fills without ending leaves the next one to go on with it.
    isContinued_ = isContinued_ || (segmentCount_ == 0 && isInPacket_);
    isInPacket_ = !isWhole;
    segments_[segmentCount_++] = static_cast<std::uint8_t>(segment.size());
    body_.insert(body_.end(), segment.begin(), segment.end());
  }
  position_ = position;
}

void OggPages::End(std::optional<std::int64_t> lastPosition) {
  if (lastPosition && position_ != kNoPosition) position_ = *lastPosition;
  WritePage(true);
}

void OggPages::WritePage(bool isLast) {
  const std::uint8_t flags = static_cast<std::uint8_t>((isContinued_ ? kContinuedPage : 0) |
                                                       (number_ == 0 ? kFirstPage : 0) | (isLast ? kLastPage : 0));
  FormBytes page;
  page.Text("OggS").Little(1, 0).Little(1, flags).Little(8, static_cast<std::uint64_t>(position_));
  page.Little(4, serial_).Little(4, number_++).Little(4, 0).Little(1, segmentCount_);
  page.Append(std::span(segments_).first(segmentCount_)).Append(body_);
  std::vector<std::uint8_t> bytes = page.Take();
  std::uint32_t checksum = OggChecksum(0, bytes);
  for (std::size_t i = 0; i < sizeof checksum; ++i, checksum >>= 8) {
    bytes[kChecksumAt + i] = static_cast<std::uint8_t>(checksum);
  }
  out_.Append(bytes);
  segmentCount_ = 0;
  body_.clear();
  position_ = kNoPosition;
  isContinued_ = false;
  isPageEnded_ = false;
}

}  // namespace vantor::tools
