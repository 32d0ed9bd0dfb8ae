// Files that are made to cost more than they are long.
#include "parser/element_ids.h"
#include "support/demux_harness.h"

namespace vantor::test {
namespace {

class HostileFiles : public DemuxTest {};

Raw AvcTrackWithoutConfiguration(std::uint64_t number) { return Track(number, 1, "V_MPEG4/ISO/AVC", {Video(16, 16)}); }

TEST_F(HostileFiles, GroupsThatClaimTheRestOfTheFileDoNotMultiplyTheSearchForAFirstFrame) {
  // Every cluster holds a group of unknown size, which covers all clusters behind it as well; and no track has a block.
  const Raw cluster = Ebml(ids::kCluster, {0xA0, 0xFF});
  Raw clusters;
  for (int i = 0; i < 5000; ++i) clusters.insert(clusters.end(), cluster.begin(), cluster.end());
  std::vector<Raw> tracks;
  for (std::uint64_t number = 1; number <= 100; ++number) tracks.push_back(AvcTrackWithoutConfiguration(number));
  const Raw bytes = MkvFile({Info(), Tracks(tracks), Part(clusters)});
  Demux demux(bytes);
  EXPECT_EQ(demux.Connect(), S_OK);
  EXPECT_EQ(demux.Filter().GetPinCount(), 1);
  EXPECT_LT(demux.Reader().BytesRead(), bytes.size() * 24 + 2'000'000);
}

TEST_F(HostileFiles, ManyTracksWithoutAFirstFrameStillLeaveTheOthersTheirPins) {
  std::vector<Raw> tracks{AudioTrack(200)};
  for (std::uint64_t number = 1; number <= 100; ++number) tracks.push_back(AvcTrackWithoutConfiguration(number));
  Demux demux(MediaFile(100, tracks, {{0, {SimpleBlock(200, 0, kKey, {1})}}}));
  EXPECT_EQ(demux.Connect(), S_OK);
  EXPECT_EQ(demux.OutputNames(), std::vector<std::string>{"AC3 audio 1"});
}

}  // namespace
}  // namespace vantor::test
