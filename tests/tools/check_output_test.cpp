// How `check` tells what it found.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tools/checked_file.h"

namespace vantor::tools::checking {
namespace {

using namespace vantor::test;  // NOLINT(google-build-using-namespace): the builders
using nlohmann::json;
using testing::HasSubstr;

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
  EXPECT_THAT(keys, testing::ElementsAre("id", "severity", "position", "track", "text", "advice", "complete"));
  EXPECT_TRUE(objects[1].at("findings").at(0).at("position").is_null());
  EXPECT_EQ(objects[1].at("schema_version"), 1);
  EXPECT_EQ(checked.status, 1);
}

TEST(CheckOutput, IsAnObjectOfAFileThatCannotBeReadToo) {
  const TemporaryFolder folder;
  const std::string missing = (folder / "missing.mkv").string();
  const Checked checked = CheckPath(folder, missing);
  EXPECT_EQ(checked.status, 2);
  EXPECT_EQ(checked.messages, "vantor-mkv: " + missing + ": no such file\n");
  ASSERT_EQ(checked.Ids("error"), std::vector<std::string>{"unreadable"}) << checked.out;
  EXPECT_EQ(checked.Find("unreadable")->at("text"), "the file is not checked: no such file");
  EXPECT_EQ(json::parse(checked.out).at("file"), missing);
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

}  // namespace
}  // namespace vantor::tools::checking
