#include "parser/track_entry.h"

#include <gtest/gtest.h>

#include "fixture.h"
#include "parser/content_encoding.h"

namespace vantor::test {
namespace {

MkvTrackList ReadTracks(const Raw& tracks) {
  Source source(tracks);
  MkvTrackList list;
  EXPECT_EQ(ReadTracks(source.First(), list), S_OK);
  return list;
}

MkvTrackEntry ReadOne(const std::vector<Raw>& children) {
  MkvTrackList list = ReadTracks(Tracks({Master(0xAE, children)}));
  EXPECT_EQ(list.size(), 1u);
  return list.empty() ? MkvTrackEntry() : std::move(*list[0]);
}

TEST(TrackEntry, EmptyEntryHoldsTheDefaults) {
  const MkvTrackEntry track = ReadOne({});
  EXPECT_FALSE(track.TrackNumber.present);
  EXPECT_FALSE(track.TrackType.present);
  EXPECT_EQ(track.TrackType.value, 0u);
  for (const CMkvUInt* flag : {&track.FlagEnabled, &track.FlagDefault, &track.FlagLacing}) {
    EXPECT_EQ(flag->value, 1u);
    EXPECT_TRUE(flag->present);
  }
  EXPECT_TRUE(track.Language.empty());
  EXPECT_TRUE(track.CodecID.empty());
  EXPECT_FALSE(track.DefaultDuration.present);
  EXPECT_EQ(track.TrackTimecodeScale.value, 0.0);
  EXPECT_EQ(track.sections, 0u);
  EXPECT_EQ(track.video.PixelWidth.value, 0u);
  EXPECT_FALSE(track.video.PixelWidth.present);
  EXPECT_EQ(track.audio.SamplingFrequency.value, 8000.0);
  EXPECT_TRUE(track.audio.SamplingFrequency.present);
  EXPECT_FALSE(track.audio.OutputSamplingFrequency.present);
  EXPECT_EQ(track.audio.Channels.value, 1u);
  EXPECT_TRUE(track.audio.Channels.present);
  EXPECT_FALSE(track.audio.BitDepth.present);
  EXPECT_TRUE(track.contentEncodings.empty());
}

TEST(TrackEntry, EveryChildGoesToItsField) {
  const MkvTrackEntry track = ReadOne({
      UInt(0xD7, 3),
      UInt(0x73C5, 4),
      UInt(0x83, 17),
      UInt(0xB9, 0),
      UInt(0x88, 0),
      UInt(0x9C, 0),
      UInt(0x6DE7, 5),
      UInt(0x6DF8, 6),
      Str(0x536E, "N\xC3\xA4me"),
      Str(0x22B59C, "ger"),
      Str(0x86, "S_TEXT/UTF8"),
      Bin(0x63A2, {1, 0, 2}),
      Str(0x258688, "codec"),
      Str(0x3A9697, "set"),
      Str(0x3B4040, "http://i"),
      Str(0x26B240, "http:d"),
      UInt(0xAA, 7),
      UInt(0x6FAB, 8),
      UInt(0x23E383, 4000000),
      Float8(0x23314F, 1.25),
  });
  EXPECT_EQ(track.TrackNumber.value, 3u);
  EXPECT_EQ(track.TrackUID.value, 4u);
  EXPECT_EQ(track.TrackType.value, 17u);
  EXPECT_EQ(track.FlagEnabled.value, 0u);
  EXPECT_EQ(track.FlagDefault.value, 0u);
  EXPECT_EQ(track.FlagLacing.value, 0u);
  EXPECT_EQ(track.MinCache.value, 5u);
  EXPECT_EQ(track.MaxCache.value, 6u);
  EXPECT_EQ(track.Name, OLESTR("N\u00E4me"));
  EXPECT_EQ(track.Language, "ger");
  EXPECT_EQ(track.CodecID, Text("S_TEXT/UTF8"));
  EXPECT_EQ(track.CodecPrivate, (Bytes{1, 0, 2}));
  EXPECT_EQ(track.CodecName, OLESTR("codec"));
  EXPECT_EQ(track.CodecSettings, OLESTR("set"));
  EXPECT_EQ(track.CodecInfoURL, "http://i");
  EXPECT_EQ(track.CodecDownloadURL, "http:d");
  EXPECT_EQ(track.CodecDecodeAll.value, 7u);
  EXPECT_EQ(track.TrackOverlay.value, 8u);
  EXPECT_EQ(track.DefaultDuration.value, 4000000u);
  EXPECT_TRUE(track.DefaultDuration.present);
  EXPECT_EQ(track.TrackTimecodeScale.value, 1.25);
}

TEST(TrackEntry, VideoChildrenGoToTheirFields) {
  const MkvTrackEntry track =
      ReadOne({Master(0xE0, {UInt(0x9A, 1), UInt(0x53B8, 2), UInt(0xB0, 3), UInt(0xBA, 4), UInt(0x54B0, 5),
                             UInt(0x54BA, 6), UInt(0x54B2, 7), UInt(0x54B3, 8), Bin(0x2EB524, Text("I420")),
                             Float4(0x2FB523, 2.5F), Float4(0x2383E3, 25.0F), UInt(0x54AA, 99)})});
  EXPECT_EQ(track.video.FlagInterlaced.value, 1u);
  EXPECT_EQ(track.video.StereoMode.value, 2u);
  EXPECT_EQ(track.video.PixelWidth.value, 3u);
  EXPECT_EQ(track.video.PixelHeight.value, 4u);
  EXPECT_EQ(track.video.DisplayWidth.value, 5u);
  EXPECT_EQ(track.video.DisplayHeight.value, 6u);
  EXPECT_EQ(track.video.DisplayUnit.value, 7u);
  EXPECT_EQ(track.video.AspectRatioType.value, 8u);
  EXPECT_EQ(track.video.ColourSpace.value, 0x49343230u);
  EXPECT_EQ(track.video.GammaValue.value, 2.5);
  EXPECT_EQ(track.video.FrameRate.value, 25.0);
  EXPECT_FALSE(track.DefaultDuration.present);
  EXPECT_EQ(track.sections, MkvTrackEntry::kHasVideo);
}

TEST(TrackEntry, AudioChildrenGoToTheirFields) {
  const MkvTrackEntry track = ReadOne({Master(
      0xE1, {Float8(0xB5, 44100), Float8(0x78B5, 48000), UInt(0x9F, 6), Bin(0x7D7B, {1, 2}), UInt(0x6264, 24)})});
  EXPECT_EQ(track.audio.SamplingFrequency.value, 44100.0);
  EXPECT_EQ(track.audio.OutputSamplingFrequency.value, 48000.0);
  EXPECT_EQ(track.audio.Channels.value, 6u);
  EXPECT_EQ(track.audio.ChannelPositions, (Bytes{1, 2}));
  EXPECT_EQ(track.audio.BitDepth.value, 24u);
  EXPECT_EQ(track.sections, MkvTrackEntry::kHasAudio);
}

TEST(TrackEntry, EmptyVideoAndAudioLeaveTheirSectionBitsClear) {
  EXPECT_EQ(ReadOne({Master(0xE0, {}), Master(0xE1, {})}).sections, 0u);
  EXPECT_EQ(ReadOne({Master(0xE0, {Void(2)}), Master(0xE1, {Void(2)})}).sections,
            MkvTrackEntry::kHasVideo | MkvTrackEntry::kHasAudio);
}

TEST(TrackEntry, CodecIdKeepsExactlyItsBytes) {
  EXPECT_EQ(ReadOne({Str(0x86, "V_MPEG4/ISO/AVC")}).CodecID.size(), 15u);
  EXPECT_EQ(ReadOne({Ebml(0x86, {'A', '_', 'X', 0})}).CodecID, (Bytes{'A', '_', 'X', 0}));
}

TEST(TrackEntry, FrameRateStandingInTheEntryIsTheDefaultDurationsBits) {
  EXPECT_EQ(ReadOne({Float4(0x2383E3, 25.0F)}).DefaultDuration.value, 0x41C80000u);
}

TEST(TrackEntry, FloatOfAnotherSizeKeepsTheDefault) {
  const MkvTrackEntry track = ReadOne({Ebml(0x23314F, Fill(3)), Master(0xE1, {Ebml(0xB5, {}), UInt(0x9F, 2)})});
  EXPECT_FALSE(track.TrackTimecodeScale.present);
  EXPECT_EQ(track.audio.SamplingFrequency.value, 8000.0);
  EXPECT_TRUE(track.audio.SamplingFrequency.present);
  EXPECT_EQ(track.audio.Channels.value, 2u);
}

TEST(TrackEntry, PayloadThatCannotBeReadKeepsTheDefault) {
  Source source(UnknownSize(0x1654AE6B, {UnknownSize(0xAE, {UInt(0xD7, 5), EbmlWithSize(0xB9, 4, {0})})}));
  MkvTrackList list;
  EXPECT_EQ(ReadTracks(source.First(), list), S_OK);
  ASSERT_EQ(list.size(), 1u);
  EXPECT_EQ(list[0]->TrackNumber.value, 5u);
  EXPECT_EQ(list[0]->FlagEnabled.value, 1u);
  EXPECT_TRUE(list[0]->FlagEnabled.present);
}

TEST(TrackEntry, DamagedHeaderEndsTheEntryAndTheNextOneIsRead) {
  const MkvTrackList list =
      ReadTracks(Tracks({Master(0xAE, {UInt(0xD7, 1), Raw{0x00}, UInt(0x83, 1)}), Track(2, 2, "A_AC3")}));
  ASSERT_EQ(list.size(), 2u);
  EXPECT_EQ(list[0]->TrackNumber.value, 1u);
  EXPECT_FALSE(list[0]->TrackType.present);
  EXPECT_EQ(list[1]->TrackNumber.value, 2u);
}

TEST(TrackEntry, EntriesKeepFileOrderAndOtherChildrenAreSkipped) {
  const MkvTrackList list = ReadTracks(Tracks({Track(9, 1, "x"), Void(7), Master(0xAE, {}), Track(3, 2, "y")}));
  ASSERT_EQ(list.size(), 3u);
  EXPECT_EQ(list[0]->TrackNumber.value, 9u);
  EXPECT_EQ(list[1]->TrackNumber.value, 0u);
  EXPECT_EQ(list[2]->TrackNumber.value, 3u);
}

TEST(TrackEntry, EntriesBeyondTheLimitArePassedOver) {
  EXPECT_EQ(ReadTracks(Ebml(0x1654AE6B, Join(std::vector<Raw>(kMaxTracks + 50, Master(0xAE, {}))))).size(), kMaxTracks);
}

TEST(TrackEntry, LimitHoldsForAllTracksElementsTogether) {
  const Raw half = Tracks(std::vector<Raw>(100, Master(0xAE, {})));
  const Opened file(MkvFile({half, half}));
  ASSERT_EQ(file.root.segment.tracks.size(), 2u);
  EXPECT_EQ(file.root.segment.tracks[0].size(), 100u);
  EXPECT_EQ(file.root.segment.tracks[1].size(), kMaxTracks - 100);
}

// ---- Reference track ----

std::uint64_t Reference(const std::vector<Part>& parts) {
  return ReferenceTrackNumber(Opened(MkvFile(parts)).root.segment);
}

TEST(ReferenceTrack, IsTheFirstVideoTrackThenTheFirstAudioTrackThenOne) {
  const Raw subtitle = Track(7, 17, "S_TEXT/UTF8");
  const Raw audio = Track(8, 2, "A_AC3");
  EXPECT_EQ(Reference({Tracks({subtitle, audio, Track(5, 1, "V_VP8"), Track(4, 1, "V_VP8")})}), 5u);
  EXPECT_EQ(Reference({Tracks({subtitle, audio, Track(6, 2, "A_AC3")})}), 8u);
  EXPECT_EQ(Reference({Tracks({subtitle})}), 1u);
  EXPECT_EQ(Reference({Info()}), 1u);
}

TEST(ReferenceTrack, IsSearchedInAllTrackLists) {
  EXPECT_EQ(Reference({Tracks({Track(8, 2, "A_AC3")}), Tracks({Track(5, 1, "V_VP8")})}), 5u);
}

TEST(ReferenceTrack, TellsWhetherThereIsOne) {
  EXPECT_FALSE(FindReferenceTrackNumber(MkvSegment()));
  const Opened file(MkvFile({Tracks({Track(1, 2, "A_AC3")})}));
  EXPECT_EQ(FindReferenceTrackNumber(file.root.segment), 1u);
}

// ---- Content encodings ----

Raw Encoding(const std::vector<Raw>& children) { return Master(0x6240, children); }
Raw Stripping(std::uint64_t order, std::uint64_t scope, const Raw& settings) {
  return Encoding({UInt(0x5031, order), UInt(0x5032, scope), UInt(0x5033, 0),
                   Master(0x5034, {UInt(0x4254, 3), Bin(0x4255, settings)})});
}
MkvTrackEntry Encoded(const std::vector<Raw>& encodings) { return ReadOne({Master(0x6D80, encodings)}); }

constexpr std::uint64_t kFrames = MkvContentEncoding::kScopeFrames;
constexpr std::uint64_t kPrivate = MkvContentEncoding::kScopePrivate;

TEST(ContentEncoding, EmptyEncodingHoldsTheDefaults) {
  const MkvTrackEntry track = Encoded({Encoding({})});
  ASSERT_EQ(track.contentEncodings.size(), 1u);
  const MkvContentEncoding& encoding = track.contentEncodings[0];
  EXPECT_EQ(encoding.ContentEncodingOrder.value, 0u);
  EXPECT_EQ(encoding.ContentEncodingScope.value, 1u);
  EXPECT_EQ(encoding.ContentEncodingType.value, 0u);
  EXPECT_EQ(encoding.ContentCompAlgo.value, 0u);
  EXPECT_EQ(encoding.ContentEncAlgo.value, 0u);
  for (const CMkvUInt* holder :
       {&encoding.ContentEncodingOrder, &encoding.ContentEncodingScope, &encoding.ContentEncodingType,
        &encoding.ContentCompAlgo, &encoding.ContentEncAlgo, &encoding.ContentSigAlgo, &encoding.ContentSigHashAlgo}) {
    EXPECT_TRUE(holder->present);
  }
}

TEST(ContentEncoding, EveryChildGoesToItsField) {
  const MkvTrackEntry track = Encoded(
      {Encoding({UInt(0x5031, 1), UInt(0x5032, 3), UInt(0x5033, 1), Master(0x5034, {UInt(0x4254, 3), Bin(0x4255, {9})}),
                 Master(0x5035, {UInt(0x47E1, 5), Bin(0x47E2, {1}), Bin(0x47E3, {2}), Bin(0x47E4, {3}), UInt(0x47E5, 6),
                                 UInt(0x47E6, 7)})})});
  const MkvContentEncoding& encoding = track.contentEncodings.at(0);
  EXPECT_EQ(encoding.ContentEncodingOrder.value, 1u);
  EXPECT_EQ(encoding.ContentEncodingScope.value, 3u);
  EXPECT_EQ(encoding.ContentEncodingType.value, 1u);
  EXPECT_EQ(encoding.ContentCompAlgo.value, 3u);
  EXPECT_EQ(encoding.ContentCompSettings, Bytes{9});
  EXPECT_EQ(encoding.ContentEncAlgo.value, 5u);
  EXPECT_EQ(encoding.ContentEncKeyID, Bytes{1});
  EXPECT_EQ(encoding.ContentSignature, Bytes{2});
  EXPECT_EQ(encoding.ContentSigKeyID, Bytes{3});
  EXPECT_EQ(encoding.ContentSigAlgo.value, 6u);
  EXPECT_EQ(encoding.ContentSigHashAlgo.value, 7u);
}

TEST(ContentEncoding, WithoutAnyTheBufferIsUsable) {
  Bytes buffer{5};
  EXPECT_TRUE(ApplyContentEncodings(MkvTrackEntry(), buffer, kFrames));
  EXPECT_EQ(buffer, Bytes{5});
}

TEST(ContentEncoding, HeaderStrippingPutsTheBytesBackInFront) {
  const MkvTrackEntry track = Encoded({Stripping(0, kFrames, {1, 2})});
  Bytes buffer{5, 6};
  EXPECT_FALSE(ApplyContentEncodings(track, buffer, kFrames));
  EXPECT_EQ(buffer, (Bytes{1, 2, 5, 6}));
  FrameBytes frame{5, 6};
  EXPECT_FALSE(ApplyContentEncodings(track, frame, kFrames));
  EXPECT_EQ(frame, (FrameBytes{1, 2, 5, 6}));
}

TEST(ContentEncoding, ScopeWithoutACommonBitIsSkipped) {
  const MkvTrackEntry track = Encoded({Stripping(0, kPrivate, {1, 2})});
  Bytes buffer{5};
  EXPECT_TRUE(ApplyContentEncodings(track, buffer, kFrames));
  EXPECT_EQ(buffer, Bytes{5});
}

TEST(ContentEncoding, StrippedPrivateDataIsRestoredAndStillNotUsableAsItWas) {
  const MkvTrackEntry track = Encoded({Stripping(0, kPrivate, {1, 2})});
  Bytes buffer{5};
  EXPECT_FALSE(ApplyContentEncodings(track, buffer, kPrivate));
  EXPECT_EQ(buffer, (Bytes{1, 2, 5}));
}

TEST(ContentEncoding, OnlyTheHighestOrderIsApplied) {
  for (const bool isReversed : {false, true}) {
    const Raw zero = Stripping(0, kFrames, {0xAA});
    const Raw one = Stripping(1, kFrames, {0xBB});
    Bytes buffer{5};
    EXPECT_FALSE(ApplyContentEncodings(isReversed ? Encoded({one, zero}) : Encoded({zero, one}), buffer, kFrames));
    EXPECT_EQ(buffer, (Bytes{0xBB, 5}));
  }
}

TEST(ContentEncoding, OfEqualOrdersTheLaterInTheFileCountsAsHigher) {
  Bytes buffer{5};
  EXPECT_FALSE(
      ApplyContentEncodings(Encoded({Stripping(4, kFrames, {0xAA}), Stripping(4, kFrames, {0xBB})}), buffer, 1));
  EXPECT_EQ(buffer, (Bytes{0xBB, 5}));
}

TEST(ContentEncoding, OrdersCompareByTheirLowThirtyTwoBits) {
  Bytes buffer{5};
  const MkvTrackEntry track = Encoded({Stripping(2, kFrames, {0xAA}), Stripping(0x700000001, kFrames, {0xBB})});
  EXPECT_FALSE(ApplyContentEncodings(track, buffer, kFrames));
  EXPECT_EQ(buffer, (Bytes{0xAA, 5}));
}

TEST(ContentEncoding, HighestMatchingScopeWinsOverAHigherOneOfAnotherScope) {
  Bytes buffer{5};
  EXPECT_FALSE(
      ApplyContentEncodings(Encoded({Stripping(1, kFrames, {0xAA}), Stripping(9, kPrivate, {0xBB})}), buffer, 1));
  EXPECT_EQ(buffer, (Bytes{0xAA, 5}));
}

TEST(ContentEncoding, OtherCompressionAndEmptyStrippingLeaveTheBuffer) {
  Bytes buffer{5};
  EXPECT_FALSE(ApplyContentEncodings(Encoded({Encoding({})}), buffer, kFrames));
  EXPECT_FALSE(ApplyContentEncodings(Encoded({Stripping(0, kFrames, {})}), buffer, kFrames));
  const Raw zlib = Encoding({Master(0x5034, {UInt(0x4254, 0), Bin(0x4255, {1, 2})})});
  EXPECT_FALSE(ApplyContentEncodings(Encoded({zlib}), buffer, kFrames));
  EXPECT_EQ(buffer, Bytes{5});
}

TEST(ContentEncoding, HeaderThatIsTooLongIsNotPutBackAndTheEncodingCountsAllTheSame) {
  const auto stripped = [](std::size_t size, std::uint64_t scope) {
    MkvTrackEntry track;
    MkvContentEncoding& encoding = track.contentEncodings.emplace_back();
    encoding.ContentEncodingScope = CMkvUInt(scope);
    encoding.ContentCompAlgo = CMkvUInt(MkvContentEncoding::kAlgoHeaderStripping);
    encoding.ContentCompSettings = Fill(size, 7);
    Bytes buffer{1};
    EXPECT_FALSE(ApplyContentEncodings(track, buffer, scope));
    return buffer.size();
  };
  for (const std::uint64_t scope : {MkvContentEncoding::kScopeFrames, MkvContentEncoding::kScopePrivate}) {
    EXPECT_EQ(stripped(kLongestStrippedHeader, scope), kLongestStrippedHeader + 1);
    EXPECT_EQ(stripped(kLongestStrippedHeader + 1, scope), 1u);
  }
}

TEST(ContentEncoding, EncryptionIsNotUndone) {
  Bytes buffer{5};
  const Raw encrypted = Encoding({UInt(0x5031, 1), UInt(0x5033, 1)});
  EXPECT_FALSE(ApplyContentEncodings(Encoded({Stripping(0, kFrames, {1}), encrypted}), buffer, kFrames));
  EXPECT_EQ(buffer, Bytes{5});
}

TEST(ContentEncoding, UnknownTypeIsPassedOver) {
  const Raw unknown = Encoding({UInt(0x5031, 9), UInt(0x5033, 2)});
  Bytes buffer{5};
  EXPECT_TRUE(ApplyContentEncodings(Encoded({unknown}), buffer, kFrames));
  EXPECT_FALSE(ApplyContentEncodings(Encoded({unknown, Stripping(0, kFrames, {1})}), buffer, kFrames));
  EXPECT_EQ(buffer, (Bytes{1, 5}));
}

TEST(ContentEncoding, EncodingsBeyondTheLimitArePassedOver) {
  EXPECT_EQ(Encoded(std::vector<Raw>(100, Encoding({}))).contentEncodings.size(), kMaxContentEncodings);
}

}  // namespace
}  // namespace vantor::test
