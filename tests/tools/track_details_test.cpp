// What is told of pictures and sound of a track.
#include <gmock/gmock.h>

#include "tools/checked_file.h"

namespace vantor::tools {
namespace {

using nlohmann::json;
using test::Raw;
using testing::HasSubstr;

// Frames at these milliseconds, without a duration of frames in the header.
Plan Timed(const std::vector<int>& times, const std::vector<Raw>& video = {}) {
  Plan plan;
  plan.tracks = {test::Track(1, 1, "V_VP8", {test::Video(320, 240, video)})};
  plan.first.clear();
  for (const int time : times) plan.first.push_back(test::SimpleBlock(1, time, test::kKey, {1}));
  plan.second.clear();
  plan.secondTime = 9000;
  return plan;
}

std::string TrackLine(const Plan& plan) {
  const test::TemporaryFolder folder;
  const Raw bytes = plan.File();
  const auto path = folder.Write("media.mkv", {reinterpret_cast<const char*>(bytes.data()), bytes.size()});
  return RunTool(folder, {"info", path.string()}).out;
}

json TrackObject(const Plan& plan) {
  const test::TemporaryFolder folder;
  const Raw bytes = plan.File();
  const auto path = folder.Write("media.mkv", {reinterpret_cast<const char*>(bytes.data()), bytes.size()});
  return json::parse(RunTool(folder, {"info", "--json", path.string()}).out).at("tracks").at(0);
}

std::vector<int> Times(std::size_t count, double each) {
  std::vector<int> times;
  for (std::size_t i = 0; i < count; ++i) times.push_back(static_cast<int>(each * static_cast<double>(i) + 0.5));
  return times;
}

TEST(TrackDetailsTest, TheFrameRateOfTheHeaderStands) {
  const Plan plan;
  EXPECT_THAT(TrackLine(plan), HasSubstr("V_VP8             320x240, 25 fps  "));
  EXPECT_EQ(TrackObject(plan).at("frame_rate"), 25.0);
  EXPECT_EQ(TrackObject(plan).at("default_duration"), 40000000);
  EXPECT_FALSE(TrackObject(plan).contains("measured_frame_rate"));
}

TEST(TrackDetailsTest, WithoutOneItIsMeasuredAndSaidSo) {
  const Plan plan = Timed(Times(200, 1001.0 / 24));
  EXPECT_THAT(TrackLine(plan), HasSubstr("320x240, 23.98 fps (measured)"));
  EXPECT_NEAR(TrackObject(plan).at("measured_frame_rate").get<double>(), 23.976, 0.01);
  EXPECT_FALSE(TrackObject(plan).contains("frame_rate"));
}

TEST(TrackDetailsTest, RoundedTimesGiveAWholeRate) {
  EXPECT_THAT(TrackLine(Timed(Times(200, 1000.0 / 60))), HasSubstr("320x240, 60 fps (measured)"));
}

TEST(TrackDetailsTest, FramesInAnotherOrderAreMeasuredAlike) {
  std::vector<int> times = Times(150, 40);
  for (std::size_t i = 1; i + 3 < times.size(); i += 4) std::swap(times[i], times[i + 3]);
  EXPECT_THAT(TrackLine(Timed(times)), HasSubstr("25 fps (measured)"));
}

TEST(TrackDetailsTest, AllFramesOfAShortFileCount) {
  EXPECT_THAT(TrackLine(Timed({0, 100, 200})), HasSubstr("10 fps (measured)"));
  EXPECT_THAT(TrackLine(Timed({0})), testing::Not(HasSubstr("measured")));
}

TEST(TrackDetailsTest, TheSizeOfDisplayIsToldWhereItDiffers) {
  const auto shown = [](std::uint64_t width, std::uint64_t height, std::uint64_t unit) {
    return TrackLine(Timed({}, {test::UInt(0x54B0, width), test::UInt(0x54BA, height), test::UInt(0x54B2, unit)}));
  };
  EXPECT_THAT(shown(320, 240, 0), HasSubstr("  320x240  "));
  EXPECT_THAT(shown(427, 240, 0), HasSubstr("320x240, shown 427x240  "));
  EXPECT_THAT(shown(32, 18, 1), HasSubstr("320x240, shown 32x18 cm  "));
  EXPECT_THAT(shown(16, 9, 3), HasSubstr("320x240, shown 16:9  "));
  EXPECT_THAT(shown(16, 9, 4), HasSubstr("  320x240  "));
}

TEST(TrackDetailsTest, SoundHasItsRateAndChannels) {
  Plan plan;
  plan.tracks = {
      test::Track(1, 2, "A_MPEG/L3", {test::Audio(24000, 1, {test::Float8(0x78B5, 48000), test::UInt(0x6264, 16)})})};
  EXPECT_THAT(TrackLine(plan), HasSubstr("24000 Hz, played at 48000 Hz, 1 channel"));
  EXPECT_THAT(TrackLine(plan), testing::Not(HasSubstr("bits")));
  const json track = TrackObject(plan);
  EXPECT_EQ(track.at("sample_rate"), 24000.0);
  EXPECT_EQ(track.at("output_sample_rate"), 48000.0);
  EXPECT_EQ(track.at("channels"), 1);
  EXPECT_EQ(track.at("bits_per_sample"), 16);
}

TEST(TrackDetailsTest, BitsAreSaidWhereTheCodecHasThem) {
  for (const char* const codec : {"A_PCM/INT/LIT", "A_FLAC", "A_TTA1", "A_WAVPACK4", "A_ALAC"}) {
    Plan plan;
    plan.tracks = {test::Track(1, 2, codec, {test::Audio(48000, 2, {test::UInt(0x6264, 24)})})};
    EXPECT_THAT(TrackLine(plan), HasSubstr("48000 Hz, 2 channels, 24 bits")) << codec;
  }
}

}  // namespace
}  // namespace vantor::tools
