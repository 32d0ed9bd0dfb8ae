// ProRes frames, which the file holds without their header.
#include "streaming/prores_header.h"

#include "support/demux_harness.h"

namespace vantor::test {
namespace {
namespace prores_frames {

class ProResFramesTest : public DemuxTest {};

Raw Delivered(const Raw& frame, const std::vector<Raw>& more = {}) {
  std::vector<Raw> children{Video(16, 16), CodecPrivate(Text("apcn"))};
  children.insert(children.end(), more.begin(), more.end());
  const Raw file = MediaFile(100, {Track(1, 1, "V_PRORES", children)}, {{0, {SimpleBlock(1, 0, kKey, frame)}}});
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

// An encoding that strips the bytes off each frame.
Raw Stripping(const Raw& header) {
  const Raw compression = Master(0x5034, {UInt(0x4254, 3), Bin(0x4255, header)});
  return Master(0x6D80, {Master(0x6240, {UInt(0x5032, 1), compression})});
}

TEST_F(ProResFramesTest, WithAStrippedHeaderHaveItBehindTheMark) {
  EXPECT_EQ(Delivered({1, 2}, {Stripping({0xAA, 0xBB, 0xCC})}),
            Join({{0, 0, 0, 13}, Text("icpf"), {0xAA, 0xBB, 0xCC, 1, 2}}));
}

TEST_F(ProResFramesTest, WhoseStrippedHeaderHoldsTheMarkGetNoOther) {
  const Raw mark = Join({{0, 0, 0, 10}, Text("icpf")});
  EXPECT_EQ(Delivered({1, 2}, {Stripping(mark)}), Join({mark, {1, 2}}));
  EXPECT_EQ(Delivered(Join({Text("icpf"), {1, 2}}), {Stripping({0, 0, 0, 10})}), Join({mark, {1, 2}}));
}

}  // namespace prores_frames
}  // namespace
}  // namespace vantor::test
