// Sound in files of its own, by bytes: what is written, what is counted, and what is refused.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <zlib.h>

#include <limits>
#include <vector>

#include "platform/big_endian.h"
#include "published/subtype_codes.h"
#include "tools/forms/tta_frame.h"
#include "tools/forms/vorbis_modes.h"
#include "tools/ogg_reader.h"
#include "tools/written_track.h"

namespace vantor::tools {
namespace {

constexpr std::int64_t kMillisecond = 10'000;

// ---- Opus.

ByteList OpusHead(std::uint8_t channels = 2, std::uint8_t family = 0) {
  FormBytes head;
  head.Text("OpusHead")
      .Little(1, 1)
      .Little(1, channels)
      .Little(2, 312)
      .Little(4, 48'000)
      .Little(2, 0)
      .Little(1, family);
  return head.Take();
}

CMediaType OpusType(const ByteList& head) { return SoundType(SubtypeOf(format_tags::kOpus), 2, 48'000, 16, head); }

// One frame of 20 ms.
ByteList OpusPacket(std::uint8_t filling) { return {0xFC, filling, filling}; }

std::vector<TimedPayload> OpusPackets(std::int64_t count) {
  std::vector<TimedPayload> samples;
  for (std::int64_t i = 0; i < count; ++i) {
    samples.push_back({OpusPacket(static_cast<std::uint8_t>(i)), i * 20 * kMillisecond, (i + 1) * 20 * kMillisecond});
  }
  return samples;
}

TEST(OpusWriterTest, HeadersHavePagesOfTheirOwnAndPositionsCountSamples) {
  const MemoryOutput file = WriteTrack(*PackagedAudioFormOf(OpusType(OpusHead())), OpusPackets(3));
  const std::vector<OggPage> pages = ReadOggPages(file.bytes);
  ASSERT_EQ(pages.size(), 3U);
  EXPECT_EQ(pages[0].flags, 2U);
  EXPECT_EQ(pages[0].position, 0);
  EXPECT_EQ(pages[1].flags, 0U);
  EXPECT_EQ(pages[1].position, 0);
  EXPECT_EQ(pages[2].flags, 4U);
  EXPECT_EQ(pages[2].position, 3 * 960);
  const std::vector<ByteList> packets = PacketsOf(pages);
  ASSERT_EQ(packets.size(), 5U);
  EXPECT_EQ(packets[0], OpusHead());
  EXPECT_EQ(packets[1], Letters(std::string("OpusTags\x0A\0\0\0vantor-mkv\0\0\0\0", 26)));
  EXPECT_EQ(packets[4], OpusPacket(2));
}

TEST(OpusWriterTest, PagesEndAfterASecond) {
  const MemoryOutput file = WriteTrack(*PackagedAudioFormOf(OpusType(OpusHead())), OpusPackets(120));
  const std::vector<OggPage> pages = ReadOggPages(file.bytes);
  ASSERT_EQ(pages.size(), 5U);
  EXPECT_EQ(pages[2].position, 48'000);
  EXPECT_EQ(pages[3].position, 96'000);
  EXPECT_EQ(pages[4].position, 120 * 960);
  for (std::size_t i = 0; i < pages.size(); ++i) EXPECT_EQ(pages[i].number, i);
}

TEST(OpusWriterTest, LastPacketThatIsShownShorterIsCutOff) {
  std::vector<TimedPayload> samples = OpusPackets(3);
  samples.back().stop -= 7 * kMillisecond;
  const auto pages = ReadOggPages(WriteTrack(*PackagedAudioFormOf(OpusType(OpusHead())), samples).bytes);
  EXPECT_EQ(pages.back().position, 3 * 960 - 7 * 48);
}

// Of three packets, the last of which ends at that time and has so much padding.
std::int64_t OpusEnd(std::int64_t stop, std::int64_t padding) {
  MemoryOutput out;
  const std::unique_ptr<TrackWriter> writer = PackagedAudioFormOf(OpusType(OpusHead()))->make(out, nullptr);
  std::vector<TimedPayload> samples = OpusPackets(3);
  samples.back().stop = stop;
  for (const TimedPayload& sample : samples) {
    writer->Write({.payload = sample.bytes, .start = sample.start, .stop = sample.stop});
  }
  writer->TellEnd({.padding = padding, .fileEnd = {}});
  writer->Finish();
  return ReadOggPages(out.bytes).back().position;
}

TEST(OpusWriterTest, PaddingOfTheFileGoesBeforeTheTimes) {
  EXPECT_EQ(OpusEnd(60 * kMillisecond, 6'500'000), 3 * 960 - 312);
  EXPECT_EQ(OpusEnd(53 * kMillisecond, 6'500'000), 3 * 960 - 312);
  EXPECT_EQ(OpusEnd(53 * kMillisecond, 20'833), 3 * 960 - 1) << "rounded";
}

TEST(OpusWriterTest, PaddingThatCannotBeIsPassedOver) {
  for (const std::int64_t padding : {std::int64_t{0}, std::int64_t{-5'000'000}, std::int64_t{20'000'000},
                                     std::numeric_limits<std::int64_t>::max()}) {
    EXPECT_EQ(OpusEnd(60 * kMillisecond, padding), 3 * 960) << padding;
    EXPECT_EQ(OpusEnd(53 * kMillisecond, padding), 3 * 960 - 7 * 48) << padding;
  }
}

TEST(OpusWriterTest, EndThatIsNotKnownOrNotExactCutsNothing) {
  for (const std::int64_t stop : {40 * kMillisecond + 1, 59 * kMillisecond, 61 * kMillisecond}) {
    std::vector<TimedPayload> samples = OpusPackets(3);
    samples.back().stop = stop;
    const auto pages = ReadOggPages(WriteTrack(*PackagedAudioFormOf(OpusType(OpusHead())), samples).bytes);
    EXPECT_EQ(pages.back().position, 3 * 960) << stop;
  }
}

TEST(OpusWriterTest, TimesThatCannotBeCutNothing) {
  constexpr std::int64_t kLeast = std::numeric_limits<std::int64_t>::min();
  constexpr std::int64_t kMost = std::numeric_limits<std::int64_t>::max();
  for (const auto& [start, stop] : {std::pair{kLeast, kMost}, {kMost, kLeast}, {kMost, kMost}, {kLeast, kLeast + 2}}) {
    std::vector<TimedPayload> samples = OpusPackets(1);
    samples.back().start = start;
    samples.back().stop = stop;
    const auto pages = ReadOggPages(WriteTrack(*PackagedAudioFormOf(OpusType(OpusHead())), samples).bytes);
    EXPECT_EQ(pages.back().position, 960);
  }
}

TEST(OpusWriterTest, EveryConfigurationHasItsLength) {
  struct Case {
    ByteList packet;
    std::int64_t length;
  };
  const Case cases[] = {
      {{0x00}, 480},        {{0x08}, 960},        {{0x10}, 1920},          {{0x18}, 2880},     {{0x60}, 480},
      {{0x68}, 960},        {{0x80}, 120},        {{0x88}, 240},           {{0x90}, 480},      {{0x98}, 960},
      {{0x99, 1, 2}, 1920}, {{0x9A, 1, 2}, 1920}, {{0x9B, 3, 1, 2}, 2880}, {{0x83, 48}, 5760},
  };
  for (const Case& one : cases) {
    const MemoryOutput file = WriteTrack(*PackagedAudioFormOf(OpusType(OpusHead())), {{one.packet, 0, 1}});
    EXPECT_EQ(ReadOggPages(file.bytes).back().position, one.length) << int{one.packet[0]};
  }
}

TEST(OpusWriterTest, WhatIsNoPacketIsLeftOut) {
  const std::vector<TimedPayload> samples = {{{}, 0, 1}, {{0x9B}, 0, 1}, {{0x9B, 0}, 0, 1}, {{0x9B, 7}, 0, 1}};
  const MemoryOutput file = WriteTrack(*PackagedAudioFormOf(OpusType(OpusHead())), samples);
  EXPECT_EQ(PacketsOf(ReadOggPages(file.bytes)).size(), 2U);
}

TEST(OpusWriterTest, EmptyStreamEndsWithItsHeaders) {
  const auto pages = ReadOggPages(WriteTrack(*PackagedAudioFormOf(OpusType(OpusHead())), {}).bytes);
  ASSERT_EQ(pages.size(), 2U);
  EXPECT_EQ(pages[1].flags, 4U);
  EXPECT_EQ(pages[1].position, 0);
}

TEST(OpusWriterTest, HeadThatIsNoneHasNoForm) {
  ByteList cut = OpusHead();
  cut.pop_back();
  ByteList later = OpusHead();
  later[8] = 0x10;
  ByteList misspelt = OpusHead();
  misspelt[0] = 'o';
  for (const ByteList& head : {ByteList(), cut, later, misspelt, OpusHead(0), OpusHead(3), OpusHead(2, 1)}) {
    EXPECT_FALSE(PackagedAudioFormOf(OpusType(head)));
  }
  ByteList surround = OpusHead(2, 1);
  surround.resize(surround.size() + 4);
  EXPECT_TRUE(PackagedAudioFormOf(OpusType(surround)));
}

// ---- Vorbis.

ByteList VorbisIdentification(std::uint8_t blockSizes = 0xB8, std::uint32_t rate = 44'100) {
  FormBytes header;
  header.Little(1, 1).Text("vorbis").Little(4, 0).Little(1, 2).Little(4, rate).Append(ByteList(12));
  header.Little(1, blockSizes).Little(1, 1);
  return header.Take();
}

// A setup that ends, behind some bits that mean nothing here, in these modes.
ByteList VorbisSetup(const std::vector<bool>& isLong) {
  std::vector<bool> bits(40, true);
  const auto put = [&](std::size_t count, std::uint64_t value) {
    for (; count > 0; --count, value >>= 1) bits.push_back(value % 2 != 0);
  };
  put(6, isLong.size() - 1);
  for (std::size_t mode = 0; mode < isLong.size(); ++mode) {
    put(1, isLong[mode] ? 1 : 0);
    put(32, 0);
    put(8, mode % 2);
  }
  put(1, 1);
  FormBytes header;
  header.Little(1, 5).Text("vorbis");
  ByteList bytes = header.Take();
  for (std::size_t i = 0; i < bits.size(); ++i) {
    if (i % 8 == 0) bytes.push_back(0);
    bytes.back() |= static_cast<std::uint8_t>(bits[i] ? 1U << i % 8 : 0);
  }
  return bytes;
}

const ByteList& VorbisComments() {
  static const ByteList comments = Letters(std::string("\x03vorbis\0\0\0\0\0\0\0\0\x01", 16));
  return comments;
}

CMediaType VorbisType(const std::vector<ByteList>& headers, const GUID& subtype = kSubtypeVorbis) {
  CMediaType type(&MEDIATYPE_Audio);
  type.SetSubtype(&subtype);
  ByteList all;
  VorbisFormat format{2, 44'100, 0, {}};
  for (std::size_t i = 0; i < headers.size(); ++i) {
    format.headerSizes[i] = static_cast<std::uint32_t>(headers[i].size());
    all.insert(all.end(), headers[i].begin(), headers[i].end());
  }
  EXPECT_EQ(MakeFormatBlock(type, kFormatVorbis, sizeof format + all.size()), S_OK);
  StoreHeader(type, format);
  StoreBytes(type, sizeof format, all);
  return type;
}

CMediaType VorbisType() { return VorbisType({VorbisIdentification(), VorbisComments(), VorbisSetup({false, true})}); }

TEST(VorbisModesTest, NumbersOfModesAreFoundFromTheEnd) {
  for (std::size_t count = 1; count <= 64; ++count) {
    std::vector<bool> isLong(count);
    for (std::size_t mode = 0; mode < count; ++mode) isLong[mode] = mode % 3 == 1;
    std::optional<VorbisModes> modes = VorbisModes::Read(VorbisIdentification(), VorbisSetup(isLong));
    ASSERT_TRUE(modes) << count;
    std::int64_t before = 0;
    for (std::size_t mode = 0; mode < count; ++mode) {
      const std::int64_t size = isLong[mode] ? 2048 : 256;
      EXPECT_EQ(modes->Sounds(ByteList{static_cast<std::uint8_t>(mode << 1)}), before == 0 ? 0 : (before + size) / 4);
      before = size;
    }
  }
}

TEST(VorbisModesTest, WhatHoldsNoModesIsRefused) {
  const ByteList zeros(100);
  EXPECT_FALSE(VorbisModes::Read(VorbisIdentification(), {}));
  EXPECT_FALSE(VorbisModes::Read(VorbisIdentification(), zeros));
  EXPECT_FALSE(VorbisModes::Read(VorbisIdentification(), ByteList(100, 0xFF)));
  EXPECT_FALSE(VorbisModes::Read(VorbisIdentification(0x8B), VorbisSetup({false})));
  EXPECT_FALSE(VorbisModes::Read(VorbisIdentification(0xE8), VorbisSetup({false})));
  EXPECT_FALSE(VorbisModes::Read(VorbisIdentification(0x55), VorbisSetup({false})));
  EXPECT_FALSE(VorbisModes::Read(ByteList(28), VorbisSetup({false})));
}

TEST(VorbisWriterTest, PositionsCountHalvesOfBlocks) {
  const std::vector<TimedPayload> samples = {{{0x00, 1}, 0, 1}, {{0x00, 2}, 1, 2}, {{0x02, 3}, 2, 3}, {{0x02}, 3, 4}};
  const MemoryOutput file = WriteTrack(*PackagedAudioFormOf(VorbisType()), samples);
  const std::vector<OggPage> pages = ReadOggPages(file.bytes);
  ASSERT_EQ(pages.size(), 3U);
  EXPECT_EQ(pages[0].flags, 2U);
  EXPECT_EQ(pages[0].body, VorbisIdentification());
  EXPECT_EQ(pages[1].position, 0);
  EXPECT_EQ(pages[2].flags, 4U);
  EXPECT_EQ(pages[2].position, 128 + 576 + 1024);
  const std::vector<ByteList> packets = PacketsOf(pages);
  ASSERT_EQ(packets.size(), 7U);
  EXPECT_EQ(packets[1], VorbisComments());
  EXPECT_EQ(packets[2], VorbisSetup({false, true}));
}

TEST(VorbisWriterTest, HeadersThatTheFilterSendsAreNotWrittenAgain) {
  const std::vector<TimedPayload> samples = {{VorbisIdentification(), 0, 1},
                                             {VorbisComments(), 1, 2},
                                             {VorbisSetup({false, true}), 2, 3},
                                             {{}, 3, 4},
                                             {{0x02}, 0, 4}};
  const MemoryOutput file = WriteTrack(*PackagedAudioFormOf(VorbisType()), samples);
  EXPECT_EQ(PacketsOf(ReadOggPages(file.bytes)).size(), 4U);
}

TEST(VorbisWriterTest, WithoutModesTheTimesCount) {
  ByteList setup = Letters("\x05vorbis");
  setup.resize(60, 0xFF);
  const CMediaType type = VorbisType({VorbisIdentification(), VorbisComments(), setup});
  const std::vector<TimedPayload> samples = {{{0}, 0, 100 * kMillisecond},
                                             {{0}, 100 * kMillisecond, 200 * kMillisecond}};
  EXPECT_EQ(ReadOggPages(WriteTrack(*PackagedAudioFormOf(type), samples).bytes).back().position, 8820);
}

TEST(VorbisWriterTest, HeadersThatAreNoneHaveNoForm) {
  const ByteList setup = VorbisSetup({true});
  EXPECT_TRUE(PackagedAudioFormOf(VorbisType({VorbisIdentification(), VorbisComments(), setup}, kSubtypeVorbis2)));
  EXPECT_FALSE(PackagedAudioFormOf(VorbisType({VorbisIdentification(0xB8, 0), VorbisComments(), setup})));
  EXPECT_FALSE(PackagedAudioFormOf(VorbisType({ByteList(30), VorbisComments(), setup})));
  EXPECT_FALSE(PackagedAudioFormOf(VorbisType({VorbisIdentification(), setup, VorbisComments()})));
  EXPECT_FALSE(PackagedAudioFormOf(VorbisType({{}, {}, {}})));
  CMediaType cut = VorbisType();
  --cut.cbFormat;
  EXPECT_FALSE(PackagedAudioFormOf(cut));
  cut.cbFormat = sizeof(VorbisFormat) - 1;
  EXPECT_FALSE(PackagedAudioFormOf(cut));
}

// ---- FLAC.

ByteList StreamInfo(std::uint64_t length) {
  FormBytes block;
  block.Big(2, 4096).Big(2, 4096).Big(6, 0).Big(
      8, std::uint64_t{44'100} << 44 | std::uint64_t{1} << 41 | std::uint64_t{15} << 36 | length);
  return block.Append(ByteList(16, 0xAB)).Take();
}

ByteList FlacHeader(std::uint64_t length, std::uint8_t seekTable = 0x83) {
  FormBytes header;
  header.Text("fLaC").Big(1, 0).Big(3, 34).Append(StreamInfo(length));
  return header.Big(1, seekTable).Big(3, 18).Append(ByteList(18, 0x11)).Take();
}

CMediaType FlacType(const ByteList& header) { return SoundType(kSubtypeFlac, 2, 44'100, 16, header); }

const ByteList kFlacFrame = {0xFF, 0xF8, 0xC9, 0x18, 0x00, 0xC2};             // 4096
const ByteList kShortFlacFrame = {0xFF, 0xF8, 0x69, 0x18, 0xC4, 0x80, 0x63};  // 99 + 1, number of two bytes

TEST(FlacWriterTest, WholeStreamKeepsItsHeaders) {
  const MemoryOutput file =
      WriteTrack(*PackagedAudioFormOf(FlacType(FlacHeader(4196))), {{kFlacFrame, 0, 1}, {kShortFlacFrame, 1, 2}});
  FormBytes expected;
  expected.Append(FlacHeader(4196)).Append(kFlacFrame).Append(kShortFlacFrame);
  EXPECT_EQ(file.bytes, expected.Take());
}

TEST(FlacWriterTest, PartOfAStreamSaysItsOwnLengthAndNoChecksum) {
  const MemoryOutput file = WriteTrack(*PackagedAudioFormOf(FlacType(FlacHeader(9000))), {{kFlacFrame, 0, 1}});
  FormBytes expected;
  const ByteList info = StreamInfo(4096);
  expected.Text("fLaC").Big(1, 0).Big(3, 34).Append(std::span(info).first(18)).Append(ByteList(16));
  expected.Big(1, 0x81).Big(3, 18).Append(ByteList(18)).Append(kFlacFrame);
  EXPECT_EQ(file.bytes, expected.Take());
}

TEST(FlacWriterTest, FrameThatCannotBeCountedLeavesTheLengthUnknown) {
  for (const ByteList& frame : {ByteList{}, ByteList{1, 2, 3, 4, 5}, ByteList{0xFF, 0xF8, 0x09, 0x18, 0, 0},
                                ByteList{0xFF, 0xF8, 0x79, 0x18, 0, 0}, ByteList{0xFF, 0xF8, 0x69, 0x18, 0xFF, 0}}) {
    const ByteList bytes = WriteTrack(*PackagedAudioFormOf(FlacType(FlacHeader(4096))), {{frame, 0, 1}}).bytes;
    EXPECT_EQ(BigEndian(&bytes[18], 8) & 0xFFFFFFFFF, 0U);
  }
}

TEST(FlacWriterTest, EveryCodeOfALengthCounts) {
  struct Case {
    ByteList frame;
    std::uint64_t length;
  };
  const Case cases[] = {{{0xFF, 0xF8, 0x10, 0, 0}, 192},
                        {{0xFF, 0xF8, 0x20, 0, 0}, 576},
                        {{0xFF, 0xF9, 0x50, 0, 0}, 4608},
                        {{0xFF, 0xF8, 0x60, 0, 0, 0x0F}, 16},
                        {{0xFF, 0xF8, 0x70, 0, 0xE1, 0x80, 0x80, 0x01, 0x00}, 257},
                        {{0xFF, 0xF8, 0x80, 0, 0}, 256},
                        {{0xFF, 0xF8, 0xF0, 0, 0}, 32768}};
  for (const Case& one : cases) {
    const ByteList bytes = WriteTrack(*PackagedAudioFormOf(FlacType(FlacHeader(1))), {{one.frame, 0, 1}}).bytes;
    EXPECT_EQ(BigEndian(&bytes[18], 8) & 0xFFFFFFFFF, one.length);
  }
}

TEST(FlacWriterTest, LastWholeHeaderIsMarkedAsTheLast) {
  ByteList cut = FlacHeader(0, 0x03);
  cut.pop_back();
  const ByteList bytes = WriteTrack(*PackagedAudioFormOf(FlacType(cut)), {}).bytes;
  EXPECT_EQ(bytes.size(), 42U);
  EXPECT_EQ(bytes[4], 0x80);
  EXPECT_EQ(WriteTrack(*PackagedAudioFormOf(FlacType(StreamInfo(0))), {}).bytes, bytes);
}

TEST(FlacWriterTest, HeaderThatIsNoneHasNoForm) {
  ByteList other = FlacHeader(0);
  other[4] = 4;
  ByteList longer = FlacHeader(0);
  longer[7] = 35;
  ByteList shorter = FlacHeader(0);
  shorter.resize(41);
  for (const ByteList& header : {ByteList(), ByteList(33), Letters("fLaC"), other, longer, shorter}) {
    EXPECT_FALSE(PackagedAudioFormOf(FlacType(header)));
  }
}

// ---- True Audio.

CMediaType TtaType(const ByteList& header = {}, std::uint32_t rate = 48'000, std::uint16_t bits = 16) {
  return SoundType(SubtypeOf(format_tags::kTta), 1, rate, bits, header);
}

constexpr std::uint32_t kTtaLength = 50'155;  // 256/245 of 48,000

// Zeros are of 11 bits each at first, then of ever fewer, down to one.
ByteList SilentTtaFrame(std::size_t bytes) { return ByteList(bytes + 4); }

TEST(TtaFrameTest, SilenceIsCountedUpToItsFilling) {
  // The sum of the first parameter shrinks by a sixteenth a value; the bits follow it.
  const TtaFrameLength length = CountTtaFrame(SilentTtaFrame(100), 1, kTtaLength);
  EXPECT_EQ(length.most - length.least, 7U);
  EXPECT_EQ(CountTtaFrame(SilentTtaFrame(101), 1, kTtaLength).least, length.least + 8);
  EXPECT_EQ(CountTtaFrame(SilentTtaFrame(101), 1, 50).most, 50U);
}

TEST(TtaFrameTest, FirstValueOfEachKindHasItsBits) {
  // A zero, then ten bits; a one and a zero, then ten bits.
  EXPECT_EQ(CountTtaFrame(ByteList{0xFE, 0x07, 0, 0, 0, 0}, 1, 9).most, 1U);
  EXPECT_EQ(CountTtaFrame(ByteList{0x01, 0x00, 0, 0, 0, 0}, 1, 9).most, 1U);
  EXPECT_EQ(CountTtaFrame(ByteList{0xFE, 0, 0, 0, 0}, 1, 9).most, 0U);
  EXPECT_EQ(CountTtaFrame(ByteList{0xFF, 0xFF, 0, 0, 0, 0}, 1, 9).most, 0U);
  EXPECT_EQ(CountTtaFrame(ByteList{0, 0, 0, 0}, 1, 9).most, 0U);
  EXPECT_EQ(CountTtaFrame(ByteList{0, 0, 0, 0, 0, 0}, 2, 9).most, 0U);
  EXPECT_EQ(CountTtaFrame(ByteList{0, 0, 0, 0, 0, 0, 0}, 2, 9).most, 1U);
}

TEST(TtaWriterTest, HeaderAndTableComeBeforeTheFrames) {
  const ByteList first(1000, 0x55);
  const ByteList last = {0x01, 0x00, 1, 2, 3, 4};  // one sound
  const MemoryOutput file = WriteTrack(*PackagedAudioFormOf(TtaType()), {{first, 0, 1}, {last, 1, 2}});
  FormBytes expected;
  expected.Text("TTA1").Little(2, 1).Little(2, 1).Little(2, 16).Little(4, 48'000).Little(4, kTtaLength + 1);
  expected.Little(4, crc32(0, expected.Bytes().data(), 18));
  FormBytes table;
  table.Little(4, 1000).Little(4, 6);
  expected.Append(table.Bytes()).Little(4, crc32(0, table.Bytes().data(), 8)).Append(first).Append(last);
  EXPECT_EQ(file.bytes, expected.Take());
}

// The whole length that the header tells, of frames that begin and end at these times.
std::uint64_t TtaSounds(const std::vector<TimedPayload>& frames, const ByteList& header = {}) {
  const MemoryOutput file = WriteTrack(*PackagedAudioFormOf(TtaType(header)), frames);
  return LittleEndian(std::span(file.bytes).subspan(14, 4));
}

std::int64_t TtaTime(std::uint64_t sounds) {
  return static_cast<std::int64_t>((sounds * 10'000'000 + 24'000) / 48'000);
}

TEST(TtaWriterTest, TimesThatCountSoundsTellTheLengthWithinTheFilling) {
  const ByteList frame = SilentTtaFrame(100);
  const TtaFrameLength length = CountTtaFrame(frame, 1, kTtaLength);
  const std::int64_t last = TtaTime(kTtaLength);
  const auto sounds = [&](std::uint64_t count) {
    return TtaSounds({{ByteList(1000, 0x55), 0, last}, {frame, last, TtaTime(kTtaLength + count)}}) - kTtaLength;
  };
  EXPECT_EQ(sounds(length.least + 3), length.least + 3);
  EXPECT_EQ(sounds(1), length.least);
  EXPECT_EQ(sounds(length.most + 900), length.most);
}

TEST(TtaWriterTest, RoundedTimesLoseNoSounds) {
  const ByteList frame = SilentTtaFrame(100);
  const TtaFrameLength length = CountTtaFrame(frame, 1, kTtaLength);
  const std::int64_t whole = length.least * 10'000'000 / 48'000 / 10'000 * 10'000;  // milliseconds
  EXPECT_EQ(TtaSounds({{frame, 0, whole}}), length.most);
  EXPECT_EQ(TtaSounds({{frame, 0, 1}}), length.most) << "without an end";
  EXPECT_EQ(
      TtaSounds({{ByteList(1000, 0x55), 0, 10'450'000}, {frame, 10'450'000, 10'450'000 + TtaTime(length.least + 3)}}),
      kTtaLength + length.most);
}

TEST(TtaWriterTest, HeaderOfTheFileTellsTheLengthWithinTheFilling) {
  const ByteList frame = SilentTtaFrame(100);
  const TtaFrameLength length = CountTtaFrame(frame, 1, kTtaLength);
  for (const auto& [told, expected] : {std::pair{length.least + 2, length.least + 2},
                                       {length.least - 1, length.most},
                                       {length.most + 1, length.most}}) {
    FormBytes header;
    header.Text("TTA1").Little(2, 1).Little(2, 1).Little(2, 16).Little(4, 48'000).Little(4, told).Little(4, 0);
    EXPECT_EQ(TtaSounds({{frame, 0, 1}}, header.Take()), expected) << told;
  }
}

TEST(TtaWriterTest, DurationOfTheFileTellsTheLengthWithinTheFilling) {
  const ByteList frame = SilentTtaFrame(100);
  const TtaFrameLength length = CountTtaFrame(frame, 1, kTtaLength);
  const auto sounds = [&](std::int64_t start, std::int64_t fileEnd) {
    MemoryOutput out;
    const std::unique_ptr<TrackWriter> writer = PackagedAudioFormOf(TtaType())->make(out, nullptr);
    writer->Write({.payload = frame, .start = start, .stop = start + kMillisecond});
    writer->TellEnd({.padding = 0, .fileEnd = fileEnd});
    writer->Finish();
    return LittleEndian(std::span(out.bytes).subspan(14, 4));
  };
  EXPECT_EQ(sounds(0, TtaTime(length.least + 3)), length.least + 3);
  EXPECT_EQ(sounds(0, TtaTime(length.least - 9)), length.most) << "it is another track's, or rounded";
  EXPECT_EQ(sounds(0, TtaTime(length.most + 9)), length.most);
  EXPECT_EQ(sounds(20, TtaTime(length.least + 3)), length.most) << "the beginning is not there";
}

TEST(TtaWriterTest, EmptyStreamIsAHeaderAndAnEmptyTable) {
  const MemoryOutput file = WriteTrack(*PackagedAudioFormOf(TtaType()), {{{}, 0, 1}});
  EXPECT_EQ(file.Size(), 22U + 4U);
}

TEST(TtaWriterTest, HeaderOfTheFileGoesBeforeTheTrack) {
  FormBytes fields;
  ByteList header = fields.Text("TTA1").Little(2, 1).Little(2, 6).Little(2, 24).Little(4, 96'000).Little(8, 0).Take();
  const ByteList bytes = WriteTrack(*PackagedAudioFormOf(TtaType(header)), {}).bytes;
  EXPECT_EQ(ByteList(bytes.begin(), bytes.begin() + 14), ByteList(header.begin(), header.begin() + 14));
  header[4] = 2;  // encrypted
  EXPECT_FALSE(PackagedAudioFormOf(TtaType(header)));
}

TEST(TtaWriterTest, NumbersThatNobodyPlaysHaveNoForm) {
  EXPECT_FALSE(PackagedAudioFormOf(TtaType({}, 0)));
  EXPECT_FALSE(PackagedAudioFormOf(TtaType({}, 0xFFFFFFFF)));
  EXPECT_FALSE(PackagedAudioFormOf(TtaType({}, 48'000, 0)));
  EXPECT_FALSE(PackagedAudioFormOf(TtaType({}, 48'000, 64)));
}

// ---- WavPack.

constexpr std::uint32_t kOneBlock = 0x1800;

CMediaType WavPackType(const ByteList& version = {0x10, 0x04}) {
  return SoundType(SubtypeOf(format_tags::kWavPack), 2, 48'000, 16, version);
}

ByteList WavPackBlock(std::uint64_t total, std::uint64_t index, std::uint32_t sounds, std::uint32_t flags,
                      const ByteList& data) {
  FormBytes block;
  block.Text("wvpk").Little(4, 24 + data.size()).Little(2, 0x410).Little(1, index >> 32).Little(1, 0).Little(4, total);
  return block.Little(4, index).Little(4, sounds).Little(4, flags).Little(4, 0xC0FFEE).Append(data).Take();
}

ByteList StrippedBlock(std::uint32_t sounds, const ByteList& data) {
  return FormBytes().Little(4, sounds).Little(4, kOneBlock).Little(4, 0xC0FFEE).Append(data).Take();
}

TEST(WavPackWriterTest, HeadersArePutBackWithTheWholeLengthInTheFirst) {
  const MemoryOutput file =
      WriteTrack(*PackagedAudioFormOf(WavPackType()),
                 {{StrippedBlock(1000, {0x0A, 1, 2, 3}), 0, 1}, {StrippedBlock(500, {0x0A, 0}), 1, 2}});
  FormBytes expected;
  expected.Append(WavPackBlock(1500, 0, 1000, kOneBlock, {0x0A, 1, 2, 3}));
  expected.Append(WavPackBlock(0xFFFFFFFF, 1000, 500, kOneBlock, {0x0A, 0}));
  EXPECT_EQ(file.bytes, expected.Take());
}

TEST(WavPackWriterTest, FrameOfSeveralBlocksIsTakenApart) {
  FormBytes frame;
  frame.Little(4, 700).Little(4, 0x800).Little(4, 0xC0FFEE).Little(4, 2).Append(ByteList{0x0A, 0});
  frame.Little(4, 0x1000).Little(4, 0xC0FFEE).Little(4, 4).Append(ByteList{0x0A, 1, 5, 6});
  const MemoryOutput file = WriteTrack(*PackagedAudioFormOf(WavPackType()), {{frame.Take(), 0, 1}});
  FormBytes expected;
  expected.Append(WavPackBlock(700, 0, 700, 0x800, {0x0A, 0}))
      .Append(WavPackBlock(700, 0, 700, 0x1000, {0x0A, 1, 5, 6}));
  EXPECT_EQ(file.bytes, expected.Take());
}

TEST(WavPackWriterTest, ChecksumOverABlockIsMadeAnew) {
  for (const std::size_t size : {2, 4}) {
    ByteList data = {0x0A, 1, 5, 6, 0x2F, static_cast<std::uint8_t>(size / 2)};
    data.resize(data.size() + size);
    const ByteList bytes = WriteTrack(*PackagedAudioFormOf(WavPackType()), {{StrippedBlock(1000, data), 0, 1}}).bytes;
    std::uint32_t sum = 0xFFFFFFFF;
    for (std::size_t i = 0; i < 36; i += 2) sum = sum * 3 + bytes[i] + bytes[i + 1] * 256U;
    if (size == 2) sum = (sum ^ sum >> 16) & 0xFFFF;
    EXPECT_EQ(LittleEndian(std::span(bytes).subspan(38, size)), sum);
  }
}

TEST(WavPackWriterTest, BlocksThatAreCutOffAreLeftOut) {
  FormBytes frame;
  frame.Little(4, 700).Little(4, 0x800).Little(4, 0xC0FFEE).Little(4, 3).Append(ByteList{0x0A, 0});
  const std::vector<TimedPayload> samples = {
      {{}, 0, 1}, {{1, 2, 3}, 0, 1}, {ByteList(11), 0, 1}, {ByteList(15), 0, 1}, {frame.Take(), 0, 1}};
  EXPECT_EQ(WriteTrack(*PackagedAudioFormOf(WavPackType()), samples).Size(), 0U);
}

TEST(WavPackWriterTest, PartsThatRunPastABlockChangeNothing) {
  for (const ByteList& data :
       {ByteList{0x2F}, ByteList{0x2F, 3, 0, 0}, ByteList{0xAF, 2, 0}, ByteList{0xAF, 2, 0, 9, 1, 1}}) {
    const MemoryOutput file = WriteTrack(*PackagedAudioFormOf(WavPackType()), {{StrippedBlock(8, data), 0, 1}});
    EXPECT_EQ(ByteList(file.bytes.begin() + 32, file.bytes.end()), data);
  }
}

TEST(WavPackWriterTest, VersionThatIsNoneHasNoForm) {
  for (const ByteList& version : {ByteList(), ByteList{0x10}, ByteList{0x01, 0x04}, ByteList{0x11, 0x04}}) {
    EXPECT_FALSE(PackagedAudioFormOf(WavPackType(version)));
  }
}

// ---- All of them.

TEST(PackagedAudioTest, TypesOfOtherSoundOrWithoutABlockHaveNoForm) {
  EXPECT_FALSE(PackagedAudioFormOf(SoundType(SubtypeOf(format_tags::kPcm), 2, 48'000, 16, {})));
  EXPECT_FALSE(PackagedAudioFormOf(CMediaType(&MEDIATYPE_Audio)));
  for (const GUID& subtype : {SubtypeOf(format_tags::kOpus), SubtypeOf(format_tags::kTta), kSubtypeFlac, kSubtypeVorbis,
                              SubtypeOf(format_tags::kWavPack)}) {
    CMediaType type(&MEDIATYPE_Audio);
    type.SetSubtype(&subtype);
    EXPECT_FALSE(PackagedAudioFormOf(type));
    type.SetFormatType(&FORMAT_WaveFormatEx);
    EXPECT_FALSE(PackagedAudioFormOf(type));
    CMediaType video = OpusType(OpusHead());
    video.SetType(&MEDIATYPE_Video);
    EXPECT_FALSE(PackagedAudioFormOf(video));
  }
}

}  // namespace
}  // namespace vantor::tools
