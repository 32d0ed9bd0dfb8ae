// Runs `check` on bytes in this process, and reads what it prints.
//
//   const Checked checked = Check(file, {"--deep"});
//   EXPECT_TRUE(checked.Has("codec-unsupported"));
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <fstream>
#include <nlohmann/json.hpp>
#include <optional>
#include <sstream>
#include <string>
#include <vector>

#include "support/mkv_builder.h"
#include "support/temporary_folder.h"
#include "tools/commands.h"

namespace vantor::tools {

struct Checked {
  int status = -1;
  std::string out;
  std::string messages;

  // The findings of the file, when it was one and --json was given.
  nlohmann::json Findings() const {
    if (out.empty()) return nlohmann::json::array();
    return nlohmann::json::parse(out).at("findings");
  }
  // The first finding of that identifier.
  std::optional<nlohmann::json> Find(const std::string& id) const {
    for (const auto& finding : Findings()) {
      if (finding.at("id") == id) return finding;
    }
    return std::nullopt;
  }
  bool Has(const std::string& id) const { return Find(id).has_value(); }
  std::vector<std::string> Ids(const std::string& severity) const {
    std::vector<std::string> ids;
    for (const auto& finding : Findings()) {
      if (finding.at("severity") == severity) ids.push_back(finding.at("id"));
    }
    return ids;
  }
};

inline std::string Slurp(const std::filesystem::path& path) {
  std::ifstream file(path, std::ios::binary);
  std::ostringstream text;
  text << file.rdbuf();
  return text.str();
}

// The tool in this process, with these arguments behind its name, and the real component if they name no other.
inline Checked RunTool(const test::TemporaryFolder& folder, std::vector<std::string> arguments) {
  if (std::find(arguments.begin(), arguments.end(), "--component") == arguments.end()) {
    arguments.insert(arguments.begin(), {"--component", VANTOR_COMPONENT});
  }
  arguments.insert(arguments.begin(), "vantor-mkv");
  const std::string outPath = (folder / "out").string();
  const std::string messagesPath = (folder / "messages").string();
  std::FILE* const out = std::fopen(outPath.c_str(), "wb");
  std::FILE* const messages = std::fopen(messagesPath.c_str(), "wb");
  Checked checked;
  checked.status = Main(arguments, out, messages);
  std::fclose(out);
  std::fclose(messages);
  checked.out = Slurp(outPath);
  checked.messages = Slurp(messagesPath);
  return checked;
}

inline Checked CheckPath(const test::TemporaryFolder& folder, const std::string& path,
                         const std::vector<std::string>& options = {}) {
  std::vector<std::string> arguments = {"check", "--json"};
  arguments.insert(arguments.end(), options.begin(), options.end());
  arguments.push_back(path);
  return RunTool(folder, arguments);
}

inline Checked Check(const test::Raw& bytes, const std::vector<std::string>& options = {}) {
  const test::TemporaryFolder folder;
  const auto path = folder.Write("checked.mkv", {reinterpret_cast<const char*>(bytes.data()), bytes.size()});
  return CheckPath(folder, path.string(), options);
}

// A file with nothing to find, and how to make it another one.
struct Plan {
  std::vector<test::Raw> tracks = {Vp8(1)};
  std::vector<test::Raw> first = {test::SimpleBlock(1, 0, test::kKey, test::Ramp(40)),
                                  test::SimpleBlock(1, 40, 0, test::Ramp(30))};
  std::vector<test::Raw> second = {test::SimpleBlock(1, 0, test::kKey, test::Ramp(41)),
                                   test::SimpleBlock(1, 40, 0, test::Ramp(31))};
  std::uint64_t firstTime = 0;
  std::uint64_t secondTime = 400;
  std::uint64_t indexedTime = 400;  // of the second entry
  double duration = 480;
  std::vector<test::Raw> info = {};
  bool hasIndex = true;
  bool isIndexNamed = true;  // by the seek index
  std::vector<test::Raw> seekEntries = {};
  std::vector<test::Part> more = {};  // behind the Clusters
  bool isFirstEndless = false;

  static test::Raw Vp8(std::uint64_t number, const std::vector<test::Raw>& more = {}) {
    std::vector<test::Raw> children = {test::Video(320, 240), test::UInt(0x23E383, 40000000)};
    children.insert(children.end(), more.begin(), more.end());
    return test::Track(number, 1, "V_VP8", children);
  }
  static test::Raw Mp3(std::uint64_t number) { return test::Track(number, 2, "A_MPEG/L3", {test::Audio(48000, 2)}); }

  std::vector<test::Part> Parts() const {
    using test::Part;
    std::vector<Part> parts;
    parts.emplace_back([plan = *this](const test::Positions& at) {
      std::vector<test::Raw> entries = plan.seekEntries;
      entries.push_back(test::SeekEntry(0x1549A966, at["info"]));
      if (plan.hasIndex && plan.isIndexNamed) entries.push_back(test::SeekEntry(0x1C53BB6B, at["cues"]));
      return test::SeekHead(entries);
    });
    parts.emplace_back("info", test::Info(1000000, duration, info));
    parts.emplace_back("tracks", test::Tracks(tracks));
    parts.emplace_back("first", isFirstEndless ? test::UnknownSize(0x1F43B675, Timed(firstTime, first))
                                               : test::Cluster(firstTime, first));
    parts.emplace_back("second", test::Cluster(secondTime, second));
    if (hasIndex) {
      parts.emplace_back("cues", [plan = *this](const test::Positions& at) {
        return test::Cues(
            {test::CuePoint(plan.firstTime, 1, at["first"]), test::CuePoint(plan.indexedTime, 1, at["second"])});
      });
    }
    parts.insert(parts.end(), more.begin(), more.end());
    return parts;
  }
  test::Raw File() const { return test::MkvFile(Parts()); }

 private:
  static std::vector<test::Raw> Timed(std::uint64_t time, std::vector<test::Raw> blocks) {
    blocks.insert(blocks.begin(), test::UInt(0xE7, time));
    return blocks;
  }
};

}  // namespace vantor::tools
