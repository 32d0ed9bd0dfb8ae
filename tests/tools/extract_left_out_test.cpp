// What `extract` does not write, and what it says of that.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "tools/extract_run.h"
#include "tools/finding_cases.h"

namespace vantor::tools {
namespace {

using testing::AllOf;
using testing::ElementsAre;
using testing::EndsWith;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;

class ExtractLeavesOut : public ExtractRun {
 protected:
  static test::Raw Encoded(const test::Raw& encoding) { return checking::WithTrack(Plan::Vp8(1, {encoding})); }
};

constexpr std::uint64_t kOfFrames = 1;

TEST_F(ExtractLeavesOut, CompressedPacketsWithTheirReason) {
  ExpectRefused(RunOn(Encoded(checking::ZlibOf(kOfFrames)), {"--all"}), 1,
                "pin 1 (VP8 video 1) has no form that players open: its packets are compressed in a way that is not "
                "undone; they come out as they are; --raw");
  EXPECT_THAT(Parts(), IsEmpty());
}

TEST_F(ExtractLeavesOut, EncryptedPacketsWithTheirReason) {
  ExpectRefused(RunOn(Encoded(checking::EncryptionOf(kOfFrames)), {"--pin", "1"}), 1,
                "has no form that players open: its packets are encrypted and come out as they are; --raw");
  EXPECT_THAT(Parts(), IsEmpty());
}

TEST_F(ExtractLeavesOut, NothingOfEncodedPacketsWhenRawSamplesAreAskedFor) {
  const Checked outcome = RunOn(Encoded(checking::EncryptionOf(kOfFrames)), {"--all", "--raw"});
  EXPECT_EQ(outcome.status, 0);
  EXPECT_THAT(outcome.messages, HasSubstr("warning: track 1: its packets are encrypted and come out as they are"));
  EXPECT_THAT(Parts(), ElementsAre("made.1.bin", "made.1.json"));
  EXPECT_EQ(Part("made.1.bin").size(), 40U + 30U + 41U + 31U);
}

TEST_F(ExtractLeavesOut, PicturesOfVobSubThatStayCompressed) {
  const auto withVobSub = [](const std::vector<test::Raw>& encoding) {
    std::vector<test::Raw> children = {test::Str(0x63A2, "size: 720x576\npalette: 000000, 828282\n")};
    children.insert(children.end(), encoding.begin(), encoding.end());
    Plan plan;
    plan.tracks.push_back(test::Track(2, 17, "S_VOBSUB", children));
    plan.first.push_back(test::SimpleBlock(2, 0, test::kKey, test::Ramp(50)));
    return plan.File();
  };
  EXPECT_EQ(RunOn(withVobSub({}), {"--track", "2"}).status, 0);
  EXPECT_THAT(Parts(), ElementsAre(EndsWith(".idx"), EndsWith(".sub")));
  EXPECT_THAT(RunOn(withVobSub({checking::ZlibOf(kOfFrames)}), {"--track", "2", "--force"}).messages,
              AllOf(HasSubstr("has no form that players open: its packets are compressed")));
}

TEST_F(ExtractLeavesOut, TracksWithoutAPinAndNamesEachWhereAllAreWanted) {
  Plan plan;
  plan.tracks.push_back(test::Track(7, 1, "V_UNKNOWN", {test::Video(320, 240)}));
  plan.tracks.push_back(test::Track(8, 0x12, "B_VOBBTN"));
  const Checked outcome = RunOn(plan.File(), {"--all"});
  EXPECT_EQ(outcome.status, 1);
  EXPECT_THAT(outcome.messages,
              AllOf(HasSubstr("track 7: no pin: its codec V_UNKNOWN is not supported for a track of video\n"),
                    HasSubstr("track 8: no pin: a track of type 18 is neither video, audio nor subtitles\n")));
  EXPECT_THAT(Parts(), ElementsAre("made.1.ivf")) << "the others are written";
}

TEST_F(ExtractLeavesOut, TracksWithoutAPinSilentlyWhereOthersAreWanted) {
  Plan plan;
  plan.tracks.push_back(test::Track(7, 1, "V_UNKNOWN", {test::Video(320, 240)}));
  const Checked outcome = RunOn(plan.File(), {"--pin", "1"});
  EXPECT_EQ(outcome.status, 0);
  EXPECT_EQ(outcome.messages, "");
}

TEST_F(ExtractLeavesOut, AllOfAFileWithoutPinsTrackByTrack) {
  const Checked outcome =
      RunOn(checking::WithTrack(test::Track(1, 1, "V_UNKNOWN", {test::Video(320, 240)})), {"--all"});
  EXPECT_EQ(outcome.status, 1);
  EXPECT_THAT(outcome.messages, AllOf(HasSubstr("track 1: no pin: its codec V_UNKNOWN"), HasSubstr("has no pins")));
}

TEST_F(ExtractLeavesOut, TracksWhoseEntriesAreNotRead) {
  Plan plan;
  plan.more = {test::Part(test::Tracks({Plan::Mp3(2)}))};
  plan.second.push_back(test::SimpleBlock(2, 0, test::kKey, test::Ramp(20)));
  const Checked outcome = RunOn(plan.File(), {"--all"});
  EXPECT_EQ(outcome.status, 1);
  EXPECT_THAT(outcome.messages, HasSubstr("track 2: no pin: its entry stands where the filter does not look for it"));
  EXPECT_THAT(outcome.messages, Not(HasSubstr("warning")));
  EXPECT_THAT(Parts(), ElementsAre("made.1.ivf"));
}

}  // namespace
}  // namespace vantor::tools
