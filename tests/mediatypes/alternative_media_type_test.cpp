#include "mediatypes/alternative_media_type.h"

#include "mediatypes/expected_blocks.h"
#include "mediatypes/lengths_to_start_codes.h"

namespace vantor::test {
namespace {

CMediaType Type(const GUID& major, const GUID& subtype, const GUID& format, const Raw& block) {
  CMediaType type(&major);
  type.SetSubtype(&subtype);
  type.SetFormatType(&format);
  if (!block.empty()) type.SetFormat(block.data(), static_cast<ULONG>(block.size()));
  return type;
}

constexpr GUID kVorbis2{0x8D2FD10B, 0x5841, 0x4A6B, {0x89, 0x05, 0x58, 0x8F, 0xEC, 0x1A, 0xDE, 0xD9}};
constexpr GUID kAvc1{0x31435641, 0x0000, 0x0010, {0x80, 0x00, 0x00, 0xAA, 0x00, 0x38, 0x9B, 0x71}};
constexpr GUID kOther{0x34504D58, 0x0000, 0x0010, {0x80, 0x00, 0x00, 0xAA, 0x00, 0x38, 0x9B, 0x71}};

const ExpectedHeader kHeader = {.rectangleWidth = 720,
                                .rectangleHeight = 576,
                                .bitRate = 1234567,
                                .frameTime = 400000,
                                .aspectX = 16,
                                .aspectY = 9};
const ExpectedBitmap kBitmap = {.width = 720,
                                .height = 576,
                                .planes = 1,
                                .bitCount = 24,
                                .compression = "AVC1",
                                .horizontalDensity = 5,
                                .verticalDensity = 6};

ExpectedBitmap WithSize(ExpectedBitmap bitmap, std::uint32_t size) {
  bitmap.size = size;
  return bitmap;
}

Raw Set(const Raw& bytes) { return Join({BigEndian(bytes.size(), 2), bytes}); }

// The alternative's block; the result must be S_OK.
Raw AlternativeBlock(const CMediaType& own) {
  CMediaType alternative;
  EXPECT_EQ(BuildAlternativeMediaType(own, alternative), S_OK);
  EXPECT_EQ(GuidText(*alternative.FormatType()), kVideoInfoText);
  return BlockOf(alternative);
}

// ---- Vorbis ----

TEST(AlternativeMediaType, NewerVorbisOffersTheOlderBlockWithoutChannelsInItsBitRate) {
  CMediaType own = Type(MEDIATYPE_Audio, kVorbis2, GUID_NULL,
                        Join({Le().U32(2).U32(44100).U32(16).U32(1).U32(1).U32(1).bytes, {1, 3, 5}}));
  own.SetSampleSize(256000);
  CMediaType alternative;
  ASSERT_EQ(BuildAlternativeMediaType(own, alternative), S_OK);
  EXPECT_EQ(GuidText(*alternative.Type()), FourCcText("auds"));
  EXPECT_EQ(GuidText(*alternative.Subtype()), "CDDCA2D5-6D75-4F98-840E-737BEDD5C63B");
  EXPECT_EQ(GuidText(*alternative.FormatType()), "6BDDFA7E-9F22-46A9-AB5E-884EFF294D9F");
  EXPECT_EQ(BlockOf(alternative), Le().U32(2).U32(44100).U32(705600).U32(705600).U32(705600).U32(0).bytes);
}

TEST(AlternativeMediaType, VorbisBitRateWrapsIn32Bits) {
  const CMediaType own =
      Type(MEDIATYPE_Audio, kVorbis2, GUID_NULL, Le().U32(1).U32(0x10000).U32(0x10001).Zeros(12).bytes);
  CMediaType alternative;
  ASSERT_EQ(BuildAlternativeMediaType(own, alternative), S_OK);
  EXPECT_EQ(BlockOf(alternative), Le().U32(1).U32(0x10000).U32(0x10000).U32(0x10000).U32(0x10000).U32(0).bytes);
}

TEST(AlternativeMediaType, TypesWithoutAlternativeHaveNoMoreItems) {
  CMediaType alternative;
  EXPECT_EQ(BuildAlternativeMediaType(Type(MEDIATYPE_Video, kAvc1, FORMAT_VideoInfo, VideoInfoBlock(kHeader, kBitmap)),
                                      alternative),
            VFW_S_NO_MORE_ITEMS);
  EXPECT_EQ(BuildAlternativeMediaType(Type(MEDIATYPE_Video, kOther, FORMAT_MPEGVideo, Fill(200)), alternative),
            VFW_S_NO_MORE_ITEMS);
  EXPECT_EQ(BuildAlternativeMediaType(Type(MEDIATYPE_Audio, kOther, FORMAT_WaveFormatEx, Fill(18)), alternative),
            VFW_S_NO_MORE_ITEMS);
  EXPECT_EQ(BuildAlternativeMediaType(Type(MEDIATYPE_Text, GUID_NULL, FORMAT_None, {}), alternative),
            VFW_S_NO_MORE_ITEMS);
}

TEST(AlternativeMediaType, BlocksTooShortForTheirFormatAreInvalidArguments) {
  CMediaType alternative;
  EXPECT_EQ(BuildAlternativeMediaType(Type(MEDIATYPE_Audio, kVorbis2, GUID_NULL, Fill(11)), alternative), E_INVALIDARG);
  EXPECT_EQ(BuildAlternativeMediaType(Type(MEDIATYPE_Audio, kVorbis2, GUID_NULL, {}), alternative), E_INVALIDARG);
  EXPECT_EQ(BuildAlternativeMediaType(Type(MEDIATYPE_Video, kOther, FORMAT_VideoInfo2, Fill(111)), alternative),
            E_INVALIDARG);
  EXPECT_EQ(BuildAlternativeMediaType(Type(MEDIATYPE_Video, kOther, FORMAT_MPEG2Video, Fill(131)), alternative),
            E_INVALIDARG);
}

// ---- Video ----

TEST(AlternativeMediaType, HeaderFieldsOfVideoInfo2AreCarriedOver) {
  const CMediaType own = Type(MEDIATYPE_Video, kOther, FORMAT_VideoInfo2, VideoInfo2Block(kHeader, kBitmap));
  EXPECT_EQ(AlternativeBlock(own), VideoInfoBlock(kHeader, kBitmap));
}

TEST(AlternativeMediaType, CodecDataBehindVideoInfo2FollowsTheBitmapHeaderAndIsCounted) {
  const Raw block = Join({VideoInfo2Block(kHeader, WithSize(kBitmap, 9999)), Ramp(30)});
  const CMediaType own = Type(MEDIATYPE_Video, kOther, FORMAT_VideoInfo2, block);
  EXPECT_EQ(AlternativeBlock(own), Join({VideoInfoBlock(kHeader, WithSize(kBitmap, 70)), Ramp(30)}));
}

TEST(AlternativeMediaType, SequenceHeaderOfMpeg2VideoFollowsTheBitmapHeaderAndIsCounted) {
  // Spare bytes behind the sequence header are left behind.
  const Raw block = Join({Mpeg2Block(kHeader, kBitmap, Ramp(30), 1, 2, 3), Fill(4)});
  const CMediaType own = Type(MEDIATYPE_Video, kOther, FORMAT_MPEG2Video, block);
  EXPECT_EQ(AlternativeBlock(own), Join({VideoInfoBlock(kHeader, WithSize(kBitmap, 70)), Ramp(30)}));
}

TEST(AlternativeMediaType, SequenceHeaderIsBoundedByTheBlock) {
  Raw block = Mpeg2Block(kHeader, kBitmap, Ramp(30));
  block.resize(block.size() - 10);
  const CMediaType own = Type(MEDIATYPE_Video, kOther, FORMAT_MPEG2Video, block);
  EXPECT_EQ(AlternativeBlock(own), Join({VideoInfoBlock(kHeader, WithSize(kBitmap, 60)), Ramp(20)}));
}

TEST(AlternativeMediaType, EverythingButTheFormatStays) {
  CMediaType own = Type(MEDIATYPE_Video, kOther, FORMAT_MPEG2Video, Mpeg2Block(kHeader, kBitmap, {}));
  own.SetVariableSize();
  own.SetTemporalCompression(TRUE);
  own.lSampleSize = 77;
  CMediaType alternative;
  alternative.SetFormat(reinterpret_cast<const BYTE*>("old"), 3);
  ASSERT_EQ(BuildAlternativeMediaType(own, alternative), S_OK);
  EXPECT_EQ(GuidText(*alternative.Type()), FourCcText("vids"));
  EXPECT_EQ(GuidText(*alternative.Subtype()), FourCcText("XMP4"));
  EXPECT_EQ(alternative.bFixedSizeSamples, FALSE);
  EXPECT_EQ(alternative.bTemporalCompression, TRUE);
  EXPECT_EQ(alternative.lSampleSize, 77U);
}

TEST(AlternativeMediaType, AvcParameterSetsGetStartCodes) {
  const Raw sequence = Join({{0x67}, Fill(3, 1)});
  const Raw picture = Join({{0x68}, Fill(24, 2)});
  const Raw rewritten = Join({{0, 0, 1}, sequence, {0, 0, 1}, picture});
  const Raw expected = Join({VideoInfoBlock(kHeader, WithSize(kBitmap, 40 + 33 + 2)), rewritten});
  const Raw sets = Join({Set(sequence), Set(picture)});
  ASSERT_EQ(sets.size(), 33U);
  EXPECT_EQ(AlternativeBlock(
                Type(MEDIATYPE_Video, kAvc1, FORMAT_VideoInfo2, Join({VideoInfo2Block(kHeader, kBitmap), sets}))),
            expected);
  EXPECT_EQ(AlternativeBlock(Type(MEDIATYPE_Video, kAvc1, FORMAT_MPEG2Video, Mpeg2Block(kHeader, kBitmap, sets))),
            expected);
}

TEST(AlternativeMediaType, OtherSubtypesKeepTheirLengths) {
  const Raw sets = Set(Fill(4, 1));
  EXPECT_EQ(AlternativeBlock(Type(MEDIATYPE_Video, kOther, FORMAT_MPEG2Video, Mpeg2Block(kHeader, kBitmap, sets))),
            Join({VideoInfoBlock(kHeader, WithSize(kBitmap, 46)), sets}));
}

TEST(AlternativeMediaType, AvcWithoutParameterSetsIsLeftAsItIs) {
  EXPECT_EQ(AlternativeBlock(Type(MEDIATYPE_Video, kAvc1, FORMAT_MPEG2Video, Mpeg2Block(kHeader, kBitmap, {}))),
            VideoInfoBlock(kHeader, kBitmap));
}

TEST(AlternativeMediaType, MalformedParameterSetLengthsLeaveTheTypeUnconverted) {
  const Raw whole = Join({Set(Fill(4, 1)), Set(Fill(6, 2))});
  const Raw cases[] = {Raw(whole.begin(), whole.end() - 1), Join({whole, {0}}), Join({whole, {0, 1}}), {9}};
  for (const Raw& sets : cases) {
    const auto size = static_cast<std::uint32_t>(40 + sets.size());
    EXPECT_EQ(AlternativeBlock(Type(MEDIATYPE_Video, kAvc1, FORMAT_MPEG2Video, Mpeg2Block(kHeader, kBitmap, sets))),
              Join({VideoInfoBlock(kHeader, WithSize(kBitmap, size)), sets}));
  }
}

// ---- The rewriting by itself ----

TEST(StartCodeRewriting, EmptyUnitsGetStartCodesToo) {
  Bytes units = Join({Set({}), Set({0x68}), Set({})});
  EXPECT_EQ(RewriteParameterSets(units), S_OK);
  EXPECT_EQ(units, (Raw{0, 0, 1, 0, 0, 1, 0x68, 0, 0, 1}));
}

TEST(StartCodeRewriting, NothingStaysNothing) {
  Bytes units;
  EXPECT_EQ(RewriteParameterSets(units), S_OK);
  EXPECT_TRUE(units.empty());
}

TEST(StartCodeRewriting, MalformedLengthInTheSecondWalkIsAnInvalidArgument) {
  Bytes rewritten;
  EXPECT_EQ(AppendWithStartCodes({0, 2, 1}, rewritten), E_INVALIDARG);
  EXPECT_EQ(AppendWithStartCodes({0, 1, 1, 0}, rewritten), E_INVALIDARG);
}

TEST(StartCodeRewriting, LargestUnitsAreRewritten) {
  const Raw largest = Ramp(65535);
  Bytes units = Set(largest);
  EXPECT_EQ(RewriteParameterSets(units), S_OK);
  EXPECT_EQ(units, Join({{0, 0, 1}, largest}));
}

}  // namespace
}  // namespace vantor::test
