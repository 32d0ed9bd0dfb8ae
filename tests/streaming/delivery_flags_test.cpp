// Sync points, discontinuities, preroll, and where a stream ends.
#include <atomic>

#include "support/demux_harness.h"
#include "support/fake_allocator.h"

namespace vantor::test {
namespace {

class DeliveryFlagsTest : public DemuxTest {};

Raw VideoFile(const std::vector<Raw>& blocks, double duration = 1000) {
  return MediaFile(duration, {VideoTrack(1)}, {{0, blocks}});
}

// The samples of the first pin, played from one position to another (100 ns; -1: as opened).
std::vector<ReceivedSample> Played(const Raw& file, std::int64_t current = -1, std::int64_t stop = -1) {
  Demux demux(file);
  EXPECT_EQ(demux.Connect(), S_OK);
  FakeSink& sink = demux.AddSink(1);
  if (current >= 0 || stop >= 0) {
    EXPECT_EQ(demux.Seek(current, stop), S_OK);
  }
  demux.PlayToEnd();
  EXPECT_EQ(sink.Ends(), 1);
  EXPECT_TRUE(demux.Events().empty());
  return sink.Samples();
}

Raw FirstBytesOf(const std::vector<ReceivedSample>& samples) {
  Raw bytes;
  for (const ReceivedSample& sample : samples) bytes.push_back(sample.bytes.empty() ? 0xFF : sample.bytes[0]);
  return bytes;
}

TEST_F(DeliveryFlagsTest, KeyFramesAreSyncPoints) {
  const auto samples =
      Played(VideoFile({SimpleBlock(1, 0, kKey, {1}), SimpleBlock(1, 40, 0, {2}),
                        BlockGroup({Block(1, 80, 0, {3}), ReferenceBlock(-40)}), BlockGroup({Block(1, 120, 0, {4})})}));
  ASSERT_EQ(samples.size(), 4u);
  EXPECT_TRUE(samples[0].syncPoint);
  EXPECT_FALSE(samples[1].syncPoint);
  EXPECT_FALSE(samples[2].syncPoint);
  EXPECT_TRUE(samples[3].syncPoint);
}

TEST_F(DeliveryFlagsTest, OnlyTheFirstFrameOfALacedKeyBlockIsASyncPoint) {
  const auto samples =
      Played(MediaFile(1000, {AudioTrack(1)}, {{0, {SimpleBlock(1, 0, kKey | kFixed, FixedLace({{1}, {2}, {3}}))}}}));
  ASSERT_EQ(samples.size(), 3u);
  EXPECT_TRUE(samples[0].syncPoint);
  EXPECT_FALSE(samples[1].syncPoint);
  EXPECT_FALSE(samples[2].syncPoint);
}

TEST_F(DeliveryFlagsTest, NothingIsDeliveredBeforeTheFirstKeyFrame) {
  const auto samples = Played(VideoFile({SimpleBlock(1, 0, 0, {1}), SimpleBlock(1, 40, 0, {2}),
                                         SimpleBlock(1, 80, kKey, {3}), SimpleBlock(1, 120, 0, {4})}));
  EXPECT_EQ(FirstBytesOf(samples), (Raw{3, 4}));
}

TEST_F(DeliveryFlagsTest, OnlyTheFirstSampleIsADiscontinuity) {
  const auto samples = Played(VideoFile({SimpleBlock(1, 0, 0, {1}), SimpleBlock(1, 40, kKey, {2}),
                                         SimpleBlock(1, 80, 0, {3}), SimpleBlock(1, 120, kKey, {4})}));
  ASSERT_EQ(samples.size(), 3u);
  EXPECT_TRUE(samples[0].discontinuity);
  EXPECT_FALSE(samples[1].discontinuity);
  EXPECT_FALSE(samples[2].discontinuity);
}

TEST_F(DeliveryFlagsTest, SamplesCarryNoMediaTimeAndNoMediaType) {
  for (const ReceivedSample& sample : Played(VideoFile({SimpleBlock(1, 0, kKey, {1}), SimpleBlock(1, 40, 0, {2})}))) {
    EXPECT_FALSE(sample.hasMediaTime);
    EXPECT_FALSE(sample.hasMediaType);
  }
}

TEST_F(DeliveryFlagsTest, NothingIsLeftOfWhatASampleWasUsedForBefore) {
  const auto sink = FakeSink::Create();
  const auto allocator = FakeAllocator::GivenTo(*sink);
  allocator->onSample = [](IMediaSample* sample) {
    LONGLONG first = 5;
    LONGLONG last = 6;
    CMediaType type(&MEDIATYPE_Stream);
    sample->SetMediaTime(&first, &last);
    sample->SetMediaType(&type);
    sample->SetPreroll(TRUE);
    sample->SetSyncPoint(TRUE);
    sample->SetDiscontinuity(TRUE);
    sample->SetTime(&first, &last);
  };
  Demux demux(VideoFile({SimpleBlock(1, 0, kKey, {1}), SimpleBlock(1, 40, 0, {2})}));
  ASSERT_EQ(demux.Connect(), S_OK);
  demux.AddSink(1, sink);
  demux.PlayToEnd();
  const auto samples = sink->Samples();
  ASSERT_EQ(samples.size(), 2u);
  for (const ReceivedSample& sample : samples) {
    EXPECT_FALSE(sample.hasMediaTime);
    EXPECT_FALSE(sample.hasMediaType);
    EXPECT_FALSE(sample.preroll);
    EXPECT_EQ(sample.bytes.size(), 1u);
  }
  EXPECT_FALSE(samples[1].syncPoint);
  EXPECT_FALSE(samples[1].discontinuity);
  EXPECT_EQ(samples[1].start, 400000);
}

TEST_F(DeliveryFlagsTest, AStreamWithoutAKeyFrameDeliversOnlyItsEnd) {
  EXPECT_TRUE(Played(VideoFile({SimpleBlock(1, 0, 0, {1}), SimpleBlock(1, 40, 0, {2})})).empty());
}

TEST_F(DeliveryFlagsTest, AStreamWithoutBlocksDeliversOnlyItsEnd) {
  EXPECT_TRUE(Played(MediaFile(1000, {VideoTrack(1), AudioTrack(2)}, {{0, {SimpleBlock(2, 0, kKey, {1})}}})).empty());
}

TEST_F(DeliveryFlagsTest, StrippedHeadersAreRestored) {
  const Raw encodings =
      Master(0x6D80, {Master(0x6240, {Master(0x5034, {UInt(0x4254, 3), Bin(0x4255, {0xCA, 0xFE})})})});
  const auto samples = Played(MediaFile(1000, {AudioTrack(1, "A_AC3", {encodings})},
                                        {{0, {SimpleBlock(1, 0, kKey | kFixed, FixedLace({{1}, {2}}))}}}));
  ASSERT_EQ(samples.size(), 2u);
  EXPECT_EQ(samples[0].bytes, (Raw{0xCA, 0xFE, 1}));
  EXPECT_EQ(samples[1].bytes, (Raw{0xCA, 0xFE, 2}));
}

TEST_F(DeliveryFlagsTest, AnEmptyFrameIsAnEmptySample) {
  const auto samples = Played(VideoFile({SimpleBlock(1, 0, kKey, {}), SimpleBlock(1, 40, 0, {2})}));
  ASSERT_EQ(samples.size(), 2u);
  EXPECT_TRUE(samples[0].bytes.empty());
}

TEST_F(DeliveryFlagsTest, ATruncatedTrailingFrameKeepsItsBytes) {
  Raw file = MkvFile({Info(), Tracks({AudioTrack(1)}), Cluster(0, {SimpleBlock(1, 0, kKey, {1, 2, 3, 4, 5})})});
  file.resize(file.size() - 2);
  const auto samples = Played(file);
  ASSERT_EQ(samples.size(), 1u);
  EXPECT_EQ(samples[0].bytes, (Raw{1, 2, 3}));
}

// A key frame every 100 ms, frames of 50 ms; the frames are numbered from 1.
Raw KeyFrameFile() {
  std::vector<Raw> blocks;
  for (std::uint8_t i = 0; i < 10; ++i) {
    blocks.push_back(SimpleBlock(1, i * 50, i % 2 == 0 ? kKey : 0, {static_cast<std::uint8_t>(i + 1)}));
  }
  return VideoFile(blocks);
}

TEST_F(DeliveryFlagsTest, AKeyFrameExactlyAtTheStopPositionIsDeliveredAndEndsTheStream) {
  const auto samples = Played(KeyFrameFile(), -1, 200 * kMillisecond);
  EXPECT_EQ(FirstBytesOf(samples), (Raw{1, 2, 3, 4, 5}));
  EXPECT_FALSE(samples.back().preroll);
}

TEST_F(DeliveryFlagsTest, AKeyFrameBeyondTheStopPositionIsDeliveredAsPrerollAndEndsTheStream) {
  const auto samples = Played(KeyFrameFile(), -1, 200 * kMillisecond - 1);
  EXPECT_EQ(FirstBytesOf(samples), (Raw{1, 2, 3, 4, 5}));
  EXPECT_TRUE(samples.back().preroll);
  EXPECT_FALSE(samples[3].preroll);
}

TEST_F(DeliveryFlagsTest, TheStopPositionIsLookedAtWhereAKeyFrameBeginsOnly) {
  // The frame at 150 ms lies beyond the stop and is none.
  const auto samples = Played(KeyFrameFile(), -1, 120 * kMillisecond);
  EXPECT_EQ(FirstBytesOf(samples), (Raw{1, 2, 3, 4, 5}));
  EXPECT_FALSE(samples[2].preroll);
  EXPECT_TRUE(samples[3].preroll);
  EXPECT_TRUE(samples[4].preroll);
}

TEST_F(DeliveryFlagsTest, TheEndOfALacedKeyBlockAtTheStopPositionIsNotDelivered) {
  const auto samples =
      Played(MediaFile(1000, {AudioTrack(1)},
                       {{0,
                         {SimpleBlock(1, 0, kKey, {1}), SimpleBlock(1, 50, kKey | kFixed, FixedLace({{2}, {3}})),
                          SimpleBlock(1, 90, kKey, {4})}}}),
             -1, 50 * kMillisecond);
  EXPECT_EQ(FirstBytesOf(samples), (Raw{1, 2}));
}

TEST_F(DeliveryFlagsTest, AStopPositionAtTheStartDeliversOneKeyFrame) {
  EXPECT_EQ(FirstBytesOf(Played(KeyFrameFile(), 0, 0)), (Raw{1}));
}

TEST_F(DeliveryFlagsTest, SamplesBeforeTheStartPositionArePreroll) {
  // The key frame at 200 ms is the last at or before 270 ms.
  const auto samples = Played(KeyFrameFile(), 270 * kMillisecond);
  ASSERT_EQ(FirstBytesOf(samples), (Raw{5, 6, 7, 8, 9, 10}));
  EXPECT_EQ(samples[0].start, -70 * kMillisecond);
  EXPECT_TRUE(samples[0].preroll);
  EXPECT_TRUE(samples[0].discontinuity);
  EXPECT_TRUE(samples[1].preroll);
  EXPECT_EQ(samples[2].start, 30 * kMillisecond);
  EXPECT_FALSE(samples[2].preroll);
}

TEST_F(DeliveryFlagsTest, ASampleExactlyAtTheStartPositionIsNoPreroll) {
  const auto samples = Played(KeyFrameFile(), 200 * kMillisecond);
  ASSERT_EQ(FirstBytesOf(samples).front(), 5);
  EXPECT_EQ(samples[0].start, 0);
  EXPECT_FALSE(samples[0].preroll);
}

TEST_F(DeliveryFlagsTest, AfterASeekFramesBeforeTheFirstKeyFrameOfTheirTrackAreDropped) {
  // The second video track stands on a frame that is none of its key frames.
  const Raw file = MediaFile(1000, {VideoTrack(1), VideoTrack(2)},
                             {{0, {SimpleBlock(1, 0, kKey, {1}), SimpleBlock(2, 0, kKey, {2})}},
                              {500,
                               {SimpleBlock(2, 0, kKey, {3}), SimpleBlock(1, 0, kKey, {4}), SimpleBlock(2, 40, 0, {5}),
                                SimpleBlock(2, 80, kKey, {6}), SimpleBlock(2, 120, 0, {7})}}});
  Demux demux(file);
  ASSERT_EQ(demux.Connect(), S_OK);
  FakeSink& sink = demux.AddSink(2);
  ASSERT_EQ(demux.Seek(500 * kMillisecond), S_OK);
  demux.PlayToEnd();
  const auto samples = sink.Samples();
  EXPECT_EQ(FirstBytesOf(samples), (Raw{6, 7}));
  EXPECT_TRUE(samples[0].discontinuity);
}

TEST_F(DeliveryFlagsTest, TheNewSegmentTellsTheRangeAndTheRate) {
  Demux demux(KeyFrameFile());
  ASSERT_EQ(demux.Connect(), S_OK);
  FakeSink& sink = demux.AddSink(1);
  ASSERT_EQ(demux.Seek(100 * kMillisecond, 300 * kMillisecond), S_OK);
  ASSERT_EQ(demux.Filter().SetRate(4.0), S_OK);
  demux.PlayToEnd();
  EXPECT_EQ(sink.Log().at(1), "segment 1000000-3000000 x4");
}

TEST_F(DeliveryFlagsTest, AStopAndANewStartGoOnInTheFileWithADiscontinuity) {
  Demux demux(KeyFrameFile());
  ASSERT_EQ(demux.Connect(), S_OK);
  const auto sink = FakeSink::Create();
  std::atomic<bool> held{false};
  CAMEvent release(TRUE);
  sink->onReceive = [&](IMediaSample*) {
    if (!held.exchange(true)) release.Wait();
    return S_OK;
  };
  demux.AddSink(1, sink);
  ASSERT_EQ(demux.Run(), S_OK);
  sink->WaitForSamples(1);
  // The sink is stopped first, like in a graph, and refuses what comes afterwards: the first run ends early.
  ASSERT_EQ(sink->Stop(), S_OK);
  release.Set();
  ASSERT_EQ(demux.Stop(), S_OK);
  const std::size_t before = sink->SampleCount();
  ASSERT_EQ(before, 1u);

  demux.PlayToEnd();
  const auto samples = sink->Samples();
  ASSERT_GT(samples.size(), before);
  EXPECT_GT(samples[before].bytes[0], 1) << "not from the beginning again";
  EXPECT_TRUE(samples[before].discontinuity);
  EXPECT_TRUE(samples[before].syncPoint);
  EXPECT_EQ(samples.back().bytes[0], 10);
  EXPECT_EQ(sink->Segments(), 2);
}

TEST_F(DeliveryFlagsTest, SeekingBackWhileStoppedPlaysEverythingAgain) {
  Demux demux(KeyFrameFile());
  ASSERT_EQ(demux.Connect(), S_OK);
  FakeSink& sink = demux.AddSink(1);
  demux.PlayToEnd();
  ASSERT_EQ(sink.SampleCount(), 10u);
  ASSERT_EQ(demux.Seek(0), S_OK);
  demux.PlayToEnd();
  EXPECT_EQ(sink.SampleCount(), 20u);
}

TEST_F(DeliveryFlagsTest, ASeekThatOnePinCannotFollowRestartsAllAtZero) {
  // The only cue point lies beyond: no pin can be placed at 100 ms.
  const Raw file = MkvFile({Info(1000000, 1000),
                            Tracks({VideoTrack(1), AudioTrack(2)}),
                            {"first", Cluster(0, {SimpleBlock(1, 0, kKey, {1}), SimpleBlock(2, 0, kKey, {2})})},
                            {"second", Cluster(500, {SimpleBlock(1, 0, kKey, {3}), SimpleBlock(2, 0, kKey, {4})})},
                            {"cues", [](const Positions& at) { return Cues({CuePoint(500, 1, at["second"])}); }}});
  Demux demux(file);
  ASSERT_EQ(demux.Connect(), S_OK);
  FakeSink& video = demux.AddSink(1);
  FakeSink& audio = demux.AddSink(2);
  ASSERT_EQ(demux.Seek(100 * kMillisecond, 900 * kMillisecond), S_OK);
  LONGLONG current = -1;
  LONGLONG stop = -1;
  ASSERT_EQ(demux.Filter().GetPositions(&current, &stop), S_OK);
  EXPECT_EQ(current, 0);
  EXPECT_EQ(stop, 900 * kMillisecond);
  demux.PlayToEnd();
  EXPECT_EQ(FirstBytesOf(video.Samples()), (Raw{1, 3}));
  EXPECT_EQ(FirstBytesOf(audio.Samples()), (Raw{2, 4}));
  EXPECT_EQ(video.Log().at(1), "segment 0-9000000 x1");
}

}  // namespace
}  // namespace vantor::test
