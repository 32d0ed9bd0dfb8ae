// Where playing ends when it is to end with the last of the blocks.
#include "streaming/played_end.h"

#include <algorithm>

#include "support/demux_harness.h"

namespace vantor::test {
namespace {
namespace play_to_end {

constexpr PlaybackPolicy kToEnd = {.playToEnd = true};

class PlayToEndTest : public DemuxTest {};

Raw FileWithoutIndex(const std::vector<Raw>& tracks, const std::vector<TimedCluster>& clusters, double duration = -1) {
  std::vector<Part> parts{Part(Info(1000000, duration)), Part(Tracks(tracks))};
  for (const TimedCluster& cluster : clusters) parts.emplace_back(Cluster(cluster.time, cluster.blocks));
  return MkvFile(parts);
}

std::vector<Raw> Behind(const Raw& first, std::vector<Raw> rest) {
  rest.insert(rest.begin(), first);
  return rest;
}

std::int64_t DurationOf(const Raw& file, const PlaybackPolicy& policy = kToEnd) {
  Demux demux(file, Demux::NewFilter(policy));
  EXPECT_EQ(demux.Connect(), S_OK);
  LONGLONG duration = -1;
  EXPECT_EQ(demux.Filter().GetDuration(&duration), S_OK);
  LONGLONG stop = -1;
  EXPECT_EQ(demux.Filter().GetStopPosition(&stop), S_OK);
  EXPECT_EQ(stop, duration);
  return duration;
}

struct Played {
  Raw bytes;
  Raw preroll;
};

Played Play(const Raw& file, const PlaybackPolicy& policy = kToEnd) {
  Demux demux(file, Demux::NewFilter(policy));
  EXPECT_EQ(demux.Connect(), S_OK);
  FakeSink& sink = demux.AddSink(1);
  demux.PlayToEnd();
  Played played;
  for (const ReceivedSample& sample : sink.Samples()) {
    const std::uint8_t first = sample.bytes.empty() ? 0xFF : sample.bytes[0];
    played.bytes.push_back(first);
    if (sample.preroll) played.preroll.push_back(first);
  }
  return played;
}

// Sound of 100 ms a block, three blocks a Cluster.
std::vector<TimedCluster> TwoClusters() {
  return {{0, {SimpleBlock(1, 0, kKey, {1}), SimpleBlock(1, 100, kKey, {2}), SimpleBlock(1, 200, kKey, {3})}},
          {300, {SimpleBlock(1, 0, kKey, {4}), SimpleBlock(1, 100, kKey, {5}), SimpleBlock(1, 200, kKey, {6})}}};
}

TEST_F(PlayToEndTest, WithoutAnIndexItIsTheLargestStopInTheLastCluster) {
  const Raw file = FileWithoutIndex({AudioTrack(1)}, TwoClusters());
  EXPECT_EQ(DurationOf(file), 500 * kMillisecond + 1);
  EXPECT_EQ(DurationOf(file, {}), 300 * kMillisecond) << "without the switch";
}

TEST_F(PlayToEndTest, EveryBlockIsPlayedAndNoneIsPreroll) {
  const Raw file = FileWithoutIndex({AudioTrack(1)}, TwoClusters());
  const Played played = Play(file);
  EXPECT_EQ(played.bytes, (Raw{1, 2, 3, 4, 5, 6}));
  EXPECT_EQ(played.preroll, Raw{});
  EXPECT_EQ(Play(file, {}).bytes, (Raw{1, 2, 3, 4})) << "without the switch";
}

TEST_F(PlayToEndTest, ABlocksOwnDurationCounts) {
  EXPECT_EQ(DurationOf(FileWithoutIndex(
                {AudioTrack(1)},
                {{0, {BlockGroup({Block(1, 0, 0, {1}), BlockDuration(700)}), SimpleBlock(1, 100, kKey, {2})}}})),
            700 * kMillisecond);
}

TEST_F(PlayToEndTest, FramesOfTheLastLaceAllLieBeforeIt) {
  const Raw file =
      FileWithoutIndex({AudioTrack(1)}, {{0, {SimpleBlock(1, 0, kKey | kXiph, XiphLace({{1}, {2}, {3}, {4}}))}}});
  EXPECT_EQ(DurationOf(file), 4);
  const Played played = Play(file);
  EXPECT_EQ(played.bytes, (Raw{1, 2, 3, 4}));
  EXPECT_EQ(played.preroll, Raw{});
  const Raw group =
      FileWithoutIndex({AudioTrack(1)}, {{0, {BlockGroup({Block(1, 0, kXiph, XiphLace({{1}, {2}, {3}}))})}}});
  EXPECT_EQ(DurationOf(group), 3);
}

TEST_F(PlayToEndTest, ALaterDurationOfTheFileHolds) {
  EXPECT_EQ(DurationOf(FileWithoutIndex({AudioTrack(1)}, TwoClusters(), 800)), 800 * kMillisecond);
  EXPECT_EQ(DurationOf(MediaFile(800, {AudioTrack(1)}, TwoClusters())), 800 * kMillisecond);
}

TEST_F(PlayToEndTest, AnEarlierDurationOfAFileWithoutIndexDoesNot) {
  EXPECT_EQ(DurationOf(FileWithoutIndex({AudioTrack(1)}, TwoClusters(), 500)), 500 * kMillisecond + 1);
}

TEST_F(PlayToEndTest, AnEarlierDurationBesideAnIndexHoldsWithinATick) {
  EXPECT_EQ(DurationOf(MediaFile(500, {AudioTrack(1)}, TwoClusters())), 500 * kMillisecond);
  EXPECT_EQ(DurationOf(MediaFile(499.5, {AudioTrack(1)}, TwoClusters())), 499 * kMillisecond + 5000);
  EXPECT_EQ(DurationOf(MediaFile(498, {AudioTrack(1)}, TwoClusters())), 500 * kMillisecond + 1);
  EXPECT_EQ(DurationOf(MediaFile(498, {AudioTrack(1)}, TwoClusters()), {}), 498 * kMillisecond) << "without the switch";
}

TEST_F(PlayToEndTest, AMissingDurationBesideAnIndexIsMadeUpFor) {
  EXPECT_EQ(DurationOf(MediaFile(-1, {AudioTrack(1)}, TwoClusters())), 500 * kMillisecond + 1);
}

TEST_F(PlayToEndTest, ClustersWithoutABlockThatIsPlayedAreNotTheLast) {
  std::vector<TimedCluster> clusters = TwoClusters();
  clusters.push_back({900, {SimpleBlock(9, 0, kKey, {9})}});
  clusters.push_back({1000, {}});
  const std::vector<Raw> tracks{AudioTrack(1), AudioTrack(9, "A_UNHEARD")};
  EXPECT_EQ(DurationOf(FileWithoutIndex(tracks, clusters)), 500 * kMillisecond + 1);
  EXPECT_EQ(DurationOf(MediaFile(-1, tracks, clusters)), 500 * kMillisecond + 1);
}

TEST_F(PlayToEndTest, WithoutAnyBlockTheFilesWordHolds) {
  EXPECT_EQ(DurationOf(FileWithoutIndex({AudioTrack(1)}, {{0, {}}, {200, {}}})), 200 * kMillisecond);
  EXPECT_EQ(DurationOf(FileWithoutIndex({AudioTrack(1)}, {{0, {}}, {200, {}}}, 100)), 100 * kMillisecond);
}

TEST_F(PlayToEndTest, ItCountsFromTheFirstCluster) {
  std::vector<TimedCluster> clusters = TwoClusters();
  for (TimedCluster& cluster : clusters) cluster.time += 5000;
  EXPECT_EQ(DurationOf(FileWithoutIndex({AudioTrack(1)}, clusters)), 500 * kMillisecond + 1);
}

TEST_F(PlayToEndTest, AnIndexThatLeadsNowhereIsWalkedAround) {
  const Raw file =
      MkvFile({Info(1000000, 100), Tracks({AudioTrack(1)}), Cues({CuePoint(0, 1, 3), CuePoint(7, 1, 1 << 20)}),
               Cluster(0, TwoClusters()[0].blocks), Cluster(300, TwoClusters()[1].blocks)});
  EXPECT_EQ(DurationOf(file), 500 * kMillisecond + 1);
}

TEST_F(PlayToEndTest, OfTheLastClusterHeadersAloneAreRead) {
  const Raw large = Fill(50000);
  const std::vector<TimedCluster> clusters{{0, {SimpleBlock(1, 0, kKey, large), SimpleBlock(1, 100, kKey, large)}},
                                           {200, {SimpleBlock(1, 0, kKey, large), SimpleBlock(1, 100, kKey, large)}}};
  const Raw file = MediaFile(-1, {AudioTrack(1)}, clusters);
  Demux demux(file, Demux::NewFilter(kToEnd));
  ASSERT_EQ(demux.Connect(), S_OK);
  EXPECT_LT(demux.Reader().BytesRead(), 1000u);
}

TEST_F(PlayToEndTest, OfAnIndexedFileOnlyTheLastClusterIsWalked) {
  std::vector<TimedCluster> clusters;
  for (std::uint64_t i = 0; i < 50; ++i) {
    clusters.push_back({300 * i, {SimpleBlock(1, 0, kKey, Fill(1000)), SimpleBlock(1, 100, kKey, Fill(1000))}});
  }
  const Raw file = MediaFile(-1, {AudioTrack(1)}, clusters);
  // Reads in the middle half of the file, which opening does to find the index.
  const auto readsBetween = [&](const PlaybackPolicy& policy) {
    const auto quarter = static_cast<std::int64_t>(file.size()) / 4;
    int reads = 0;
    Demux demux(file, Demux::NewFilter(policy));
    demux.Reader().OnRead([&](std::int64_t at, std::int32_t) { reads += at > quarter && at < 3 * quarter ? 1 : 0; });
    EXPECT_EQ(demux.Connect(), S_OK);
    demux.Reader().OnRead(nullptr);
    return reads;
  };
  EXPECT_EQ(readsBetween(kToEnd), readsBetween({}));
}

// As live streams are written.
Raw UnknownSizes() {
  std::vector<Part> parts{Part(Info()), Part(Tracks({AudioTrack(1)}))};
  for (const TimedCluster& cluster : TwoClusters()) {
    parts.emplace_back(UnknownSize(0x1F43B675, Behind(UInt(0xE7, cluster.time), cluster.blocks), 8));
  }
  return Join({EbmlHeader(), UnknownSizeSegment(parts)});
}

TEST_F(PlayToEndTest, AClusterOfUnknownSizeEndsWhereTheNextOneBegins) {
  EXPECT_EQ(DurationOf(UnknownSizes()), 500 * kMillisecond + 1);
  const Played played = Play(UnknownSizes());
  EXPECT_EQ(played.bytes, (Raw{1, 2, 3, 4, 5, 6}));
  EXPECT_EQ(played.preroll, Raw{});
}

TEST_F(PlayToEndTest, ManyClustersOfUnknownSizeCostWhatTheyAreLong) {
  std::vector<Part> parts{Part(Info()), Part(Tracks({AudioTrack(1)}))};
  for (std::uint64_t time = 0; time < 20000; ++time) {
    parts.emplace_back(UnknownSize(0x1F43B675, {UInt(0xE7, time), SimpleBlock(1, 0, kKey, {1})}, 8));
  }
  const Raw file = Join({EbmlHeader(), UnknownSizeSegment(parts)});
  Demux demux(file, Demux::NewFilter(kToEnd));
  ASSERT_EQ(demux.Connect(), S_OK);
  EXPECT_LT(demux.Reader().BytesRead(), 8 * file.size());
}

TEST_F(PlayToEndTest, ClustersOfUnknownSizeCanBeSoughtIn) {
  Demux demux(UnknownSizes(), Demux::NewFilter(kToEnd));
  ASSERT_EQ(demux.Connect(), S_OK);
  FakeSink& sink = demux.AddSink(1);
  EXPECT_EQ(demux.Seek(400 * kMillisecond), S_OK);
  demux.PlayToEnd();
  ASSERT_EQ(sink.SampleCount(), 2u);
  EXPECT_EQ(sink.Samples()[0].bytes, Raw{5});
}

TEST_F(PlayToEndTest, TheLastClusterMayReachToTheEndOfTheFile) {
  Raw file = UnknownSizes();
  file.resize(file.size() - 1);
  EXPECT_EQ(Play(file).bytes, (Raw{1, 2, 3, 4, 5, 0xFF})) << "the last frame has lost its byte";
}

TEST_F(PlayToEndTest, DamageInAClusterOfUnknownSizeLosesNoOther) {
  Raw file = UnknownSizes();
  const Raw third = SimpleBlock(1, 200, kKey, {3});
  *std::search(file.begin(), file.end(), third.begin(), third.end()) = 0;
  EXPECT_EQ(Play(file).bytes, (Raw{1, 2, 4, 5, 6}));
}

TEST_F(PlayToEndTest, ASeekMayLeadToTheEnd) {
  Demux demux(FileWithoutIndex({AudioTrack(1)}, TwoClusters()), Demux::NewFilter(kToEnd));
  ASSERT_EQ(demux.Connect(), S_OK);
  FakeSink& sink = demux.AddSink(1);
  EXPECT_EQ(demux.Seek(450 * kMillisecond), S_OK);
  demux.PlayToEnd();
  const auto samples = sink.Samples();
  ASSERT_EQ(samples.size(), 2u);
  EXPECT_EQ(samples[0].bytes, Raw{5});
  EXPECT_TRUE(samples[0].preroll);
  EXPECT_EQ(samples[1].bytes, Raw{6});
  EXPECT_FALSE(samples[1].preroll);
}

}  // namespace play_to_end
}  // namespace
}  // namespace vantor::test
