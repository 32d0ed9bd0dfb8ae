// ProRes frames, which the file holds without their header.
#include "streaming/prores_header.h"

#include "support/demux_harness.h"

namespace vantor::test {
namespace {
namespace prores_frames {

class ProResFramesTest : public DemuxTest {};

Raw Delivered(const Raw& frame) {
  const Raw file = MediaFile(100, {Track(1, 1, "V_PRORES", {Video(16, 16), CodecPrivate(Text("apcn"))})},
                             {{0, {SimpleBlock(1, 0, kKey, frame)}}});
  Demux demux(file, Demux::NewFilter({.moreCodecs = true}));
  EXPECT_EQ(demux.Connect(), S_OK);
  FakeSink& sink = demux.AddSink(1);
  demux.PlayToEnd();
  const auto samples = sink.Samples();
  return samples.size() == 1 ? samples[0].bytes : Raw{};
}

TEST_F(ProResFramesTest, GetTheirSizeAndTheMarkInFront) {
  EXPECT_EQ(Delivered(Fill(300, 7)), Join({{0, 0, 1, 52}, Text("icpf"), Fill(300, 7)}));
  EXPECT_EQ(Delivered({1, 2}), Join({{0, 0, 0, 10}, Text("icpf"), {1, 2}}));
}

TEST_F(ProResFramesTest, ThatHaveItAreDeliveredAsTheyAre) {
  const Raw whole = Join({{0, 0, 0, 10}, Text("icpf"), {1, 2}});
  EXPECT_EQ(Delivered(whole), whole);
}

}  // namespace prores_frames
}  // namespace
}  // namespace vantor::test
