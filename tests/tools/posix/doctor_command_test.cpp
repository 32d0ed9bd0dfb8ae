// `doctor` on a system without a registry.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <nlohmann/json.hpp>
#include <string>

#include "support/temporary_folder.h"
#include "tools/checked_file.h"

namespace vantor::tools {
namespace {

using testing::HasSubstr;

TEST(DoctorCommand, IsDoneWhereTheComponentsWork) {
  const test::TemporaryFolder folder;
  const Checked text = RunTool(folder, {"doctor"});
  EXPECT_EQ(text.status, kExitDone) << text.out;
  EXPECT_THAT(text.out, HasSubstr("This system has no registry"));
  EXPECT_LE(std::count(text.out.begin(), text.out.end(), '\n'), 24);
  const Checked answer = RunTool(folder, {"doctor", "--json"});
  const nlohmann::json object = nlohmann::json::parse(answer.out);
  EXPECT_EQ(object["graph"], nullptr);
  EXPECT_EQ(object["components"][0]["version"], object["version"]);
}

TEST(DoctorCommand, FailsWithoutAComponent) {
  const test::TemporaryFolder folder;
  const Checked told = RunTool(folder, {"doctor", "--component", (folder / "none.so").string()});
  EXPECT_EQ(told.status, kExitRefused);
  EXPECT_THAT(told.out, HasSubstr("component-missing"));
}

}  // namespace
}  // namespace vantor::tools
