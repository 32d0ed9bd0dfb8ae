#include "mediatypes/expected_blocks.h"
#include "platform/result.h"

namespace vantor::test {
namespace {

constexpr std::string_view kMpeg1Subtype = "E436EB81-524F-11CE-9F53-0020AF0BA770";
constexpr std::string_view kMpeg2Subtype = "E06D8026-DB46-11CF-B4D1-00805F6CBBEA";

struct Sequence {
  std::uint32_t width = 352;
  std::uint32_t height = 288;
  std::uint32_t aspectCode = 1;
  std::uint32_t rateCode = 3;       // 25 frames a second
  std::uint32_t bitRateValue = 10;  // units of 400 bits a second
  std::uint8_t byte11 = 0;          // matrix flags
};

Raw Header(const Sequence& s) {
  return {0,
          0,
          1,
          0xB3,
          static_cast<std::uint8_t>(s.width >> 4),
          static_cast<std::uint8_t>(s.width << 4 | s.height >> 8),
          static_cast<std::uint8_t>(s.height),
          static_cast<std::uint8_t>(s.aspectCode << 4 | s.rateCode),
          static_cast<std::uint8_t>(s.bitRateValue >> 10),
          static_cast<std::uint8_t>(s.bitRateValue >> 2),
          static_cast<std::uint8_t>(s.bitRateValue << 6),
          s.byte11};
}

Raw Extension(std::uint8_t e4 = 0x14, std::uint8_t e5 = 0x82, std::uint8_t e6 = 0, std::uint8_t e7 = 0,
              std::uint8_t e9 = 0) {
  return {0, 0, 1, 0xB5, e4, e5, e6, e7, 0, e9};
}

TrackMediaType BuiltMpeg(const Raw& codecPrivate, std::string_view codec = "V_MPEG2") {
  MkvTrackEntry track = VideoTrack(codec, 1, 1, codecPrivate);
  track.video.FrameRate = CMkvFloat(60.0);  // the header's counts
  TrackMediaType type;
  EXPECT_EQ(BuildVideo(track, type), S_OK);
  return type;
}

HRESULT MpegResult(const Raw& codecPrivate) {
  MkvTrackEntry track = VideoTrack("V_MPEG2", 1, 1, codecPrivate);
  TrackMediaType type;
  return Guarded([&] { return BuildVideo(track, type); });
}

// The 96 bytes of an MPEG1VIDEOINFO up to its sequence header, and that.
Raw Mpeg1Block(const ExpectedHeader& header, const ExpectedBitmap& bitmap, const Raw& sequenceHeader) {
  return Le().Add(VideoInfoBlock(header, bitmap)).U32(0).U32(sequenceHeader.size()).Add(sequenceHeader).bytes;
}

TEST(MpegMediaType, SequenceExtensionMakesItMpeg2WhateverTheCodecName) {
  const Raw codecPrivate = Join({Header({.aspectCode = 3}), Extension(), Ramp(3)});
  for (const char* codec : {"V_MPEG1", "V_MPEG2"}) {
    const TrackMediaType type = BuiltMpeg(codecPrivate, codec);
    EXPECT_EQ(LabelOf(type), "MPEG2");
    EXPECT_EQ(GuidText(*type.mediaType.Subtype()), kMpeg2Subtype);
    EXPECT_EQ(GuidText(*type.mediaType.FormatType()), kMpeg2VideoText);
    EXPECT_EQ(BlockOf(type.mediaType), Mpeg2Block({.rectangleWidth = 352,
                                                   .rectangleHeight = 288,
                                                   .bitRate = 4000,
                                                   .frameTime = 400000,
                                                   .aspectX = 16,
                                                   .aspectY = 9},
                                                  {.width = 352, .height = 288, .planes = 1},
                                                  Raw(codecPrivate.begin(), codecPrivate.begin() + 22), 2, 2));
    EXPECT_EQ(type.bufferSize, 352U * 288 * 4);
  }
}

TEST(MpegMediaType, WithoutSequenceExtensionItIsMpeg1WhateverTheCodecName) {
  // The header runs up to the group of pictures.
  const Raw codecPrivate = Join({Header({}), {0, 0, 1, 0xB8, 1, 2, 3, 4}});
  for (const char* codec : {"V_MPEG1", "V_MPEG2"}) {
    const TrackMediaType type = BuiltMpeg(codecPrivate, codec);
    EXPECT_EQ(LabelOf(type), "MPEG1");
    EXPECT_EQ(GuidText(*type.mediaType.Subtype()), kMpeg1Subtype);
    EXPECT_EQ(GuidText(*type.mediaType.FormatType()), kMpegVideoText);
    // 352:288 is 11:9, which the densities carry: 9 * 352 and 11 * 288.
    EXPECT_EQ(BlockOf(type.mediaType),
              Mpeg1Block({.rectangleWidth = 352, .rectangleHeight = 288, .bitRate = 4000, .frameTime = 400000},
                         {.width = 352, .height = 288, .planes = 1, .horizontalDensity = 3168, .verticalDensity = 3168},
                         Header({})));
    EXPECT_EQ(type.bufferSize, 352U * 288 * 4);
  }
}

struct AspectCase {
  std::uint32_t code, x, y;
};

TEST(MpegMediaType, Mpeg1AspectIsRoundedFromThePixelAspect) {
  const AspectCase cases[] = {
      {0, 11, 9},     // 352:288
      {2, 523, 288},  // 352 / 0.6735 = 522.64
      {3, 167, 96},   // 352 / 0.7031 = 500.64, 501:288
      {8, 4, 3},      // 352 / 0.9157 = 384.41, 384:288
      {14, 293, 288}, {15, 11, 9},
  };
  for (const AspectCase& c : cases) {
    const Raw header = Header({.aspectCode = c.code});
    EXPECT_EQ(
        BlockOf(BuiltMpeg(Join({header, Fill(4, 9)})).mediaType),
        Mpeg1Block(
            {.rectangleWidth = 352, .rectangleHeight = 288, .bitRate = 4000, .frameTime = 400000},
            {.width = 352, .height = 288, .planes = 1, .horizontalDensity = c.y * 352, .verticalDensity = c.x * 288},
            header))
        << c.code;
  }
}

TEST(MpegMediaType, Mpeg2AspectFollowsItsCode) {
  const AspectCase cases[] = {{0, 11, 9},    {1, 11, 9}, {2, 4, 3},  {3, 16, 9},
                              {4, 221, 100}, {5, 11, 9}, {7, 11, 9}, {15, 11, 9}};
  for (const AspectCase& c : cases) {
    const Raw codecPrivate = Join({Header({.aspectCode = c.code}), Extension()});
    EXPECT_EQ(BlockOf(BuiltMpeg(codecPrivate).mediaType),
              Mpeg2Block({.rectangleWidth = 352,
                          .rectangleHeight = 288,
                          .bitRate = 4000,
                          .frameTime = 400000,
                          .aspectX = c.x,
                          .aspectY = c.y},
                         {.width = 352, .height = 288, .planes = 1}, codecPrivate, 2, 2))
        << c.code;
  }
}

struct ProfileCase {
  std::uint8_t e4, e5;
  std::uint32_t profile, level;
};

TEST(MpegMediaType, ProfileAndLevelAreTranslated) {
  const ProfileCase cases[] = {
      {0x11, 0x40, 5, 4},
      {0x12, 0x60, 4, 3},
      {0x13, 0x80, 3, 2},
      {0x14, 0xA0, 2, 1},
      {0x15, 0x90, 1, 0xFFFFFFFF},
      {0x10, 0x40, 0xFFFFFFFF, 4},
      {0x16, 0x50, 0xFFFFFFFF, 0xFFFFFFFF},
      {0x17, 0x00, 0xFFFFFFFF, 0xFFFFFFFF},
      {0x18, 0x40, 2, 2},  // the escape bit
      {0x1F, 0xF0, 2, 2},
  };
  for (const ProfileCase& c : cases) {
    const Raw codecPrivate = Join({Header({}), Extension(c.e4, c.e5)});
    EXPECT_EQ(BlockOf(BuiltMpeg(codecPrivate).mediaType),
              Mpeg2Block({.rectangleWidth = 352,
                          .rectangleHeight = 288,
                          .bitRate = 4000,
                          .frameTime = 400000,
                          .aspectX = 11,
                          .aspectY = 9},
                         {.width = 352, .height = 288, .planes = 1}, codecPrivate, c.profile, c.level))
        << int{c.e4};
  }
}

TEST(MpegMediaType, ExtensionBitsWidenSizeAndBitRate) {
  // e5 bit 0 and e6 bit 7 are width bits 13 and 12, e6 bits 6 and 5 height bits 13 and 12; e6 spills into the bit rate.
  const Raw codecPrivate = Join({Header({.aspectCode = 2}), Extension(0x14, 0x83, 0xE1, 0x03)});
  const std::uint32_t width = 352 | 1 << 13 | 1 << 12;
  const std::uint32_t height = 288 | 1 << 13 | 1 << 12;
  const std::uint32_t bitRate = (10U | (0xE1U << 8 | 0x02U) << 17) * 400U;
  EXPECT_EQ(BlockOf(BuiltMpeg(codecPrivate).mediaType),
            Mpeg2Block({.rectangleWidth = width,
                        .rectangleHeight = height,
                        .bitRate = bitRate,
                        .frameTime = 400000,
                        .aspectX = 4,
                        .aspectY = 3},
                       {.width = width, .height = height, .planes = 1}, codecPrivate, 2, 2));
}

TEST(MpegMediaType, ExtensionScalesTheFramePeriodWithIntegerDivision) {
  // (e9 >> 4 & 3) + 1 = 2, (e9 & 15) + 1 = 7: 1080000 * 2 / 7 = 308571, * 10 / 27 = 114285.
  const Raw codecPrivate = Join({Header({.aspectCode = 2}), Extension(0x14, 0x82, 0, 0, 0x16)});
  EXPECT_EQ(BlockOf(BuiltMpeg(codecPrivate).mediaType),
            Mpeg2Block({.rectangleWidth = 352,
                        .rectangleHeight = 288,
                        .bitRate = 4000,
                        .frameTime = 114285,
                        .aspectX = 4,
                        .aspectY = 3},
                       {.width = 352, .height = 288, .planes = 1}, codecPrivate, 2, 2));
}

TEST(MpegMediaType, FrameTimeFollowsTheRateCode) {
  const std::uint64_t frameTimes[16] = {0,      417083, 416666, 400000, 333666, 333333, 200000, 166833,
                                        166666, 0,      0,      0,      0,      0,      0,      0};
  for (std::uint32_t code = 0; code < 16; ++code) {
    const Raw header = Header({.rateCode = code});
    EXPECT_EQ(
        BlockOf(BuiltMpeg(Join({header, Fill(4, 9)})).mediaType),
        Mpeg1Block({.rectangleWidth = 352, .rectangleHeight = 288, .bitRate = 4000, .frameTime = frameTimes[code]},
                   {.width = 352, .height = 288, .planes = 1, .horizontalDensity = 3168, .verticalDensity = 3168},
                   header))
        << code;
  }
}

TEST(MpegMediaType, AspectOfAnEmptyPictureIsNotReduced) {
  const Raw header = Header({.width = 0, .height = 0});
  EXPECT_EQ(BlockOf(BuiltMpeg(Join({header, Extension()})).mediaType),
            Mpeg2Block({.bitRate = 4000, .frameTime = 400000}, {.planes = 1}, Join({header, Extension()}), 2, 2));
}

TEST(MpegMediaType, QuantiserMatricesBelongToTheHeader) {
  // Intra: bit 1 of byte 11. Non-intra: bit 0 of the byte that stands there once the intra matrix is counted.
  struct {
    std::uint8_t byte11;
    Raw matrices;
  } const cases[] = {{2, Fill(64, 0x10)}, {1, Fill(64, 0x10)}, {3, Join({Fill(63, 0x11), {0x11}, Fill(64, 0x22)})}};
  for (const auto& c : cases) {
    const Raw whole = Join({Header({.byte11 = c.byte11}), c.matrices, Extension()});
    const TrackMediaType type = BuiltMpeg(Join({whole, Fill(5, 9)}));
    EXPECT_EQ(LabelOf(type), "MPEG2");
    EXPECT_EQ(type.mediaType.FormatLength(), 132U + whole.size());
  }
}

TEST(MpegMediaType, StartCodeInsideAMatrixIsNotFound) {
  const Raw matrix = Join({Fill(20, 0x10), Extension(), Fill(34, 0x10)});
  const TrackMediaType type = BuiltMpeg(Join({Header({.byte11 = 2}), matrix, Fill(4, 9)}));
  EXPECT_EQ(LabelOf(type), "MPEG1");
}

TEST(MpegMediaType, MatrixPastTheEndIsAnInvalidArgument) {
  EXPECT_EQ(MpegResult(Header({.byte11 = 2})), E_INVALIDARG);
  EXPECT_EQ(MpegResult(Join({Header({.byte11 = 2}), Fill(63, 0x10)})), E_INVALIDARG);
  EXPECT_EQ(MpegResult(Join({Header({.byte11 = 1}), Fill(63, 0x10)})), E_INVALIDARG);
  EXPECT_EQ(MpegResult(Join({Header({.byte11 = 3}), Fill(64, 0x11), Fill(63, 0x10)})), E_INVALIDARG);
  EXPECT_EQ(MpegResult(Join({Header({.byte11 = 3}), Fill(64, 0x11), Fill(64, 0x10)})), S_OK);
}

TEST(MpegMediaType, TwelveBytesAreAHeader) {
  const TrackMediaType type = BuiltMpeg(Header({}));
  EXPECT_EQ(LabelOf(type), "MPEG1");
  EXPECT_EQ(type.mediaType.FormatLength(), 96U + 12);
}

TEST(MpegMediaType, UnderTwelveBytesAreSkipped) {
  Raw header = Header({});
  header.pop_back();
  EXPECT_EQ(MpegResult(header), S_FALSE);
  EXPECT_EQ(MpegResult({}), S_FALSE);
}

TEST(MpegMediaType, WithoutTheSequenceHeaderCodeTheTrackIsSkipped) {
  Raw header = Header({});
  header[3] = 0xB8;
  EXPECT_EQ(MpegResult(Join({header, Extension()})), S_FALSE);
  EXPECT_EQ(MpegResult(Join({{0}, Header({}), Extension()})), S_FALSE);
}

TEST(MpegMediaType, SequenceExtensionCutShortIsSkipped) {
  Raw extension = Extension();
  extension.pop_back();
  EXPECT_EQ(MpegResult(Join({Header({}), extension})), S_FALSE);
  // Even when no more than its start code is there: the code where the search stops counts.
  EXPECT_EQ(MpegResult(Join({Header({}), {0, 0, 1, 0xB5}})), S_FALSE);
}

TEST(MpegMediaType, SearchStopsFourBytesBeforeTheEnd) {
  // No start code: the header runs to 4 bytes before the end.
  EXPECT_EQ(BuiltMpeg(Join({Header({}), Fill(9, 7)})).mediaType.FormatLength(), 96U + 12 + 5);
  // A prefix in the last 3 bytes is no code.
  EXPECT_EQ(BuiltMpeg(Join({Header({}), Fill(6, 7), {0, 0, 1}})).mediaType.FormatLength(), 96U + 12 + 5);
}

TEST(MpegMediaType, OnlyTheFirstStartCodeDecides) {
  const TrackMediaType type = BuiltMpeg(Join({Header({}), {0, 0, 1, 0xB2, 5, 5}, Extension()}));
  EXPECT_EQ(LabelOf(type), "MPEG1");
  EXPECT_EQ(type.mediaType.FormatLength(), 96U + 12);
}

}  // namespace
}  // namespace vantor::test
