// Reads an Ogg file back: its pages one after the other, and the packets on them.
//
//   for (const OggPage& page : ReadOggPages(file.bytes)) EXPECT_EQ(page.flags, 0);
#pragma once

#include <gtest/gtest.h>

#include <vector>

#include "tools/written_track.h"

namespace vantor::tools {

struct OggPage {
  unsigned flags = 0;
  std::int64_t position = 0;
  std::uint64_t number = 0;
  std::vector<std::size_t> segments;
  ByteList body;
};

inline std::vector<OggPage> ReadOggPages(std::span<const std::uint8_t> file) {
  constexpr std::size_t kOggHeader = 27;
  std::vector<OggPage> pages;
  while (file.size() >= kOggHeader && std::memcmp(file.data(), "OggS", 4) == 0) {
    OggPage page;
    page.flags = file[5];
    page.position = static_cast<std::int64_t>(LittleEndian(file.subspan(6, 8)));
    page.number = LittleEndian(file.subspan(18, 4));
    const std::size_t count = file[26];
    std::size_t size = 0;
    for (std::size_t i = 0; i < count; ++i) {
      page.segments.push_back(file[kOggHeader + i]);
      size += file[kOggHeader + i];
    }
    const auto body = file.subspan(kOggHeader + count, size);
    page.body.assign(body.begin(), body.end());
    file = file.subspan(kOggHeader + count + size);
    pages.push_back(page);
  }
  EXPECT_TRUE(file.empty());
  return pages;
}

inline std::vector<ByteList> PacketsOf(const std::vector<OggPage>& pages) {
  std::vector<ByteList> packets(1);
  for (const OggPage& page : pages) {
    auto at = page.body.begin();
    for (const std::size_t segment : page.segments) {
      packets.back().insert(packets.back().end(), at, at + static_cast<std::ptrdiff_t>(segment));
      at += static_cast<std::ptrdiff_t>(segment);
      if (segment < 255) packets.emplace_back();
    }
  }
  EXPECT_TRUE(packets.back().empty());
  packets.pop_back();
  return packets;
}

}  // namespace vantor::tools
