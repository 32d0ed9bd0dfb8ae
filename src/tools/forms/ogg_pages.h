// OggPages: the packets of one logical stream as an Ogg file (RFC 3533).
//
//   OggPages pages(output);
//   pages.Packet(sequenceHeader, 0);
//   pages.EndPage();              // header packets have pages of their own
//   pages.Packet(payload, 960);
//   pages.End();                  // the page that is the last says so
//
// A page is kept until it is full or the next packet is known to begin another: no more than one is ever in memory.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <vector>

#include "tools/forms/track_writer.h"

namespace vantor::tools {

class OggPages {
 public:
  explicit OggPages(OutputBytes& out, std::uint32_t serial = 1) noexcept : out_(out), serial_(serial) {}

  // The position counts samples up to the packet's end.
  void Packet(std::span<const std::uint8_t> packet, std::int64_t position);
  // The next packet begins a page.
  void EndPage() noexcept { isPageEnded_ = true; }
  // Behind the last packet, whose position may turn out to be another: sound that is cut off at its end.
  void End(std::optional<std::int64_t> lastPosition = std::nullopt);

 private:
  static constexpr std::size_t kMostSegments = 255;
  // Of a page on which no packet ends.
  static constexpr std::int64_t kNoPosition = -1;

  void WritePage(bool isLast);

  OutputBytes& out_;
  const std::uint32_t serial_;
  std::uint32_t number_ = 0;
  std::array<std::uint8_t, kMostSegments> segments_{};
  std::size_t segmentCount_ = 0;
  std::vector<std::uint8_t> body_;
  std::int64_t position_ = kNoPosition;
  bool isInPacket_ = false;
  bool isContinued_ = false;  // the page begins inside a packet
  bool isPageEnded_ = false;
};

}  // namespace vantor::tools
