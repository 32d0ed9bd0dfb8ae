// Tracks of one number: each pin has every frame, so that memory and not the file's length is the limit.
#include "support/demux_harness.h"

namespace vantor::test {
namespace {

class SharedNumbers : public DemuxTest {};

std::vector<Raw> AudioTracksOfOneNumber(std::size_t count) { return std::vector<Raw>(count, AudioTrack(1)); }

std::size_t LostFrames(const Demux& demux) {
  std::size_t count = 0;
  for (const GraphEvent& event : demux.Events()) {
    if (event.code == EC_STREAM_ERROR_STILLPLAYING && event.param1 == VFW_E_BUFFER_OVERFLOW) ++count;
  }
  return count;
}

TEST_F(SharedNumbers, FramesThatPassTheSharedMemoryAreSkippedAndReported) {
  constexpr std::size_t kSize = 9 << 20;
  constexpr std::size_t kPins = 6;
  Demux demux(MediaFile(
      10000, AudioTracksOfOneNumber(kPins),
      {{0, {SimpleBlock(1, 0, kKey, {1}), SimpleBlock(1, 10, kKey, Fill(kSize, 7)), SimpleBlock(1, 20, kKey, {2})}}}));
  ASSERT_EQ(demux.Connect(), S_OK);
  std::vector<FakeSink*> sinks;
  for (std::size_t i = 0; i < kPins; ++i) {
    sinks.push_back(&demux.AddSink(static_cast<int>(i) + 1));
    sinks.back()->keepsSamples = false;
  }
  demux.PlayToEnd();
  std::size_t delivered = 0;
  for (const FakeSink* sink : sinks) {
    EXPECT_GE(sink->SampleCount(), 2u);
    delivered += sink->SampleCount();
  }
  // The samples' buffers hold at most the file's length and a little, each frame once a pin.
  EXPECT_GE(LostFrames(demux), kPins - 2);
  EXPECT_EQ(delivered + LostFrames(demux), 3 * kPins);
}

TEST_F(SharedNumbers, TracksOfTheirOwnLoseNothing) {
  constexpr std::size_t kSize = 9 << 20;
  std::vector<Raw> tracks;
  std::vector<Raw> blocks;
  for (std::uint64_t number = 1; number <= 4; ++number) {
    tracks.push_back(AudioTrack(number));
    for (int time = 0; time < 20; time += 10) blocks.push_back(SimpleBlock(number, time, kKey, Fill(kSize, 7)));
  }
  Demux demux(MediaFile(10000, tracks, {{0, blocks}}));
  ASSERT_EQ(demux.Connect(), S_OK);
  std::vector<FakeSink*> sinks;
  for (int number = 1; number <= 4; ++number) {
    sinks.push_back(&demux.AddSink(number));
    sinks.back()->keepsSamples = false;
  }
  for (int run = 1; run <= 2; ++run) {
    EXPECT_EQ(demux.Seek(0), S_OK);
    demux.PlayToEnd();
    for (const FakeSink* sink : sinks) EXPECT_EQ(sink->SampleCount(), 2u * static_cast<unsigned>(run));
  }
  EXPECT_EQ(LostFrames(demux), 0u);
}

}  // namespace
}  // namespace vantor::test
