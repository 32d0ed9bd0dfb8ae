// The media types that only the switch for more codecs gives.
#include "mediatypes/expected_blocks.h"
#include "published/subtype_codes.h"

namespace vantor::test {
namespace {
namespace more_codecs {

constexpr PlaybackPolicy kMore = {.moreCodecs = true};

struct Built {
  HRESULT result = E_UNEXPECTED;
  TrackMediaType type;
  std::string Subtype() const { return GuidText(*type.mediaType.Subtype()); }
  std::string Format() const { return GuidText(*type.mediaType.FormatType()); }
};

Built Build(const MkvTrackEntry& track, const PlaybackPolicy& policy = kMore) {
  Built built;
  built.result = BuildTrackMediaType(track, {}, built.type, policy);
  return built;
}

MkvTrackEntry Subtitles(std::string_view codecId) {
  MkvTrackEntry track = MakeTrack(codecId, {});
  track.TrackType = CMkvUInt(MkvTrackEntry::kTypeSubtitle);
  return track;
}

WAVEFORMATEX WaveOf(const CMediaType& type) {
  WAVEFORMATEX header{};
  std::memcpy(&header, type.Format(), sizeof header);
  return header;
}

TEST(MoreCodecs, WithoutTheSwitchTheyHaveNoPin) {
  for (const std::string_view codec : {"A_EAC3", "A_AC3/BSID9", "A_AC3/BSID10", "A_ALAC", "A_PCM/INT/BIG"}) {
    EXPECT_EQ(Build(AudioTrack(codec, 48000, 2, 16, {}), {}).result, S_FALSE) << codec;
  }
  for (const std::string_view codec : {"V_AV1", "V_PRORES"}) {
    EXPECT_EQ(Build(VideoTrack(codec, 16, 16, Text("apcn")), {}).result, S_FALSE) << codec;
  }
}

TEST(MoreCodecs, WithoutTheSwitchSubtitlesHaveNoSubtype) {
  for (const std::string_view codec : {"S_TEXT/WEBVTT", "D_WEBVTT/SUBTITLES", "S_HDMV/PGS", "S_DVBSUB"}) {
    EXPECT_EQ(Build(Subtitles(codec), {}).Subtype(), GuidText(GUID_NULL)) << codec;
  }
}

TEST(MoreCodecs, TheVariantsOfAc3AreAc3) {
  for (const std::string_view codec : {"A_AC3/BSID9", "A_AC3/BSID10"}) {
    const Built variant = Build(AudioTrack(codec, 24000, 2, 0, {}));
    const Built plain = Build(AudioTrack("A_AC3", 24000, 2, 0, {}));
    EXPECT_EQ(variant.result, S_OK) << codec;
    EXPECT_EQ(variant.Subtype(), plain.Subtype());
    EXPECT_EQ(BlockOf(variant.type.mediaType), BlockOf(plain.type.mediaType));
    EXPECT_EQ(LabelOf(variant.type), "AC3");
  }
}

TEST(MoreCodecs, EnhancedAc3SaysItsSubtypeBehindTheHeader) {
  const Built built = Build(AudioTrack("A_EAC3", 48000, 6, 0, {1, 2, 3}));
  ASSERT_EQ(built.result, S_OK);
  EXPECT_EQ(built.Subtype(), "A7FB87AF-2D02-42FB-A4D4-05CD93843BDD");
  const CMediaType& type = built.type.mediaType;
  ASSERT_EQ(type.FormatLength(), 40u);
  const WAVEFORMATEX header = WaveOf(type);
  EXPECT_EQ(header.wFormatTag, 0xFFFE);
  EXPECT_EQ(header.nChannels, 6);
  EXPECT_EQ(header.nSamplesPerSec, 48000u);
  EXPECT_EQ(header.cbSize, 22);
  GUID subformat = {};
  std::memcpy(&subformat, type.Format() + 24, sizeof subformat);
  EXPECT_TRUE(SameGuid(subformat, *type.Subtype()));
}

TEST(MoreCodecs, AlacHasItsConfigurationBehindTheHeader) {
  const Built built = Build(AudioTrack("A_ALAC", 44100, 2, 16, Ramp(36)));
  ASSERT_EQ(built.result, S_OK);
  EXPECT_EQ(built.Subtype(), GuidText(SubtypeOf(0x6C61)));
  const CMediaType& type = built.type.mediaType;
  ASSERT_EQ(type.FormatLength(), 54u);
  EXPECT_EQ(WaveOf(type).wFormatTag, 0x6C61);
  EXPECT_EQ(WaveOf(type).cbSize, 36);
  EXPECT_EQ(Raw(type.Format() + 18, type.Format() + 54), Ramp(36));
}

TEST(MoreCodecs, BigEndianPcmIsKnownByItsDepth) {
  const struct {
    std::uint32_t bits, code;
  } cases[] = {{16, FourCc("twos")}, {24, FourCc("in24")}, {32, FourCc("in32")}};
  for (const auto& c : cases) {
    const Built built = Build(AudioTrack("A_PCM/INT/BIG", 48000, 2, c.bits, {}));
    ASSERT_EQ(built.result, S_OK) << c.bits;
    EXPECT_EQ(built.Subtype(), GuidText(SubtypeOf(c.code)));
    const WAVEFORMATEX header = WaveOf(built.type.mediaType);
    EXPECT_EQ(header.wFormatTag, 0);
    EXPECT_EQ(header.wBitsPerSample, c.bits);
    EXPECT_EQ(header.nBlockAlign, c.bits / 4);
    EXPECT_EQ(header.nAvgBytesPerSec, 48000 * c.bits / 4);
  }
  for (const std::uint32_t bits : {0, 8, 20}) {
    EXPECT_EQ(Build(AudioTrack("A_PCM/INT/BIG", 48000, 2, bits, {})).type.noPin, NoPinReason::kCodec) << bits;
  }
}

TEST(MoreCodecs, Av1HasItsConfigurationCountedInTheBitmapHeader) {
  const Built built = Build(VideoTrack("V_AV1", 320, 180, Ramp(20)));
  ASSERT_EQ(built.result, S_OK);
  EXPECT_EQ(built.Subtype(), GuidText(SubtypeOf(FourCc("AV01"))));
  EXPECT_EQ(built.Format(), GuidText(FORMAT_VideoInfo2));
  const CMediaType& type = built.type.mediaType;
  ASSERT_EQ(type.FormatLength(), sizeof(VIDEOINFOHEADER2) + 20);
  VIDEOINFOHEADER2 header;
  std::memcpy(&header, type.Format(), sizeof header);
  EXPECT_EQ(header.bmiHeader.biSize, 60u);
  EXPECT_EQ(header.bmiHeader.biWidth, 320);
  EXPECT_EQ(header.bmiHeader.biHeight, 180);
  EXPECT_EQ(header.bmiHeader.biCompression, FourCc("AV01"));
  EXPECT_EQ(Raw(type.Format() + sizeof header, type.Format() + type.FormatLength()), Ramp(20));
}

TEST(MoreCodecs, ProResIsOfTheKindThatThePrivateDataNames) {
  for (const char* kind : {"apco", "apcs", "apcn", "apch", "ap4h", "ap4x"}) {
    const Built built = Build(VideoTrack("V_PRORES", 16, 16, Text(kind)));
    ASSERT_EQ(built.result, S_OK) << kind;
    EXPECT_EQ(built.Subtype(), GuidText(SubtypeOf(FourCc(kind[0], kind[1], kind[2], kind[3]))));
    EXPECT_EQ(built.type.mediaType.FormatLength(), sizeof(VIDEOINFOHEADER2));
    EXPECT_TRUE(built.type.addFrameHeaders);
  }
}

TEST(MoreCodecs, ProResOfNoKnownKindHasNoPin) {
  EXPECT_EQ(Build(VideoTrack("V_PRORES", 16, 16, {})).type.noPin, NoPinReason::kPrivateMissing);
  EXPECT_EQ(Build(VideoTrack("V_PRORES", 16, 16, Text("apc"))).type.noPin, NoPinReason::kPrivateUnusable);
  EXPECT_EQ(Build(VideoTrack("V_PRORES", 16, 16, Text("abcd"))).type.noPin, NoPinReason::kPrivateUnusable);
}

TEST(MoreCodecs, SubtitlesHaveThePlatformsSubtypeAndTheSameBlock) {
  const struct {
    std::string_view codec, subtype;
  } cases[] = {{"S_TEXT/WEBVTT", "C886D215-F485-40BB-8DB6-FADBC619A45D"},
               {"D_WEBVTT/SUBTITLES", "C886D215-F485-40BB-8DB6-FADBC619A45D"},
               {"S_HDMV/PGS", "71F40E4A-1278-4442-B30D-39DD1D7722BC"},
               {"S_DVBSUB", "34FFCBC3-D5B3-4171-9002-D4C60301697F"}};
  for (const auto& c : cases) {
    const Built built = Build(Subtitles(c.codec));
    EXPECT_EQ(built.Subtype(), c.subtype) << c.codec;
    EXPECT_EQ(BlockOf(built.type.mediaType), BlockOf(Build(Subtitles(c.codec), {}).type.mediaType));
  }
}

TEST(MoreCodecs, CodecsOfTheTableKeepTheirTypes) {
  const Built on = Build(AudioTrack("A_AC3", 48000, 2, 16, {}));
  const Built off = Build(AudioTrack("A_AC3", 48000, 2, 16, {}), {});
  EXPECT_EQ(on.Subtype(), off.Subtype());
  EXPECT_EQ(BlockOf(on.type.mediaType), BlockOf(off.type.mediaType));
}

}  // namespace more_codecs
}  // namespace
}  // namespace vantor::test
