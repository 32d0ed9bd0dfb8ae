// Why tracks get no pin.
#include "mediatypes/no_pin_reason.h"

#include "mediatypes/expected_blocks.h"

namespace vantor::test {
namespace {

NoPinReason ReasonFor(const MkvTrackEntry& track) {
  TrackMediaType type;
  const HRESULT result = BuildTrackMediaType(track, {}, type);
  EXPECT_EQ(result, type.noPin == NoPinReason::kNone ? S_OK : S_FALSE);
  return type.noPin;
}

NoPinReason ReasonFor(std::string_view codec, const Raw& codecPrivate = {}) {
  return ReasonFor(codec.starts_with("V_") ? VideoTrack(codec, 16, 16, codecPrivate)
                                           : AudioTrack(codec, 48000, 2, 16, codecPrivate));
}

MkvContentEncoding Encoding(std::uint64_t scope, std::uint64_t type, std::uint64_t algorithm) {
  MkvContentEncoding encoding;
  encoding.ContentEncodingScope = CMkvUInt(scope);
  encoding.ContentEncodingType = CMkvUInt(type);
  encoding.ContentCompAlgo = CMkvUInt(algorithm);
  encoding.ContentCompSettings = {1};
  return encoding;
}

TEST(NoPinReason, TracksOfOtherKindsHaveNoPinWhateverTheirCodec) {
  for (const std::uint64_t type : {0, 3, 16, 18, 32, 33}) {
    MkvTrackEntry track = VideoTrack("V_VP8", 16, 16);
    track.TrackType = CMkvUInt(type);
    EXPECT_EQ(ReasonFor(track), NoPinReason::kTrackType) << type;
  }
}

TEST(NoPinReason, ACodecThatIsNotKnownOrNotToldInFullIsTheReason) {
  for (const char* codec : {"V_AV1", "V_REAL/RV", "A_EAC3", "A_REAL/COO", "A_AAC/MPEG4/XHE"}) {
    EXPECT_EQ(ReasonFor(codec), NoPinReason::kCodec) << codec;
  }
  MkvTrackEntry swapped = VideoTrack("A_AC3", 16, 16);
  EXPECT_EQ(ReasonFor(swapped), NoPinReason::kCodec);
}

TEST(NoPinReason, PrivateDataIsMissingOrUnusable) {
  for (const char* codec : {"V_MPEG4/ISO/AVC", "V_MPEG1", "V_MPEG2", "V_THEORA", "A_VORBIS", "A_VORBIS2", "A_MS/ACM"}) {
    EXPECT_EQ(ReasonFor(codec), NoPinReason::kPrivateMissing) << codec;
    EXPECT_EQ(ReasonFor(codec, {1, 2, 3}), NoPinReason::kPrivateUnusable) << codec;
  }
}

TEST(NoPinReason, PrivateDataBehindAContentEncodingIsOutOfReachAlsoWhereItIsNotNeeded) {
  for (MkvTrackEntry track : {VideoTrack("V_VP8", 16, 16), AudioTrack("A_AC3", 48000, 2, 16)}) {
    track.contentEncodings = {Encoding(2, 0, 0)};
    EXPECT_EQ(ReasonFor(track), NoPinReason::kPrivateEncoded);
    track.contentEncodings = {Encoding(3, 0, 3)};
    EXPECT_EQ(ReasonFor(track), NoPinReason::kPrivateEncoded);
    track.contentEncodings = {Encoding(1, 1, 0), Encoding(2, 0, 3)};
    EXPECT_EQ(ReasonFor(track), NoPinReason::kPrivateEncoded);
    track.contentEncodings = {Encoding(2, 1, 0)};
    EXPECT_EQ(ReasonFor(track), NoPinReason::kPrivateEncrypted);
    track.contentEncodings = {Encoding(2, 0, 0), Encoding(3, 1, 0)};
    EXPECT_EQ(ReasonFor(track), NoPinReason::kPrivateEncrypted);
    track.contentEncodings = {Encoding(1, 0, 3)};
    EXPECT_EQ(ReasonFor(track), NoPinReason::kNone);
  }
}

TEST(NoPinReason, TracksWithAPinHaveNone) {
  EXPECT_EQ(ReasonFor("V_VP9"), NoPinReason::kNone);
  EXPECT_EQ(ReasonFor("A_OPUS"), NoPinReason::kNone);
  MkvTrackEntry subtitle = MakeTrack("S_ANYTHING", {});
  subtitle.TrackType = CMkvUInt(MkvTrackEntry::kTypeSubtitle);
  EXPECT_EQ(ReasonFor(subtitle), NoPinReason::kNone);
}

// ---- The step before the builders ----

TEST(CodecPrivate, IsTheTracksOwnAndTheTrackStaysAsItIs) {
  MkvTrackEntry track = VideoTrack("V_VP8", 16, 16, {1, 2, 3});
  const ResolvedPrivate plain = ResolveCodecPrivate(track, {});
  EXPECT_EQ(plain.data, (Raw{1, 2, 3}));
  EXPECT_EQ(plain.noPin, NoPinReason::kNone);
  EXPECT_FALSE(plain.convertStartCodes);
  track.contentEncodings = {Encoding(2, 0, 3)};
  EXPECT_EQ(ResolveCodecPrivate(track, {}).noPin, NoPinReason::kPrivateEncoded);
  EXPECT_EQ(track.CodecPrivate, (Raw{1, 2, 3}));
}

TEST(CodecPrivate, OnlyAnAvcVideoTrackWithoutAnyIsLookedForElsewhere) {
  int asked = 0;
  AvcConfigSources sources;
  sources.streamDescription = [&](const MkvTrackEntry&, Bytes& found) {
    ++asked;
    found = {7};
    return true;
  };
  MkvTrackEntry avc = VideoTrack("V_MPEG4/ISO/AVC", 16, 16);
  const ResolvedPrivate found = ResolveCodecPrivate(avc, sources);
  EXPECT_EQ(found.data, Raw{7});
  EXPECT_TRUE(found.convertStartCodes);
  EXPECT_EQ(asked, 1);

  avc.contentEncodings = {Encoding(2, 0, 0)};
  EXPECT_TRUE(ResolveCodecPrivate(avc, sources).data.empty());
  EXPECT_TRUE(ResolveCodecPrivate(AudioTrack("V_MPEG4/ISO/AVC", 48000, 2, 16), sources).data.empty());
  EXPECT_TRUE(ResolveCodecPrivate(VideoTrack("V_MPEGH/ISO/HEVC", 16, 16), sources).data.empty());
  EXPECT_EQ(ResolveCodecPrivate(VideoTrack("V_MPEG4/ISO/AVC", 16, 16, {1}), sources).data, Raw{1});
  EXPECT_EQ(asked, 1);
}

}  // namespace
}  // namespace vantor::test
