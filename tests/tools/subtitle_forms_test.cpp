// Subtitles in files of their own, by bytes.
#include <gtest/gtest.h>

#include <limits>
#include <string>
#include <vector>

#include "platform/big_endian.h"
#include "tools/forms/subtitle_forms.h"
#include "tools/written_track.h"

namespace vantor::tools {
namespace {

constexpr std::int64_t kSecond = 10'000'000;

TimedPayload Shown(std::string_view text, std::int64_t start, std::int64_t stop) {
  return {Letters(text), start, stop};
}

std::string WrittenText(const CMediaType& type, const std::vector<TimedPayload>& samples) {
  return WriteTrack(*SubtitleFormOf(type), samples).Text();
}

// ---- SubRip.

TEST(SubRipWriterTest, TextsAreNumberedWithTheirTimes) {
  EXPECT_EQ(WrittenText(SubtitleType(kSubtypeUtf8, ""), {Shown("one\r\ntwo\n", 2 * kSecond, 3 * kSecond + 19'999),
                                                         Shown("three", 3600 * kSecond, 36'000 * kSecond)}),
            "1\n00:00:02,000 --> 00:00:03,001\none\ntwo\n\n"
            "2\n01:00:00,000 --> 10:00:00,000\nthree\n\n");
}

TEST(SubRipWriterTest, EmptyLineInsideATextDoesNotEndIt) {
  EXPECT_EQ(WrittenText(SubtitleType(kSubtypeUtf8, ""), {Shown("\none\n\n\n2\n\n", 0, kSecond)}),
            "1\n00:00:00,000 --> 00:00:01,000\n \none\n \n \n2\n\n");
}

TEST(SubRipWriterTest, TextEndsAtAZeroByteAndNothingIsNoText) {
  EXPECT_EQ(WrittenText(SubtitleType(kSubtypeUtf8, ""), {Shown(std::string("a\0b", 3), 0, kSecond), Shown("", 0, 5),
                                                         Shown("\n", 0, 5), Shown(std::string(1, '\0'), 0, 5)}),
            "1\n00:00:00,000 --> 00:00:01,000\na\n\n");
}

TEST(SubRipWriterTest, TextWithoutAnEndIsShownForAWhile) {
  EXPECT_EQ(WrittenText(SubtitleType(kSubtypeUtf8, ""), {Shown("a", kSecond, kSecond + 1)}),
            "1\n00:00:01,000 --> 00:00:04,000\na\n\n");
}

TEST(SubRipWriterTest, TimesOutsideOfAllFilesStayNumbers) {
  constexpr std::int64_t kLeast = std::numeric_limits<std::int64_t>::min();
  constexpr std::int64_t kMost = std::numeric_limits<std::int64_t>::max();
  const std::string text =
      WrittenText(SubtitleType(kSubtypeUtf8, ""), {Shown("a", kLeast, kLeast + 1), Shown("b", kMost, kMost)});
  EXPECT_TRUE(text.starts_with("1\n00:00:00,000 --> 00:00:03,000\na\n\n")) << text;
  EXPECT_EQ(text.find('-', text.find("b") == std::string::npos ? 0 : text.find("2\n")), text.rfind("-->")) << text;
}

TEST(SubRipWriterTest, SampleWithoutATimeIsLeftOut) {
  MemoryOutput out;
  const std::unique_ptr<TrackWriter> writer = SubtitleFormOf(SubtitleType(kSubtypeUtf8, ""))->make(out, nullptr);
  const ByteList text = Letters("a");
  writer->Write({.payload = text, .start = std::nullopt, .stop = std::nullopt});
  writer->Finish();
  EXPECT_EQ(out.Size(), 0U);
}

TEST(SubRipWriterTest, PlainTextWithoutABlockHasTheFormToo) {
  const CMediaType type(&MEDIATYPE_Text);
  ASSERT_TRUE(SubtitleFormOf(type));
  EXPECT_EQ(SubtitleFormOf(type)->extension, "srt");
}

// ---- WebVTT.

TEST(WebVttWriterTest, HeaderOfTheFileComesFirst) {
  EXPECT_EQ(WrittenText(SubtitleType(kSubtypeWebVtt, "WEBVTT - title\n\nSTYLE\n::cue {}\n"),
                        {Shown("a\nb", kSecond, 2 * kSecond)}),
            "WEBVTT - title\n\nSTYLE\n::cue {}\n\n00:00:01.000 --> 00:00:02.000\na\nb\n\n");
}

TEST(WebVttWriterTest, WithoutAHeaderSamplesBringIdentifierAndSettings) {
  EXPECT_EQ(WrittenText(SubtitleType(kSubtypeWebVtt, ""),
                        {Shown("id\nline:0\na\n", 0, kSecond), Shown("\n\nb", kSecond, 2 * kSecond), Shown("x", 0, 9)}),
            "WEBVTT\n\nid\n00:00:00.000 --> 00:00:01.000 line:0\na\n\n00:00:01.000 --> 00:00:02.000\nb\n\n");
}

// ---- SubStation Alpha.

constexpr std::string_view kScript = "[Script Info]\r\nScriptType: v4.00+\r\n\r\n[V4+ Styles]\r\nFormat: Name\r\n\r\n";
constexpr std::string_view kPlainScript =
    "[Script Info]\nScriptType: v4.00+\n\n[V4+ Styles]\nFormat: Name\n\n[Events]\n";
constexpr std::string_view kColumns = ", Start, End, Style, Name, MarginL, MarginR, MarginV, Effect, Text\n";

TEST(SubStationWriterTest, LinesComeInTheOrderOfTheScript) {
  const std::string events = std::string(kScript) + "[Events]\r\nFormat: Layer, Text\r\n";
  EXPECT_EQ(WrittenText(SubtitleType(kSubtypeAss, events),
                        {Shown("2,3,Default,,0,0,0,,third, he said", kSecond, 2 * kSecond),
                         Shown("0,0,Default,,0,0,0,,first\nrow", 5 * kSecond + 199'999, 3600 * kSecond),
                         Shown("1,,Default,,0,0,0,,second", 0, kSecond)}),
            std::string(kPlainScript) + "Format: Layer" + std::string(kColumns) +
                "Dialogue: 0,0:00:05.01,1:00:00.00,Default,,0,0,0,,first\\Nrow\n"
                "Dialogue: 0,0:00:00.00,0:00:01.00,Default,,0,0,0,,second\n"
                "Dialogue: 3,0:00:01.00,0:00:02.00,Default,,0,0,0,,third, he said\n");
}

TEST(SubStationWriterTest, OlderScriptsMarkTheirLines) {
  EXPECT_EQ(WrittenText(SubtitleType(kSubtypeSsa, "\xEF\xBB\xBF" + std::string(kScript)),
                        {Shown("0,,Default,,0,0,0,,a", 0, kSecond), Shown("1,Marked=1,x,,0,0,0,,b", 0, kSecond)}),
            std::string(kPlainScript) + "Format: Marked" + std::string(kColumns) +
                "Dialogue: Marked=0,0:00:00.00,0:00:01.00,Default,,0,0,0,,a\n"
                "Dialogue: Marked=1,0:00:00.00,0:00:01.00,x,,0,0,0,,b\n");
}

TEST(SubStationWriterTest, SectionsBehindTheEventsStay) {
  const std::string text = WrittenText(
      SubtitleType(kSubtypeAss, "[SCRIPT INFO]\n[events]\nFormat: Text\nDialogue: x\n[Fonts]\nfontname: a\n"), {});
  EXPECT_EQ(text, "[SCRIPT INFO]\n[Fonts]\nfontname: a\n\n[Events]\nFormat: Layer" + std::string(kColumns));
}

TEST(SubStationWriterTest, SamplesThatAreNoLinesAreLeftOut) {
  const std::string empty = WrittenText(SubtitleType(kSubtypeAss, kScript), {});
  EXPECT_EQ(WrittenText(SubtitleType(kSubtypeAss, kScript),
                        {Shown("", 0, 9), Shown("text", 0, 9), Shown(",0,a", 0, 9), Shown("1", 0, 9), Shown("1,", 0, 9),
                         Shown("1,0", 0, 9), Shown("99999999999999999999,0,a", 0, 9)})
                .substr(0, empty.size()),
            empty);
}

TEST(SubStationWriterTest, LongScriptIsSortedInPartsOfBoundedMemory) {
  // Two lines fill a part: what comes later stays behind them, whatever its number.
  const std::string filling(600, 'x');
  const std::string text =
      WriteTrack(*SubStationForm(kScript, true, 1200),
                 {Shown("2,0,a,,0,0,0,," + filling, 0, kSecond), Shown("1,0,b,,0,0,0,," + filling, 0, kSecond),
                  Shown("0,0,c,,0,0,0,,last", 0, kSecond)})
          .Text();
  EXPECT_LT(text.find(",b,,0"), text.find(",a,,0"));
  EXPECT_LT(text.find(",a,,0"), text.find(",c,,0"));
}

TEST(SubStationWriterTest, ScriptWithoutInformationHasNoForm) {
  EXPECT_FALSE(SubtitleFormOf(SubtitleType(kSubtypeAss, "")));
  EXPECT_FALSE(SubtitleFormOf(SubtitleType(kSubtypeAss, "[Events]\n")));
  EXPECT_FALSE(SubtitleFormOf(SubtitleType(kSubtypeSsa, "[Script Inf")));
}

// ---- VobSub.

constexpr std::string_view kIndexLines = "size: 720x576\npalette: 000000, ffffff\n";

ByteList Picture(std::size_t size) {
  ByteList picture(size);
  for (std::size_t i = 0; i < size; ++i) picture[i] = static_cast<std::uint8_t>(i * 7);
  StoreBigEndian(picture.data(), 2, size);
  StoreBigEndian(&picture[2], 2, size / 2);
  return picture;
}

struct ReadSector {
  ByteList picture;
  std::int64_t time = -1;
};

// Takes one pack apart by the letter of ISO/IEC 13818-1; the sector ends where its last packet does.
ReadSector ReadPack(std::span<const std::uint8_t> sector) {
  ReadSector read;
  EXPECT_EQ(BigEndian(sector.data(), 4), 0x1BAU);
  EXPECT_EQ(sector[4] & 0xC4, 0x44);
  EXPECT_EQ(sector[13], 0xF8);
  std::size_t at = 14;
  EXPECT_EQ(BigEndian(&sector[at], 4), 0x1BDU);
  const std::size_t end = at + 6 + BigEndian<std::size_t>(&sector[at + 4], 2);
  const std::size_t header = sector[at + 8];
  EXPECT_EQ(sector[at + 6], 0x81);
  if (sector[at + 7] == 0x80) {
    const std::uint8_t* const time = &sector[at + 9];
    EXPECT_EQ(time[0] & 0xF1, 0x21);
    read.time =
        std::int64_t{time[0] >> 1 & 7} << 30 | time[1] << 22 | (time[2] >> 1) << 15 | time[3] << 7 | time[4] >> 1;
  }
  at += 9 + header;
  EXPECT_EQ(sector[at], 0x20);
  read.picture.assign(sector.begin() + static_cast<std::ptrdiff_t>(at) + 1,
                      sector.begin() + static_cast<std::ptrdiff_t>(end));
  if (end == sector.size()) return read;
  EXPECT_EQ(BigEndian(&sector[end], 4), 0x1BEU);
  EXPECT_EQ(end + 6 + BigEndian(&sector[end + 4], 2), sector.size());
  return read;
}

TEST(VobSubWriterTest, IndexNamesTimesAndPlaces) {
  MemoryOutput pictures;
  const MemoryOutput index =
      WriteTrack(*SubtitleFormOf(SubtitleType(kSubtypeVobSub, kIndexLines, "ger")),
                 {{Picture(3000), kSecond, 2 * kSecond}, {Picture(50), 3661 * kSecond + 20'000, 0}}, &pictures);
  EXPECT_EQ(index.Text(), "# VobSub index file, v7 (do not modify this line!)\n" + std::string(kIndexLines) +
                              "langidx: 0\n\nid: de, index: 0\n"
                              "timestamp: 00:00:01:000, filepos: 000000000\n"
                              "timestamp: 01:01:01:002, filepos: 000001000\n");
  EXPECT_EQ(pictures.Size(), 3 * 2048U);
}

TEST(VobSubWriterTest, PicturesOfEverySizeFillWholeSectors) {
  for (const std::size_t size : {4, 2010, 2017, 2018, 2019, 2020, 2021, 2022, 2023, 2024, 2025, 4048, 4049, 60'000}) {
    MemoryOutput pictures;
    WriteTrack(*SubtitleFormOf(SubtitleType(kSubtypeVobSub, kIndexLines)), {{Picture(size), 5 * kSecond, 0}},
               &pictures);
    ASSERT_EQ(pictures.Size() % 2048, 0U) << size;
    ByteList whole;
    for (std::size_t at = 0; at < pictures.Size(); at += 2048) {
      const ReadSector read = ReadPack(std::span(pictures.bytes).subspan(at, 2048));
      EXPECT_EQ(read.time, at == 0 ? 5 * 90'000 : -1) << size;
      whole.insert(whole.end(), read.picture.begin(), read.picture.end());
    }
    EXPECT_EQ(whole, Picture(size)) << size;
  }
}

TEST(VobSubWriterTest, TimesOfManyHoursKeepTheirBits) {
  MemoryOutput pictures;
  WriteTrack(*SubtitleFormOf(SubtitleType(kSubtypeVobSub, kIndexLines)), {{Picture(9), 80'000 * kSecond, 0}},
             &pictures);
  EXPECT_EQ(ReadPack(pictures.bytes).time, std::int64_t{80'000} * 90'000);
}

TEST(VobSubWriterTest, SamplesThatAreNoPictureAreLeftOut) {
  ByteList shorter = Picture(100);
  shorter.pop_back();
  ByteList outside = Picture(100);
  outside[3] = 100;
  MemoryOutput pictures;
  WriteTrack(*SubtitleFormOf(SubtitleType(kSubtypeVobSub, kIndexLines)),
             {{{}, 0, 1}, {{0, 3, 0}, 0, 1}, {shorter, 0, 1}, {outside, 0, 1}}, &pictures);
  EXPECT_EQ(pictures.Size(), 0U);
}

TEST(VobSubWriterTest, LinesOfAnOldIndexAreNotKept) {
  MemoryOutput pictures;
  const MemoryOutput index = WriteTrack(
      *SubtitleFormOf(SubtitleType(kSubtypeVobSub,
                                   "# VobSub index file, v7\r\nsize: 8x8\r\nlangidx: 3\r\nid: xx, index: 1\r\n"
                                   "timestamp: 00:00:00:000, filepos: 0\r\n",
                                   "E\n")),
      {}, &pictures);
  EXPECT_EQ(index.Text(),
            "# VobSub index file, v7 (do not modify this line!)\nsize: 8x8\nlangidx: 0\n\nid: --, index: 0\n");
}

TEST(VobSubWriterTest, FormHasTwoFilesAndNeedsItsLines) {
  const std::optional<TrackForm> form = SubtitleFormOf(SubtitleType(kSubtypeVobSub, kIndexLines));
  ASSERT_TRUE(form);
  EXPECT_EQ(form->extension, "idx");
  EXPECT_EQ(form->companion, "sub");
  EXPECT_FALSE(SubtitleFormOf(SubtitleType(kSubtypeVobSub, "")));
  EXPECT_FALSE(SubtitleFormOf(SubtitleType(kSubtypeVobSub, "something else\n")));
}

// ---- PGS.

TEST(PgsWriterTest, EverySegmentHasAHeaderWithItsTime) {
  const MemoryOutput file = WriteTrack(*SubtitleFormOf(SubtitleType(kSubtypePgs, "")),
                                       {{{0x16, 0, 2, 1, 2, 0x80, 0, 0}, 2 * kSecond, 3 * kSecond}});
  FormBytes expected;
  expected.Text("PG").Big(4, 180'000).Big(4, 0).Append(ByteList{0x16, 0, 2, 1, 2});
  expected.Text("PG").Big(4, 180'000).Big(4, 0).Append(ByteList{0x80, 0, 0});
  EXPECT_EQ(file.bytes, expected.Take());
}

TEST(PgsWriterTest, SegmentThatIsCutOffIsLeftOut) {
  const MemoryOutput file = WriteTrack(*SubtitleFormOf(SubtitleType(kSubtypePgs, "")),
                                       {{{0x80, 0, 0, 0x16, 0, 2, 1}, 0, 1}, {{0x80, 0}, 0, 1}, {{}, 0, 1}});
  EXPECT_EQ(file.Size(), 13U);
}

// ---- All of them.

TEST(SubtitleFormsTest, OtherTypesAndBlocksThatAreTooShortHaveNoForm) {
  EXPECT_FALSE(SubtitleFormOf(SubtitleType(GUID_NULL, "")));
  EXPECT_FALSE(SubtitleFormOf(SubtitleType(kSubtypeUsf, "")));
  EXPECT_FALSE(SubtitleFormOf(CMediaType(&MEDIATYPE_Audio)));
  EXPECT_FALSE(SubtitleFormOf(CMediaType(&kTypeSubtitle)));
  CMediaType cut = SubtitleType(kSubtypeUtf8, "");
  cut.cbFormat = sizeof(SubtitleInfo) - 1;
  EXPECT_FALSE(SubtitleFormOf(cut));
  CMediaType outside = SubtitleType(kSubtypeUtf8, "abc");
  outside.pbFormat[0] = 12;
  EXPECT_TRUE(SubtitleFormOf(SubtitleType(kSubtypeUtf8, "abc")));
  EXPECT_FALSE(SubtitleFormOf(outside));
  outside.pbFormat[0] = 7;
  EXPECT_FALSE(SubtitleFormOf(outside));
}

}  // namespace
}  // namespace vantor::tools
