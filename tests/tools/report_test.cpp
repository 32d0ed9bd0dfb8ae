// `report`: what is gathered of a file and what the page shows of it. The page in a browser is tried by
// tests/report/report_test.py.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <limits>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "support/mkv_builder.h"
#include "support/temporary_folder.h"
#include "tools/checked_file.h"
#include "tools/column_lane.h"
#include "tools/report/html_text.h"

namespace vantor::tools {
namespace {

using nlohmann::json;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::Not;

struct Sums {
  std::uint64_t packets = 0;
  void Add(const Sums& other) { packets += other.packets; }
};

std::uint64_t AllOf(const ColumnLane<Sums>& lane) {
  std::uint64_t all = 0;
  for (std::int64_t i = lane.Scale().first; i <= lane.Scale().last; ++i) all += lane.Find(i)->packets;
  return all;
}

std::size_t CountOf(const std::string& text, const std::string& part) {
  std::size_t count = 0;
  for (std::size_t at = text.find(part); at != std::string::npos; at = text.find(part, at + 1)) ++count;
  return count;
}

class Report : public testing::Test {
 protected:
  Checked Run(const test::Raw& bytes, std::vector<std::string> options) {
    const auto path = folder_.Write("reported.mkv", {reinterpret_cast<const char*>(bytes.data()), bytes.size()});
    options.insert(options.begin(), {"report", path.string()});
    return RunTool(folder_, options);
  }
  json Data(const test::Raw& bytes) {
    const Checked checked = Run(bytes, {"--json"});
    EXPECT_EQ(checked.status, kExitDone) << checked.messages;
    return json::parse(checked.out);
  }
  std::string Page(const test::Raw& bytes) {
    const std::string page = (folder_ / "page.html").string();
    const Checked checked = Run(bytes, {"-o", page, "--force"});
    EXPECT_EQ(checked.status, kExitDone) << checked.messages;
    EXPECT_EQ(checked.out, "");
    return Slurp(page);
  }

