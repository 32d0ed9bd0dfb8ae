// Every file of the test media through the whole chain: byte source, the component as built, a sink behind every pin.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <string>
#include <vector>

#include "realfiles/expected_samples.h"
#include "realfiles/packet_list.h"
#include "realfiles/recorded_run.h"

namespace vantor::test {

namespace {

std::shared_ptr<ByteStore> Open(const std::string& name, StoreKind kind) {
  FileError error;
  std::shared_ptr<ByteStore> store = OpenStore(MediaPath(name), kind, error);
  EXPECT_NE(store, nullptr) << name;
  return store;
}

// One sample at a time, so that a failure names the first that differs instead of printing hundreds.
void ExpectSamples(const std::vector<ExpectedSample>& expected, const std::vector<ExpectedSample>& seen) {
  for (std::size_t index = 0; index < std::min(expected.size(), seen.size()); ++index) {
    ASSERT_EQ(seen[index], expected[index]) << "sample " << index;
  }
  EXPECT_EQ(seen.size(), expected.size());
}

std::uint32_t LittleEndian(const std::vector<std::uint8_t>& bytes, std::size_t at) {
  std::uint32_t value = 0;
  std::memcpy(&value, bytes.data() + at, sizeof value);
  return value;
}

// Takes the three headers off the front of a Vorbis pin's samples; they are those of the format block.
void TakeVorbisHeaders(RecordedPin& pin) {
  ASSERT_GT(pin.formatBlock.size(), 24U);
  ASSERT_GE(pin.samples.size(), 3U);
  for (std::size_t index = 0; index < 3; ++index) {
    const ExpectedSample& header = pin.samples[index];
    EXPECT_EQ(header.start, static_cast<std::int64_t>(index));
    EXPECT_EQ(header.stop, static_cast<std::int64_t>(index) + 1);
    EXPECT_EQ(header.size, LittleEndian(pin.formatBlock, 12 + 4 * index));
    EXPECT_TRUE(header.sync);
    EXPECT_FALSE(header.preroll);
    EXPECT_EQ(header.discontinuity, index == 0);
  }
  pin.samples.erase(pin.samples.begin(), pin.samples.begin() + 3);
}

class RealFiles : public testing::TestWithParam<std::string> {};

TEST_P(RealFiles, DeliverExactlyWhatWasMuxed) {
  const PacketList list = ReadPacketList(GetParam());
  const std::vector<ExpectedPin> expected = ExpectedPins(list);
  RecordedRun run = Record(Open(GetParam(), StoreKind::kFastest));
  ASSERT_EQ(run.connect, S_OK);
  EXPECT_EQ(run.duration, ExpectedDuration(list));
  EXPECT_THAT(run.events, testing::Each(testing::Ne(EC_ERRORABORT)));
  ASSERT_EQ(run.pins.size(), expected.size());
  for (std::size_t index = 0; index < expected.size(); ++index) {
    SCOPED_TRACE(run.pins[index].name + " is to be " + expected[index].codec);
    EXPECT_EQ(run.pins[index].segments.front(), (RecordedSegment{0, ExpectedDuration(list), 1.0}));
    if (expected[index].headersFirst) {
      TakeVorbisHeaders(run.pins[index]);
    }
    ExpectSamples(expected[index].samples, run.pins[index].samples);
  }
}

TEST_P(RealFiles, GiveTheSameFromEveryKindOfSource) {
  const RecordedRun mapped = Record(Open(GetParam(), StoreKind::kMapped));
  for (const StoreKind kind : {StoreKind::kMemory, StoreKind::kCached}) {
    const RecordedRun other = Record(Open(GetParam(), kind));
    EXPECT_EQ(other.connect, mapped.connect);
    EXPECT_TRUE(other.pins == mapped.pins) << "the samples differ with source kind " << static_cast<int>(kind);
    EXPECT_EQ(other.reads, mapped.reads);
  }
}

TEST_P(RealFiles, GiveTheSameWhenPlayedAgainFromTheStart) {
  std::vector<RecordedPin> first;
  {
    Graph graph;
    ASSERT_EQ(graph.Create(TestedComponent()), S_OK);
    ASSERT_EQ(graph.ConnectInput(Open(GetParam(), StoreKind::kFastest), OLESTR("test.mkv")), S_OK);
    std::vector<RecordedPin> pins;
    ASSERT_EQ(ConnectRecorders(graph, pins), S_OK);
    for (int round = 0; round < 2; ++round) {
      ASSERT_GE(graph.Run(), S_OK);
      EXPECT_EQ(graph.Wait(), WaitResult::kEnded);
      ASSERT_GE(graph.Stop(), S_OK);
      if (round == 0) {
        first = pins;
        LONGLONG start = 0;
        ASSERT_GE(
            graph.Seeking()->SetPositions(&start, AM_SEEKING_AbsolutePositioning, nullptr, AM_SEEKING_NoPositioning),
            S_OK);
        for (RecordedPin& pin : pins) {
          pin.segments.clear();
          pin.samples.clear();
          pin.ends = 0;
        }
      }
    }
    EXPECT_TRUE(pins == first) << "the second playing differs from the first";
  }
  EXPECT_TRUE(TestedComponent().CanUnloadNow());
}

INSTANTIATE_TEST_SUITE_P(Media, RealFiles, testing::ValuesIn(MediaNames()), [](const auto& media) {
  std::string name = media.param;
  std::replace(name.begin(), name.end(), '.', '_');
  return name;
});

TEST(RealFilesFolder, HoldsEveryFileThatTheTestsAreAbout) { EXPECT_GE(MediaNames().size(), 24U); }

// The muxer leaves the format's default language, English, out of the file; no language is then shown.
TEST(Languages, PinsAreNamedByCodecAndLanguageAndOnlyTheFirstOfAKindIsUnmarked) {
  const RecordedRun run = Record(Open("languages.mkv", StoreKind::kFastest));
  std::vector<std::string> names;
  for (const RecordedPin& pin : run.pins) {
    names.push_back(pin.name);
  }
  EXPECT_THAT(names,
              testing::ElementsAre("AVC video 1", "AC3 audio 1", "~AAC audio 2", "~ subtitle 1", "~ger subtitle 2"));
}

TEST(Languages, SubtitlePinsShowALanguageThatTheFileStates) {
  const RecordedRun run = Record(Open("subtitles.mks", StoreKind::kFastest));
  ASSERT_EQ(run.pins.size(), 2U);
  EXPECT_EQ(run.pins[0].name, "~eng subtitle 1");
  EXPECT_EQ(run.pins[1].name, "~ger subtitle 2");
}

TEST(Dts, ComesAfterOtherSoundAndUnknownSoundGetsNoPin) {
  const RecordedRun run = Record(Open("dts_ac3_eac3.mka", StoreKind::kFastest));
  ASSERT_EQ(run.pins.size(), 2U);
  EXPECT_EQ(run.pins[0].name, "AC3 audio 1");
  EXPECT_EQ(run.pins[1].name, "~DTS audio 2");
}

TEST(Vorbis, HeadersAreThoseOfTheFormatBlock) {
  const RecordedRun run = Record(Open("vorbis.mka", StoreKind::kFastest));
  ASSERT_EQ(run.pins.size(), 1U);
  const std::vector<std::uint8_t>& block = run.pins[0].formatBlock;
  ASSERT_GT(block.size(), 24U);
  EXPECT_EQ(24 + LittleEndian(block, 12) + LittleEndian(block, 16) + LittleEndian(block, 20), block.size());
  EXPECT_EQ(std::string(block.begin() + 25, block.begin() + 31), "vorbis");
}

}  // namespace
}  // namespace vantor::test
