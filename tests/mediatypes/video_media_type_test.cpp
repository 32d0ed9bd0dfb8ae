#include <cmath>
#include <limits>

#include "mediatypes/expected_blocks.h"

namespace vantor::test {
namespace {

// A stored bitmap header of 40 bytes with trailing codec data.
Raw StoredBitmap(std::string_view compression, std::uint16_t bits, const Raw& trailing = {}) {
  ExpectedBitmap bitmap{.width = 640, .height = 480, .planes = 1, .bitCount = bits, .compression = compression};
  return Le().Add(Write(bitmap)).Add(trailing).bytes;
}

TEST(VideoMediaType, EveryVideoTypeIsTemporallyCompressedAndOfVariableSampleSize) {
  for (const char* codec :
       {"V_MS/VFW/FOURCC", "V_REAL/RV40", "V_SNOW", "V_VP8", "V_VP9", "V_MPEG4/ISO/ASP", "V_MPEGH/ISO/HEVC"}) {
    MkvTrackEntry track = VideoTrack(codec, 16, 16, Fill(40, 7));
    TrackMediaType type;
    ASSERT_EQ(BuildVideo(track, type), S_OK) << codec;
    EXPECT_EQ(GuidText(*type.mediaType.Type()), FourCcText("vids")) << codec;
    EXPECT_EQ(type.mediaType.bFixedSizeSamples, FALSE) << codec;
    EXPECT_EQ(type.mediaType.bTemporalCompression, TRUE) << codec;
    EXPECT_FALSE(type.convertStartCodes) << codec;
  }
}

TEST(VideoMediaType, UnknownCodecsAreSkipped) {
  for (const char* codec :
       {"", "V_AV1", "V_VP8 ", "V_VP", "v_vp8", "V_MPEG4/ISO/SP", "V_QUICKTIME", "V_MS/VFW/FOURCC2", "A_AC3"}) {
    MkvTrackEntry track = VideoTrack(codec, 16, 16, Fill(40, 7));
    TrackMediaType type;
    EXPECT_EQ(BuildVideo(track, type), S_FALSE) << codec;
  }
}

TEST(VideoMediaType, FrameRateWinsOverDefaultDuration) {
  MkvTrackEntry track = VideoTrack("V_VP8", 320, 240);
  track.video.FrameRate = CMkvFloat(25.0);
  track.DefaultDuration = CMkvUInt(41708333);
  TrackMediaType type;
  ASSERT_EQ(BuildVideo(track, type), S_OK);
  EXPECT_EQ(BlockOf(type.mediaType),
            VideoInfoBlock({.frameTime = 400000}, {.width = 320, .height = 240, .compression = "VP80"}));
}

TEST(VideoMediaType, DefaultDurationGivesTheFrameTimeWithoutFrameRate) {
  MkvTrackEntry track = VideoTrack("V_VP8", 320, 240);
  track.DefaultDuration = CMkvUInt(41708333);
  TrackMediaType type;
  ASSERT_EQ(BuildVideo(track, type), S_OK);
  EXPECT_EQ(BlockOf(type.mediaType),
            VideoInfoBlock({.frameTime = 417083}, {.width = 320, .height = 240, .compression = "VP80"}));
}

struct RateCase {
  double rate;
  std::uint64_t frameTime;
};

TEST(VideoMediaType, FrameTimesAreTruncatedAndThoseThatDoNotFitAreTheSmallestNumber) {
  const RateCase cases[] = {
      {0.0, 0},
      {-25.0, 0},
      {std::nan(""), 0},
      {30000.0 / 1001, 333666},
      {20000001.0, 0},
      {std::numeric_limits<double>::infinity(), 0},
      {1e-300, 0x8000000000000000},
      {std::numeric_limits<double>::denorm_min(), 0x8000000000000000},
  };
  for (const RateCase& c : cases) {
    MkvTrackEntry track = VideoTrack("V_VP9", 2, 2);
    track.video.FrameRate = CMkvFloat(c.rate);
    TrackMediaType type;
    ASSERT_EQ(BuildVideo(track, type), S_OK);
    EXPECT_EQ(BlockOf(type.mediaType),
              VideoInfoBlock({.frameTime = c.frameTime}, {.width = 2, .height = 2, .compression = "VP90"}))
        << c.rate;
  }
}

TEST(VideoMediaType, BufferSizeWrapsIn32Bits) {
  MkvTrackEntry track = VideoTrack("V_VP8", 0x10001, 0x10001);
  TrackMediaType type;
  ASSERT_EQ(BuildVideo(track, type), S_OK);
  EXPECT_EQ(type.bufferSize, 0x80004U);  // 0x100020001 * 4 in 32 bits
}

TEST(VideoMediaType, PixelSizesKeepTheirLow32Bits) {
  MkvTrackEntry track = VideoTrack("V_VP8", 0x100000140, 0xFFFFFFFFFFFFFFF0);
  TrackMediaType type;
  ASSERT_EQ(BuildVideo(track, type), S_OK);
  EXPECT_EQ(BlockOf(type.mediaType), VideoInfoBlock({}, {.width = 0x140, .height = 0xFFFFFFF0, .compression = "VP80"}));
}

// ---- VP8, VP9 ----

TEST(VideoMediaType, Vp8And9CarryTheirPrivateDataBehindTheBitmapHeaderUncounted) {
  for (const std::string_view name : {"VP8", "VP9"}) {
    MkvTrackEntry track = VideoTrack("V_" + std::string(name), 320, 240, Ramp(12));
    SetDisplay(track, 4, 3);  // not looked at
    TrackMediaType type;
    ASSERT_EQ(BuildVideo(track, type), S_OK);
    const std::string fourCc = std::string(name) + "0";
    EXPECT_EQ(LabelOf(type), name);
    EXPECT_EQ(GuidText(*type.mediaType.Subtype()), FourCcText(fourCc));
    EXPECT_EQ(GuidText(*type.mediaType.FormatType()), kVideoInfoText);
    EXPECT_EQ(BlockOf(type.mediaType),
              Join({VideoInfoBlock({}, {.width = 320, .height = 240, .compression = fourCc}), Ramp(12)}));
    EXPECT_EQ(type.bufferSize, 320U * 240 * 4);
  }
}

// ---- Video for Windows ----

TEST(VideoMediaType, VfwLaysThePrivateDataOverTheBitmapHeaderAndAsManyZerosFollow) {
  const Raw stored = StoredBitmap("XVID", 24, Ramp(10));
  MkvTrackEntry track = VideoTrack("V_MS/VFW/FOURCC", 1, 1, stored);
  track.video.FrameRate = CMkvFloat(50.0);
  TrackMediaType type;
  ASSERT_EQ(BuildVideo(track, type), S_OK);
  EXPECT_EQ(LabelOf(type), "FOURCC");
  EXPECT_EQ(GuidText(*type.mediaType.Subtype()), FourCcText("XVID"));
  EXPECT_EQ(GuidText(*type.mediaType.FormatType()), kVideoInfoText);
  EXPECT_EQ(BlockOf(type.mediaType), Join({WriteCommon({.frameTime = 200000}), stored, Fill(40)}));
  EXPECT_EQ(type.mediaType.FormatLength(), 88U + 50);
  EXPECT_EQ(type.bufferSize, 640U * 480 * 4);
}

TEST(VideoMediaType, VfwWithDisplaySizeHasTheAspect) {
  const Raw stored = StoredBitmap("XVID", 24);
  MkvTrackEntry track = VideoTrack("V_MS/VFW/FOURCC", 1, 1, stored);
  SetDisplay(track, 16, 9);
  TrackMediaType type;
  ASSERT_EQ(BuildVideo(track, type), S_OK);
  EXPECT_EQ(GuidText(*type.mediaType.FormatType()), kVideoInfo2Text);
  EXPECT_EQ(BlockOf(type.mediaType),
            Join({Le().Add(WriteCommon({})).Zeros(8).U32(16).U32(9).Zeros(8).bytes, stored, Fill(40)}));
}

TEST(VideoMediaType, VfwWithHalfADisplaySizeHasNoAspect) {
  for (const auto& [width, height] : {std::pair(16, 0), std::pair(0, 9)}) {
    MkvTrackEntry track = VideoTrack("V_MS/VFW/FOURCC", 1, 1, StoredBitmap("XVID", 24));
    SetDisplay(track, static_cast<std::uint64_t>(width), static_cast<std::uint64_t>(height));
    TrackMediaType type;
    ASSERT_EQ(BuildVideo(track, type), S_OK);
    EXPECT_EQ(GuidText(*type.mediaType.FormatType()), kVideoInfoText);
  }
}

struct RgbCase {
  std::uint16_t bits;
  std::string_view subtype;
};

TEST(VideoMediaType, VfwRgbSubtypeFollowsTheBitCount) {
  const RgbCase cases[] = {
      {1, "E436EB78-524F-11CE-9F53-0020AF0BA770"},
      {4, "E436EB79-524F-11CE-9F53-0020AF0BA770"},
      {8, "E436EB7A-524F-11CE-9F53-0020AF0BA770"},
      {16, "E436EB7B-524F-11CE-9F53-0020AF0BA770"},
      {24, "E436EB7D-524F-11CE-9F53-0020AF0BA770"},
      {32, "773C9AC0-3274-11D0-B724-00AA006C1A01"},
      {15, kNullGuid},
      {0, kNullGuid},
  };
  for (const std::string_view compression : {std::string_view("\0\0\0\0", 4), std::string_view("\3\0\0\0", 4)}) {
    for (const RgbCase& c : cases) {
      MkvTrackEntry track = VideoTrack("V_MS/VFW/FOURCC", 1, 1, StoredBitmap(compression, c.bits));
      TrackMediaType type;
      ASSERT_EQ(BuildVideo(track, type), S_OK);
      EXPECT_EQ(GuidText(*type.mediaType.Subtype()), c.subtype) << c.bits;
    }
  }
}

TEST(VideoMediaType, VfwCompressionOtherThanRgbIsAFourCcEvenWhenItIsASmallNumber) {
  MkvTrackEntry track = VideoTrack("V_MS/VFW/FOURCC", 1, 1, StoredBitmap(std::string_view("\1\0\0\0", 4), 16));
  TrackMediaType type;
  ASSERT_EQ(BuildVideo(track, type), S_OK);
  EXPECT_EQ(GuidText(*type.mediaType.Subtype()), "00000001-0000-0010-8000-00AA00389B71");
}

TEST(VideoMediaType, VfwPrivateDataCutShortReadsAsZeroBeyondItsEnd) {
  const Raw whole = StoredBitmap("XVID", 24);
  const Raw stored(whole.begin(), whole.begin() + 18);  // two of the four characters
  MkvTrackEntry track = VideoTrack("V_MS/VFW/FOURCC", 1, 1, stored);
  TrackMediaType type;
  ASSERT_EQ(BuildVideo(track, type), S_OK);
  EXPECT_EQ(GuidText(*type.mediaType.Subtype()), FourCcText(std::string_view("XV\0\0", 4)));
  EXPECT_EQ(BlockOf(type.mediaType), Join({WriteCommon({}), stored, Fill(40)}));
  EXPECT_EQ(type.bufferSize, 640U * 480 * 4);
}

TEST(VideoMediaType, VfwWithoutPrivateDataIsAnEmptyHeader) {
  MkvTrackEntry track = VideoTrack("V_MS/VFW/FOURCC", 320, 240);
  TrackMediaType type;
  ASSERT_EQ(BuildVideo(track, type), S_OK);
  EXPECT_EQ(GuidText(*type.mediaType.Subtype()), kNullGuid);
  EXPECT_EQ(BlockOf(type.mediaType), Fill(88));
  EXPECT_EQ(type.bufferSize, 0U);
}

// ---- Real ----

TEST(VideoMediaType, RealVideoTakesItsFourCcFromTheTenthCharacter) {
  for (const std::string_view codec : {"V_REAL/RV30", "V_REAL/RV40", "V_REAL/RVx", "V_REAL/RV9abc"}) {
    MkvTrackEntry track = VideoTrack(codec, 320, 240, Ramp(5));
    TrackMediaType type;
    ASSERT_EQ(BuildVideo(track, type), S_OK);
    const std::string fourCc = std::string("RV") + codec[9] + "0";
    EXPECT_EQ(LabelOf(type), "REAL");
    EXPECT_EQ(GuidText(*type.mediaType.Subtype()), FourCcText(fourCc));
    EXPECT_EQ(GuidText(*type.mediaType.FormatType()), kVideoInfoText);
    EXPECT_EQ(BlockOf(type.mediaType),
              Join({VideoInfoBlock({}, {.width = 320, .height = 240, .compression = fourCc}), Ramp(5)}));
    EXPECT_EQ(type.bufferSize, 320U * 240 * 4);
  }
}

TEST(VideoMediaType, RealVideoWithDisplaySizeHasTheAspect) {
  MkvTrackEntry track = VideoTrack("V_REAL/RV40", 320, 240, Ramp(5));
  SetDisplay(track, 400, 240);
  track.DefaultDuration = CMkvUInt(40000000);
  TrackMediaType type;
  ASSERT_EQ(BuildVideo(track, type), S_OK);
  EXPECT_EQ(GuidText(*type.mediaType.FormatType()), kVideoInfo2Text);
  EXPECT_EQ(BlockOf(type.mediaType), Join({VideoInfo2Block({.frameTime = 400000, .aspectX = 400, .aspectY = 240},
                                                           {.width = 320, .height = 240, .compression = "RV40"}),
                                           Ramp(5)}));
}

TEST(VideoMediaType, RealVideoWithoutATenthCharacterIsSkipped) {
  MkvTrackEntry track = VideoTrack("V_REAL/RV", 320, 240);
  TrackMediaType type;
  EXPECT_EQ(BuildVideo(track, type), S_FALSE);
}

// ---- MPEG-4 ASP, Snow ----

TEST(VideoMediaType, Mpeg4CarriesItsPrivateDataAsSequenceHeader) {
  MkvTrackEntry track = VideoTrack("V_MPEG4/ISO/ASP", 720, 576, Ramp(23));
  SetDisplay(track, 16, 9);
  track.video.FrameRate = CMkvFloat(25.0);
  TrackMediaType type;
  ASSERT_EQ(BuildVideo(track, type), S_OK);
  EXPECT_EQ(LabelOf(type), "MPEG4");
  EXPECT_EQ(GuidText(*type.mediaType.Subtype()), FourCcText("MP4V"));
  EXPECT_EQ(GuidText(*type.mediaType.FormatType()), kMpeg2VideoText);
  EXPECT_EQ(BlockOf(type.mediaType),
            Mpeg2Block({.frameTime = 400000, .aspectX = 16, .aspectY = 9},
                       {.width = 720, .height = 576, .planes = 1, .bitCount = 24, .compression = "MP4V"}, Ramp(23)));
  EXPECT_EQ(type.bufferSize, 720U * 576 * 4);
}

TEST(VideoMediaType, AspectIsThePixelSizeWithoutAWholeDisplaySize) {
  for (const auto& [width, height] : {std::pair(0, 0), std::pair(16, 0), std::pair(0, 9)}) {
    MkvTrackEntry track = VideoTrack("V_MPEG4/ISO/ASP", 720, 576);
    SetDisplay(track, static_cast<std::uint64_t>(width), static_cast<std::uint64_t>(height));
    TrackMediaType type;
    ASSERT_EQ(BuildVideo(track, type), S_OK);
    EXPECT_EQ(BlockOf(type.mediaType),
              Mpeg2Block({.aspectX = 720, .aspectY = 576},
                         {.width = 720, .height = 576, .planes = 1, .bitCount = 24, .compression = "MP4V"}, {}));
  }
}

TEST(VideoMediaType, SnowHasFourSpareBytesBehindItsSequenceHeader) {
  MkvTrackEntry track = VideoTrack("V_SNOW", 64, 48, Ramp(9));
  TrackMediaType type;
  ASSERT_EQ(BuildVideo(track, type), S_OK);
  EXPECT_EQ(LabelOf(type), "SNOW");
  EXPECT_EQ(GuidText(*type.mediaType.Subtype()), FourCcText("SNOW"));
  EXPECT_EQ(GuidText(*type.mediaType.FormatType()), kMpeg2VideoText);
  EXPECT_EQ(BlockOf(type.mediaType),
            Join({Mpeg2Block({.aspectX = 64, .aspectY = 48},
                             {.width = 64, .height = 48, .planes = 1, .bitCount = 24, .compression = "SNOW"}, Ramp(9)),
                  Fill(4)}));
}

// ---- HEVC ----

TEST(VideoMediaType, HevcCountsItsRecordInTheBitmapHeader) {
  MkvTrackEntry track = VideoTrack("V_MPEGH/ISO/HEVC", 1920, 1080, Ramp(31));
  TrackMediaType type;
  ASSERT_EQ(BuildVideo(track, type), S_OK);
  EXPECT_EQ(LabelOf(type), "HEVC");
  EXPECT_EQ(GuidText(*type.mediaType.Subtype()), FourCcText("hev1"));
  EXPECT_EQ(GuidText(*type.mediaType.FormatType()), kVideoInfo2Text);
  EXPECT_EQ(BlockOf(type.mediaType),
            Join({VideoInfo2Block(
                      {.aspectX = 1920, .aspectY = 1080},
                      {.size = 71, .width = 1920, .height = 1080, .planes = 1, .bitCount = 24, .compression = "hev1"}),
                  Ramp(31)}));
  EXPECT_EQ(type.bufferSize, 1920U * 1080 * 4);
}

// ---- Theora ----

// A private header set whose identification header tells the sizes and the rate.
Raw TheoraPrivate(std::uint16_t macroblocksWide, std::uint16_t macroblocksHigh, std::uint32_t width,
                  std::uint32_t height, std::uint32_t numerator, std::uint32_t denominator) {
  return Join({{2, 42, 60},
               {0x80},
               Text("theora"),
               {3, 2, 1},
               BigEndian(macroblocksWide, 2),
               BigEndian(macroblocksHigh, 2),
               BigEndian(width, 3),
               BigEndian(height, 3),
               {0, 0},
               BigEndian(numerator, 4),
               BigEndian(denominator, 4)});
}

TEST(VideoMediaType, TheoraIsDescribedByItsIdentificationHeader) {
  const Raw codecPrivate = Join({TheoraPrivate(10, 8, 160, 120, 25, 1), Ramp(6)});
  MkvTrackEntry track = VideoTrack("V_THEORA", 1, 1, codecPrivate);
  SetDisplay(track, 4, 3);
  track.video.FrameRate = CMkvFloat(50.0);
  TrackMediaType type;
  ASSERT_EQ(BuildVideo(track, type), S_OK);
  EXPECT_EQ(LabelOf(type), "THEORA");
  EXPECT_EQ(GuidText(*type.mediaType.Subtype()), FourCcText("THEO"));
  EXPECT_EQ(GuidText(*type.mediaType.FormatType()), kMpeg2VideoText);
  // The 16 bits at 13 and 15 are read little-endian, so the counts' low bytes land 4 bits up.
  EXPECT_EQ(
      BlockOf(type.mediaType),
      Join({Mpeg2Block({.frameTime = 400000, .aspectX = 160, .aspectY = 120},
                       {.width = 160, .height = 128, .planes = 1, .bitCount = 24, .compression = "THEO"}, codecPrivate),
            Fill(4)}));
  EXPECT_EQ(type.bufferSize, 160U * 128 * 4);
}

TEST(VideoMediaType, TheoraMacroblockCountsAbove255AreNotTimes16) {
  MkvTrackEntry track = VideoTrack("V_THEORA", 1, 1, TheoraPrivate(0x1234, 8, 1, 1, 1, 1));
  TrackMediaType type;
  ASSERT_EQ(BuildVideo(track, type), S_OK);
  EXPECT_EQ(type.bufferSize, 0x341U * 128 * 4);
}

TEST(VideoMediaType, TheoraFrameTimeIsTruncatedAndZeroWithoutNumerator) {
  struct {
    std::uint32_t numerator, denominator;
    std::uint64_t frameTime;
  } const cases[] = {{30000, 1001, 333666}, {0, 1, 0}, {1, 0xFFFFFFFF, 42949672950000000}, {0xFFFFFFFF, 1, 0}};
  for (const auto& c : cases) {
    const Raw codecPrivate = TheoraPrivate(1, 1, 16, 16, c.numerator, c.denominator);
    MkvTrackEntry track = VideoTrack("V_THEORA", 1, 1, codecPrivate);
    track.DefaultDuration = CMkvUInt(1000000);
    TrackMediaType type;
    ASSERT_EQ(BuildVideo(track, type), S_OK);
    EXPECT_EQ(
        BlockOf(type.mediaType),
        Join({Mpeg2Block({.frameTime = c.frameTime, .aspectX = 16, .aspectY = 16},
                         {.width = 16, .height = 16, .planes = 1, .bitCount = 24, .compression = "THEO"}, codecPrivate),
              Fill(4)}));
  }
}

TEST(VideoMediaType, TheoraUnder33BytesIsSkipped) {
  Raw codecPrivate = TheoraPrivate(10, 8, 160, 120, 25, 1);
  ASSERT_EQ(codecPrivate.size(), 33U);
  TrackMediaType type;
  MkvTrackEntry whole = VideoTrack("V_THEORA", 1, 1, codecPrivate);
  EXPECT_EQ(BuildVideo(whole, type), S_OK);
  codecPrivate.pop_back();
  MkvTrackEntry cut = VideoTrack("V_THEORA", 1, 1, codecPrivate);
  EXPECT_EQ(BuildVideo(cut, type), S_FALSE);
}

}  // namespace
}  // namespace vantor::test