  test::TemporaryFolder folder_;
};

TEST(ReportColumns, StayBoundedHoweverFarTheTimesAre) {
  ColumnLane<Sums> lane;
  std::uint64_t count = 0;
  for (std::int64_t time = 0; time < std::int64_t{1} << 40; time += std::int64_t{1} << 26, ++count) {
    lane.At(time).packets += 1;
  }
  EXPECT_LE(lane.Scale().Count(), 2000U);
  EXPECT_GT(lane.Scale().Count(), 900U);
  EXPECT_EQ(AllOf(lane), count);
  for (const std::int64_t time : {std::int64_t{-1}, std::int64_t{-1} << 50, std::numeric_limits<std::int64_t>::min(),
                                  std::numeric_limits<std::int64_t>::max()}) {
    lane.At(time).packets += 1;
    EXPECT_LE(lane.Scale().Count(), 2000U);
    EXPECT_EQ(AllOf(lane), ++count);
  }
}

TEST(ReportColumns, KeepTheirTimes) {
  ColumnLane<Sums> lane;
  const std::vector<std::int64_t> times = {-30000000, 5, 123456789, 40000000000};
  for (const std::int64_t time : times) lane.At(time).packets += 1;
  for (const std::int64_t time : times) EXPECT_GE(lane.Find(time >> lane.Scale().shift)->packets, 1U) << time;
  lane.WidenTo(60);
  EXPECT_EQ(lane.Scale().shift, 60);
  EXPECT_EQ(lane.Find(-1)->packets, 1U);
  EXPECT_EQ(lane.Find(0)->packets, 3U);
  EXPECT_EQ(lane.Find(1), nullptr);
}

TEST(HtmlText, EscapesWhatHtmlAndTheEyeTakeForMore) {
  EXPECT_EQ(Html("<img src=x onerror='a(\"b\")'>&"), "&lt;img src=x onerror=&#39;a(&quot;b&quot;)&#39;&gt;&amp;");
  EXPECT_EQ(Html("a\xE2\x80\xAE\x1b\xff"), "a\\u202e\\x1b\\xff");
}

TEST_F(Report, GathersTracksIntoColumns) {
  Plan plan;
  plan.tracks.push_back(Plan::Mp3(2));
  plan.first.push_back(test::SimpleBlock(2, 0, test::kKey, test::Ramp(9)));
  const json data = Data(plan.File());
  EXPECT_EQ(data["schema_version"], 1);
  ASSERT_EQ(data["tracks"].size(), 2U);
  const json& video = data["tracks"][0];
  EXPECT_EQ(video["kind"], "video");
  EXPECT_EQ(video["packets"], 4);
  EXPECT_EQ(video["key_frames"], 2);
  EXPECT_EQ(video["bytes"], 142);
  EXPECT_EQ(video["lost"], 0);
  EXPECT_EQ(video["end"], 4800000);
  const std::size_t columns = data["scale"]["columns"];
  std::uint64_t bytes = 0;
  for (const json& value : video["columns"]["bytes"]) bytes += value.get<std::uint64_t>();
  EXPECT_EQ(bytes, 142U);
  for (const char* const kind : {"packets", "key_frames", "lost", "preroll", "bytes"}) {
    EXPECT_EQ(video["columns"][kind].size(), columns) << kind;
  }
  // 400 ms, in columns of so many 100 ns from the beginning on.
  const std::size_t second = 4000000 / data["scale"]["column"].get<std::size_t>();
  EXPECT_EQ(data["scale"]["start"], 0);
  EXPECT_EQ(video["columns"]["key_frames"][second], 1);
  EXPECT_EQ(data["clusters"]["count"], 2);
  EXPECT_EQ(data["index"]["right"], 2);
  EXPECT_EQ(data["index"]["wrong"], 0);
}

TEST_F(Report, HasALaneForEveryTrack) {
  Plan plan;
  plan.tracks.push_back(Plan::Mp3(2));
  plan.tracks.push_back(test::Track(7, 17, "S_TEXT/UTF8", {}));
  const std::string page = Page(plan.File());
  EXPECT_EQ(CountOf(page, "class=\"row track\""), 3U);
  for (const char* const lane : {"aria-label=\"Track 1 over time\"", "aria-label=\"Track 2 over time\"",
                                 "aria-label=\"Track 7 over time\"", "class=\"lane subtitle\""}) {
    EXPECT_THAT(page, HasSubstr(lane));
  }
  EXPECT_THAT(page, Not(HasSubstr("<script")));
  EXPECT_THAT(page, HasSubstr("default-src 'none'"));
}

TEST_F(Report, HatchesWhatLiesBehindTheAnnouncedEnd) {
  const std::string hatched = "class=\"behind\" style=\"left:";
  Plan plan;
  EXPECT_THAT(Page(plan.File()), Not(HasSubstr(hatched)));
  plan.duration = 300;
  const std::string page = Page(plan.File());
  EXPECT_THAT(page, HasSubstr(hatched));
  EXPECT_THAT(page, HasSubstr("bar lost"));
  EXPECT_THAT(page, HasSubstr("end-early"));
  const json data = Data(plan.File());
  EXPECT_LT(data["announced_end"], data["last_start"]);
  EXPECT_EQ(data["tracks"][0]["lost"], 1);
  // The finding is tied to its place in time.
  const json& finding = data["findings"][0];
  EXPECT_EQ(finding["id"], "end-early");
  EXPECT_NEAR(finding["time"].get<double>(), 4000000, data["scale"]["column"].get<double>());
  EXPECT_THAT(page, HasSubstr("href=\"#finding-1\""));
  EXPECT_THAT(page, HasSubstr("id=\"finding-1\""));
}

TEST_F(Report, EscapesEveryTextOfTheFile) {
  const std::string evil = "</title><script>alert(1)</script><img src=x onerror=\"alert(2)\">";
  const auto chapter = test::Master(
      0x1043A770, {test::Master(0x45B9, {test::Master(0xB6, {test::UInt(0x73C4, 1), test::UInt(0x91, 40000000),
                                                             test::Master(0x80, {test::Str(0x85, evil)})})})});
  const std::vector<test::Part> parts = {
      test::Info(1000000, 480, {test::Str(0x7BA9, evil), test::Str(0x5741, evil)}),
      test::Tracks({Plan::Vp8(1, {test::Str(0x536E, evil), test::Str(0x22B59C, evil)}),
                    test::Track(2, 1, evil, {test::Video(320, 240)})}),
      chapter,
      test::Attachments({test::Attachment(evil, evil, test::Ramp(5))}),
      test::Cluster(0, Plan().first),
  };
  const std::string page = Page(test::MkvFile(parts));
  EXPECT_THAT(page, Not(HasSubstr("<script")));
  EXPECT_THAT(page, Not(HasSubstr("<img")));
  EXPECT_GE(CountOf(page, "&lt;script&gt;"), 6U);
  const json data = Data(test::MkvFile(parts));
  EXPECT_EQ(data["tracks"][0]["name"], evil);
  EXPECT_EQ(data["chapters"][0]["name"], evil);
  EXPECT_EQ(data["chapters"][0]["start"], 400000);
  EXPECT_EQ(data["attachments"][0]["name"], evil);
}

TEST_F(Report, TellsFalseIndexEntriesFromTrueOnes) {
  Plan plan;
  plan.indexedTime = 300;
  const json data = Data(plan.File());
  EXPECT_EQ(data["index"]["right"], 1);
  EXPECT_EQ(data["index"]["wrong"], 1);
  EXPECT_EQ(data["index"]["wrong_entries"][0]["time"], 3000000);
  EXPECT_EQ(data["index"]["wrong_entries"][0]["what"], "time");
  const std::string page = Page(plan.File());
  EXPECT_THAT(page, HasSubstr("mark right"));
  EXPECT_THAT(page, HasSubstr("mark false"));
  EXPECT_THAT(page, HasSubstr("class=\"wrong\""));
}

TEST_F(Report, ShowsGapsAndPrerollAndTracksWithoutAPin) {
  std::vector<test::Raw> blocks;
  for (int i = -1; i < 10; ++i) blocks.push_back(test::SimpleBlock(1, 40 * i, test::kKey, test::Ramp(9)));
  for (int i = 0; i < 5; ++i) blocks.push_back(test::SimpleBlock(1, 9000 + 40 * i, test::kKey, test::Ramp(9)));
  blocks.push_back(test::SimpleBlock(2, 0, test::kKey, test::Ramp(9)));
  blocks.push_back(test::SimpleBlock(9, 0, test::kKey, test::Ramp(9)));
  const test::Raw file =
      test::MkvFile({test::Info(1000000, 9200), test::Tracks({Plan::Vp8(1), test::Track(2, 2, "A_NONE", {})}),
                     test::Cluster(0, blocks)});
  const json data = Data(file);
  EXPECT_EQ(data["tracks"][0]["gap_count"], 1);
  EXPECT_EQ(data["tracks"][0]["gaps"][0], json({4000000, 90000000}));
  EXPECT_EQ(data["tracks"][0]["preroll"], 1);
  EXPECT_LT(data["scale"]["start"], 0);
  EXPECT_EQ(data["tracks"][1]["pin"], nullptr);
  EXPECT_EQ(data["tracks"][1]["lost"], 1);
  EXPECT_EQ(data["tracks"][2]["number"], nullptr);
  EXPECT_EQ(data["index"], nullptr);
  const std::string page = Page(file);
  EXPECT_THAT(page, HasSubstr("<rect class=\"gap\" x="));
  EXPECT_THAT(page, HasSubstr("bar preroll"));
  EXPECT_THAT(page, HasSubstr("no pin"));
  EXPECT_THAT(page, HasSubstr("Blocks without a track"));
}

TEST_F(Report, OfALongFileIsAsLargeAsOfAShortOne) {
  std::vector<test::Part> parts = {test::Info(1000000, 100.0 * 3600 * 1000), test::Tracks({Plan::Vp8(1)})};
  for (std::uint64_t second = 0; second < 360000; second += 90) {
    parts.emplace_back(test::Cluster(second * 1000, {test::SimpleBlock(1, 0, test::kKey, test::Ramp(3))}));
  }
  const test::Raw file = test::MkvFile(parts);
  const json data = Data(file);
  EXPECT_EQ(data["tracks"][0]["packets"], 4000);
  EXPECT_LE(data["scale"]["columns"], 2000);
  EXPECT_LE(data["clusters"]["columns"].size(), 2000U);
  EXPECT_LT(Page(file).size(), 300000U);
}

TEST_F(Report, OverwritesNothingUnlessTold) {
  const std::string page = folder_.Write("mine.html", "mine").string();
  const Checked kept = Run(Plan().File(), {"-o", page});
  EXPECT_EQ(kept.status, kExitUsage);
  EXPECT_THAT(kept.messages, HasSubstr("mine.html"));
  EXPECT_EQ(Slurp(page), "mine");
  EXPECT_EQ(Run(Plan().File(), {"-o", page, "--force"}).status, kExitDone);
  EXPECT_THAT(Slurp(page), HasSubstr("</html>"));
}

TEST_F(Report, LeavesNothingOfARefusedFile) {
  const std::string page = (folder_ / "none.html").string();
  EXPECT_EQ(Run(test::Ramp(100), {"-o", page}).status, kExitRefused);
  EXPECT_FALSE(std::filesystem::exists(page));
  EXPECT_EQ(Run(Plan().File(), {}).status, kExitUsage);
}

}  // namespace
}  // namespace vantor::tools
