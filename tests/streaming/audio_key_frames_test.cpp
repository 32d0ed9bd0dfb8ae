// Sound and subtitles whose blocks are not marked as key frames.
#include "support/demux_harness.h"

namespace vantor::test {
namespace {
namespace audio_key_frames {

constexpr PlaybackPolicy kUnmarked = {.audioKeyFrames = true};

class AudioKeyFramesTest : public DemuxTest {};

struct Received {
  Raw firstBytes;
  Raw syncPoints;  // of those the first bytes
};

Received Play(const Raw& file, const PlaybackPolicy& policy, int pin = 1, std::int64_t current = -1,
              std::int64_t stop = -1) {
  Demux demux(file, Demux::NewFilter(policy));
  EXPECT_EQ(demux.Connect(), S_OK);
  FakeSink& sink = demux.AddSink(pin);
  if (current >= 0 || stop >= 0) {
    EXPECT_EQ(demux.Seek(current, stop), S_OK);
  }
  demux.PlayToEnd();
  Received received;
  for (const ReceivedSample& sample : sink.Samples()) {
    received.firstBytes.push_back(sample.bytes.at(0));
    if (sample.syncPoint) received.syncPoints.push_back(sample.bytes.at(0));
  }
  return received;
}

Raw UnmarkedSound() {
  return MediaFile(1000, {AudioTrack(1)},
                   {{0,
                     {SimpleBlock(1, 0, 0, {1}), SimpleBlock(1, 100, 0, {2}),
                      BlockGroup({Block(1, 200, 0, {3}), ReferenceBlock(-100)}), SimpleBlock(1, 300, 0, {4})}}});
}

TEST_F(AudioKeyFramesTest, EveryBlockIsDeliveredAsAKeyFrame) {
  const Received received = Play(UnmarkedSound(), kUnmarked);
  EXPECT_EQ(received.firstBytes, (Raw{1, 2, 3, 4}));
  EXPECT_EQ(received.syncPoints, (Raw{1, 2, 3, 4}));
}

TEST_F(AudioKeyFramesTest, WithoutTheSwitchNothingIsDelivered) {
  EXPECT_EQ(Play(UnmarkedSound(), {}).firstBytes, Raw{});
}

TEST_F(AudioKeyFramesTest, OfALaceTheFirstFrameAloneIsMarked) {
  const Raw file = MediaFile(1000, {AudioTrack(1)}, {{0, {SimpleBlock(1, 0, kXiph, XiphLace({{1}, {2}, {3}}))}}});
  const Received received = Play(file, kUnmarked);
  EXPECT_EQ(received.firstBytes, (Raw{1, 2, 3}));
  EXPECT_EQ(received.syncPoints, (Raw{1}));
}

TEST_F(AudioKeyFramesTest, SubtitlesCountAsKeyFramesToo) {
  const Raw file = MediaFile(1000, {SubtitleTrack(1)}, {{0, {SimpleBlock(1, 0, 0, {7})}}});
  EXPECT_EQ(Play(file, kUnmarked).syncPoints, (Raw{7}));
}

TEST_F(AudioKeyFramesTest, PicturesKeepTheirMarks) {
  const Raw file =
      MediaFile(1000, {VideoTrack(1)},
                {{0, {SimpleBlock(1, 0, 0, {1}), SimpleBlock(1, 40, kKey, {2}), SimpleBlock(1, 80, 0, {3})}}});
  const Received received = Play(file, kUnmarked);
  EXPECT_EQ(received.firstBytes, (Raw{2, 3}));
  EXPECT_EQ(received.syncPoints, (Raw{2}));
}

TEST_F(AudioKeyFramesTest, ASeekStandsAtTheBlockBeforeItsTarget) {
  EXPECT_EQ(Play(UnmarkedSound(), kUnmarked, 1, 250 * kMillisecond).firstBytes, (Raw{3, 4}));
}

TEST_F(AudioKeyFramesTest, TheStopIsTestedAtEveryBlock) {
  EXPECT_EQ(Play(UnmarkedSound(), kUnmarked, 1, 0, 100 * kMillisecond).firstBytes, (Raw{1, 2}));
}

TEST_F(AudioKeyFramesTest, ASeekBesidePicturesStillGoesByTheirKeyFrames) {
  const Raw file = MediaFile(1000, {VideoTrack(1), AudioTrack(2)},
                             {{0,
                               {SimpleBlock(1, 0, kKey, {1}), SimpleBlock(2, 0, 0, {11}), SimpleBlock(1, 100, 0, {2}),
                                SimpleBlock(2, 100, 0, {12})}}});
  EXPECT_EQ(Play(file, kUnmarked, 1, 150 * kMillisecond).firstBytes, (Raw{1, 2}));
  EXPECT_EQ(Play(file, kUnmarked, 2, 150 * kMillisecond).firstBytes, (Raw{11, 12}));
}

}  // namespace audio_key_frames
}  // namespace
}  // namespace vantor::test
