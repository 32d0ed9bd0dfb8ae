// Connecting the input: what is refused, what a failure leaves behind, what a success brings.
#include <cstdint>
#include <limits>
#include <string>

#include "parser/element_ids.h"
#include "published/media_guids.h"
#include "support/allocation_monitor.h"
#include "support/demux_harness.h"

namespace vantor::test {
namespace {

class InputConnectionTest : public DemuxTest {
 protected:
  void TearDown() override {
    FailAllocation(0);
    DemuxTest::TearDown();
  }
};

const std::vector<Raw> kTracks{VideoTrack(1), AudioTrack(2), SubtitleTrack(3)};

Raw TwoTracksInOneCluster() {
  return MediaFile(100, kTracks, {{0, {SimpleBlock(1, 0, kKey, {1}), SimpleBlock(2, 0, kKey, {2})}}});
}

// A failed connection leaves nothing: one pin, no peer, no positions, no reader.
void ExpectUntouched(Demux& demux) {
  EXPECT_EQ(demux.Filter().GetPinCount(), 1);
  ComPtr<IPin> peer;
  EXPECT_EQ(demux.Input()->ConnectedTo(peer.Out()), VFW_E_NOT_CONNECTED);
  EXPECT_EQ(demux.Source().Pin()->ConnectedTo(peer.Out()), VFW_E_NOT_CONNECTED);
  LONGLONG duration = -1;
  EXPECT_EQ(demux.Filter().GetDuration(&duration), S_OK);
  EXPECT_EQ(duration, 0);
  EXPECT_EQ(demux.Reader().References(), 1u) << "the source's own";
}

TEST_F(InputConnectionTest, BringsOnePinForEveryUsableTrack) {
  Demux demux(TwoTracksInOneCluster());
  ASSERT_EQ(demux.Connect(), S_OK);
  EXPECT_EQ(demux.Filter().GetPinCount(), 4);
  LONGLONG duration = 0;
  EXPECT_EQ(demux.Filter().GetDuration(&duration), S_OK);
  EXPECT_EQ(duration, 100 * kMillisecond);
  LONGLONG current = -1;
  LONGLONG stop = -1;
  EXPECT_EQ(demux.Filter().GetPositions(&current, &stop), S_OK);
  EXPECT_EQ(current, 0);
  EXPECT_EQ(stop, duration);
}

TEST_F(InputConnectionTest, TakesAStreamThatDoesNotNameItsSubtype) {
  Demux demux(TwoTracksInOneCluster());
  demux.Source().type.SetSubtype(&GUID_NULL);
  EXPECT_EQ(demux.Connect(), S_OK);
}

TEST_F(InputConnectionTest, RefusesAnyOtherStream) {
  Demux demux(TwoTracksInOneCluster());
  demux.Source().type.SetSubtype(&MEDIASUBTYPE_Avi);
  EXPECT_EQ(demux.Connect(), VFW_E_TYPE_NOT_ACCEPTED);
  ExpectUntouched(demux);
  EXPECT_EQ(demux.Reader().Reads(), 0u);
}

TEST_F(InputConnectionTest, RefusesAPinOfTheSameDirection) {
  Demux demux(TwoTracksInOneCluster());
  const auto other = Demux::NewFilter();
  EXPECT_EQ(demux.Input()->ReceiveConnection(other->GetPin(0), &demux.Source().type), VFW_E_INVALID_DIRECTION);
  ExpectUntouched(demux);
}

TEST_F(InputConnectionTest, AnUpstreamPinWithoutAReaderIsRefusedWithItsOwnAnswer) {
  for (const HRESULT answer : {E_NOINTERFACE, E_ACCESSDENIED}) {
    Demux demux(TwoTracksInOneCluster());
    demux.Source().readerResult = answer;
    EXPECT_EQ(demux.Connect(), answer);
    ExpectUntouched(demux);
    demux.Source().readerResult = S_OK;
    EXPECT_EQ(demux.Connect(), S_OK) << "the next attempt is not held up by it";
  }
}

struct InputRefusal {
  const char* name;
  Raw file;
  HRESULT result;
};

const Raw kCluster = Cluster(0, {SimpleBlock(1, 0, kKey, {1})});

const InputRefusal kInputRefusals[] = {
    {"AnEmptyFile", {}, E_FAIL},
    {"AFileOfThreeBytes", {0x1A, 0x45, 0xDF}, E_FAIL},
    {"AFileWithoutTheMagic", Join({Text("RIFF"), TwoTracksInOneCluster()}), E_FAIL},
    {"AnotherDocumentType", Join({EbmlHeader("matroskb"), Segment({Info(), Tracks(kTracks), kCluster})}), E_FAIL},
    {"ADocumentTypeInOtherLetters", Join({EbmlHeader("Matroska"), Segment({Info(), Tracks(kTracks), kCluster})}),
     E_FAIL},
    {"ANewerDocumentType", Join({EbmlHeader("matroska", 3), Segment({Info(), Tracks(kTracks), kCluster})}), E_FAIL},
    {"AFileWithoutASegment", EbmlHeader(), E_UNEXPECTED},
    {"AnEmptySegment", Join({EbmlHeader(), Segment({})}), E_UNEXPECTED},
    {"ASegmentWithoutAClusterOrCues", MkvFile({Info(), Tracks(kTracks)}), E_UNEXPECTED},
    {"CuesButNoCluster", MkvFile({Info(), Tracks(kTracks), Cues({CuePoint(0, 1, 0)})}), E_UNEXPECTED},
    {"ASeekIndexThatNamesNoCluster",
     MkvFile({SeekHead({SeekEntry(ids::kCluster, 1)}), Info(), Tracks(kTracks), kCluster}), E_UNEXPECTED},
};

TEST_F(InputConnectionTest, RefusesFilesItCannotPlayAndStaysAsItWas) {
  for (const InputRefusal& refusal : kInputRefusals) {
    SCOPED_TRACE(refusal.name);
    Demux demux(refusal.file);
    EXPECT_EQ(demux.Connect(), refusal.result);
    ExpectUntouched(demux);
  }
}

TEST_F(InputConnectionTest, AFileWithoutTracksHasNoOutputPins) {
  Demux demux(MkvFile({Info(), kCluster, Cluster(500, {})}));
  EXPECT_EQ(demux.Connect(), S_OK);
  EXPECT_EQ(demux.Filter().GetPinCount(), 1);
  EXPECT_EQ(demux.Pause(), S_OK);
  EXPECT_EQ(demux.Stop(), S_OK);
}

TEST_F(InputConnectionTest, EveryReadMayFailOnTheWay) {
  const Raw file = TwoTracksInOneCluster();
  Demux whole(file);
  ASSERT_EQ(whole.Connect(), S_OK);
  const std::uint64_t all = whole.Reader().Reads();
  int refused = 0;
  for (std::uint64_t n = 1; n <= all + 1; ++n) {
    for (const bool andAllLater : {false, true}) {
      SCOPED_TRACE("read " + std::to_string(n));
      Demux demux(file);
      demux.Reader().FailRead(n, STG_E_READFAULT, andAllLater);
      const HRESULT result = demux.Connect();
      if (FAILED(result)) {
        ++refused;
        ExpectUntouched(demux);
      } else {
        EXPECT_LE(demux.Filter().GetPinCount(), 4);
        EXPECT_EQ(demux.DisconnectInput(), S_OK);
        ExpectUntouched(demux);
      }
    }
  }
  EXPECT_GT(refused, 0);
}

TEST_F(InputConnectionTest, ASourceThatCannotTellItsLengthIsRefused) {
  Demux demux(TwoTracksInOneCluster());
  demux.Reader().FailLength(E_FAIL);
  EXPECT_TRUE(FAILED(demux.Connect()));
  ExpectUntouched(demux);
}

// Connects with the first allocation failing, then with the second, until all are there.
void FailEveryAllocation(const Raw& file) {
  if (!WatchesAllocations()) GTEST_SKIP();
  std::uint64_t n = 0;
  for (bool done = false; !done;) {
    SCOPED_TRACE("allocation " + std::to_string(++n));
    Demux demux(file);
    const std::uint64_t before = Allocations();
    FailAllocation(n);
    const HRESULT result = demux.Connect();
    done = Allocations() - before < n;
    FailAllocation(0);
    if (FAILED(result)) {
      EXPECT_EQ(result, E_OUTOFMEMORY);
      ExpectUntouched(demux);
      EXPECT_EQ(demux.Connect(), S_OK) << "with memory again it works";
    }
    EXPECT_LE(demux.Filter().GetPinCount(), 4);
  }
  EXPECT_GT(n, 20u);
}

TEST_F(InputConnectionTest, EveryAllocationMayFailOnTheWay) { FailEveryAllocation(TwoTracksInOneCluster()); }

TEST_F(InputConnectionTest, EveryAllocationMayFailWhileCuesAreMade) {
  FailEveryAllocation(MkvFile({Info(), Tracks(kTracks), kCluster, Cluster(10, {}), Cluster(20, {})}));
}

TEST_F(InputConnectionTest, AFileWithCuesKeepsItsDurationAndGetsNoOthers) {
  Demux demux(MkvFile({Info(1000000, 777),
                       Tracks(kTracks),
                       {"first", kCluster},
                       Cluster(50, {}),
                       Cluster(60, {}),
                       {"cues", [](const Positions& at) { return Cues({CuePoint(0, 1, at["first"])}); }}}));
  ASSERT_EQ(demux.Connect(), S_OK);
  LONGLONG duration = 0;
  EXPECT_EQ(demux.Filter().GetDuration(&duration), S_OK);
  EXPECT_EQ(duration, 777 * kMillisecond);
  auto* const input = static_cast<CVXMkvDmxInputPin*>(demux.Filter().GetPin(0));
  ASSERT_EQ(input->Root()->GetSegment()->cues.size(), 1u);
  EXPECT_EQ(input->Root()->GetSegment()->cues[0].size(), 1u);
}

TEST_F(InputConnectionTest, AFileWithoutCuesGetsOnePerClusterAndADurationUpToTheLast) {
  Demux demux(MkvFile({Info(1000000, 777), Tracks(kTracks), Cluster(100, {SimpleBlock(1, 0, kKey, {1})}),
                       Cluster(350, {}), Void(10), Cluster(600, {})}));
  ASSERT_EQ(demux.Connect(), S_OK);
  LONGLONG duration = 0;
  EXPECT_EQ(demux.Filter().GetDuration(&duration), S_OK);
  EXPECT_EQ(duration, 500 * kMillisecond) << "the last Cluster's time less the start time";
  const auto& cues = static_cast<CVXMkvDmxInputPin*>(demux.Filter().GetPin(0))->Root()->GetSegment()->cues;
  ASSERT_EQ(cues.size(), 1u);
  ASSERT_EQ(cues[0].size(), 3u);
  EXPECT_EQ(cues[0][0].CueTime.value, 100u);
  EXPECT_EQ(cues[0][2].CueTime.value, 600u);
  ASSERT_EQ(cues[0][1].trackPositions.size(), 1u);
  EXPECT_EQ(cues[0][1].trackPositions[0].CueTrack.value, 1u);
}

TEST_F(InputConnectionTest, DurationsThatDoNotFitBecomeTheSmallestNumber) {
  for (const double duration : {1e300, -1e300, std::numeric_limits<double>::quiet_NaN()}) {
    Demux demux(MkvFile(
        {Master(0x1549A966, {Float8(0x4489, duration)}), Tracks(kTracks), kCluster, Cues({CuePoint(0, 1, 0)})}));
    ASSERT_EQ(demux.Connect(), S_OK);
    LONGLONG found = 0;
    EXPECT_EQ(demux.Filter().GetDuration(&found), S_OK);
    EXPECT_EQ(found, std::numeric_limits<std::int64_t>::min());
  }
}

TEST_F(InputConnectionTest, AFractionOfAUnitIsCutOffTheDuration) {
  Demux demux(MkvFile({Info(333, 10), Tracks(kTracks), kCluster, Cues({CuePoint(0, 1, 0)})}));
  ASSERT_EQ(demux.Connect(), S_OK);
  LONGLONG duration = 0;
  EXPECT_EQ(demux.Filter().GetDuration(&duration), S_OK);
  EXPECT_EQ(duration, 33);
}

TEST_F(InputConnectionTest, DisconnectingGoesBackToTheBeginning) {
  Demux demux(TwoTracksInOneCluster());
  ASSERT_EQ(demux.Connect(), S_OK);
  ASSERT_EQ(demux.Filter().SetRate(2.0), S_OK);
  ASSERT_EQ(demux.DisconnectInput(), S_OK);
  ExpectUntouched(demux);
  LONGLONG current = -1;
  LONGLONG stop = -1;
  EXPECT_EQ(demux.Filter().GetPositions(&current, &stop), S_OK);
  EXPECT_EQ(current, 0);
  EXPECT_EQ(stop, 0);
  double rate = 0;
  EXPECT_EQ(demux.Filter().GetRate(&rate), S_OK);
  EXPECT_EQ(rate, 2.0) << "the rate stays";

  ASSERT_EQ(demux.Connect(), S_OK);
  EXPECT_EQ(demux.OutputNames(), (std::vector<std::string>{"VP8 video 1", "AC3 audio 1", "~ subtitle 1"}));
}

TEST_F(InputConnectionTest, TheInputIsNotDisconnectedWhileTheFilterIsActive) {
  Demux demux(TwoTracksInOneCluster());
  ASSERT_EQ(demux.Connect(), S_OK);
  ASSERT_EQ(demux.Pause(), S_OK);
  EXPECT_EQ(demux.Input()->Disconnect(), VFW_E_NOT_STOPPED);
  EXPECT_EQ(demux.Filter().GetPinCount(), 4);
  ASSERT_EQ(demux.Stop(), S_OK);
}

TEST_F(InputConnectionTest, ASecondConnectionIsRefusedAndHarmsNothing) {
  Demux demux(TwoTracksInOneCluster());
  ASSERT_EQ(demux.Connect(), S_OK);
  EXPECT_EQ(demux.Input()->ReceiveConnection(demux.Source().Pin(), &demux.Source().type), VFW_E_ALREADY_CONNECTED);
  EXPECT_EQ(demux.Filter().GetPinCount(), 4);
}

}  // namespace
}  // namespace vantor::test
