// The whole of `check`, on every media file: an error exactly when a packet does not come out.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <set>

#include "tools/checked_file.h"

namespace vantor::tools::checking {
namespace {

using namespace vantor::test;  // NOLINT(google-build-using-namespace): the builders
using nlohmann::json;

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

// What the complete component is said to deliver it does.
void ExpectSamePromises(const Checked& plain, const Checked& deep) {
  for (const json& promised : plain.Findings()) {
    if (promised.at("complete") != "delivered") continue;
    for (const json& kept : deep.Findings()) {
      if (kept.at("id") == promised.at("id") && kept.at("track") == promised.at("track")) {
        EXPECT_EQ(kept.at("complete"), "delivered");
      }
    }
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
    ExpectSamePromises(plain, deep);
    EXPECT_EQ(plain.status, plain.Ids("error").empty() ? 0 : 1);
    EXPECT_EQ(deep.status, deep.Ids("error").empty() ? 0 : 1);
  }
}

}  // namespace
}  // namespace vantor::tools::checking
