// Where sound ends within its last packet, from the file to what is extracted of it.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "tools/extract_run.h"
#include "tools/ogg_reader.h"

namespace vantor::tools {
namespace {

constexpr std::int64_t kOpusPacketSounds = 960;  // 20 ms

class EndPadding : public ExtractRun {
 protected:
  static test::Raw Packet(int relative) {
    return test::SimpleBlock(1, relative, test::kKey, {0xFC, static_cast<std::uint8_t>(relative), 1});
  }
  static test::Raw PaddedPacket(int relative, std::uint64_t nanoseconds) {
    return test::BlockGroup({test::Block(1, relative, 0, {0xFC, static_cast<std::uint8_t>(relative), 1}),
                             test::UInt(0x75A2, nanoseconds, 4)});
  }
  static Plan Opus() {
    const test::Raw head = {'O', 'p', 'u', 's', 'H', 'e', 'a', 'd', 1, 2, 56, 1, 0x80, 0xBB, 0, 0, 0, 0, 0};
    Plan plan;
    plan.tracks = {test::Track(1, 2, "A_OPUS", {test::Audio(48000, 2), test::CodecPrivate(head)})};
    plan.first = {Packet(0), Packet(20)};
    plan.second = {Packet(0), Packet(20)};
    plan.secondTime = 40;
    plan.indexedTime = 40;
    plan.duration = 500;
    return plan;
  }
  // The end that the extracted file tells.
  std::int64_t EndOf(const Plan& plan, const std::vector<std::string>& more = {}) const {
    std::vector<std::string> arguments = {"--all", "--force"};
    arguments.insert(arguments.end(), more.begin(), more.end());
    const Checked outcome = RunOn(plan.File(), arguments);
    EXPECT_EQ(outcome.status, 0) << outcome.messages;
    const std::string bytes = Part("made.1.opus");
    return ReadOggPages(ByteList(bytes.begin(), bytes.end())).back().position;
  }
};

TEST_F(EndPadding, OfTheLastBlockIsCutOffToTheSound) {
  Plan plan = Opus();
  EXPECT_EQ(EndOf(plan), 4 * kOpusPacketSounds);
  plan.second.back() = PaddedPacket(20, 6'520'833);
  EXPECT_EQ(EndOf(plan), 4 * kOpusPacketSounds - 313);
}

TEST_F(EndPadding, OfAnEarlierBlockCutsNothing) {
  Plan plan = Opus();
  plan.second.front() = PaddedPacket(0, 6'500'000);
  EXPECT_EQ(EndOf(plan), 4 * kOpusPacketSounds);
}

TEST_F(EndPadding, OfAnotherTrackCutsNothing) {
  Plan plan = Opus();
  plan.tracks.push_back(Plan::Mp3(2));
  plan.second.push_back(test::BlockGroup({test::Block(2, 20, 0, test::Ramp(20)), test::UInt(0x75A2, 6'500'000, 4)}));
  EXPECT_EQ(EndOf(plan), 4 * kOpusPacketSounds);
}

TEST_F(EndPadding, BehindThePartThatIsAskedForCutsNothing) {
  Plan plan = Opus();
  plan.second.back() = PaddedPacket(20, 6'500'000);
  EXPECT_EQ(EndOf(plan, {"--to", "0.03"}), 3 * kOpusPacketSounds);
}

}  // namespace
}  // namespace vantor::tools
