#include <gtest/gtest.h>

#include <stdexcept>

#include "published/media_guids.h"
#include "tools/forms/adts_writer.h"
#include "tools/track_form_types.h"

namespace vantor::tools {
namespace {

TEST(AdtsWriter, PutsAHeaderBeforeEveryFrame) {
  const CMediaType type = WaveType(format_tags::kAac, 2, 16, {0x11, 0x90});  // LC, 48000 Hz, two channels
  EXPECT_EQ(WrittenOf(type, {{1, 2, 3}, {4}}),
            (ByteList{0xFF, 0xF1, 0x4C, 0x80, 0x01, 0x5F, 0xFC, 1, 2, 3, 0xFF, 0xF1, 0x4C, 0x80, 0x01, 0x1F, 0xFC, 4}));
}

TEST(AdtsWriter, RefusesAFrameThatIsLargerThanItCanSay) {
  MemoryOutput out;
  AdtsWriter writer(out, {});
  const ByteList largest(8184);
  writer.Write({.payload = largest});
  EXPECT_EQ(out.bytes.size(), 8191U);
  const ByteList larger(8185);
  EXPECT_THROW(writer.Write({.payload = larger}), std::runtime_error);
  EXPECT_EQ(out.bytes.size(), 8191U);
}

struct ConfigCase {
  const char* what;
  ByteList config;
  bool isSayable;
  AdtsSettings settings;
};

TEST(AdtsSettings, AreReadFromTheConfig) {
  const std::vector<ConfigCase> cases = {
      {"LC", {0x12, 0x10}, true, {1, 4, 2}},
      {"main", {0x0A, 0x10}, true, {0, 4, 2}},
      {"LC with six channels", {0x11, 0xB0}, true, {1, 3, 6}},
      {"SBR over LC, said in front", {0x2B, 0x92, 0x08, 0x00}, true, {1, 7, 2}},
      {"PS over SBR over LC", {0xEB, 0x8A, 0x08, 0x00}, true, {1, 7, 1}},
      {"SBR over LC, said behind", {0x13, 0x90, 0x56, 0xE5, 0x98}, true, {1, 7, 2}},
      {"a rate that is written out and in the table", {0x17, 0x80, 0x56, 0x22, 0x10}, true, {1, 4, 2}},
      {"a rate that is not", {0x17, 0x80, 0x56, 0x22, 0x90}, false, {}},
      {"a reserved rate", {0x16, 0x90}, false, {}},
      {"channels by a table", {0x12, 0x00}, false, {}},
      {"channels that it has no number for", {0x12, 0x58}, false, {}},
      {"frames of 960 samples", {0x12, 0x14}, false, {}},
      {"an object type of the error resilient ones", {0x8A, 0x10}, false, {}},
      {"an escaped object type", {0xF9, 0x42, 0x10}, false, {}},
      {"the null object", {0x02, 0x10}, false, {}},
      {"nothing", {}, false, {}},
      {"half of it", {0x12}, false, {}},
  };
  for (const ConfigCase& one : cases) {
    const std::optional<AdtsSettings> read = ReadAdtsSettings(one.config);
    ASSERT_EQ(read.has_value(), one.isSayable) << one.what;
    if (!read) continue;
    EXPECT_EQ(read->profile, one.settings.profile) << one.what;
    EXPECT_EQ(read->frequencyIndex, one.settings.frequencyIndex) << one.what;
    EXPECT_EQ(read->channels, one.settings.channels) << one.what;
  }
}

TEST(PlainWriter, JoinsFramesThatAreAStreamAlready) {
  for (const auto& [tag, extension] :
       {std::pair(format_tags::kAc3, "ac3"), std::pair(format_tags::kDts, "dts"),
        std::pair(format_tags::kMpegLayer3, "mp3"), std::pair(format_tags::kMpeg, "mp2")}) {
    const CMediaType type = WaveType(tag, 2, 0);
    ASSERT_TRUE(FormOf(type)) << extension;
    EXPECT_EQ(FormOf(type)->extension, extension);
    EXPECT_EQ(WrittenOf(type, {{1, 2}, {3}}), (ByteList{1, 2, 3}));
  }
  CMediaType eac3 = WaveType(format_tags::kExtensible, 2, 0);
  eac3.SetSubtype(&kSubtypeEac3);
  EXPECT_EQ(FormOf(eac3)->extension, "eac3");
}

TEST(WaveWriter, TellsItsSizes) {
  const ByteList written = WrittenOf(WaveType(format_tags::kPcm, 2, 16), {{1, 2, 3, 4}, {5, 6, 7, 8}});
  const ByteList room(28, 0);
  EXPECT_EQ(written,
            Joined({{'R', 'I', 'F', 'F', 80, 0, 0, 0, 'W', 'A', 'V', 'E', 'J', 'U', 'N', 'K', 28, 0, 0, 0},
                    room,
                    {'f', 'm', 't', ' ', 16, 0, 0, 0, 1, 0, 2, 0, 0x80, 0xBB, 0, 0, 0, 0xEE, 2, 0, 4, 0, 16, 0},
                    {'d', 'a', 't', 'a', 8, 0, 0, 0, 1, 2, 3, 4, 5, 6, 7, 8}}));
}

TEST(WaveWriter, AnOddLengthGetsAByteThatIsNotCounted) {
  const ByteList written = WrittenOf(WaveType(format_tags::kPcm, 1, 8), {{1, 2, 3}});
  ASSERT_EQ(written.size(), 80U + 4);
  EXPECT_EQ(ByteList(written.begin() + 72, written.end()), (ByteList{'d', 'a', 't', 'a', 3, 0, 0, 0, 1, 2, 3, 0}));
  EXPECT_EQ(written[4], 76);
}

TEST(WaveWriter, TellsTheCountOfSamplesWhereItIsNotPlain) {
  const ByteList written = WrittenOf(WaveType(format_tags::kFloat, 2, 32), {ByteList(24)});
  const ByteList behindFormat(written.begin() + 48 + 8 + 18, written.end());
  EXPECT_EQ(ByteList(behindFormat.begin(), behindFormat.begin() + 20),
            (ByteList{'f', 'a', 'c', 't', 4, 0, 0, 0, 3, 0, 0, 0, 'd', 'a', 't', 'a', 24, 0, 0, 0}));
}

TEST(WaveWriter, TurnsNumbersThatStandTheOtherWayRound) {
  const auto big = [](const char(&code)[5], WORD bits) {
    CMediaType type = WaveType(0, 1, bits);
    const GUID subtype = SubtypeOf(FourCc(code));
    type.SetSubtype(&subtype);
    return type;
  };
  const auto tail = [](const ByteList& written, std::ptrdiff_t size) {
    return ByteList(written.end() - size, written.end());
  };
  EXPECT_EQ(tail(WrittenOf(big("twos", 16), {{1, 2, 3, 4}}), 4), (ByteList{2, 1, 4, 3}));
  EXPECT_EQ(tail(WrittenOf(big("in24", 24), {{1, 2, 3, 4, 5, 6}}), 6), (ByteList{3, 2, 1, 6, 5, 4}));
  EXPECT_EQ(tail(WrittenOf(big("in32", 32), {{1, 2, 3, 4}}), 4), (ByteList{4, 3, 2, 1}));
  EXPECT_EQ(WrittenOf(big("twos", 16), {})[56], 1) << "plain PCM";
  EXPECT_FALSE(FormOf(big("twos", 24)));
}

TEST(WaveWriter, BeyondFourGigabytesItIsRf64) {
  MemoryOutput out(200);
  const auto writer = FormOf(WaveType(format_tags::kPcm, 2, 16))->make(out, nullptr);
  const ByteList piece(std::size_t{1} << 24);
  for (int i = 0; i < 257; ++i) writer->Write({.payload = piece});
  writer->Finish();
  // 0x101000000 bytes of sound, and 80 - 8 before them.
  const ByteList expected =
      Joined({{'R', 'F', '6', '4', 0xFF, 0xFF, 0xFF, 0xFF, 'W', 'A', 'V', 'E', 'd', 's', '6', '4', 28, 0, 0, 0},
              {72, 0, 0, 1, 1, 0, 0, 0, 0, 0, 0, 1, 1, 0, 0, 0, 0, 0, 0x40, 0x40, 0, 0, 0, 0, 0, 0, 0, 0}});
  EXPECT_EQ(ByteList(out.bytes.begin(), out.bytes.begin() + 48), expected);
  EXPECT_EQ(ByteList(out.bytes.begin() + 72, out.bytes.begin() + 80),
            (ByteList{'d', 'a', 't', 'a', 0xFF, 0xFF, 0xFF, 0xFF}));
}

TEST(WaveWriter, KeepsToWhatItCanSay) {
  EXPECT_FALSE(FormOf(WaveType(format_tags::kPcm, 2, 12))) << "samples without whole bytes";
  EXPECT_FALSE(FormOf(WaveType(format_tags::kPcm, 0, 16)));
  EXPECT_FALSE(FormOf(WaveType(0x0160, 2, 16))) << "a codec whose packets have no fixed size";
  EXPECT_TRUE(FormOf(WaveType(0x0002, 2, 4, {0, 2, 0, 0})));
  ByteList extension = {24, 0, 3, 0, 0, 0};
  const GUID pcm = SubtypeOf(format_tags::kPcm);
  const auto* const bytes = reinterpret_cast<const std::uint8_t*>(&pcm);
  extension.insert(extension.end(), bytes, bytes + sizeof pcm);
  EXPECT_TRUE(FormOf(WaveType(format_tags::kExtensible, 2, 24, extension)));
  EXPECT_FALSE(FormOf(WaveType(format_tags::kExtensible, 2, 24, {24, 0})));
}

}  // namespace
}  // namespace vantor::tools
