#include "mediatypes/expected_blocks.h"

namespace vantor::test {
namespace {

constexpr std::string_view kSubtitleType = "E487EB08-6B26-4BE9-9DD3-993434D313FD";
constexpr std::string_view kSubtitleFormat = "A33D2F7D-96BC-4337-B23B-A8B9FBC295E9";
constexpr std::string_view kNoFormat = "0F6417D6-C318-11D0-A43F-00A0C9223196";

MkvTrackEntry SubtitleTrack(std::string_view codecId, std::string_view language = {}, const WideString& name = {},
                            const Raw& codecPrivate = {}) {
  MkvTrackEntry track = MakeTrack(codecId, codecPrivate);
  track.TrackType = CMkvUInt(MkvTrackEntry::kTypeSubtitle);
  track.Language = language;
  track.Name = name;
  return track;
}

TrackMediaType BuiltSubtitle(const MkvTrackEntry& track) {
  TrackMediaType type;
  EXPECT_EQ(BuildSubtitle(track, type), S_OK);
  return type;
}

// The 520 bytes of the subtitle block and the private data.
Raw SubtitleBlock(std::string_view isoLang, const WideString& name, const Raw& codecPrivate) {
  Le le;
  le.U32(520).Add(isoLang).Zeros(4 - isoLang.size());
  for (const WCHAR letter : name) le.U16(letter);
  return le.Zeros(2 * (256 - name.size())).Add(codecPrivate).bytes;
}

TEST(SubtitleMediaType, EveryTextCodecHasItsSubtypeAndTheSubtitleBlock) {
  const struct {
    std::string_view codec, subtype;
  } cases[] = {
      {"S_TEXT/UTF8", "87C0B230-03A8-4FDF-8010-B27A5848200D"}, {"S_TEXT/SSA", "3020560F-255A-4DDC-806E-6C5CC6DCD70A"},
      {"S_SSA", "3020560F-255A-4DDC-806E-6C5CC6DCD70A"},       {"S_TEXT/ASS", "326444F7-686F-47FF-A4B2-C8C96307B4C2"},
      {"S_ASS", "326444F7-686F-47FF-A4B2-C8C96307B4C2"},       {"S_TEXT/SSF", "76C421C4-DB89-42EC-936E-A9FBC1794714"},
      {"S_SSF", "76C421C4-DB89-42EC-936E-A9FBC1794714"},       {"S_TEXT/USF", "B753B29A-0A96-45BE-985F-68351D9CAB90"},
      {"S_USF", "B753B29A-0A96-45BE-985F-68351D9CAB90"},       {"S_VOBSUB", "F7239E31-9599-4E43-8DD5-FBAF75CF37F1"},
  };
  for (const auto& c : cases) {
    const TrackMediaType type = BuiltSubtitle(SubtitleTrack(c.codec, "eng", OLESTR("Signs"), Ramp(33)));
    EXPECT_EQ(GuidText(*type.mediaType.Type()), kSubtitleType);
    EXPECT_EQ(GuidText(*type.mediaType.Subtype()), c.subtype) << c.codec;
    EXPECT_EQ(GuidText(*type.mediaType.FormatType()), kSubtitleFormat);
    EXPECT_EQ(BlockOf(type.mediaType), SubtitleBlock("eng", OLESTR("Signs"), Ramp(33)));
    EXPECT_EQ(LabelOf(type), "eng");
    EXPECT_EQ(type.bufferSize, 256000U);
    EXPECT_EQ(type.mediaType.bFixedSizeSamples, TRUE);
    EXPECT_EQ(type.mediaType.lSampleSize, 1U);
    EXPECT_EQ(type.mediaType.bTemporalCompression, FALSE);
    EXPECT_FALSE(type.convertStartCodes);
  }
}

TEST(SubtitleMediaType, AsciiTextAndClosedCaptionsHaveNoBlock) {
  const struct {
    std::string_view codec, major, subtype, label;
  } cases[] = {
      {"S_TEXT/ASCII", "73747874-0000-0010-8000-00AA00389B71", kNullGuid, "ASCII"},
      {"S_LINE21", "670AEA80-3A82-11D0-B79B-00AA003767A7", "6E8D4A22-310C-11D0-B79A-00AA003767A7", "CC"},
  };
  for (const auto& c : cases) {
    const TrackMediaType type = BuiltSubtitle(SubtitleTrack(c.codec, "eng", OLESTR("Signs"), Ramp(33)));
    EXPECT_EQ(GuidText(*type.mediaType.Type()), c.major);
    EXPECT_EQ(GuidText(*type.mediaType.Subtype()), c.subtype);
    EXPECT_EQ(GuidText(*type.mediaType.FormatType()), kNoFormat);
    EXPECT_EQ(type.mediaType.FormatLength(), 0U);
    EXPECT_EQ(LabelOf(type), c.label);
    EXPECT_EQ(type.bufferSize, 256000U);
    EXPECT_EQ(type.mediaType.lSampleSize, 1U);
  }
}

TEST(SubtitleMediaType, UnknownCodecsHaveANullSubtypeAndTheSubtitleBlock) {
  for (const char* codec : {"S_HDMV/PGS", "S_TEXT/WEBVTT", "S_TEXT/UTF8 ", ""}) {
    const TrackMediaType type = BuiltSubtitle(SubtitleTrack(codec, "fre", OLESTR("n"), Ramp(3)));
    EXPECT_EQ(GuidText(*type.mediaType.Type()), kSubtitleType);
    EXPECT_EQ(GuidText(*type.mediaType.Subtype()), kNullGuid);
    EXPECT_EQ(BlockOf(type.mediaType), SubtitleBlock("fre", OLESTR("n"), Ramp(3)));
    EXPECT_EQ(LabelOf(type), "fre");
  }
}

TEST(SubtitleMediaType, WithoutNameTheTrackNameIsZeros) {
  EXPECT_EQ(BlockOf(BuiltSubtitle(SubtitleTrack("S_TEXT/UTF8", "eng")).mediaType), SubtitleBlock("eng", {}, {}));
}

TEST(SubtitleMediaType, WithoutLanguageCodeAndLabelAreEmpty) {
  const TrackMediaType type = BuiltSubtitle(SubtitleTrack("S_TEXT/UTF8", {}, OLESTR("n")));
  EXPECT_EQ(BlockOf(type.mediaType), SubtitleBlock({}, OLESTR("n"), {}));
  EXPECT_EQ(LabelOf(type), "");
}

TEST(SubtitleMediaType, LongLanguageIsCutTo3InTheBlockAnd7InTheLabel) {
  const TrackMediaType type = BuiltSubtitle(SubtitleTrack("S_TEXT/UTF8", "sr-Latn-RS"));
  EXPECT_EQ(BlockOf(type.mediaType), SubtitleBlock("sr-", {}, {}));
  EXPECT_EQ(LabelOf(type), "sr-Latn");
  EXPECT_EQ(LabelOf(BuiltSubtitle(SubtitleTrack("S_TEXT/UTF8", "sr-Latn"))), "sr-Latn");
}

TEST(SubtitleMediaType, LanguageBytesBeyondAsciiBecomeTheCharactersOfTheirValue) {
  const TrackMediaType type = BuiltSubtitle(SubtitleTrack("S_TEXT/UTF8", "\xE4\xFF"));
  const WideString expected = {WCHAR{0xE4}, WCHAR{0xFF}};
  EXPECT_EQ(type.codecLabel, expected);
}

TEST(SubtitleMediaType, LongNameIsCutTo255Characters) {
  const WideString name(300, WCHAR{0x4E2D});
  const TrackMediaType type = BuiltSubtitle(SubtitleTrack("S_TEXT/UTF8", "chi", name, Ramp(4)));
  EXPECT_EQ(BlockOf(type.mediaType), SubtitleBlock("chi", name.substr(0, 255), Ramp(4)));
}

}  // namespace
}  // namespace vantor::test
