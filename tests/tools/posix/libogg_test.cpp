// The page writer against libogg: the same packets, the same ends of pages, the same bytes.
#include <gtest/gtest.h>
#include <ogg/ogg.h>

#include <vector>

#include "tools/forms/ogg_pages.h"
#include "tools/written_track.h"

namespace vantor::tools {
namespace {

struct PagedPacket {
  std::size_t size = 0;
  bool endsPage = false;
};

ByteList FilledPacket(std::size_t size) {
  ByteList packet(size);
  for (std::size_t i = 0; i < size; ++i) packet[i] = static_cast<std::uint8_t>(i * 31 + size);
  return packet;
}

class LibOggStream {
 public:
  explicit LibOggStream(int serial) { ogg_stream_init(&stream_, serial); }
  ~LibOggStream() { ogg_stream_clear(&stream_); }
  LibOggStream(const LibOggStream&) = delete;
  LibOggStream& operator=(const LibOggStream&) = delete;

  void Put(ByteList packet, std::int64_t position, bool isLast) {
    ogg_packet given{};
    given.packet = packet.data();
    given.bytes = static_cast<long>(packet.size());
    given.e_o_s = isLast ? 1 : 0;
    given.granulepos = position;
    ogg_stream_packetin(&stream_, &given);
  }
  void TakePages(ByteList& file) {
    constexpr int kNoSmallPages = 0x10000;
    ogg_page page;
    while (ogg_stream_flush_fill(&stream_, &page, kNoSmallPages) != 0) {
      file.insert(file.end(), page.header, page.header + page.header_len);
      file.insert(file.end(), page.body, page.body + page.body_len);
    }
  }

 private:
  ogg_stream_state stream_{};
};

void ExpectSameFile(const std::vector<PagedPacket>& packets) {
  constexpr int kSerial = 0x12345678;
  MemoryOutput file;
  OggPages pages(file, kSerial);
  LibOggStream theirs(kSerial);
  ByteList expected;
  std::int64_t position = 0;
  for (std::size_t i = 0; i < packets.size(); ++i) {
    const bool isLast = i + 1 == packets.size();
    if (i > 0) position += 960;  // libogg gives the first page none
    pages.Packet(FilledPacket(packets[i].size), position);
    theirs.Put(FilledPacket(packets[i].size), position, isLast);
    if (packets[i].endsPage) pages.EndPage();
    if (packets[i].endsPage || isLast) theirs.TakePages(expected);
  }
  pages.End();
  EXPECT_EQ(file.bytes, expected);
}

TEST(LibOggTest, PacketsOfEverySizeAroundASegment) {
  std::vector<PagedPacket> packets = {{19, true}};
  for (const std::size_t size : {0, 1, 254, 255, 256, 509, 510, 511}) packets.push_back({size, size == 256});
  ExpectSameFile(packets);
}

TEST(LibOggTest, PacketsThatFillAPageAndGoOnInTheNext) {
  ExpectSameFile({{30, true}, {65'024, true}, {65'025, true}, {65'026, true}, {200'000, false}, {7, false}});
}

TEST(LibOggTest, MorePacketsThanAPageHasSegments) {
  std::vector<PagedPacket> packets = {{19, true}, {40, true}};
  packets.resize(1000, {3, false});
  ExpectSameFile(packets);
}

TEST(LibOggTest, OnePageThatIsFirstAndLast) { ExpectSameFile({{19, false}}); }

}  // namespace
}  // namespace vantor::tools
