// A file of many empty frames gives a listing that is hundreds of times as long as itself, in memory that does not grow
// with it.
#include <gtest/gtest.h>

#include <cstdio>
#include <fstream>
#include <string>

#include "platform/file_path.h"
#include "support/allocation_monitor.h"
#include "tools/checked_file.h"

namespace vantor::tools {
namespace {

constexpr std::size_t kFramesOfALace = 255;

struct ListingCost {
  std::size_t length = 0;  // of the file
  std::size_t lines = 0;
  std::size_t memory = 0;  // at once, while it was listed
};

ListingCost ListEmptyFrames(std::size_t blocks) {
  const test::TemporaryFolder folder;
  ListingCost cost;
  const std::string out = platform::FromPath(folder / "out");
  {
    Plan plan;
    plan.tracks = {Plan::Mp3(1)};
    plan.first.assign(blocks, test::SimpleBlock(1, 0, test::kKey | test::kFixed, {kFramesOfALace - 1}));
    const test::Raw bytes = plan.File();
    cost.length = bytes.size();
    folder.Write("empty.mkv", {reinterpret_cast<const char*>(bytes.data()), bytes.size()});
  }
  std::FILE* const listing = std::fopen(out.c_str(), "wb");
  std::FILE* const messages = std::fopen(platform::FromPath(folder / "messages").c_str(), "wb");
  test::ResetPeakBytes();
  const std::size_t before = test::LiveBytes();
  EXPECT_EQ(Main({"vantor-mkv", "samples", "--component", VANTOR_COMPONENT, platform::FromPath(folder / "empty.mkv")},
                 listing, messages),
            kExitDone);
  cost.memory = test::PeakBytes() - before;
  EXPECT_EQ(std::ftell(messages), 0);
  std::fclose(messages);
  std::fclose(listing);
  std::ifstream lines(out, std::ios::binary);
  for (std::string line; std::getline(lines, line);) ++cost.lines;
  return cost;
}

TEST(LongListing, NeedsNoMoreMemoryThanAShortOne) {
  if (!test::WatchesAllocations()) GTEST_SKIP();
  constexpr std::size_t kBlocks = 80;
  constexpr std::size_t kTimes = 3;
  const ListingCost shorter = ListEmptyFrames(kBlocks);
  const ListingCost longer = ListEmptyFrames(kBlocks * kTimes);
  EXPECT_GT(shorter.lines, kBlocks * kFramesOfALace);
  EXPECT_GT(longer.lines, kBlocks * kTimes * kFramesOfALace);
  // The file itself is mapped; a few words are kept for each piece of the listing that went out of memory.
  EXPECT_LE(longer.memory, shorter.memory + longer.length + 4096);
  EXPECT_LE(longer.memory, std::size_t{1} << 20);
}

}  // namespace
}  // namespace vantor::tools
