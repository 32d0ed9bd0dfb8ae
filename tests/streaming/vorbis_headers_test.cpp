// The Vorbis header packets at the start of play.
#include "published/media_guids.h"
#include "support/demux_harness.h"

namespace vantor::test {
namespace {

class VorbisHeadersTest : public DemuxTest {};

const Raw kHeaders[] = {{10, 11}, {20}, {30, 31, 32}};

Raw LacedHeaders(const Raw& first, const Raw& second, const Raw& third) { return XiphLace({first, second, third}); }

Raw VorbisFile(std::string_view codec, std::uint64_t firstTime = 0,
               const Raw& codecPrivate = LacedHeaders(kHeaders[0], kHeaders[1], kHeaders[2])) {
  return MediaFile(10000, {AudioTrack(1, codec, {CodecPrivate(codecPrivate)})},
                   {{firstTime, {SimpleBlock(1, 0, kKey, {1}), SimpleBlock(1, 10, kKey, {2})}}});
}

std::vector<Raw> BytesOf(const FakeSink& sink) {
  std::vector<Raw> bytes;
  for (const ReceivedSample& sample : sink.Samples()) bytes.push_back(sample.bytes);
  return bytes;
}

const std::vector<Raw> kAll{kHeaders[0], kHeaders[1], kHeaders[2], {1}, {2}};
const std::vector<Raw> kFramesOnly{{1}, {2}};

TEST_F(VorbisHeadersTest, AreTheFirstThreeSamples) {
  Demux demux(VorbisFile("A_VORBIS"));
  ASSERT_EQ(demux.Connect(), S_OK);
  FakeSink& sink = demux.AddSink(1);
  demux.PlayToEnd();
  ASSERT_EQ(BytesOf(sink), kAll);
  const auto samples = sink.Samples();
  for (std::size_t i = 0; i < 3; ++i) {
    EXPECT_EQ(samples[i].start, static_cast<REFERENCE_TIME>(i));
    EXPECT_EQ(samples[i].stop, static_cast<REFERENCE_TIME>(i) + 1);
    EXPECT_TRUE(samples[i].syncPoint);
    EXPECT_FALSE(samples[i].preroll);
    EXPECT_FALSE(samples[i].hasMediaTime);
    EXPECT_FALSE(samples[i].hasMediaType);
    EXPECT_EQ(samples[i].discontinuity, i == 0);
  }
  EXPECT_FALSE(samples[3].discontinuity) << "the first header carried the mark";
  EXPECT_EQ(samples[3].start, 0);
  EXPECT_TRUE(demux.Events().empty()) << "nothing is lost";
}

TEST_F(VorbisHeadersTest, AreNotSentWhenTheFirstClusterIsNotAtZero) {
  Demux demux(VorbisFile("A_VORBIS", 20));
  ASSERT_EQ(demux.Connect(), S_OK);
  FakeSink& sink = demux.AddSink(1);
  demux.PlayToEnd();
  EXPECT_EQ(BytesOf(sink), kFramesOnly);
  EXPECT_TRUE(sink.Samples()[0].discontinuity);
}

TEST_F(VorbisHeadersTest, AreNotSentOnAConnectionOfTheNewerType) {
  Demux demux(VorbisFile("A_VORBIS2"));
  ASSERT_EQ(demux.Connect(), S_OK);
  FakeSink& sink = demux.AddSink(1);
  demux.PlayToEnd();
  EXPECT_EQ(BytesOf(sink), kFramesOnly);
}

TEST_F(VorbisHeadersTest, AreSentWhenTheNewerPinIsConnectedByTheOlderType) {
  Demux demux(VorbisFile("A_VORBIS2"));
  ASSERT_EQ(demux.Connect(), S_OK);
  const auto sink = FakeSink::Create();
  sink->checkType = [](const CMediaType& type) { return SameGuid(*type.Subtype(), kSubtypeVorbis) ? S_OK : S_FALSE; };
  demux.AddSink(1, sink);
  demux.PlayToEnd();
  EXPECT_EQ(BytesOf(*sink), kAll);
}

TEST_F(VorbisHeadersTest, ComeAgainWithEveryStart) {
  Demux demux(VorbisFile("A_VORBIS"));
  ASSERT_EQ(demux.Connect(), S_OK);
  FakeSink& sink = demux.AddSink(1);
  demux.PlayToEnd();
  ASSERT_EQ(demux.Seek(0), S_OK);
  demux.PlayToEnd();
  std::vector<Raw> twice = kAll;
  twice.insert(twice.end(), kAll.begin(), kAll.end());
  EXPECT_EQ(BytesOf(sink), twice);
}

TEST_F(VorbisHeadersTest, AHeaderThatIsRefusedIsTheLast) {
  Demux demux(VorbisFile("A_VORBIS"));
  ASSERT_EQ(demux.Connect(), S_OK);
  const auto sink = FakeSink::Create();
  sink->onReceive = [&](IMediaSample*) { return sink->SampleCount() == 2 ? E_FAIL : S_OK; };
  demux.AddSink(1, sink);
  demux.PlayToEnd();
  EXPECT_EQ(BytesOf(*sink), (std::vector<Raw>{kHeaders[0], kHeaders[1], {1}, {2}}));
}

TEST_F(VorbisHeadersTest, AHeaderLargerThanTheBuffersIsDeliveredWhole) {
  const Raw large = Ramp(300000);
  Demux demux(VorbisFile("A_VORBIS", 0, LacedHeaders(kHeaders[0], kHeaders[1], large)));
  ASSERT_EQ(demux.Connect(), S_OK);
  FakeSink& sink = demux.AddSink(1);
  demux.PlayToEnd();
  EXPECT_EQ(BytesOf(sink).at(2), large);
}

TEST_F(VorbisHeadersTest, AStopEndsTheWaitForAHeadersBuffer) {
  Demux demux(VorbisFile("A_VORBIS"));
  ASSERT_EQ(demux.Connect(), S_OK);
  const auto sink = FakeSink::Create();
  ComPtr<IMediaSample> first;
  ComPtr<IMediaSample> second;
  sink->onReceive = [&](IMediaSample* sample) {
    (first ? second : first) = ComPtr<IMediaSample>(sample);
    return S_OK;
  };
  demux.AddSink(1, sink);
  ASSERT_EQ(demux.Run(), S_OK);
  sink->WaitForSamples(2);  // both buffers are held now
  EXPECT_EQ(demux.Stop(), S_OK);
  EXPECT_EQ(sink->SampleCount(), 2u);
  EXPECT_EQ(sink->Ends(), 0);
  first.Reset();
  second.Reset();
}

}  // namespace
}  // namespace vantor::test
