// What is played of a file whose seek index names a Cluster.
#include "support/demux_harness.h"

namespace vantor::test {
namespace {
namespace distrusted_index {

constexpr PlaybackPolicy kDistrusting = {.distrustSeekIndex = true};
constexpr std::uint32_t kClusterId = 0x1F43B675;

class DistrustedIndexTest : public DemuxTest {};

// Two Clusters, of which the index names one. What stands in front of them may be wrong.
Raw FileNaming(const std::string& cluster, const Raw& inFront = Void(2)) {
  return MkvFile({Part("index", [=](const Positions& at) { return SeekHead({SeekEntry(kClusterId, at[cluster])}); }),
                  Info(1000000, 1000), Tracks({AudioTrack(1)}), inFront,
                  Part("first", Cluster(0, {SimpleBlock(1, 0, kKey, {1}), SimpleBlock(1, 20, kKey, {2})})),
                  Part("second", Cluster(40, {SimpleBlock(1, 0, kKey, {3})})), Part([](const Positions& at) {
                    return Cues({CuePoint(0, 1, at["first"]), CuePoint(40, 1, at["second"])});
                  })});
}

Raw Played(const Raw& file, const PlaybackPolicy& policy) {
  Demux demux(file, Demux::NewFilter(policy));
  EXPECT_EQ(demux.Connect(), S_OK);
  FakeSink& sink = demux.AddSink(1);
  demux.PlayToEnd();
  Raw bytes;
  for (const ReceivedSample& sample : sink.Samples())
    bytes.insert(bytes.end(), sample.bytes.begin(), sample.bytes.end());
  return bytes;
}

TEST_F(DistrustedIndexTest, PlayingBeginsWithTheFirstClusterWhicheverIsNamed) {
  EXPECT_EQ(Played(FileNaming("second"), kDistrusting), (Raw{1, 2, 3}));
  EXPECT_EQ(Played(FileNaming("second"), {}), (Raw{3})) << "without the switch";
}

TEST_F(DistrustedIndexTest, NothingIsLostThatOneWhoBelievesTheIndexPlays) {
  const Raw overlong = EbmlWithSize(0xEC, 1 << 20, {0}, 8);
  EXPECT_EQ(Played(FileNaming("first", overlong), kDistrusting), (Raw{1, 2, 3}));
  EXPECT_EQ(Played(FileNaming("first", overlong), {}), (Raw{1, 2, 3})) << "without the switch";
}

}  // namespace distrusted_index
}  // namespace
}  // namespace vantor::test
