// Playing through buffers: the same samples in fewer reads, whatever the source does.
#include "streaming/opened_file.h"
#include "support/demux_harness.h"

namespace vantor::test {
namespace {
namespace buffered_reads {

constexpr PlaybackPolicy kBuffered = {.bufferReads = true};

class BufferedReadsTest : public DemuxTest {};

// Two tracks of sound in turn, so many blocks of each, of some hundred bytes.
Raw SmallSamples(int blocks) {
  std::vector<TimedCluster> clusters;
  for (int i = 0; i < blocks; ++i) {
    if (i % 50 == 0) clusters.push_back({static_cast<std::uint64_t>(i) * 20, {}});
    for (const int track : {1, 2}) {
      clusters.back().blocks.push_back(
          SimpleBlock(static_cast<std::uint64_t>(track), i % 50 * 20, kKey,
                      Fill(static_cast<std::size_t>(100 + i % 300), static_cast<std::uint8_t>(i))));
    }
  }
  return MediaFile(blocks * 20, {AudioTrack(1), AudioTrack(2)}, clusters);
}

struct PlayedRun {
  std::uint64_t readsToOpen = 0;
  std::uint64_t reads = 0;
  std::vector<ReceivedSample> samples[2];
};

PlayedRun Play(const Raw& file, const PlaybackPolicy& policy, std::uint64_t failing = 0, HRESULT code = E_FAIL) {
  PlayedRun run;
  Demux demux(file, Demux::NewFilter(policy));
  EXPECT_EQ(demux.Connect(), S_OK);
  run.readsToOpen = demux.Reader().Reads();
  FakeSink& first = demux.AddSink(1);
  FakeSink& second = demux.AddSink(2);
  demux.Reader().ResetCounters();
  demux.Reader().FailRead(failing, code);
  demux.PlayToEnd();
  run.reads = demux.Reader().Reads();
  run.samples[0] = first.Samples();
  run.samples[1] = second.Samples();
  return run;
}

bool Same(const std::vector<ReceivedSample>& left, const std::vector<ReceivedSample>& right) {
  return std::ranges::equal(left, right, [](const ReceivedSample& a, const ReceivedSample& b) {
    return a.start == b.start && a.stop == b.stop && a.bytes == b.bytes && a.syncPoint == b.syncPoint;
  });
}

TEST_F(BufferedReadsTest, SmallSamplesCostAFractionOfACall) {
  const Raw file = SmallSamples(1000);
  const PlayedRun plain = Play(file, {});
  const PlayedRun buffered = Play(file, kBuffered);
  for (int pin = 0; pin < 2; ++pin) {
    ASSERT_EQ(buffered.samples[pin].size(), 1000u);
    EXPECT_TRUE(Same(buffered.samples[pin], plain.samples[pin]));
  }
  EXPECT_LT(buffered.reads * 5, 2000u);
  EXPECT_LT(buffered.readsToOpen, 30u);
  EXPECT_GT(plain.reads, 10 * 2000u);
}

TEST_F(BufferedReadsTest, OneReadThatFailsLosesNothing) {
  const Raw file = SmallSamples(200);
  const PlayedRun whole = Play(file, {});
  const PlayedRun faulty = Play(file, kBuffered, 3, HRESULT_FROM_WIN32(ERROR_CRC));
  for (int pin = 0; pin < 2; ++pin) EXPECT_TRUE(Same(faulty.samples[pin], whole.samples[pin]));
}

TEST_F(BufferedReadsTest, LargeFramesArriveWhole) {
  std::vector<Raw> blocks;
  for (int i = 0; i < 20; ++i) {
    blocks.push_back(
        SimpleBlock(1, i * 40, kKey, Fill(static_cast<std::size_t>(i) * 9000, static_cast<std::uint8_t>(i))));
    blocks.push_back(SimpleBlock(2, i * 40, kKey, Fill(100, static_cast<std::uint8_t>(i))));
  }
  const Raw file = MediaFile(800, {AudioTrack(1), AudioTrack(2)}, {{0, blocks}});
  const PlayedRun plain = Play(file, {});
  const PlayedRun buffered = Play(file, kBuffered);
  for (int pin = 0; pin < 2; ++pin) {
    ASSERT_EQ(buffered.samples[pin].size(), 20u);
    EXPECT_TRUE(Same(buffered.samples[pin], plain.samples[pin]));
  }
  EXPECT_LT(buffered.reads, plain.reads / 5);
}

TEST_F(BufferedReadsTest, AFileThatEndsEarlyIsDeliveredAsFar) {
  Raw file = SmallSamples(200);
  file.resize(file.size() * 2 / 3);
  const PlayedRun plain = Play(file, {});
  const PlayedRun buffered = Play(file, kBuffered);
  for (int pin = 0; pin < 2; ++pin) EXPECT_TRUE(Same(buffered.samples[pin], plain.samples[pin]));
}

TEST_F(BufferedReadsTest, PinsWithoutASinkReadNothing) {
  std::vector<Raw> tracks;
  for (std::uint64_t track = 1; track <= 128; ++track) tracks.push_back(AudioTrack(track));
  Demux demux(MediaFile(100, tracks, {{0, {SimpleBlock(1, 0, kKey, {1})}}}), Demux::NewFilter(kBuffered));
  ASSERT_EQ(demux.Connect(), S_OK);
  EXPECT_LT(demux.Reader().Reads(), 30u);
}

TEST_F(BufferedReadsTest, ASecondRunAsksTheSourceAnew) {
  const Raw file = SmallSamples(100);
  for (const PlaybackPolicy& policy : {PlaybackPolicy(), kBuffered}) {
    Demux demux(file, Demux::NewFilter(policy));
    ASSERT_EQ(demux.Connect(), S_OK);
    const FakeSink& sink = demux.AddSink(1);
    demux.PlayToEnd();
    ASSERT_EQ(sink.SampleCount(), 100u);
    demux.Reader().FailRead(1, E_FAIL, true);
    demux.PlayToEnd();
    EXPECT_EQ(sink.SampleCount(), 100u);
  }
}

// Four tracks, an index of some 200 KiB behind the Clusters, fonts and tags, all of them told by a seek index.
Raw FarPlaces() {
  constexpr std::uint64_t kClusters = 8000;
  std::vector<Part> parts;
  parts.emplace_back("index", [](const Positions& at) {
    std::vector<Raw> entries;
    for (const auto& [id, part] :
         {std::pair(0x1549A966u, "info"), std::pair(0x1654AE6Bu, "tracks"), std::pair(0x1C53BB6Bu, "cues"),
          std::pair(0x1941A469u, "files"), std::pair(0x1043A770u, "chapters"), std::pair(0x114D9B74u, "more")}) {
      entries.push_back(SeekEntry(id, at[part]));
    }
    return SeekHead(entries);
  });
  parts.emplace_back(Void(5000));
  parts.emplace_back("info", Info(1000000, kClusters * 20));
  parts.emplace_back("tracks", Tracks({AudioTrack(1), AudioTrack(2), AudioTrack(3), AudioTrack(4)}));
  for (std::uint64_t i = 0; i < kClusters; ++i) {
    std::vector<Raw> blocks;
    for (const std::uint64_t track : {1, 2, 3, 4}) blocks.push_back(SimpleBlock(track, 0, kKey, Fill(80)));
    parts.emplace_back("c" + std::to_string(i), Cluster(i * 20, blocks));
  }
  parts.emplace_back("files", Attachments({Attachment("a.ttf", "font/ttf", Fill(200000)),
                                           Attachment("b.ttf", "font/ttf", Fill(200000))}));
  parts.emplace_back("more", SeekHead({SeekEntry(0x1254C367, 0)}));
  parts.emplace_back(Void(100000));
  parts.emplace_back("cues", [](const Positions& at) {
    std::vector<Raw> points;
    for (std::uint64_t i = 0; i < kClusters; ++i) points.push_back(CuePoint(i * 20, 1, at["c" + std::to_string(i)]));
    return Cues(points);
  });
  parts.emplace_back(Void(100000));
  parts.emplace_back("chapters", Master(0x1043A770, {Void(30000)}));
  return MkvFile(parts);
}

TEST_F(BufferedReadsTest, OpeningAFileWithAnIndexTakesFewCallsWhereverItsPartsLie) {
  Demux demux(FarPlaces(), Demux::NewFilter(kCompletePolicy));
  ASSERT_EQ(demux.Connect(), S_OK);
  EXPECT_EQ(demux.OutputNames().size(), 4u);
  EXPECT_LT(demux.Reader().Reads(), 30u);
}

// A Cluster of unknown size is walked through for its end whenever it is met, which is several times while a file
// without an index is opened: each of the walks may read ahead.
TEST_F(BufferedReadsTest, EachWalkOfOpeningReadsAhead) {
  std::vector<Raw> blocks{UInt(0xE7, 0)};
  for (int i = 0; i < 10000; ++i) blocks.push_back(SimpleBlock(1, i % 1000, kKey, Fill(90)));
  const Raw file = Join({EbmlHeader(), UnknownSizeSegment({Info(1000000, 10000), Tracks({AudioTrack(1)}),
                                                           UnknownSize(0x1F43B675, blocks, 8),
                                                           UnknownSize(0x1F43B675, {UInt(0xE7, 9000)}, 8)})});
  Demux demux(file, Demux::NewFilter({.playToEnd = true, .bufferReads = true}));
  ASSERT_EQ(demux.Connect(), S_OK);
  // Six times over the million bytes.
  EXPECT_LT(demux.Reader().Reads(), 150u);
  EXPECT_LT(demux.Reader().BytesRead(), 8 * file.size());
}

// Each is searched for a first frame, to the end of the file: what one has read ahead the others have not to read.
TEST_F(BufferedReadsTest, ManyTracksThatAreSearchedShareWhatMayBeReadAhead) {
  std::vector<Raw> tracks;
  for (std::uint64_t track = 1; track <= 128; ++track) {
    tracks.push_back(Track(track, 1, "V_MPEG4/ISO/AVC", {Video(16, 16)}));
  }
  std::vector<Raw> blocks;
  for (int i = 0; i < 250; ++i) blocks.push_back(SimpleBlock(200, i, kKey, Fill(2000)));
  const Raw file = MediaFile(1000, tracks, {{0, blocks}});
  Demux demux(file, Demux::NewFilter(kBuffered));
  ASSERT_EQ(demux.Connect(), S_OK);
  EXPECT_TRUE(demux.OutputNames().empty());
  EXPECT_LT(demux.Reader().BytesRead(), 8 * file.size());
}

}  // namespace buffered_reads
}  // namespace
}  // namespace vantor::test
