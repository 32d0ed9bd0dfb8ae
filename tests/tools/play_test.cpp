// What `play`, `info` and `samples` say beside what they show: damage, and seeks that settle elsewhere.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tools/checked_file.h"
#include "tools/play_range.h"

namespace vantor::tools::checking {
namespace {

using namespace vantor::test;  // NOLINT(google-build-using-namespace): the builders
using testing::EndsWith;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;

class Said : public testing::Test {
 protected:
  // What the tool says of a file of these bytes, without the program's and the file's names.
  std::vector<std::string> Warnings(std::vector<std::string> command, const Raw& bytes) {
    const auto path = folder_.Write("said.mkv", {reinterpret_cast<const char*>(bytes.data()), bytes.size()}).string();
    command.push_back(path);
    ran_ = RunTool(folder_, command);
    EXPECT_EQ(ran_.status, kExitDone) << ran_.messages;
    const std::string front = "vantor-mkv: " + path + ": warning: ";
    std::vector<std::string> warnings;
    std::istringstream lines(ran_.messages);
    for (std::string line; std::getline(lines, line);) {
      EXPECT_TRUE(line.starts_with(front)) << line;
      warnings.push_back(line.substr(std::min(front.size(), line.size())));
    }
    return warnings;
  }

  const TemporaryFolder folder_;
  Checked ran_;
};

// Bytes of no element, which the scan behind them gets over.
Raw Garbage() { return Raw(40, 0); }

// The file with those bytes between the elements, the place of which is given.
Raw WithGarbage(std::size_t behind, std::uint64_t& position) {
  std::vector<Part> parts = Plan().Parts();
  parts.insert(parts.begin() + static_cast<std::ptrdiff_t>(behind), Part("garbage", Garbage()));
  Positions at;
  const Raw file = MkvFile(parts);
  position = file.size() - Layout(parts, at).size() + at["garbage"];
  return file;
}

constexpr const char* kMore = "; vantor-mkv check FILE tells more";

TEST_F(Said, DamageBetweenClustersIsToldAfterPlaying) {
  std::uint64_t position = 0;
  const Raw file = WithGarbage(4, position);
  EXPECT_THAT(Warnings({"play"}, file), testing::ElementsAre("byte " + std::to_string(position) +
                                                             ": 1 place is damaged; 40 bytes are passed over" + kMore));
  EXPECT_THAT(Warnings({"play", "--to", "0.1"}, file), IsEmpty()) << "the end was asked for";
  EXPECT_THAT(Warnings({"play"}, Plan().File()), IsEmpty());
}

TEST_F(Said, DamagedBlocksAreToldAfterPlaying) {
  Plan plan;
  plan.second.push_back(SimpleBlock(1, 60, kXiph, {1, 200, 1, 2, 3}));
  const std::vector<std::string> warnings = Warnings({"play"}, plan.File());
  ASSERT_EQ(warnings.size(), 1U);
  EXPECT_THAT(warnings[0], testing::AllOf(testing::StartsWith("byte "),
                                          testing::HasSubstr(": 1 block is damaged and passed over; ")));
  EXPECT_THAT(warnings[0], EndsWith(kMore));
}

TEST_F(Said, TheGravestLossAndTheDamageAreBothToldAfterPlaying) {
  Plan plan;
  plan.duration = 300;
  plan.more.emplace_back(Join({Garbage(), Cues({})}));
  const std::vector<std::string> warnings = Warnings({"play"}, plan.File());
  ASSERT_EQ(warnings.size(), 2U);
  EXPECT_THAT(warnings[0], HasSubstr("playing ends at 0:00:00.300, before the track does"));
  EXPECT_THAT(warnings[0], Not(HasSubstr("vantor-mkv check")));
  EXPECT_THAT(warnings[1], HasSubstr("1 place is damaged"));
  EXPECT_THAT(warnings[1], EndsWith(kMore));
}

TEST_F(Said, AFileThatIsCutShortIsToldOnceAndWithItsPlace) {
  Raw file = Plan().File();
  file.resize(file.size() - 3);
  const std::string cut =
      "the file is truncated at byte " + std::to_string(file.size()) + ": 3 bytes of its Segment are missing" + kMore;
  EXPECT_THAT(Warnings({"info"}, file), testing::ElementsAre(cut));
  EXPECT_THAT(Warnings({"play"}, file), testing::ElementsAre(cut));
}

TEST_F(Said, AFileOfUnknownSizeThatIsCutShortIsToldAfterPlaying) {
  Plan plan;
  plan.hasIndex = false;
  Raw file = Join({EbmlHeader(), UnknownSizeSegment(plan.Parts())});
  file.resize(file.size() - 3);
  const std::vector<std::string> warnings = Warnings({"play"}, file);
  ASSERT_EQ(warnings.size(), 1U) << "and no damage";
  EXPECT_THAT(warnings.back(),
              testing::AllOf(testing::StartsWith("byte "), testing::HasSubstr(": the file is cut short: ")));
  EXPECT_THAT(warnings.back(), EndsWith(kMore));
}

TEST_F(Said, DamageInFrontOfTheClustersIsAFindingOfInfo) {
  std::uint64_t position = 0;
  const Raw file = WithGarbage(2, position);
  EXPECT_THAT(Warnings({"info"}, file), IsEmpty());
  EXPECT_THAT(ran_.out, HasSubstr("\n  warning  damage: byte " + std::to_string(position) +
                                  ": at least 1 place is damaged; at least 40 bytes are passed over\n"));
  (void)Warnings({"info", "--json"}, file);
  EXPECT_TRUE(ran_.Has("damage"));
  (void)Warnings({"info"}, Plan().File());
  EXPECT_THAT(ran_.out, Not(HasSubstr("damage")));
}

TEST_F(Said, APartBehindTheEndIsNotSaidToBePlayedFromThere) {
  const std::string moved = "1:00:00.000 lies behind the end, 0:00:00.480; ";
  EXPECT_THAT(Warnings({"play", "--from", "1:00:00"}, Plan().File()),
              testing::ElementsAre(moved + "playing from the last entry of the index on"));
  EXPECT_THAT(ran_.out, HasSubstr("0:00:00.400")) << "which is there";
  EXPECT_THAT(Warnings({"samples", "--seek", "36000000000"}, Plan().File()),
              testing::ElementsAre(moved + "listing from the last entry of the index on"));
  EXPECT_THAT(Warnings({"samples", "--seek", "4000000"}, Plan().File()), IsEmpty());
}

TEST(MovedText, TellsAFileThatCannotBeSoughtFromAnEnd) {
  EXPECT_EQ(MovedText(20000000, 20000000, 30000000, "playing"), "");
  EXPECT_EQ(MovedText(20000000, 0, 30000000, "playing"), "cannot seek to 0:00:02.000; playing from 0:00:00.000");
  EXPECT_THAT(MovedText(40000000, 30000000, 30000000, "playing"), HasSubstr("behind the end, 0:00:03.000"));
}

}  // namespace
}  // namespace vantor::tools::checking
