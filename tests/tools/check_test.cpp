// What `check` finds: a file for each finding, and whether a file has an error exactly when a packet does not come out.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <functional>
#include <map>
#include <set>

#include "host/fake_splitter.h"
#include "tools/checked_file.h"
#include "tools/findings.h"

namespace vantor::tools::checking {
namespace {

using namespace vantor::test;  // NOLINT(google-build-using-namespace): the builders
using nlohmann::json;
using testing::HasSubstr;
using testing::IsEmpty;

constexpr const char* kNoteOnly = "note";
constexpr const char* kWarningOnly = "warning";
constexpr const char* kErrorOnly = "error";

Raw Encoding(std::uint64_t scope, const Raw& how) {
  return Master(0x6D80, {Master(0x6240, {UInt(0x5032, scope), how})});
}
Raw ZlibOf(std::uint64_t scope) { return Encoding(scope, Master(0x5034, {UInt(0x4254, 0)})); }
Raw EncryptionOf(std::uint64_t scope) {
  return Master(0x6D80, {Master(0x6240, {UInt(0x5032, scope), UInt(0x5033, 1), Master(0x5035, {UInt(0x47E1, 5)})})});
}

Raw With(const std::function<void(Plan&)>& change) {
  Plan plan;
  change(plan);
  return plan.File();
}
Raw WithTrack(const Raw& track) {
  return With([&](Plan& plan) { plan.tracks = {track}; });
}

Raw AttachedFonts() {
  return With([](Plan& plan) {
    plan.tracks.push_back(Track(2, 17, "S_TEXT/UTF8"));
    plan.second.push_back(BlockGroup({Block(2, 0, 0, Text("text")), BlockDuration(80)}));
    plan.more.emplace_back("fonts", Attachments({Attachment("some.otf", "font/otf", Ramp(10))}));
    // In its full width whatever it is, so that the Segment's parts can be laid out twice.
    Positions at;
    Plan named = plan;
    named.seekEntries = {SeekEntry(0x1941A469, 0)};
    (void)Layout(named.Parts(), at);
    plan.seekEntries = {SeekEntry(0x1941A469, at["fonts"])};
  });
}

// The seek index leads to a Cluster that lies within a Void, and claims so many bytes behind it.
Raw HiddenCluster(std::size_t more) {
  const Raw children = Join({UInt(0xE7, 0), SimpleBlock(1, 0, kKey, Ramp(20))});
  const Raw cluster = EbmlWithSize(0x1F43B675, children.size() + more, children, 8);
  return MkvFile({[](const Positions& at) { return SeekHead({SeekEntry(0x1F43B675, at["void"] + 2)}); },
                  Info(1000000, 480),
                  Tracks({Plan::Vp8(1)}),
                  {"void", Bin(0xEC, cluster)},
                  Cluster(0, Plan().first),
                  Cluster(400, Plan().second)});
}

struct Case {
  const char* id;
  const char* severity;
  std::function<Raw()> file;
  bool isRefused = false;
};

std::vector<Case> Cases() {
  return {
      // ---- Refused ----
      {"file-empty", kErrorOnly, [] { return Raw(); }, true},
      {"not-matroska", kErrorOnly, [] { return Text("no media at all"); }, true},
      {"header-damaged", kErrorOnly, [] { return Raw{0x1A, 0x45, 0xDF, 0xA3, 0x9F, 0x42}; }, true},
      {"document-type", kErrorOnly,
       [] {
         return Join({EbmlHeader("other"), Segment(Plan().Parts())});
       },
       true},
      {"version-too-new", kErrorOnly,
       [] {
         return Join({EbmlHeader("matroska", 3), Segment(Plan().Parts())});
       },
       true},
      {"no-segment", kErrorOnly, [] { return EbmlHeader(); }, true},
      {"no-cluster", kErrorOnly,
       [] {
         return MkvFile({Info(), Tracks({Plan::Vp8(1)})});
       },
       true},
      {"cluster-entry-wrong", kErrorOnly,
       [] { return With([](Plan& plan) { plan.seekEntries = {SeekEntry(0x1F43B675, 3)}; }); }, true},
      {"private-data-broken", kErrorOnly,
       [] {
         return WithTrack(Track(1, 2, "A_VORBIS", {CodecPrivate({2, 255, 255})}));
       },
       true},
      // ---- Tracks ----
      {"codec-unsupported", kErrorOnly, [] { return WithTrack(Track(1, 1, "V_AV1", {Video(320, 240)})); }},
      {"codec-id-zeroes", kErrorOnly,
       [] { return WithTrack(Track(1, 1, std::string("V_VP8\0", 6), {Video(320, 240)})); }},
      {"track-kind", kErrorOnly, [] { return WithTrack(Track(1, 18, "B_VOBBTN")); }},
      {"private-data-missing", kErrorOnly, [] { return WithTrack(Track(1, 1, "V_MPEG2", {Video(320, 240)})); }},
      {"private-data-unusable", kErrorOnly,
       [] {
         return WithTrack(Track(1, 1, "V_MPEG2", {Video(320, 240), CodecPrivate(Ramp(20))}));
       }},
      {"private-data-encoded", kErrorOnly,
       [] {
         return WithTrack(Plan::Vp8(1, {CodecPrivate(Ramp(20)), ZlibOf(2)}));
       }},
      {"private-data-encrypted", kErrorOnly,
       [] {
         return WithTrack(Plan::Vp8(1, {CodecPrivate(Ramp(20)), EncryptionOf(2)}));
       }},
      {"frames-compressed", kErrorOnly, [] { return WithTrack(Plan::Vp8(1, {ZlibOf(1)})); }},
      {"frames-encrypted", kErrorOnly, [] { return WithTrack(Plan::Vp8(1, {EncryptionOf(1)})); }},
      {"tracks-unread", kErrorOnly,
       [] {
         // Three elements are met before the Tracks.
         return MkvFile({SeekHead({}),
                         SeekHead({}),
                         Info(1000000, 80),
                         Tracks({Plan::Vp8(1)}),
                         {"first", Cluster(0, Plan().first)}});
       }},
      // ---- Packets ----
      {"no-key-frame", kErrorOnly,
       [] {
         return With([](Plan& plan) {
           plan.tracks.push_back(Plan::Mp3(2));
           plan.first.push_back(SimpleBlock(2, 0, 0, Ramp(9)));
           plan.second.push_back(SimpleBlock(2, 0, 0, Ramp(8)));
         });
       }},
      {"key-frame-late", kErrorOnly,
       [] {
         return With([](Plan& plan) {
           plan.tracks.push_back(Plan::Mp3(2));
           plan.first.push_back(SimpleBlock(2, 0, 0, Ramp(9)));
           plan.second.push_back(SimpleBlock(2, 0, kKey, Ramp(8)));
         });
       }},
      {"end-early", kErrorOnly, [] { return With([](Plan& plan) { plan.duration = 300; }); }},
      {"cluster-endless", kErrorOnly, [] { return With([](Plan& plan) { plan.isFirstEndless = true; }); }},
      {"clusters-skipped", kErrorOnly,
       [] {
         return With([](Plan& plan) {
           Positions at;
           Plan named = plan;
           named.seekEntries = {SeekEntry(0x1F43B675, 0)};
           (void)Layout(named.Parts(), at);
           plan.seekEntries = {SeekEntry(0x1F43B675, at["second"])};
         });
       }},
      {"second-segment", kErrorOnly,
       [] {
         return Join({MkvFile(Plan().Parts()), Segment(Plan().Parts())});
       }},
      {"block-unread", kErrorOnly,
       [] {
         return With([](Plan& plan) { plan.second.push_back(SimpleBlock(1, 60, kFixed, Join({{0xFF}, Ramp(256)}))); });
       }},
      // ---- Index ----
      {"index-missing", kWarningOnly,
       [] {
         return With([](Plan& plan) {
           plan.hasIndex = false;
           plan.second.resize(1);
         });
       }},
      {"index-unreachable", kWarningOnly,
       [] {
         return With([](Plan& plan) {
           plan.isIndexNamed = false;
           plan.second.resize(1);
         });
       }},
      {"index-wrong", kWarningOnly, [] { return With([](Plan& plan) { plan.indexedTime = 300; }); }},
      {"seek-entry-wrong", kWarningOnly,
       [] { return With([](Plan& plan) { plan.seekEntries = {SeekEntry(0x1254C367, 7)}; }); }},
      // ---- Times ----
      {"end-before-last-block", kWarningOnly, [] { return With([](Plan& plan) { plan.duration = 420; }); }},
      {"duration-differs", kWarningOnly, [] { return With([](Plan& plan) { plan.duration = 90000; }); }},
      {"duration-missing", kWarningOnly,
       [] {
         return With([](Plan& plan) {
           plan.duration = -1;
           plan.hasIndex = false;
           plan.second.resize(1);
         });
       }},
      {"start-not-zero", kNoteOnly,
       [] {
         return With([](Plan& plan) {
           plan.firstTime = 40;
           plan.secondTime = plan.indexedTime = 440;
         });
       }},
      {"headers-held-back", kWarningOnly,
       [] {
         return With([](Plan& plan) {
           plan.firstTime = 40;
           plan.secondTime = plan.indexedTime = 440;
           const Raw headers = Join({{2, 3, 4}, Ramp(3), Ramp(4), Ramp(5)});
           plan.tracks.push_back(Track(2, 2, "A_VORBIS", {Audio(48000, 2), CodecPrivate(headers)}));
           plan.first.push_back(SimpleBlock(2, 0, kKey, Ramp(9)));
         });
       }},
      {"no-frame-time", kWarningOnly, [] { return WithTrack(Track(1, 1, "V_VP8", {Video(320, 240)})); }},
      {"cluster-without-time", kWarningOnly,
       [] {
         return With(
             [](Plan& plan) { plan.more.emplace_back(Master(0x1F43B675, {SimpleBlock(1, 60, kKey, Ramp(5))})); });
       }},
      // ---- Structure ----
      {"cut-short", kWarningOnly,
       [] {
         Raw file = Plan().File();
         file.resize(file.size() - 3);
         return file;
       }},
      {"damage", kWarningOnly,
       [] { return With([](Plan& plan) {
              plan.more.emplace_back(Join({Raw(40, 0), Void(10), Cues({})}));
            }); }},
      {"block-damaged", kWarningOnly,
       [] { return With([](Plan& plan) {
              plan.second.push_back(SimpleBlock(1, 60, kXiph, {1, 200, 1, 2, 3}));
            }); }},
      {"header-value", kWarningOnly, [] { return With([](Plan& plan) { plan.info = {Bin(0x4461, Ramp(9))}; }); }},
      {"limit", kWarningOnly,
       [] {
         std::vector<Raw> encodings(20, Master(0x6240, {UInt(0x5032, 4)}));
         return WithTrack(Plan::Vp8(1, {Master(0x6D80, encodings)}));
       }},
      {"not-checked", kWarningOnly, [] { return HiddenCluster(0); }},
      {"no-frames", kWarningOnly,
       [] {
         return MkvFile({Info(), Tracks({}), Cues({})});
       }},
      {"track-number-twice", kWarningOnly,
       [] { return With([](Plan& plan) {
              plan.tracks = {Plan::Vp8(1), Plan::Vp8(1)};
            }); }},
      {"blocks-without-track", kWarningOnly,
       [] { return With([](Plan& plan) { plan.first.push_back(SimpleBlock(9, 0, kKey, Ramp(5))); }); }},
      {"track-empty", kNoteOnly, [] { return With([](Plan& plan) { plan.tracks.push_back(Plan::Mp3(2)); }); }},
      {"track-disabled", kNoteOnly, [] { return WithTrack(Plan::Vp8(1, {UInt(0xB9, 0)})); }},
      {"linked-segments", kNoteOnly, [] { return With([](Plan& plan) { plan.info = {Bin(0x3EB923, Ramp(16))}; }); }},
      {"ordered-chapters", kWarningOnly,
       [] {
         return With([](Plan& plan) {
           plan.more.emplace_back("chapters", Master(0x1043A770, {Master(0x45B9, {UInt(0x45DD, 1)})}));
           Positions at;
           Plan named = plan;
           named.seekEntries = {SeekEntry(0x1043A770, 0)};
           (void)Layout(named.Parts(), at);
           plan.seekEntries = {SeekEntry(0x1043A770, at["chapters"])};
         });
       }},
      {"font-ignored", kWarningOnly, AttachedFonts},
      {"attachments-unreachable", kWarningOnly,
       [] {
         return With([](Plan& plan) {
           plan.more.emplace_back(Attachments({Attachment("a.ttf", "application/x-truetype-font", Ramp(10))}));
         });
       }},
      {"text-invalid", kNoteOnly, [] { return With([](Plan& plan) {
                                         plan.info = {Bin(0x7BA9, {0xFF, 0xFE})};
                                       }); }},
  };
}

class EveryFinding : public testing::TestWithParam<Case> {};

INSTANTIATE_TEST_SUITE_P(Check, EveryFinding, testing::ValuesIn(Cases()), [](const auto& tested) {
  std::string name = tested.param.id;
  std::replace(name.begin(), name.end(), '-', '_');
  return name;
});

TEST_P(EveryFinding, IsToldOfAFileThatHasIt) {
  const Raw file = GetParam().file();
  const bool isError = GetParam().severity == kErrorOnly;
  for (const bool isDeep : {false, true}) {
    if (isDeep && GetParam().id == std::string("not-checked")) continue;
    const Checked checked = Check(file, isDeep ? std::vector<std::string>{"--deep"} : std::vector<std::string>{});
    SCOPED_TRACE(checked.out + checked.messages);
    const auto finding = checked.Find(GetParam().id);
    ASSERT_TRUE(finding.has_value());
    EXPECT_EQ(finding->at("severity"), GetParam().severity);
    EXPECT_EQ(checked.status, isError ? 1 : 0);
    EXPECT_EQ(checked.messages, "");
    if (!isError) {
      EXPECT_THAT(checked.Ids("error"), IsEmpty());
    }
    if (GetParam().isRefused) {
      EXPECT_THAT(finding->at("text").get<std::string>(), HasSubstr("refused: "));
    }
  }
  EXPECT_EQ(Check(file, {"--strict"}).status, GetParam().severity == kNoteOnly ? Check(file, {"--strict"}).status : 1);
}

TEST(Check, FindsNothingInAFileThatHasNothing) {
  for (const char* option : {"--strict", "--deep"}) {
    const Checked checked = Check(Plan().File(), {option});
    EXPECT_THAT(checked.Findings(), IsEmpty()) << checked.out;
    EXPECT_EQ(checked.status, 0);
  }
}

TEST(Check, HasAFileForEachFindingOfTheTable) {
  std::set<std::string> tried = {
      // By other components, below; by a file of 256 MiB; where the headers tell nothing.
      "pins-differ", "refused", "frames-lost", "filter-error", "frame-too-large", "packets-lost"};
  for (const Case& one : Cases()) EXPECT_TRUE(tried.insert(one.id).second) << one.id;
  for (std::size_t i = 0; i < kFindingKinds; ++i) {
    const FindingRow& row = RowOf(static_cast<FindingKind>(i));
    EXPECT_EQ(row.kind, static_cast<FindingKind>(i)) << row.id;
    EXPECT_EQ(tried.erase(row.id), 1U) << row.id;
  }
  EXPECT_THAT(tried, IsEmpty());
}

// ---- Losses that the headers do not tell, and other components ----

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
  ASSERT_TRUE(refused.Has("refused")) << refused.out;
  EXPECT_THAT(refused.Find("refused")->at("text").get<std::string>(), HasSubstr("0x80040ABC"));
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
  EXPECT_EQ(checked.Find("limit")->at("text"), "there are more records than are kept: too many tracks");
}

TEST(Check, AnUnreadTrackWithoutPacketsIsNamedInItsNote) {
  Plan plan;
  AddLateTracks(plan, 1);
  const Checked checked = Check(plan.File());
  EXPECT_THAT(checked.Ids("error"), IsEmpty());
  EXPECT_EQ(checked.Find("tracks-unread")->at("track"), 2);
  EXPECT_FALSE(checked.Has("limit"));
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

TEST(Play, WarnsOfEndsUnlessTheEndWasAskedFor) {
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
  constexpr const char* kLostText = "warning: track 1: playing ends at 0:00:00.300";
  constexpr const char* kLateText = "warning: the announced end 0:00:00.420 lies before the last block's";
  EXPECT_EQ(play(480, {}), "");
  EXPECT_THAT(play(300, {}), HasSubstr(kLostText));
  EXPECT_THAT(play(300, {"--from", "0"}), HasSubstr(kLostText));
  EXPECT_THAT(play(420, {}), HasSubstr(kLateText));
  EXPECT_THAT(play(420, {"--from", "0"}), HasSubstr(kLateText));
  EXPECT_EQ(play(300, {"--to", "0.2"}), "");
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

// ---- The whole of it: an error exactly when a packet does not come out ----

class EveryMediaFile : public testing::TestWithParam<std::string> {};

std::vector<std::string> MediaNames() {
  std::vector<std::string> names;
  for (const auto& entry : std::filesystem::directory_iterator(VANTOR_TEST_MEDIA)) {
    if (entry.path().extension() == ".packets") names.push_back(entry.path().stem().string());
  }
  std::sort(names.begin(), names.end());
  return names;
}

INSTANTIATE_TEST_SUITE_P(Check, EveryMediaFile, testing::ValuesIn(MediaNames()), [](const auto& tested) {
  std::string name = tested.param;
  std::replace(name.begin(), name.end(), '.', '_');
  return name;
});

// What the muxer was given and what `samples` lists, by checksum: how many packets do not come out.
std::size_t LostByListing(const TemporaryFolder& folder, const std::string& name) {
  std::multiset<std::string> delivered;
  std::istringstream listing(RunTool(folder, {"samples", VANTOR_TEST_MEDIA "/" + name}).out);
  for (std::string line; std::getline(listing, line);) {
    const json object = json::parse(line);
    if (object.at("type") == "sample") delivered.insert(object.at("crc32"));
  }
  std::size_t lost = 0;
  std::istringstream packets(Slurp(VANTOR_TEST_MEDIA "/" + name + ".packets"));
  for (std::string line; std::getline(packets, line);) {
    if (line.empty() || line.front() == '#') continue;
    std::istringstream fields(line);
    std::string crc32;
    for (int i = 0; i < 6; ++i) std::getline(fields, crc32, ',');
    const auto found = delivered.find(crc32);
    found == delivered.end() ? static_cast<void>(++lost) : static_cast<void>(delivered.erase(found));
  }
  return lost;
}

TEST_P(EveryMediaFile, HasAnErrorExactlyWhenAPacketDoesNotComeOut) {
  const TemporaryFolder folder;
  const std::size_t lost = LostByListing(folder, GetParam());
  for (const std::vector<std::string>& options : {std::vector<std::string>{}, {"--deep"}}) {
    const Checked checked = CheckPath(folder, VANTOR_TEST_MEDIA "/" + GetParam(), options);
    EXPECT_EQ(checked.Ids("error").empty(), lost == 0) << lost << " are lost: " << checked.out;
    EXPECT_FALSE(checked.Has("packets-lost")) << checked.out;
    EXPECT_FALSE(checked.Has("pins-differ")) << checked.out;
    EXPECT_FALSE(checked.Has("not-checked")) << checked.out;
    EXPECT_EQ(checked.status, lost == 0 ? 0 : 1);
  }
}

// Whatever is done to a file: what the headers tell is true, as playing shows.
TEST_P(EveryMediaFile, IsNeverSaidToLoseWhatItDoesNotLose) {
  const TemporaryFolder folder;
  const std::string whole = Slurp(VANTOR_TEST_MEDIA "/" + GetParam());
  std::uint32_t seed = 1;
  const auto random = [&](std::size_t below) {
    seed = seed * 1664525 + 1013904223;
    return static_cast<std::size_t>(seed >> 8) % below;
  };
  for (int round = 0; round < 8; ++round) {
    std::string damaged = whole;
    if (round % 4 == 0) {
      damaged.resize(random(damaged.size()));
    } else {
      for (int i = 0; i < round; ++i) damaged[random(damaged.size())] = static_cast<char>(random(256));
    }
    const std::string path = folder.Write("damaged", damaged).string();
    const Checked plain = CheckPath(folder, path);
    const Checked deep = CheckPath(folder, path, {"--deep"});
    SCOPED_TRACE(std::to_string(round) + ": " + plain.out + deep.out);
    ASSERT_FALSE(plain.out.empty()) << plain.messages;
    ASSERT_FALSE(deep.out.empty()) << deep.messages;
    EXPECT_TRUE(plain.Ids("error").empty() || !deep.Ids("error").empty());
    EXPECT_EQ(plain.status, plain.Ids("error").empty() ? 0 : 1);
    EXPECT_EQ(deep.status, deep.Ids("error").empty() ? 0 : 1);
  }
}

// ---- How it is told ----

TEST(CheckOutput, IsOneObjectALineForEachFile) {
  const TemporaryFolder folder;
  const std::string media = VANTOR_TEST_MEDIA "/";
  const Checked checked =
      RunTool(folder, {"check", "--json", media + "flac.mka", media + "dts_ac3_eac3.mka", media + "pcm.mka"});
  std::istringstream lines(checked.out);
  std::vector<nlohmann::ordered_json> objects;
  for (std::string line; std::getline(lines, line);) objects.push_back(nlohmann::ordered_json::parse(line));
  ASSERT_EQ(objects.size(), 3U);
  EXPECT_EQ(objects[1].at("file"), media + "dts_ac3_eac3.mka");
  std::vector<std::string> keys;
  for (const auto& item : objects[1].at("findings").at(0).items()) keys.push_back(item.key());
  EXPECT_THAT(keys, testing::ElementsAre("id", "severity", "position", "track", "text", "advice"));
  EXPECT_TRUE(objects[1].at("findings").at(0).at("position").is_null());
  EXPECT_EQ(objects[1].at("schema_version"), 1);
  EXPECT_EQ(checked.status, 1);
}

TEST(CheckOutput, EndsWithTheSumsOfSeveralFiles) {
  const TemporaryFolder folder;
  const std::string media = VANTOR_TEST_MEDIA "/";
  const std::string missing = (folder / "missing.mkv").string();
  const Checked checked = RunTool(folder, {"check", media + "flac.mka", missing, media + "dts_ac3_eac3.mka"});
  EXPECT_THAT(checked.out, HasSubstr(media + "flac.mka: healthy\n"));
  EXPECT_THAT(checked.out,
              HasSubstr(media + "dts_ac3_eac3.mka: 1 error\n  error    codec-unsupported: track 3: no pin"));
  EXPECT_THAT(checked.out, testing::EndsWith("\n3 files: 1 with errors, 0 with warnings, 1 healthy, 1 not checked\n"));
  EXPECT_EQ(checked.messages, "vantor-mkv: " + missing + ": no such file\n");
  EXPECT_EQ(checked.status, 2);
}

TEST(CheckOutput, ShowsNothingOfANameRaw) {
  Plan plan = Plan();
  plan.tracks = {Track(1, 1, "V_\x1b[31m\xff", {Video(320, 240)})};
  const Raw file = plan.File();
  const TemporaryFolder folder;
  const auto path = folder.Write("names.mkv", {reinterpret_cast<const char*>(file.data()), file.size()});
  EXPECT_THAT(RunTool(folder, {"check", path.string()}).out, HasSubstr(R"(V_\x1b[31m\xff)"));
  EXPECT_TRUE(json::accept(CheckPath(folder, path.string()).out));
}

// ---- The page ----

TEST(FindingsPage, ExplainsEachFindingOfTheTableAndNoOther) {
  std::istringstream page(Slurp(VANTOR_FINDINGS_PAGE));
  std::size_t row = 0;
  for (std::string line; std::getline(page, line);) {
    if (!line.starts_with("| `")) continue;
    ASSERT_LT(row, kFindingKinds) << line;
    const FindingRow& expected = RowOf(static_cast<FindingKind>(row++));
    EXPECT_THAT(line, testing::StartsWith("| `" + std::string(expected.id) + "` | " + SeverityName(expected.severity)));
    EXPECT_THAT(line, testing::EndsWith(" | " + std::string(expected.advice) + " |"));
  }
  EXPECT_EQ(row, kFindingKinds);
}

}  // namespace
}  // namespace vantor::tools::checking
