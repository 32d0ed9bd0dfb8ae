// What a block costs while a file plays: source reads, and no memory.
#include "support/allocation_monitor.h"
#include "support/demux_harness.h"

namespace vantor::test {
namespace {

class SteadyStateTest : public DemuxTest {};

struct Cost {
  std::uint64_t allocations = 0;
  std::uint64_t reads = 0;
  std::size_t samples = 0;
};

// Plays the blocks, repeated, behind one another.
Cost Play(const std::vector<Raw>& blocks, int repeats, const std::vector<int>& pins) {
  std::vector<Raw> all;
  for (int i = 0; i < repeats; ++i) all.insert(all.end(), blocks.begin(), blocks.end());
  Demux demux(MediaFile(10000, {AudioTrack(1), AudioTrack(2)}, {{0, all}}));
  EXPECT_EQ(demux.Connect(), S_OK);
  std::vector<ComPtr<FakeSink>> sinks;
  for (const int pin : pins) {
    const auto sink = FakeSink::Create();
    sink->keepsSamples = false;
    demux.AddSink(pin, sink);
    sinks.push_back(sink);
  }
  demux.Reader().ResetCounters();
  const std::uint64_t before = Allocations();
  demux.PlayToEnd();
  Cost cost;
  cost.allocations = Allocations() - before;
  cost.reads = demux.Reader().Reads();
  for (const auto& sink : sinks) cost.samples += sink->SampleCount();
  return cost;
}

void ExpectNoAllocationPerBlock(const std::vector<Raw>& blocks, const std::vector<int>& pins = {1}) {
  if (!WatchesAllocations()) GTEST_SKIP();
  constexpr int kRepeats = 1000;
  constexpr std::uint64_t kPerRun = 8;  // what a run costs may vary with how its threads meet
  const Cost once = Play(blocks, kRepeats, pins);
  const Cost twice = Play(blocks, 2 * kRepeats, pins);
  EXPECT_EQ(twice.samples, 2 * once.samples);
  EXPECT_LE(twice.allocations, once.allocations + kPerRun);
  EXPECT_LE(once.allocations, twice.allocations + kPerRun);
}

TEST_F(SteadyStateTest, ASimpleBlockCostsNoAllocation) {
  ExpectNoAllocationPerBlock({SimpleBlock(1, 0, kKey, Fill(20))});
}

TEST_F(SteadyStateTest, BlocksOfChangingSizesCostNoAllocation) {
  ExpectNoAllocationPerBlock(
      {SimpleBlock(1, 0, kKey, Fill(20)), SimpleBlock(1, 0, kKey, Fill(2000)), SimpleBlock(1, 0, kKey, Fill(1))});
}

TEST_F(SteadyStateTest, ALacedBlockCostsNoAllocation) {
  const std::vector<Raw> frames{Fill(20), Fill(30), Fill(10)};
  ExpectNoAllocationPerBlock({SimpleBlock(1, 0, kKey | kXiph, XiphLace(frames)),
                              SimpleBlock(1, 0, kKey | kEbml, EbmlLace(frames)),
                              SimpleBlock(1, 0, kKey | kFixed, FixedLace({Fill(9), Fill(9)}))});
}

TEST_F(SteadyStateTest, ABlockGroupCostsNoAllocation) {
  ExpectNoAllocationPerBlock({BlockGroup({Block(1, 0, 0, Fill(20)), BlockDuration(5)}),
                              BlockGroup({Block(1, 0, 0, Fill(20)), ReferenceBlock(-5)})});
}

TEST_F(SteadyStateTest, BlocksOfOtherTracksCostNoAllocation) {
  ExpectNoAllocationPerBlock(
      {SimpleBlock(1, 0, kKey, Fill(20)), SimpleBlock(2, 0, kKey, Fill(20)), BlockGroup({Block(2, 0, 0, Fill(20))})});
}

TEST_F(SteadyStateTest, TwoStreamsAtOnceCostNoAllocation) {
  ExpectNoAllocationPerBlock({SimpleBlock(1, 0, kKey, Fill(20)), SimpleBlock(2, 0, kKey, Fill(20))}, {1, 2});
}

TEST_F(SteadyStateTest, ASampleCostsItsSixReads) {
  const Cost one = Play({SimpleBlock(1, 0, kKey, Fill(20))}, 1000, {1});
  const Cost two = Play({SimpleBlock(1, 0, kKey, Fill(20))}, 2000, {1});
  EXPECT_EQ(two.samples - one.samples, 1000u);
  EXPECT_EQ(two.reads - one.reads, 6000u);
}

TEST_F(SteadyStateTest, ABlockOfAnotherTrackCostsItsHeader) {
  const std::vector<Raw> both{SimpleBlock(1, 0, kKey, Fill(20)), SimpleBlock(2, 0, kKey, Fill(20))};
  const Cost one = Play(both, 1000, {1});
  const Cost two = Play(both, 2000, {1});
  EXPECT_EQ(two.reads - one.reads, 11000u);
}

}  // namespace
}  // namespace vantor::test
