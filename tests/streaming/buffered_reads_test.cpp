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

}  // namespace buffered_reads
}  // namespace
}  // namespace vantor::test
