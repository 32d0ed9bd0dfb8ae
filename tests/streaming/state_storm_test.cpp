// Starting, pausing and stopping a thousand times.
#include <array>
#include <random>

#include "platform/platform.h"
#include "support/demux_harness.h"

namespace vantor::test {
namespace {

class StateStormTest : public DemuxTest {};

Raw FourTrackFile() {
  std::vector<TimedCluster> clusters;
  for (std::uint64_t c = 0; c < 4; ++c) {
    TimedCluster cluster{c * 100, {}};
    for (int i = 0; i < 20; ++i) {
      cluster.blocks.push_back(SimpleBlock(1, i * 5, i % 5 == 0 ? kKey : 0, Fill(200, 1)));
      cluster.blocks.push_back(SimpleBlock(2, i * 5, kKey | kFixed, FixedLace({Fill(20, 2), Fill(20, 2)})));
      cluster.blocks.push_back(SimpleBlock(3, i * 5, kKey, Fill(3000, 3)));
      cluster.blocks.push_back(BlockGroup({Block(4, i * 5, 0, Fill(10, 4)), BlockDuration(5)}));
    }
    clusters.push_back(cluster);
  }
  // The third track outgrows its buffers in every run, the fourth is a subtitle.
  return MediaFile(400, {VideoTrack(1), AudioTrack(2), VideoTrack(3, 16, 16), SubtitleTrack(4)}, clusters);
}

TEST_F(StateStormTest, AThousandCyclesNeitherHangNorLeak) {
  constexpr unsigned kStormSeed = 20240117;
  std::minstd_rand random(kStormSeed);
  Demux demux(FourTrackFile());
  ASSERT_EQ(demux.Connect(), S_OK);
  std::vector<ComPtr<FakeSink>> sinks;
  std::array<std::minstd_rand, 4> delays;
  for (std::size_t i = 0; i < delays.size(); ++i) {
    delays[i].seed(kStormSeed + static_cast<unsigned>(i));
    const auto sink = FakeSink::Create();
    sink->keepsSamples = false;
    sink->onReceive = [&delay = delays[i]](IMediaSample*) {
      if (delay() % 64 == 0) SleepMilliseconds(delay() % 2);
      return S_OK;
    };
    demux.AddSink(static_cast<int>(i) + 1, sink);
    sinks.push_back(sink);
  }
  ASSERT_EQ(demux.Seek(kMillisecond), S_OK);  // the thread that searches is there from now on
  const LONG alive = CBaseObject::ObjectsActive();
  for (int cycle = 0; cycle < 1000; ++cycle) {
    switch (random() % 4) {
      case 0:
        ASSERT_EQ(demux.Pause(), S_OK);
        break;
      case 1:
        ASSERT_EQ(demux.Run(), S_OK);
        break;
      case 2:
        ASSERT_EQ(demux.Run(), S_OK);
        ASSERT_EQ(demux.Pause(), S_OK);
        break;
      default:
        ASSERT_EQ(demux.Pause(), S_OK);
        ASSERT_EQ(demux.Run(), S_OK);
        ASSERT_EQ(demux.Pause(), S_OK);
        ASSERT_EQ(demux.Run(), S_OK);
        break;
    }
    if (random() % 4 == 0) SleepMilliseconds(random() % 3);
    ASSERT_EQ(demux.Stop(), S_OK);
    ASSERT_EQ(CBaseObject::ObjectsActive(), alive) << "cycle " << cycle;
    if (random() % 3 == 0) {
      ASSERT_EQ(demux.Seek(static_cast<std::int64_t>(random() % 400) * kMillisecond), S_OK);
    }
  }
  ASSERT_EQ(demux.Seek(0), S_OK);
  std::vector<std::size_t> before;
  before.reserve(sinks.size());
  for (const auto& sink : sinks) before.push_back(sink->SampleCount());
  demux.PlayToEnd();
  const std::size_t expected[] = {80, 80, 160, 80};  // video, video, audio, subtitles
  for (std::size_t i = 0; i < sinks.size(); ++i) EXPECT_EQ(sinks[i]->SampleCount() - before[i], expected[i]);
}

}  // namespace
}  // namespace vantor::test
