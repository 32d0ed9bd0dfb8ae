#include <cmath>
#include <limits>

#include "mediatypes/expected_blocks.h"
#include "platform/result.h"

namespace vantor::test {
namespace {

TrackMediaType Built(const MkvTrackEntry& track) {
  TrackMediaType type;
  EXPECT_EQ(BuildAudio(track, type), S_OK);
  return type;
}

HRESULT Result(const MkvTrackEntry& track) {
  TrackMediaType type;
  return Guarded([&] { return BuildAudio(track, type); });
}

// Lacing head and packets of a Vorbis private header set.
Raw VorbisPrivate(const std::vector<Raw>& packets) {
  Raw head = {static_cast<std::uint8_t>(packets.size() - 1)};
  for (std::size_t i = 0; i + 1 < packets.size(); ++i) {
    head.insert(head.end(), packets[i].size() / 255, 255);
    head.push_back(static_cast<std::uint8_t>(packets[i].size() % 255));
  }
  return Join({head, Join(packets)});
}

struct PlainCase {
  std::string_view codec, label;
  std::uint16_t tag;
};

TEST(AudioMediaType, PlainCodecsHaveABareWaveFormat) {
  const PlainCase cases[] = {
      {"A_AC3", "AC3", 0x2000},         {"A_MPEG/L3", "MP3", 0x0055},        {"A_DTS", "DTS", 0x2001},
      {"A_PCM/INT/LIT", "PCM", 0x0001}, {"A_PCM/FLOAT/IEEE", "PCM", 0x0003},
  };
  for (const PlainCase& c : cases) {
    const TrackMediaType type = Built(AudioTrack(c.codec, 48000, 6, 16, Ramp(9)));  // the private data is left out
    EXPECT_EQ(LabelOf(type), c.label);
    EXPECT_EQ(GuidText(*type.mediaType.Type()), FourCcText("auds"));
    EXPECT_EQ(type.mediaType.subtype.Data1, c.tag);
    EXPECT_EQ(GuidText(*type.mediaType.Subtype()).substr(8), "-0000-0010-8000-00AA00389B71");
    EXPECT_EQ(GuidText(*type.mediaType.FormatType()), kWaveFormatText);
    EXPECT_EQ(
        BlockOf(type.mediaType),
        WaveBlock(
            {.tag = c.tag, .channels = 6, .rate = 48000, .bytesPerSecond = 576000, .blockAlign = 12, .bits = 16}));
  }
}

TEST(AudioMediaType, EveryAudioTypeHasSamplesOf256000Bytes) {
  for (const char* codec : {"A_AC3", "A_MPEG/L2", "A_FLAC", "A_MS/ACM", "A_REAL/COOK", "A_AAC/MPEG4/LC"}) {
    const TrackMediaType type = Built(AudioTrack(codec, 48000, 2, 16, Fill(18, 1)));
    EXPECT_EQ(type.bufferSize, 256000U) << codec;
    EXPECT_EQ(type.mediaType.lSampleSize, 256000U) << codec;
    EXPECT_EQ(type.mediaType.bFixedSizeSamples, TRUE) << codec;
    EXPECT_FALSE(type.convertStartCodes) << codec;
  }
}

TEST(AudioMediaType, UnknownCodecsAreSkipped) {
  for (const char* codec :
       {"", "A_EAC3", "A_AC3/BSID9", "A_PCM/INT/BIG", "A_AAC2", "A_VORBIS3", "A_QUICKTIME", "A_MPEG/L4", "V_VP8"}) {
    EXPECT_EQ(Result(AudioTrack(codec, 48000, 2, 16, Fill(60, 1))), S_FALSE) << codec;
  }
}

TEST(AudioMediaType, CodecsWithPrivateDataCountItInTheirExtraSize) {
  const PlainCase cases[] = {{"A_TTA1", "TTA", 0x77A1},
                             {"A_WAVPACK4", "WAVPACK", 0x5756},
                             {"A_OPUS", "OPUS", 0x704F},
                             {"A_AAC", "AAC", 0x00FF}};
  for (const PlainCase& c : cases) {
    for (const std::size_t extra : {std::size_t{0}, std::size_t{2}, std::size_t{30}}) {
      const TrackMediaType type = Built(AudioTrack(c.codec, 44100, 2, 16, Ramp(extra)));
      EXPECT_EQ(LabelOf(type), c.label);
      EXPECT_EQ(type.mediaType.subtype.Data1, c.tag);
      EXPECT_EQ(BlockOf(type.mediaType), Join({WaveBlock({.tag = c.tag,
                                                          .channels = 2,
                                                          .rate = 44100,
                                                          .bytesPerSecond = 176400,
                                                          .blockAlign = 4,
                                                          .bits = 16,
                                                          .extraSize = static_cast<std::uint16_t>(extra)}),
                                               Ramp(extra)}));
    }
  }
}

TEST(AudioMediaType, ExtraSizeKeeps16BitsOfThePrivateDataWhichIsThereWhole) {
  const Raw codecPrivate = Ramp(0x10003);
  const TrackMediaType type = Built(AudioTrack("A_OPUS", 48000, 2, 16, codecPrivate));
  EXPECT_EQ(BlockOf(type.mediaType), Join({WaveBlock({.tag = 0x704F,
                                                      .channels = 2,
                                                      .rate = 48000,
                                                      .bytesPerSecond = 192000,
                                                      .blockAlign = 4,
                                                      .bits = 16,
                                                      .extraSize = 3}),
                                           codecPrivate}));
}

TEST(AudioMediaType, FlacHasASubtypeOfItsOwnBesideItsTag) {
  const TrackMediaType type = Built(AudioTrack("A_FLAC", 44100, 2, 16, Ramp(42)));
  EXPECT_EQ(LabelOf(type), "FLAC");
  EXPECT_EQ(GuidText(*type.mediaType.Subtype()), "1541C5C0-CDDF-477D-BC0A-86F8AE7F8354");
  EXPECT_EQ(BlockOf(type.mediaType), Join({WaveBlock({.tag = 0xF1AC,
                                                      .channels = 2,
                                                      .rate = 44100,
                                                      .bytesPerSecond = 176400,
                                                      .blockAlign = 4,
                                                      .bits = 16,
                                                      .extraSize = 42}),
                                           Ramp(42)}));
}

TEST(AudioMediaType, MpegLayer1And2BlocksHaveAtLeast40Bytes) {
  for (const char* codec : {"A_MPEG/L1", "A_MPEG/L2"}) {
    for (const std::size_t extra : {std::size_t{0}, std::size_t{5}, std::size_t{22}, std::size_t{25}}) {
      const TrackMediaType type = Built(AudioTrack(codec, 48000, 2, 0, Ramp(extra)));
      EXPECT_EQ(LabelOf(type), "MPEG");
      EXPECT_EQ(type.mediaType.subtype.Data1, 0x50U);
      EXPECT_EQ(BlockOf(type.mediaType), Join({WaveBlock({.tag = 0x50,
                                                          .channels = 2,
                                                          .rate = 48000,
                                                          .bytesPerSecond = 48000,
                                                          .blockAlign = 1,
                                                          .extraSize = static_cast<std::uint16_t>(extra)}),
                                               Ramp(extra), Fill(extra < 22 ? 22 - extra : 0)}));
    }
  }
}

// ---- The common fill ----

TEST(AudioMediaType, WithoutBitDepthTheBlockAlignmentIs1) {
  const TrackMediaType type = Built(AudioTrack("A_PCM/INT/LIT", 44100, 2, 0));
  EXPECT_EQ(BlockOf(type.mediaType),
            WaveBlock({.tag = 1, .channels = 2, .rate = 44100, .bytesPerSecond = 44100, .blockAlign = 1}));
}

TEST(AudioMediaType, BlockAlignmentIsSignedArithmeticOfWhich16BitsStay) {
  struct {
    std::uint64_t channels, bits;
    std::uint16_t blockAlign;
  } const cases[] = {
      {3, 20, 7},                // 60 / 8
      {1, 7, 1},                 // 7 / 8 is 0
      {0xFFFF, 0xFFFF, 0xC001},  // 0xFFFE0001 is -131071, / 8 = -16383
      {0x8000, 0x40, 1},         // 0x200000 / 8 = 0x40000, of which 16 bits are 0
      {0x10002, 16, 4},          // channels keep 16 bits
  };
  for (const auto& c : cases) {
    const TrackMediaType type = Built(AudioTrack("A_AC3", 10, c.channels, c.bits));
    EXPECT_EQ(BlockOf(type.mediaType), WaveBlock({.tag = 0x2000,
                                                  .channels = static_cast<std::uint16_t>(c.channels),
                                                  .rate = 10,
                                                  .bytesPerSecond = c.blockAlign * 10U,
                                                  .blockAlign = c.blockAlign,
                                                  .bits = static_cast<std::uint16_t>(c.bits)}));
  }
}

TEST(AudioMediaType, SamplingFrequencyIsTruncatedAndOddOnesKeepTheLow32Bits) {
  struct {
    double frequency;
    std::uint32_t rate;
  } const cases[] = {
      {44100.9, 44100},
      {0.0, 0},
      {-1.5, 0xFFFFFFFF},
      {std::nan(""), 0},
      {std::numeric_limits<double>::infinity(), 0},
      {1e300, 0},
      {4294967297.0, 1},
  };
  for (const auto& c : cases) {
    const TrackMediaType type = Built(AudioTrack("A_AC3", c.frequency, 1, 8));
    EXPECT_EQ(
        BlockOf(type.mediaType),
        WaveBlock({.tag = 0x2000, .channels = 1, .rate = c.rate, .bytesPerSecond = c.rate, .blockAlign = 1, .bits = 8}))
        << c.frequency;
  }
}

TEST(AudioMediaType, BytesPerSecondWrapIn32Bits) {
  const TrackMediaType type = Built(AudioTrack("A_AC3", 4000000000.0, 2, 16));
  EXPECT_EQ(BlockOf(type.mediaType), WaveBlock({.tag = 0x2000,
                                                .channels = 2,
                                                .rate = 4000000000U,
                                                .bytesPerSecond = 4000000000U * 4,
                                                .blockAlign = 4,
                                                .bits = 16}));
}

// ---- ACM ----

TEST(AudioMediaType, AcmPassesTheStoredFormatThroughUntouched) {
  const Raw stored = Join({WaveBlock({.tag = 0x0161,
                                      .channels = 2,
                                      .rate = 44100,
                                      .bytesPerSecond = 16005,
                                      .blockAlign = 2230,
                                      .bits = 16,
                                      .extraSize = 10}),
                           Ramp(10)});
  const TrackMediaType type = Built(AudioTrack("A_MS/ACM", 8000, 1, 8, stored));
  EXPECT_EQ(LabelOf(type), "ACM");
  EXPECT_EQ(GuidText(*type.mediaType.Subtype()), "00000161-0000-0010-8000-00AA00389B71");
  EXPECT_EQ(GuidText(*type.mediaType.FormatType()), kWaveFormatText);
  EXPECT_EQ(BlockOf(type.mediaType), stored);
}

TEST(AudioMediaType, AcmUnder18BytesIsSkipped) {
  EXPECT_EQ(Result(AudioTrack("A_MS/ACM", 8000, 1, 8, Fill(18, 1))), S_OK);
  EXPECT_EQ(Result(AudioTrack("A_MS/ACM", 8000, 1, 8, Fill(17, 1))), S_FALSE);
  EXPECT_EQ(Result(AudioTrack("A_MS/ACM", 8000, 1, 8)), S_FALSE);
}

// ---- AAC by profile ----

struct AacCase {
  std::string_view codec;
  double rate;
  std::uint64_t channels;
  Raw config;  // 2 bytes, or 5 with SBR
};

TEST(AudioMediaType, AacProfilesGiveTheirConfiguration) {
  const AacCase cases[] = {
      {"A_AAC/MPEG2/LC", 48000, 2, {0x11, 0x90}},
      {"A_AAC/MPEG4/LC", 44100, 2, {0x12, 0x10}},
      {"A_AAC/MPEG2/MAIN", 96000, 1, {0x08, 0x08}},
      {"A_AAC/MPEG4/SSR", 22050, 1, {0x1B, 0x88}},
      {"A_AAC/MPEG4/LTP", 7350, 6, {0x25, 0xB0}},
      {"A_AAC/MPEG4/LC", 8000, 33, {0x15, 0x88}},  // channels spill over the index's bit, 8 bits stay
      {"A_AAC/MPEG4/LC/SBR", 24000, 2, {0x13, 0x10, 0x56, 0xE5, 0x98}},
      {"A_AAC/MPEG2/LC/SBR", 22050, 1, {0x13, 0x88, 0x56, 0xE5, 0xA0}},
      {"A_AAC/SBR/MAIN", 48000, 2, {0x09, 0x90}},  // looked for first
  };
  for (const AacCase& c : cases) {
    const bool sbr = c.config.size() == 5;
    const TrackMediaType type = Built(AudioTrack(c.codec, c.rate, c.channels, 0, Ramp(7)));
    EXPECT_EQ(LabelOf(type), "AAC");
    EXPECT_EQ(GuidText(*type.mediaType.Subtype()), "000000FF-0000-0010-8000-00AA00389B71");
    EXPECT_EQ(BlockOf(type.mediaType), Join({WaveBlock({.tag = 0xFF,
                                                        .channels = static_cast<std::uint16_t>(c.channels),
                                                        .rate = static_cast<std::uint32_t>(c.rate) * (sbr ? 2U : 1U),
                                                        .extraSize = static_cast<std::uint16_t>(c.config.size())}),
                                             c.config, Fill(5 - c.config.size())}))
        << c.codec << " " << c.rate;
    EXPECT_EQ(type.mediaType.FormatLength(), 23U);
  }
}

TEST(AudioMediaType, AacProfileBlockAlignmentIsNotCorrectedAndSbrDoublesTheRates) {
  const TrackMediaType plain = Built(AudioTrack("A_AAC/MPEG4/LC", 24000, 2, 16));
  EXPECT_EQ(BlockOf(plain.mediaType), Join({WaveBlock({.tag = 0xFF,
                                                       .channels = 2,
                                                       .rate = 24000,
                                                       .bytesPerSecond = 96000,
                                                       .blockAlign = 4,
                                                       .bits = 16,
                                                       .extraSize = 2}),
                                            {0x13, 0x10},
                                            Fill(3)}));
  const TrackMediaType sbr = Built(AudioTrack("A_AAC/MPEG4/LC/SBR", 24000, 2, 16));
  EXPECT_EQ(BlockOf(sbr.mediaType), Join({WaveBlock({.tag = 0xFF,
                                                     .channels = 2,
                                                     .rate = 48000,
                                                     .bytesPerSecond = 192000,
                                                     .blockAlign = 4,
                                                     .bits = 16,
                                                     .extraSize = 5}),
                                          {0x13, 0x10, 0x56, 0xE5, 0x98}}));
}

TEST(AudioMediaType, AacFrequencyIndexFollowsItsThresholds) {
  const struct {
    double rate;
    int index;
  } cases[] = {{1e9, 0},   {92017, 0},  {92016, 1}, {75132, 1}, {75131, 2}, {55426, 2}, {55425, 3},
               {46009, 3}, {46008, 4},  {44100, 4}, {37566, 4}, {37565, 5}, {27713, 5}, {27712, 6},
               {23004, 6}, {23003, 7},  {22050, 7}, {18783, 7}, {18782, 8}, {13856, 8}, {13855, 9},
               {11502, 9}, {11501, 10}, {9391, 10}, {9390, 11}, {7350, 11}, {0, 11},    {-1, 0}};
  for (const auto& c : cases) {
    const TrackMediaType type = Built(AudioTrack("A_AAC/MPEG4/LC", c.rate, 0, 0));
    const Raw block = BlockOf(type.mediaType);
    EXPECT_EQ((block[18] & 7) << 1 | block[19] >> 7, c.index) << c.rate;
  }
}

TEST(AudioMediaType, AacWithoutAKnownProfileIsSkipped) {
  for (const char* codec : {"A_AAC/", "A_AAC/MPEG4", "A_AAC/MPEG4/HE", "A_AAC/mpeg4/lc"}) {
    EXPECT_EQ(Result(AudioTrack(codec, 48000, 2, 16)), S_FALSE) << codec;
  }
}

// ---- Vorbis ----

TEST(AudioMediaType, VorbisHeadersFollowTheirSizes) {
  struct {
    std::string_view codec, subtype, format;
  } const cases[] = {
      {"A_VORBIS", "CDDCA2D5-6D75-4F98-840E-737BEDD5C63B", "6BDDFA7E-9F22-46A9-AB5E-884EFF294D9F"},
      {"A_VORBIS2", "8D2FD10B-5841-4A6B-8905-588FEC1ADED9", "B36E107F-A938-4387-93C7-55E966757473"},
  };
  for (const auto& c : cases) {
    const Raw packets = Join({Fill(30, 1), Fill(255, 3), Fill(300, 5)});
    const Raw codecPrivate = VorbisPrivate({Fill(30, 1), Fill(255, 3), Fill(300, 5)});
    const TrackMediaType type = Built(AudioTrack(c.codec, 44100, 2, 16, codecPrivate));
    EXPECT_EQ(LabelOf(type), c.codec.substr(2));
    EXPECT_EQ(GuidText(*type.mediaType.Subtype()), c.subtype);
    EXPECT_EQ(GuidText(*type.mediaType.FormatType()), c.format);
    EXPECT_EQ(BlockOf(type.mediaType), Le().U32(2).U32(44100).U32(16).U32(30).U32(255).U32(300).Add(packets).bytes);
  }
}

TEST(AudioMediaType, EmptyVorbisHeadersAreKept) {
  const TrackMediaType type = Built(AudioTrack("A_VORBIS", 8000, 1, 0, {2, 0, 0}));
  EXPECT_EQ(BlockOf(type.mediaType), Le().U32(1).U32(8000).Zeros(16).bytes);
}

TEST(AudioMediaType, VorbisWithOtherThanThreeHeadersIsSkipped) {
  EXPECT_EQ(Result(AudioTrack("A_VORBIS", 8000, 1, 0)), S_FALSE);
  EXPECT_EQ(Result(AudioTrack("A_VORBIS2", 8000, 1, 0)), S_FALSE);
  EXPECT_EQ(Result(AudioTrack("A_VORBIS", 8000, 1, 0, VorbisPrivate({Fill(3, 1), Fill(3, 2)}))), S_FALSE);
  EXPECT_EQ(Result(AudioTrack("A_VORBIS", 8000, 1, 0, VorbisPrivate({Fill(3, 1), Fill(3, 2), Fill(3, 3), Fill(3, 4)}))),
            S_FALSE);
  EXPECT_EQ(Result(AudioTrack("A_VORBIS", 8000, 1, 0, {255})), S_FALSE);
}

TEST(AudioMediaType, VorbisLacingPastTheEndIsAnInvalidArgument) {
  for (const Raw& codecPrivate :
       {Raw{2}, Raw{2, 5}, Raw{2, 255}, Raw{2, 0, 255, 255}, Raw{2, 1, 1, 7}, Raw{2, 9, 0, 1}}) {
    EXPECT_EQ(Result(AudioTrack("A_VORBIS", 8000, 1, 0, codecPrivate)), E_INVALIDARG);
  }
}

// ---- Real ----

TEST(AudioMediaType, RealAudioCarriesItsPrivateDataUncounted) {
  const PlainCase cases[] = {{"A_REAL/14_4", "14_4", 0x2002},  {"A_REAL/28_8", "28_8", 0x2003},
                             {"A_REAL/ATRC", "ATRC", 0x0270},  {"A_REAL/COOK", "COOK", 0x2004},
                             {"A_REAL/SIPR", "SIPR", 0x0130},  {"A_REAL/RAAC", "RAAC", 0},
                             {"A_REAL/COOKIE", "COOK", 0x2004}};
  for (const PlainCase& c : cases) {
    const TrackMediaType type = Built(AudioTrack(c.codec, 44100, 2, 16, Ramp(20)));
    EXPECT_EQ(LabelOf(type), "REAL");
    EXPECT_EQ(GuidText(*type.mediaType.Subtype()), FourCcText(c.label));
    EXPECT_EQ(GuidText(*type.mediaType.FormatType()), kWaveFormatText);
    EXPECT_EQ(type.mediaType.bTemporalCompression, TRUE);
    EXPECT_EQ(
        BlockOf(type.mediaType),
        Join({WaveBlock(
                  {.tag = c.tag, .channels = 2, .rate = 44100, .bytesPerSecond = 176400, .blockAlign = 4, .bits = 16}),
              Ramp(20)}));
  }
}

TEST(AudioMediaType, RealAudioBlockAlignmentIsNotCorrected) {
  const TrackMediaType type = Built(AudioTrack("A_REAL/COOK", 44100, 2, 0));
  EXPECT_EQ(BlockOf(type.mediaType), WaveBlock({.tag = 0x2004, .channels = 2, .rate = 44100}));
}

TEST(AudioMediaType, RealAudioWithoutAWholeFourCcIsSkipped) {
  EXPECT_EQ(Result(AudioTrack("A_REAL/", 44100, 2, 16)), S_FALSE);
  EXPECT_EQ(Result(AudioTrack("A_REAL/COO", 44100, 2, 16)), S_FALSE);
}

TEST(AudioMediaType, OnlyRealAudioIsTemporallyCompressed) {
  EXPECT_EQ(Built(AudioTrack("A_FLAC", 44100, 2, 16)).mediaType.bTemporalCompression, FALSE);
  EXPECT_EQ(Built(AudioTrack("A_VORBIS", 44100, 2, 16, {2, 0, 0})).mediaType.bTemporalCompression, FALSE);
}

}  // namespace
}  // namespace vantor::test
