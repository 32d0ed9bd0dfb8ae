// Which packets are lost, by what the headers tell and by playing, and what is said of them.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <limits>
#include <map>

#include "host/fake_splitter.h"
#include "tools/finding_cases.h"

namespace vantor::tools::checking {
namespace {

using namespace vantor::test;  // NOLINT(google-build-using-namespace): the builders
using nlohmann::json;
using testing::HasSubstr;
using testing::IsEmpty;

TEST(Check, PlayingFindsWhatHeadersDoNotTell) {
  const Raw file = HiddenCluster(Cluster(0, Plan().first).size() + 1);
  const Checked plain = Check(file);
  EXPECT_TRUE(plain.Has("not-checked")) << plain.out;
  EXPECT_THAT(plain.Ids("error"), IsEmpty());
  const Checked deep = Check(file, {"--deep"});
  const auto lost = deep.Find("packets-lost");
  ASSERT_TRUE(lost.has_value()) << deep.out;
  EXPECT_THAT(lost->at("text").get<std::string>(), HasSubstr("4 packets are lost"));
  EXPECT_FALSE(deep.Has("not-checked"));
  EXPECT_EQ(deep.status, 1);
}

TEST(Check, AFrameThatIsTooLargeIsLost) {
  constexpr std::uint64_t kSize = (std::uint64_t{256} << 20) + 10;
  const TemporaryFolder folder;
  const Raw head = Join({EbmlHeader(), EbmlWithSize(0x18538067, kSize + 200, {}, 8), Info(1000000, 40),
                         Tracks({Plan::Vp8(1)}), EbmlWithSize(0x1F43B675, kSize + 20, UInt(0xE7, 0), 8),
                         EbmlWithSize(0xA3, kSize, BlockPayload(1, 0, kKey, {}), 8)});
  const auto path = folder.Write("large.mkv", {reinterpret_cast<const char*>(head.data()), head.size()});
  std::filesystem::resize_file(path, head.size() + kSize + 100);
  const Checked checked = CheckPath(folder, path.string());
  EXPECT_TRUE(checked.Has("frame-too-large")) << checked.out;
  EXPECT_EQ(checked.status, 1);
}

TEST(Check, TellsWhatAnotherComponentDoes) {
  const TemporaryFolder folder;
  for (const auto& [mode, id] : std::map<char, std::string>{{'e', "filter-error"}, {'l', "frames-lost"}}) {
    const auto toy = ToyStream(mode, 2, 3);
    const auto path = folder.Write("toy", {reinterpret_cast<const char*>(toy.data()), toy.size()});
    const Checked checked = CheckPath(folder, path.string(), {"--deep", "--component", VANTOR_TOY_COMPONENT});
    EXPECT_TRUE(checked.Has(id)) << checked.out << checked.messages;
    EXPECT_TRUE(checked.Has("pins-differ")) << checked.out;
    EXPECT_EQ(checked.status, 1);
  }
  const Raw file = Plan().File();
  const auto path = folder.Write("real.mkv", {reinterpret_cast<const char*>(file.data()), file.size()});
  const Checked refused = CheckPath(folder, path.string(), {"--component", VANTOR_TOY_COMPONENT});
  ASSERT_TRUE(refused.Has("component-refuses")) << refused.out;
  EXPECT_THAT(refused.Find("component-refuses")->at("text").get<std::string>(), HasSubstr("0x80040ABC"));
  EXPECT_THAT(refused.out, testing::Not(HasSubstr("write the file anew")));
}

TEST(Check, SaysHowMuchIsLostAndWhere) {
  Plan plan;
  plan.duration = 300;
  const Checked checked = Check(plan.File());
  const auto finding = checked.Find("end-early");
  ASSERT_TRUE(finding.has_value());
  EXPECT_EQ(finding->at("track"), 1);
  EXPECT_THAT(finding->at("text").get<std::string>(), HasSubstr("1 of 4 packets is lost"));
  const Raw file = plan.File();
  const Raw last = SimpleBlock(1, 40, 0, Ramp(31));
  const auto place = std::search(file.begin(), file.end(), last.begin(), last.end()) - file.begin();
  EXPECT_EQ(finding->at("position"), place);
}

TEST(Check, ASearchBehindDamageMayLeaveTheSegment) {
  // The Segment ends within the damage, and the filter goes on behind it.
  const Raw front = Join({Info(1000000, 480), Tracks({Plan::Vp8(1)}), Cluster(0, Plan().first)});
  const Raw file = Join(
      {EbmlHeader(), EbmlWithSize(0x18538067, front.size() + 10, front, 8), Fill(20), Cluster(400, Plan().second)});
  for (const std::vector<std::string>& options : {std::vector<std::string>{}, {"--deep"}}) {
    const Checked checked = Check(file, options);
    EXPECT_TRUE(checked.Has("damage")) << checked.out;
    EXPECT_EQ(checked.Ids("error"), std::vector<std::string>{"end-early"}) << checked.out;
  }
}

TEST(Check, APacketThatOneOfTwoTracksDeliversIsNotLost) {
  Plan plan;
  plan.tracks = {Track(1, 1, "V_AV1", {Video(320, 240)}), Plan::Vp8(1)};
  const Checked checked = Check(plan.File());
  EXPECT_THAT(checked.Ids("error"), IsEmpty()) << checked.out;
  EXPECT_EQ(checked.Find("codec-unsupported")->at("severity"), "note");
}

TEST(Check, ACompressedTrackLosesNothingWhereAPlainOneHasItsNumber) {
  Plan plan;
  for (const bool isPlainFirst : {false, true}) {
    plan.tracks = {Plan::Vp8(1, {ZlibOf(1)}), Plan::Vp8(1)};
    if (isPlainFirst) std::swap(plan.tracks[0], plan.tracks[1]);
    const Checked checked = Check(plan.File());
    EXPECT_THAT(checked.Ids("error"), IsEmpty()) << checked.out;
    EXPECT_EQ(checked.Find("frames-compressed")->at("severity"), "note");
  }
  plan.tracks = {Plan::Vp8(1, {ZlibOf(1)}), Plan::Vp8(1, {ZlibOf(1)})};
  EXPECT_THAT(Check(plan.File()).Ids("error"), testing::Contains("frames-compressed"));
}

TEST(Check, IsNotSaidToDeliverAllOfATrackThatLosesPackets) {
  Plan plan;
  plan.duration = 420;
  plan.tracks = {Plan::Vp8(1), Track(2, 1, "V_AV1", {Video(320, 240)})};
  plan.second = {SimpleBlock(1, 0, kKey, Ramp(9)), SimpleBlock(2, 40, 0, Ramp(8))};
  for (const std::vector<std::string>& options : {std::vector<std::string>{}, {"--deep"}}) {
    const Checked checked = Check(plan.File(), options);
    EXPECT_TRUE(checked.Has("codec-unsupported")) << checked.out;
    EXPECT_FALSE(checked.Has("end-before-last-block")) << checked.out;
  }
  // Another track's loss does not matter.
  plan.second.push_back(SimpleBlock(1, 40, 0, Ramp(8)));
  EXPECT_TRUE(Check(plan.File()).Has("end-before-last-block"));
}

TEST(Info, WarnsOfATrackWithoutAPinSinceItsPacketsAreNotKnown) {
  const Raw file = WithTrack(Track(1, 1, "V_AV1", {Video(320, 240)}));
  const TemporaryFolder folder;
  const auto path = folder.Write("info.mkv", {reinterpret_cast<const char*>(file.data()), file.size()});
  EXPECT_EQ(RunTool(folder, {"info", "--json", path.string()}).Find("codec-unsupported")->at("severity"), "warning");
}

TEST(Check, PlayingCountsRightBehindALongGap) {
  Plan plan;
  plan.duration = 40000;
  plan.first.clear();
  for (std::int16_t i = 0; i < 30000; ++i) {
    const Raw frame{static_cast<std::uint8_t>(i >> 8), static_cast<std::uint8_t>(i & 0xFF)};  // no two alike
    plan.first.push_back(SimpleBlock(1, i, i < 20000 ? 0 : kKey, frame));
  }
  plan.secondTime = plan.indexedTime = 30000;
  for (const std::vector<std::string>& options : {std::vector<std::string>{}, {"--deep"}}) {
    const Checked checked = Check(plan.File(), options);
    EXPECT_EQ(checked.Ids("error"), std::vector<std::string>{"key-frame-late"}) << checked.out;
    EXPECT_THAT(checked.out, HasSubstr("20000 of 30002 packets are lost"));
  }
}

TEST(Check, CountsInWordsThatFit) {
  const auto strayText = [](std::size_t count) {
    Plan plan;
    plan.first.insert(plan.first.end(), count, SimpleBlock(9, 0, kKey, Ramp(5)));
    return Check(plan.File()).Find("blocks-without-track")->at("text").get<std::string>();
  };
  EXPECT_EQ(strayText(1), "1 block is of a track that the file does not describe");
  EXPECT_EQ(strayText(2), "2 blocks are of a track that the file does not describe");
  const Checked wrong = Check(With([](Plan& plan) { plan.indexedTime = 300; }));
  EXPECT_EQ(wrong.Find("index-wrong")->at("text"), "1 of 2 index entries leads where there is nothing of that time");
}

TEST(Check, SaysAtLeastWhereNotAllWasCounted) {
  const auto text = [](std::size_t clusters) {
    Plan plan;
    const Raw timeless = Master(0x1F43B675, {SimpleBlock(1, 60, kKey, Ramp(5))});
    for (std::size_t i = 0; i < clusters; ++i) plan.more.emplace_back(timeless);
    return Check(plan.File()).Find("cluster-without-time")->at("text").get<std::string>();
  };
  EXPECT_EQ(text(1), "1 Cluster has no time that can be read");
  EXPECT_EQ(text(200), "200 Clusters have no time that can be read");
  EXPECT_EQ(text(300), "at least 256 Clusters have no time that can be read");
}

TEST(Check, OfATrackWithoutPacketsNothingIsLost) {
  Plan plan;
  plan.tracks.push_back(Track(2, 1, "V_AV1", {Video(320, 240)}));
  EXPECT_THAT(Check(plan.File()).Ids("error"), IsEmpty());
}

// So many entries behind the Clusters, in elements of a thousand.
void AddLateTracks(Plan& plan, std::uint64_t count) {
  for (std::uint64_t number = 2; number < 2 + count;) {
    std::vector<Raw> entries;
    for (; number < 2 + count && entries.size() < 1000; ++number) entries.push_back(Plan::Mp3(number));
    plan.more.emplace_back(Tracks(entries));
  }
}

TEST(Check, TellsOfUnreadTracksOneByOneOnlyWherePacketsAreLost) {
  Plan plan;
  AddLateTracks(plan, 3000);
  plan.second.push_back(SimpleBlock(5, 0, kKey, Ramp(9)));
  const Checked checked = Check(plan.File());
  std::vector<json> unread;
  for (const json& finding : checked.Findings()) {
    if (finding.at("id") == "tracks-unread") unread.push_back(finding);
  }
  ASSERT_EQ(unread.size(), 2U) << checked.out.substr(0, 1000);
  EXPECT_EQ(unread[0].at("severity"), "error");
  EXPECT_EQ(unread[0].at("track"), 5);
  EXPECT_EQ(unread[1].at("severity"), "note");
  EXPECT_TRUE(unread[1].at("track").is_null());
  EXPECT_THAT(unread[1].at("text").get<std::string>(), HasSubstr(" 2999 tracks"));
  EXPECT_FALSE(checked.Has("limit"));
}

TEST(Check, ALostPacketOfOneOfVeryManyUnreadTracksIsAnError) {
  for (const bool isOverLimit : {false, true}) {
    std::vector<Raw> entries;
    for (std::uint64_t number = 2; number < 3000; ++number) entries.push_back(Plan::Mp3(number));
    Plan plan;
    if (isOverLimit) {
      plan.tracks.insert(plan.tracks.end(), entries.begin(), entries.end());
    } else {
      plan.more.emplace_back(Tracks(entries));
    }
    plan.second.push_back(SimpleBlock(2500, 0, kKey, Ramp(9)));
    for (const std::vector<std::string>& options : {std::vector<std::string>{}, {"--deep"}}) {
      const Checked checked = Check(plan.File(), options);
      const std::string id = isOverLimit ? "track-over-limit" : "tracks-unread";
      EXPECT_EQ(checked.Ids("error"), std::vector<std::string>{id}) << checked.out.substr(0, 1000);
      EXPECT_EQ(checked.Find(id)->at("track"), 2500);
      EXPECT_FALSE(checked.Has("blocks-without-track"));
    }
  }
}

TEST(Check, SaysHowManyMoreThereAreOfOneKind) {
  Plan plan;
  plan.seekEntries.assign(20, SeekEntry(0x1254C367, 7));
  for (std::uint32_t id = 0; id < 20; ++id) plan.seekEntries.push_back(SeekEntry(0x1A000000 + id, 7));
  std::vector<std::string> texts;
  for (const json& finding : Check(plan.File()).Findings()) {
    if (finding.at("id") == "seek-entry-wrong") texts.push_back(finding.at("text"));
  }
  ASSERT_EQ(texts.size(), 8U);
  EXPECT_EQ(texts.front(), "a seek entry for the tags leads to something else; and 19 more");
  EXPECT_THAT(texts.back(), testing::EndsWith("; and 13 more"));
}

TEST(Check, TellsADurationThatIsNone) {
  const auto text = [](double duration) {
    Plan plan;
    plan.duration = -1;
    plan.info = {Float8(0x4489, duration)};
    const Checked checked = Check(plan.File());
    EXPECT_EQ(checked.out.find("inf\""), std::string::npos);
    EXPECT_EQ(checked.out.find("nan"), std::string::npos);
    EXPECT_EQ(checked.out.find("256204778"), std::string::npos) << checked.out;
    EXPECT_FALSE(checked.Has("duration-differs"));
    const auto finding = checked.Find("duration-unusable");
    return finding ? finding->at("text").get<std::string>() : checked.out;
  };
  EXPECT_EQ(text(std::numeric_limits<double>::quiet_NaN()), "the duration in the file is not a number");
  EXPECT_EQ(text(std::numeric_limits<double>::infinity()), "the duration in the file is infinite");
  EXPECT_EQ(text(-5), "the duration in the file is negative");
  EXPECT_EQ(text(1e300), "the duration in the file is longer than a year");
}

TEST(Check, HoldsTheEndOfTheIndexAgainstBlocksAndDuration) {
  const auto text = [](const std::function<void(Plan&)>& change) {
    const auto finding = Check(With(change)).Find("index-range");
    return finding ? finding->at("text").get<std::string>() : "";
  };
  EXPECT_EQ(text([](Plan&) {}), "");
  EXPECT_EQ(text([](Plan& plan) { plan.indexedTime = 900; }),
            "the index ends at 0:00:00.900, the last block is at 0:00:00.440");
  EXPECT_EQ(text([](Plan& plan) { plan.duration = 300; }),
            "the index ends at 0:00:00.400, the file's duration at 0:00:00.300");
  EXPECT_EQ(text([](Plan& plan) {
              plan.more.emplace_back(Cluster(100000, {SimpleBlock(1, 0, kKey, Ramp(9))}));
              plan.duration = 101000;
            }),
            "the index ends at 0:00:00.400, the last key frame is at 0:01:40.000");
}

TEST(Check, SaysWhenTheFirstKeyFrameComesAndWhereAClusterHasNoTime) {
  Plan plan;
  plan.tracks.push_back(Plan::Mp3(2));
  plan.first.push_back(SimpleBlock(2, 0, 0, Ramp(9)));
  plan.second.push_back(SimpleBlock(2, 20, kKey, Ramp(8)));
  plan.more.emplace_back(Master(0x1F43B675, {SimpleBlock(1, 60, kKey, Ramp(5))}));
  const Raw file = plan.File();
  const Checked checked = Check(file);
  EXPECT_EQ(checked.Find("key-frame-late")->at("text"),
            "nothing is delivered before the first key frame at 0:00:00.420; 1 of 2 packets is lost");
  const Raw timeless = Master(0x1F43B675, {SimpleBlock(1, 60, kKey, Ramp(5))});
  const auto place = std::search(file.begin(), file.end(), timeless.begin(), timeless.end()) - file.begin();
  EXPECT_EQ(checked.Find("cluster-without-time")->at("position"), place);
}

TEST(Check, AnUnreadTrackWithoutPacketsIsNamedInItsNote) {
  Plan plan;
  AddLateTracks(plan, 1);
  const Checked checked = Check(plan.File());
  EXPECT_THAT(checked.Ids("error"), IsEmpty());
  EXPECT_EQ(checked.Find("tracks-unread")->at("track"), 2);
  EXPECT_FALSE(checked.Has("limit"));
}

// Nothing of what it covers is read by the filter, which has no pin then; the seek index tells what there is.
TEST(Check, WhatAnElementThatIsTooLongCoversIsLost) {
  const Raw file = MkvFile({[](const Positions& at) {
                              return SeekHead({SeekEntry(0x1549A966, at["info"]), SeekEntry(0x1654AE6B, at["tracks"]),
                                               SeekEntry(0x1F43B675, at["cluster"])});
                            },
                            Part("void", EbmlWithSize(0xEC, 1 << 20, Ramp(5), 4)), Part("info", Info(1000000, 480)),
                            Part("tracks", Tracks({Plan::Vp8(1)})), Part("cluster", Cluster(0, Plan().first))});
  for (const std::vector<std::string>& options : {std::vector<std::string>{}, {"--deep"}}) {
    const Checked checked = Check(file, options);
    EXPECT_EQ(checked.Ids("error"), std::vector<std::string>{"tracks-unread"}) << checked.out;
    EXPECT_FALSE(checked.Has("no-frames"));
    EXPECT_TRUE(checked.Has("cut-short"));
  }
}

TEST(Check, AStartCodeIsSeenWhereverItStands) {
  // A long frame is compared piece by piece.
  std::vector<Raw> blocks;
  for (std::size_t at = 65530; at <= 65540; ++at) {
    Raw frame(140000, 0x65);
    for (const std::size_t code : {std::size_t{0}, at, at + 65536}) {
      std::fill_n(frame.begin() + static_cast<std::ptrdiff_t>(code), 3, 0);
      frame[code + 3] = 1;
    }
    blocks.push_back(SimpleBlock(1, static_cast<std::int16_t>(40 * blocks.size()), kKey, frame));
  }
  const Raw file =
      MkvFile({Info(1000000, 480), Tracks({Track(1, 1, "V_MPEG4/ISO/AVC", {Video(16, 16), Str(0x536E, "Main")})}),
               Part("cluster", Cluster(0, blocks)),
               Part([](const Positions& at) { return Cues({CuePoint(0, 1, at["cluster"])}); })});
  const TemporaryFolder folder;
  const auto path = folder.Write("movie.mkv", {reinterpret_cast<const char*>(file.data()), file.size()});
  (void)folder.Write("movie.conf", "[Stream.Main]\r\nCodecData=AAAAAWdkACgRAAAAAWjuPIA=\r\n");
  const Checked checked = CheckPath(folder, path.string(), {"--deep"});
  EXPECT_FALSE(checked.Has("codec-unsupported")) << checked.out;
  EXPECT_THAT(checked.Ids("error"), IsEmpty()) << checked.out;
}

TEST(Play, WarnsOfEndsUnlessAnEarlierOneWasAskedFor) {
  const TemporaryFolder folder;
  const auto play = [&](double duration, const std::vector<std::string>& options) {
    Plan plan;
    plan.duration = duration;
    const Raw file = plan.File();
    const auto path = folder.Write("ends.mkv", {reinterpret_cast<const char*>(file.data()), file.size()});
    std::vector<std::string> arguments = {"play", path.string()};
    arguments.insert(arguments.end(), options.begin(), options.end());
    return RunTool(folder, arguments).messages;
  };
  constexpr const char* kLostText = "warning: track 1: byte 309: playing ends at 0:00:00.300";
  constexpr const char* kLateText = "warning: the announced end 0:00:00.420 lies before the last block's";
  EXPECT_EQ(play(480, {}), "");
  EXPECT_THAT(play(300, {}), HasSubstr(kLostText));
  EXPECT_THAT(play(300, {"--from", "0"}), HasSubstr(kLostText));
  EXPECT_THAT(play(420, {}), HasSubstr(kLateText));
  EXPECT_THAT(play(420, {"--from", "0"}), HasSubstr(kLateText));
  EXPECT_EQ(play(300, {"--to", "0.2"}), "");
  EXPECT_THAT(play(300, {"--to", "0.3"}), HasSubstr(kLostText));
  EXPECT_THAT(play(300, {"--to", "1:00"}), HasSubstr(kLostText));
}

TEST(Check, AFrameThatTheEndCutsOffIsNoPacket) {
  Plan plan;
  plan.hasIndex = false;
  plan.second.resize(1);
  Raw file = plan.File();
  file.resize(file.size() - 1);
  for (const std::vector<std::string>& options : {std::vector<std::string>{}, {"--deep"}}) {
    const Checked checked = Check(file, options);
    EXPECT_THAT(checked.Ids("error"), IsEmpty()) << checked.out;
    EXPECT_TRUE(checked.Has("cut-short"));
  }
}

}  // namespace
}  // namespace vantor::tools::checking
