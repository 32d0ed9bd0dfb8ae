// Runs `extract` in this process, into a folder that goes with the test.
//
//   class Extract : public ExtractRun {};
//   TEST_F(Extract, TakesTheOnlyPin) { EXPECT_EQ(Run({Media("avc_block_groups.mkv")}).status, 0); }
#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <string>
#include <vector>

#include "host/fake_splitter.h"
#include "platform/file_path.h"
#include "tools/checked_file.h"

namespace vantor::tools {

class ExtractRun : public testing::Test {
 protected:
  ExtractRun() { std::filesystem::create_directory(folder_ / "parts"); }

  // With the arguments behind the command, into the folder "parts" unless they say where.
  Checked Run(std::vector<std::string> arguments) const {
    if (std::find(arguments.begin(), arguments.end(), "-o") == arguments.end()) {
      arguments.insert(arguments.end(), {"-d", Path("parts")});
    }
    arguments.insert(arguments.begin(), "extract");
    return RunTool(folder_, arguments);
  }
  // The same with a file of these bytes.
  Checked RunOn(const test::Raw& bytes, std::vector<std::string> arguments) const {
    const auto path = folder_.Write("made.mkv", std::string(bytes.begin(), bytes.end()));
    arguments.push_back(platform::FromPath(path));
    return Run(std::move(arguments));
  }
  Checked RunToy(char mode, int pins, int frames) const {
    const auto stream = test::ToyStream(mode, pins, frames);
    const auto path = folder_.Write("toy", std::string(stream.begin(), stream.end()));
    return Run({"--component", VANTOR_TOY_COMPONENT, "--all", "--raw", platform::FromPath(path)});
  }
  std::string Path(const std::string& name) const { return platform::FromPath(folder_ / name); }
  static std::string Media(const std::string& name) { return VANTOR_TEST_MEDIA "/" + name; }
  // What is in the folder "parts", hidden files included.
  std::vector<std::string> Parts() const {
    std::vector<std::string> names;
    for (const auto& entry : std::filesystem::directory_iterator(folder_ / "parts")) {
      names.push_back(platform::FromPath(entry.path().filename()));
    }
    std::sort(names.begin(), names.end());
    return names;
  }
  std::string Part(const std::string& name) const { return Slurp(folder_ / "parts" / name); }

  const test::TemporaryFolder folder_;
};

inline void ExpectRefused(const Checked& outcome, int status, const std::string& part) {
  EXPECT_EQ(outcome.status, status);
  EXPECT_EQ(outcome.out, "");
  EXPECT_THAT(outcome.messages, testing::StartsWith("vantor-mkv: "));
  EXPECT_THAT(outcome.messages, testing::HasSubstr(part));
  EXPECT_EQ(outcome.messages.find('\n'), outcome.messages.size() - 1) << outcome.messages;
}

}  // namespace vantor::tools
