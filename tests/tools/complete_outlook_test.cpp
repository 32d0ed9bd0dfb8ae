// Whether what `check` says of the complete component is so: each file is checked once more with that one.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <set>

#include "tools/finding_cases.h"

namespace vantor::tools::checking {
namespace {

using namespace vantor::test;  // NOLINT(google-build-using-namespace): the builders

constexpr const char* kDelivered = "delivered";
constexpr const char* kInPart = "in part";
constexpr const char* kNotDelivered = "not delivered";

// With the complete component, which lies beside the test program as beside the tool.
Checked CheckWithComplete(const Raw& bytes) {
  const TemporaryFolder folder;
  const auto path = folder.Write("complete.mkv", {reinterpret_cast<const char*>(bytes.data()), bytes.size()});
  return CheckPath(folder, path.string(), {"--deep", "--complete", "--component", VANTOR_COMPLETE_COMPONENT});
}

std::multiset<std::string> ErrorsOfTrack(const Checked& checked, const nlohmann::json& track) {
  std::multiset<std::string> ids;
  for (const auto& finding : checked.Findings()) {
    if (finding.at("severity") == "error" && finding.at("track") == track) ids.insert(finding.at("id"));
  }
  return ids;
}

struct OutlookCase {
  const char* id;
  const char* says;
};

std::vector<OutlookCase> OutlookCases() {
  return {{"file-empty", kNotDelivered},
          {"not-matroska", kNotDelivered},
          {"header-damaged", kNotDelivered},
          {"document-type", kNotDelivered},
          {"version-too-new", kNotDelivered},
          {"no-segment", kNotDelivered},
          {"no-cluster", kNotDelivered},
          {"cluster-entry-wrong", kDelivered},
          {"private-data-broken", kNotDelivered},
          {"codec-unsupported", kDelivered},
          {"codec-id-zeroes", kDelivered},
          {"track-kind", kNotDelivered},
          {"private-data-missing", kNotDelivered},
          {"private-data-unusable", kNotDelivered},
          {"private-data-encoded", kNotDelivered},
          {"private-data-encrypted", kNotDelivered},
          {"frames-compressed", kNotDelivered},
          {"frames-encrypted", kNotDelivered},
          {"tracks-unread", kNotDelivered},
          {"track-over-limit", kNotDelivered},
          {"no-key-frame", kDelivered},
          {"key-frame-late", kDelivered},
          {"end-early", kDelivered},
          {"cluster-endless", kDelivered},
          {"clusters-skipped", kDelivered},
          {"second-segment", kNotDelivered},
          {"block-unread", kNotDelivered}};
}

class EveryLoss : public testing::TestWithParam<OutlookCase> {};

INSTANTIATE_TEST_SUITE_P(CheckComplete, EveryLoss, testing::ValuesIn(OutlookCases()), [](const auto& tested) {
  std::string name = tested.param.id;
  std::replace(name.begin(), name.end(), '-', '_');
  return name;
});

TEST_P(EveryLoss, IsSaidToBeDeliveredWhereItIs) {
  const std::vector<FindingCase> cases = FindingCases();
  const auto one = std::find_if(cases.begin(), cases.end(),
                                [](const auto& other) { return other.id == std::string(GetParam().id); });
  ASSERT_NE(one, cases.end());
  const Raw file = one->file();
  const Checked complete = CheckWithComplete(file);
  for (const std::vector<std::string>& options : {std::vector<std::string>{}, {"--deep"}}) {
    const Checked checked = Check(file, options);
    SCOPED_TRACE(checked.out + complete.out + complete.messages);
    const auto finding = checked.Find(GetParam().id);
    ASSERT_TRUE(finding.has_value());
    EXPECT_EQ(finding->at("complete"), GetParam().says);
    EXPECT_EQ(ErrorsOfTrack(complete, finding->at("track")).empty(), GetParam().says == std::string(kDelivered));
    EXPECT_EQ(complete.Has("pins-differ"), false);
  }
}

TEST(CheckComplete, HasACaseForEachErrorOfTheTable) {
  std::set<std::string> expected;
  for (const FindingCase& one : FindingCases()) {
    if (one.severity == std::string(kErrorOnly)) expected.insert(one.id);
  }
  std::set<std::string> tried;
  for (const OutlookCase& one : OutlookCases()) tried.insert(one.id);
  EXPECT_EQ(tried, expected);
}

TEST(CheckComplete, SaysNothingOfWhatIsNoLoss) {
  Plan plan;
  plan.duration = 420;
  plan.second.resize(1);
  plan.tracks.push_back(Track(2, 1, "V_AV1", {Video(320, 240)}));
  plan.indexedTime = 300;
  const Checked checked = Check(plan.File());
  ASSERT_FALSE(checked.Findings().empty());
  for (const auto& finding : checked.Findings()) EXPECT_TRUE(finding.at("complete").is_null()) << finding;
}

TEST(CheckComplete, TellsWhatIsDeliveredInPartOnly) {
  // The complete component takes the other Clusters, but of these the first has no key frame of the video track.
  Positions at;
  Plan plan;
  plan.first[0] = SimpleBlock(1, 0, 0, Ramp(40));
  plan.firstTime = 100;
  plan.more.emplace_back("late", Cluster(440, {SimpleBlock(1, 0, kKey, Ramp(21))}));
  plan.first.push_back(SimpleBlock(1, 60, kKey, Ramp(22)));
  Plan named = plan;
  named.seekEntries = {SeekEntry(0x1F43B675, 0)};
  (void)Layout(named.Parts(), at);
  plan.seekEntries = {SeekEntry(0x1F43B675, at["second"])};
  const Raw file = plan.File();
  for (const std::vector<std::string>& options : {std::vector<std::string>{}, {"--deep"}}) {
    const Checked checked = Check(file, options);
    const auto skipped = checked.Find("clusters-skipped");
    ASSERT_TRUE(skipped.has_value()) << checked.out;
    EXPECT_EQ(skipped->at("complete"), kInPart) << checked.out;
  }
  EXPECT_TRUE(CheckWithComplete(file).Has("key-frame-late"));
}

TEST(CheckComplete, IsAskedOfEveryOneOfManyFiles) {
  const Raw file = With([](Plan& plan) { plan.duration = 300; });
  const TemporaryFolder folder;
  const auto path = folder.Write("many.mkv", {reinterpret_cast<const char*>(file.data()), file.size()});
  std::vector<std::string> arguments(41, path.string());
  arguments.front() = "check";
  const std::string text = RunTool(folder, arguments).out;
  std::size_t told = 0;
  const std::string words = "; the complete component delivers it\n";
  for (std::size_t at = text.find(words); at != std::string::npos; at = text.find(words, at + 1)) ++told;
  EXPECT_EQ(told, 40u);
}

TEST(CheckComplete, IsToldInTheLineOfAdvice) {
  const auto text = [](const std::function<void(Plan&)>& change) {
    const Raw file = With(change);
    const TemporaryFolder folder;
    const auto path = folder.Write("advice.mkv", {reinterpret_cast<const char*>(file.data()), file.size()});
    return RunTool(folder, {"check", path.string()}).out;
  };
  EXPECT_THAT(text([](Plan& plan) { plan.duration = 300; }),
              testing::HasSubstr("; the complete component delivers it\n"));
  EXPECT_THAT(text([](Plan& plan) { plan.tracks = {Track(1, 18, "B_VOBBTN")}; }),
              testing::HasSubstr("; the complete component does not deliver it either\n"));
  EXPECT_EQ(text([](Plan& plan) { plan.duration = 420; }).find("complete component"), std::string::npos);
}

}  // namespace
}  // namespace vantor::tools::checking
