// What `check` finds: a file for each finding, and a page that explains them.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <set>

#include "tools/check/findings.h"
#include "tools/finding_cases.h"

namespace vantor::tools::checking {
namespace {

using namespace vantor::test;  // NOLINT(google-build-using-namespace): the builders
using testing::HasSubstr;
using testing::IsEmpty;

class EveryFinding : public testing::TestWithParam<FindingCase> {};

INSTANTIATE_TEST_SUITE_P(Check, EveryFinding, testing::ValuesIn(FindingCases()), [](const auto& tested) {
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
  std::set<std::string> tried = {// By other components, below; by a file of 256 MiB; where the headers tell nothing.
                                 "unreadable",  "component-refuses", "pins-differ",     "refused",
                                 "frames-lost", "filter-error",      "frame-too-large", "packets-lost"};
  for (const FindingCase& one : FindingCases()) EXPECT_TRUE(tried.insert(one.id).second) << one.id;
  for (std::size_t i = 0; i < kFindingKinds; ++i) {
    const FindingRow& row = RowOf(static_cast<FindingKind>(i));
    EXPECT_EQ(row.kind, static_cast<FindingKind>(i)) << row.id;
    EXPECT_EQ(tried.erase(row.id), 1U) << row.id;
  }
  EXPECT_THAT(tried, IsEmpty());
}

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
