// The times that samples carry.
#include <limits>
#include <utility>

#include "support/demux_harness.h"

namespace vantor::test {
namespace {

class DeliveryTimesTest : public DemuxTest {};

using Times = std::vector<std::pair<std::int64_t, std::int64_t>>;

Times TimesOf(const std::vector<ReceivedSample>& samples) {
  Times times;
  for (const ReceivedSample& sample : samples) times.emplace_back(sample.start, sample.stop);
  return times;
}

Times PlayedTimes(const Raw& file, int pin = 1) {
  Demux demux(file);
  EXPECT_EQ(demux.Connect(), S_OK);
  FakeSink& sink = demux.AddSink(pin);
  demux.PlayToEnd();
  return TimesOf(sink.Samples());
}

Raw AudioFile(const std::vector<Raw>& blocks) { return MediaFile(100000, {AudioTrack(1)}, {{0, blocks}}); }

// Ticks of that many nanoseconds.
Raw ScaledFile(std::uint64_t scale, const std::vector<Raw>& clusters) {
  std::vector<Part> parts{Part(Info(scale, 1e9)), Part(Tracks({AudioTrack(1)}))};
  for (const Raw& cluster : clusters) parts.emplace_back(cluster);
  parts.emplace_back(Cues({CuePoint(0, 1, 0)}));
  return MkvFile(parts);
}

TEST_F(DeliveryTimesTest, ALoneBlockWithoutDurationStopsOneUnitAfterItsStart) {
  EXPECT_EQ(PlayedTimes(AudioFile({SimpleBlock(1, 0, kKey, {1})})), (Times{{0, 1}}));
}

TEST_F(DeliveryTimesTest, ABlockStopsWhereTheNextOfItsTrackStarts) {
  EXPECT_EQ(PlayedTimes(MediaFile(100000, {AudioTrack(1), AudioTrack(2)},
                                  {{0,
                                    {SimpleBlock(1, 0, kKey, {1}), SimpleBlock(2, 7, kKey, {9}),
                                     SimpleBlock(1, 20, kKey, {2}), SimpleBlock(1, 45, kKey, {3})}}})),
            (Times{{0, 200000}, {200000, 450000}, {450000, 450001}}));
}

TEST_F(DeliveryTimesTest, TheNextBlockMayLieInTheNextCluster) {
  EXPECT_EQ(PlayedTimes(MediaFile(100000, {AudioTrack(1)},
                                  {{0, {SimpleBlock(1, 30, kKey, {1})}}, {50, {SimpleBlock(1, 5, kKey, {2})}}})),
            (Times{{300000, 550000}, {550000, 550001}}));
}

TEST_F(DeliveryTimesTest, ABlockDurationGivesTheStop) {
  EXPECT_EQ(
      PlayedTimes(AudioFile({BlockGroup({Block(1, 0, 0, {1}), BlockDuration(5)}), SimpleBlock(1, 20, kKey, {2})})),
      (Times{{0, 50000}, {200000, 200001}}));
}

TEST_F(DeliveryTimesTest, AStopNotAfterTheStartBecomesOneUnitLater) {
  EXPECT_EQ(
      PlayedTimes(AudioFile({SimpleBlock(1, 20, kKey, {1}), SimpleBlock(1, 10, kKey, {2}),
                             SimpleBlock(1, 10, kKey, {3}), BlockGroup({Block(1, 30, 0, {4}), BlockDuration(0)})})),
      (Times{{200000, 200001}, {100000, 100001}, {100000, 300000}, {300000, 300001}}));
}

TEST_F(DeliveryTimesTest, EightLacedFramesOverAHundredUnitsGetTwelveEach) {
  // A tick of 10,000 ns is 100 units.
  const std::vector<Raw> frames(8, Raw{1, 2});
  const Times times = PlayedTimes(
      ScaledFile(10000, {Cluster(0, {BlockGroup({Block(1, 0, kFixed, FixedLace(frames)), BlockDuration(1)})})}));
  ASSERT_EQ(times.size(), 8u);
  for (std::size_t i = 0; i < 8; ++i) {
    EXPECT_EQ(times[i].first, static_cast<REFERENCE_TIME>(i) * 12);
    EXPECT_EQ(times[i].second, static_cast<REFERENCE_TIME>(i + 1) * 12);
  }
  EXPECT_EQ(times.back().second, 96);
}

TEST_F(DeliveryTimesTest, LacedFramesTakeOneUnitAtLeast) {
  const std::vector<Raw> frames(3, Raw{1});
  EXPECT_EQ(PlayedTimes(AudioFile({SimpleBlock(1, 0, kKey | kFixed, FixedLace(frames))})),
            (Times{{0, 1}, {1, 2}, {2, 3}}));
}

TEST_F(DeliveryTimesTest, EveryLacingGivesItsFramesInOrder) {
  const std::vector<Raw> frames{Fill(300, 1), Fill(2, 2), Fill(40, 3)};
  Demux demux(
      AudioFile({SimpleBlock(1, 0, kKey | kXiph, XiphLace(frames)), SimpleBlock(1, 30, kKey | kEbml, EbmlLace(frames)),
                 SimpleBlock(1, 60, kKey | kFixed, FixedLace({{7}, {8}}))}));
  ASSERT_EQ(demux.Connect(), S_OK);
  FakeSink& sink = demux.AddSink(1);
  demux.PlayToEnd();
  const auto samples = sink.Samples();
  ASSERT_EQ(samples.size(), 8u);
  for (std::size_t i = 0; i < 6; ++i) EXPECT_EQ(samples[i].bytes, frames[i % 3]) << i;
  EXPECT_EQ(samples[6].bytes, (Raw{7}));
  EXPECT_EQ(samples[7].bytes, (Raw{8}));
  EXPECT_EQ(samples[1].start, 100000);
}

TEST_F(DeliveryTimesTest, TheFirstClustersTimeBecomesZero) {
  EXPECT_EQ(PlayedTimes(MediaFile(100000, {AudioTrack(1)},
                                  {{2000, {SimpleBlock(1, 3, kKey, {1})}}, {2050, {SimpleBlock(1, 0, kKey, {2})}}})),
            (Times{{30000, 500000}, {500000, 500001}}));
}

TEST_F(DeliveryTimesTest, ATimeBeforeTheFirstClusterIsNegative) {
  EXPECT_EQ(PlayedTimes(AudioFile({SimpleBlock(1, -2, kKey, {1}), SimpleBlock(1, 0, kKey, {2})})),
            (Times{{-20000, 0}, {0, 1}}));
}

TEST_F(DeliveryTimesTest, TicksAreTruncatedToUnitsTowardZero) {
  // 333 ns a tick: 3.33 units.
  EXPECT_EQ(PlayedTimes(ScaledFile(333, {Cluster(0, {SimpleBlock(1, -2, kKey, {1}), SimpleBlock(1, 2, kKey, {2}),
                                                     BlockGroup({Block(1, 10, 0, {3}), BlockDuration(5)})})})),
            (Times{{-6, 6}, {6, 33}, {33, 49}}));
}

TEST_F(DeliveryTimesTest, AClustersUntouchedTimecodeGoesOnFromThePreviousOne) {
  EXPECT_EQ(PlayedTimes(ScaledFile(1000000, {Cluster(0, {SimpleBlock(1, 0, kKey, {1})}), Cluster(40, {}),
                                             Master(0x1F43B675, {SimpleBlock(1, 1, kKey, {2})})})),
            (Times{{0, 410000}, {410000, 410001}}));
}

TEST_F(DeliveryTimesTest, TimesBeyondAllMeasureWrapWithoutHarm) {
  const std::uint64_t huge = std::numeric_limits<std::uint64_t>::max();
  for (const std::uint64_t time : {huge, huge / 2, huge / 2 + 1, huge / 3}) {
    for (const std::uint64_t scale : {std::uint64_t{1}, std::uint64_t{1000000}, huge}) {
      Demux demux(ScaledFile(scale, {Cluster(7, {SimpleBlock(1, 0, kKey, {1})}),
                                     Cluster(time, {BlockGroup({Block(1, 5, 0, {2}), BlockDuration(time)}),
                                                    SimpleBlock(1, -7, kKey, {3})})}));
      ASSERT_EQ(demux.Connect(), S_OK);
      FakeSink& sink = demux.AddSink(1);
      demux.PlayToEnd();
      EXPECT_GE(sink.SampleCount(), 1u);
    }
  }
}

TEST_F(DeliveryTimesTest, TheCurrentPositionFollowsTheStopTimesDelivered) {
  Demux demux(
      MediaFile(100, {AudioTrack(1)},
                {{0, {SimpleBlock(1, 0, kKey, {1}), SimpleBlock(1, 20, kKey, {2}), SimpleBlock(1, 45, kKey, {3})}}}));
  ASSERT_EQ(demux.Connect(), S_OK);
  std::vector<std::int64_t> positions;
  const auto sink = FakeSink::Create();
  sink->onReceive = [&](IMediaSample*) {
    LONGLONG position = -1;
    demux.Filter().GetCurrentPosition(&position);
    positions.push_back(position);
    return S_OK;
  };
  demux.AddSink(1, sink);
  demux.PlayToEnd();
  EXPECT_EQ(positions, (std::vector<std::int64_t>{200000, 450000, 450001}));
}

TEST_F(DeliveryTimesTest, ABlockWithoutLengthMovesTheCurrentPositionByOneUnit) {
  Demux demux(AudioFile({BlockGroup({Block(1, 7, 0, {1}), BlockDuration(0)})}));
  ASSERT_EQ(demux.Connect(), S_OK);
  demux.AddSink(1);
  demux.PlayToEnd();
  LONGLONG position = -1;
  ASSERT_EQ(demux.Filter().GetCurrentPosition(&position), S_OK);
  EXPECT_EQ(position, 70001);
}

TEST_F(DeliveryTimesTest, TheCurrentPositionNeverGoesBackNorPastTheStopPosition) {
  Demux demux(MediaFile(30, {AudioTrack(1)},
                        {{0,
                          {SimpleBlock(1, 0, kKey, {1}), SimpleBlock(1, 20, kKey, {2}), SimpleBlock(1, 5, kKey, {3}),
                           SimpleBlock(1, 6, kKey, {4}), SimpleBlock(1, 200, kKey, {5})}}}));
  ASSERT_EQ(demux.Connect(), S_OK);
  std::vector<std::int64_t> positions;
  const auto sink = FakeSink::Create();
  sink->onReceive = [&](IMediaSample*) {
    LONGLONG position = -1;
    demux.Filter().GetCurrentPosition(&position);
    positions.push_back(position);
    return S_OK;
  };
  demux.AddSink(1, sink);
  demux.PlayToEnd();
  EXPECT_EQ(positions, (std::vector<std::int64_t>{200000, 200001, 200001, 300000, 300000}));
}

}  // namespace
}  // namespace vantor::test
