// `extract`, from its command line to the files that it leaves.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <vector>

#include "tools/extract_run.h"

namespace vantor::tools {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::StartsWith;

class Extract : public ExtractRun {};

TEST_F(Extract, WritesEveryPinAndTellsOfEachFile) {
  const Checked outcome = Run({"--all", Media("avc_aac.mkv")});
  EXPECT_EQ(outcome.status, 0);
  EXPECT_EQ(outcome.messages, "");
  EXPECT_THAT(Parts(), ElementsAre("avc_aac.1.h264", "avc_aac.2.aac"));
  EXPECT_THAT(outcome.out, HasSubstr("avc_aac.1.h264: pin 1, AVC, Annex B, 50 samples, "));
  EXPECT_THAT(outcome.out, HasSubstr("avc_aac.2.aac: pin 2, AAC, ADTS, 95 samples, "));
  EXPECT_THAT(Part("avc_aac.1.h264"), StartsWith(std::string("\0\0\0\1\x67", 5)));
  EXPECT_THAT(Part("avc_aac.2.aac"), StartsWith("\xFF\xF1"));
}

TEST_F(Extract, NamesFilesForLanguageAndTitle) {
  const Checked outcome = Run({"--pin", "2", "--pin", "3", Media("languages.mkv")});
  EXPECT_EQ(outcome.status, 0);
  EXPECT_THAT(Parts(), ElementsAre("languages.2.en.Stereo.ac3", "languages.3.de.aac"));
}

TEST_F(Extract, NamesFromTheFileStayInTheFolder) {
  Plan plan;
  plan.tracks = {Plan::Vp8(1, {test::Str(0x536E, "../../\x1b[31m/CON"), test::Str(0x22B59C, "../x")})};
  const auto path = folder_.Write("evil.mkv", [&] {
    const test::Raw bytes = plan.File();
    return std::string(bytes.begin(), bytes.end());
  }());
  EXPECT_EQ(Run({platform::FromPath(path)}).status, 0);
  EXPECT_THAT(Parts(), ElementsAre("evil.1._x._..__[31m_CON.ivf"));
}

TEST_F(Extract, TakesTheOnlyPinAndAsksWhereThereAreSeveral) {
  EXPECT_EQ(Run({Media("avc_block_groups.mkv")}).status, 0);
  EXPECT_THAT(Parts(), ElementsAre("avc_block_groups.1.h264"));
  ExpectRefused(Run({Media("avc_aac.mkv")}), 2, "--pin, --track or --all has to say which of several pins: 1 (AVC");
}

TEST_F(Extract, FindsThePinOfATrack) {
  EXPECT_EQ(Run({"--track", "2", Media("avc_aac.mkv")}).status, 0);
  EXPECT_THAT(Parts(), ElementsAre("avc_aac.2.aac"));
  ExpectRefused(Run({"--track", "9", Media("avc_aac.mkv")}), 2,
                "there is no track 9; the file has tracks 1 (pin 1, V_MPEG4/ISO/AVC), 2 (pin 2, A_AAC)\n");
  ExpectRefused(Run({"--pin", "3", Media("avc_aac.mkv")}), 2,
                "there is no pin 3; the file has pins 1 (AVC video 1), 2 (AAC audio 1)\n");
  ExpectRefused(Run({"--pin", "0", Media("avc_aac.mkv")}), 2, "there is no pin 0; the file has pins 1 (AVC");
}

TEST_F(Extract, ATrackWithoutAPinIsSaidSoWithTheReasonAndWhatThereIs) {
  Plan plan;
  plan.tracks.push_back(test::Track(7, 1, "V_UNKNOWN", {test::Video(320, 240)}));
  const std::string tracks = "; the file has tracks 1 (pin 1, V_VP8), 7 (no pin, V_UNKNOWN)\n";
  ExpectRefused(RunOn(plan.File(), {"--track", "7"}), 2,
                "track 7: no pin: its codec V_UNKNOWN is not supported for a track of video" + tracks);
  ExpectRefused(RunOn(plan.File(), {"--track", "2"}), 2, "there is no track 2" + tracks);
  plan.tracks.erase(plan.tracks.begin());
  ExpectRefused(RunOn(plan.File(), {"--pin", "1"}), 1,
                "the filter has no pins for it; the file has tracks 7 (no pin, V_UNKNOWN)\n");
}

TEST_F(Extract, OfManyTracksAndPinsTheFirstAreNamed) {
  Plan plan;
  plan.tracks.front() = Plan::Vp8(1, {test::Str(0x536E, std::string(120, 'n'))});
  for (std::uint64_t number = 2; number <= 120; ++number) {
    plan.tracks.push_back(test::Track(number, 1, std::string(200, 'X'), {}));
  }
  const Checked track = RunOn(plan.File(), {"--track", "121"});
  ExpectRefused(track, 2,
                "the file has tracks 1 (pin 1, V_VP8), 2 (no pin, " + std::string(40, 'X') + ") and 118 more\n");
  const Checked pin = RunOn(plan.File(), {"--pin", "2"});
  ExpectRefused(pin, 2, "there is no pin 2; the file has pins 1 (");
  EXPECT_LT(pin.messages.size(), Path("made.mkv").size() + 120);
}

TEST_F(Extract, OverwritesOnlyByForce) {
  folder_.Write("parts/avc_aac.2.aac", "mine");
  ExpectRefused(Run({"--all", Media("avc_aac.mkv")}), 2, "avc_aac.2.aac: exists already; --force overwrites it");
  EXPECT_THAT(Parts(), ElementsAre("avc_aac.2.aac")) << "neither is the other written";
  EXPECT_EQ(Part("avc_aac.2.aac"), "mine");
  EXPECT_EQ(Run({"--all", "--force", Media("avc_aac.mkv")}).status, 0);
  EXPECT_THAT(Part("avc_aac.2.aac"), StartsWith("\xFF\xF1"));
}

TEST_F(Extract, NeverOverwritesTheFileThatItReads) {
  std::filesystem::copy_file(Media("avc_block_groups.mkv"), folder_ / "parts" / "a.mkv");
  const std::string before = Part("a.mkv");
  ExpectRefused(Run({"--force", "-o", Path("parts/a.mkv"), Path("parts/a.mkv")}), 2, "is the file that is read");
  EXPECT_TRUE(Part("a.mkv") == before);
}

TEST_F(Extract, NamesTheSecondFileWhereThatIsTheOneThatItReads) {
  std::filesystem::copy_file(Media("theora.mkv"), folder_ / "parts" / "a.json");
  ExpectRefused(Run({"--raw", "--force", "-o", Path("parts/a.bin"), Path("parts/a.json")}), 2,
                "a.json: is the file that is read");
  EXPECT_THAT(Parts(), ElementsAre("a.json"));
}

TEST_F(Extract, MakesTheFolderAndItsParents) {
  const Checked outcome = RunTool(folder_, {"extract", "-d", Path("new/er"), Media("avc_block_groups.mkv")});
  EXPECT_EQ(outcome.status, 0) << outcome.messages;
  EXPECT_TRUE(std::filesystem::exists(folder_ / "new" / "er" / "avc_block_groups.1.h264"));
}

TEST_F(Extract, LeavesNoFolderThatNothingWasWrittenInto) {
  const auto extract = [&](const std::vector<std::string>& more) {
    std::vector<std::string> arguments = {"extract", "--all", "-d", Path("new/er")};
    arguments.insert(arguments.end(), more.begin(), more.end());
    return RunTool(folder_, arguments);
  };
  EXPECT_EQ(extract({Media("theora.mkv")}).status, 1);
  EXPECT_FALSE(std::filesystem::exists(folder_ / "new"));
  const auto stream = test::ToyStream('i', 2, 3);
  const auto toy = folder_.Write("toy", std::string(stream.begin(), stream.end()));
  EXPECT_EQ(extract({"--raw", "--component", VANTOR_TOY_COMPONENT, platform::FromPath(toy)}).status, 130);
  EXPECT_FALSE(std::filesystem::exists(folder_ / "new"));
}

TEST_F(Extract, SaysWhyTheFolderCannotBeMade) {
  folder_.Write("file", "");
  ExpectRefused(RunTool(folder_, {"extract", "-d", Path("file/er"), Media("avc_block_groups.mkv")}), 2,
                "er: cannot make the folder: " + Path("file") + " is there and is no folder\n");
}

TEST_F(Extract, LongNamesKeepWhatTellsThePinsApart) {
  const std::string name = std::string(220, 'x') + ".mkv";
  std::filesystem::copy_file(Media("avc_aac.mkv"), folder_ / name);
  EXPECT_EQ(Run({"--all", Path(name)}).status, 0);
  EXPECT_THAT(Parts(), ElementsAre(std::string(193, 'x') + ".1.h264", std::string(194, 'x') + ".2.aac"));
}

TEST_F(Extract, TakesThePartThatIsAskedFor) {
  const Checked whole = Run({"--pin", "2", Media("avc_aac.mkv")});
  const Checked outcome =
      Run({"--pin", "2", "--from", "1", "--to", "1.5", "-o", Path("part.aac"), Media("avc_aac.mkv")});
  EXPECT_EQ(outcome.status, 0);
  EXPECT_EQ(outcome.messages, "");
  const std::string part = Slurp(folder_ / "part.aac");
  const std::size_t at = Part("avc_aac.2.aac").find(part);
  EXPECT_NE(at, std::string::npos);
  EXPECT_GT(at, 0U);
  EXPECT_LT(part.size(), Part("avc_aac.2.aac").size() / 2);
}

TEST_F(Extract, WhatHasNoFormIsLeftOutAndSaidSo) {
  const Checked outcome = Run({"--all", Media("theora.mkv")});
  ExpectRefused(outcome, 1, "pin 1 (THEORA video 1) has no form that players open; --raw");
  EXPECT_THAT(Parts(), IsEmpty());
}

TEST_F(Extract, RawSamplesHaveAnIndexBesideThem) {
  const Checked outcome = Run({"--raw", Media("theora.mkv")});
  EXPECT_EQ(outcome.status, 0);
  EXPECT_THAT(Parts(), ElementsAre("theora.1.bin", "theora.1.json"));
  const auto index = nlohmann::json::parse(Part("theora.1.json"));
  EXPECT_EQ(index.at("schema_version"), 1);
  EXPECT_EQ(index.at("samples").size(), 50U);
  const auto& last = index.at("samples").back();
  EXPECT_EQ(last.at("offset").get<std::size_t>() + last.at("size").get<std::size_t>(), Part("theora.1.bin").size());
  ExpectRefused(Run({"--raw", "-o", "-", Media("theora.mkv")}), 2, "raw samples has a second file, .json");
}

TEST_F(Extract, SaysWhatTheAnnouncedEndCutsOff) {
  const Checked outcome = Run({"--all", Media("avc_no_cues.mkv")});
  EXPECT_EQ(outcome.status, 0);
  EXPECT_THAT(outcome.messages,
              HasSubstr("warning: track 2: playing ends at 0:00:01.877, before the track does; 6 of 95"));
  EXPECT_EQ(Run({"--force", "--pin", "1", Media("avc_no_cues.mkv")}).messages, "") << "it is another track's";
}

TEST_F(Extract, RefusesAFolderThatIsNotThereAndOneFileForSeveralPins) {
  ExpectRefused(Run({"-o", Path("missing/a.h264"), Media("avc_block_groups.mkv")}), 2,
                "a.h264: there is no folder " + Path("missing") + "\n");
  ExpectRefused(Run({"--all", "-o", Path("a"), Media("avc_aac.mkv")}), 2, "-o names one file, and 2 pins are chosen");
}

TEST_F(Extract, LeavesNothingWhenTheFilterDoesNotRun) {
  ExpectRefused(RunToy('f', 1, 1), 1, "does not run");
  EXPECT_THAT(Parts(), IsEmpty());
}

TEST_F(Extract, AnInterruptLeavesNothing) {
  ExpectRefused(RunToy('i', 2, 3), 130, "interrupted");
  EXPECT_THAT(Parts(), IsEmpty());
}

TEST_F(Extract, KeepsWhatCameWhenTheFilterLostFrames) {
  const Checked outcome = RunToy('l', 1, 3);
  EXPECT_EQ(outcome.status, 1);
  EXPECT_THAT(outcome.messages, HasSubstr("lost 2 frames"));
  EXPECT_THAT(Parts(), ElementsAre("toy.1.bin", "toy.1.json"));
}

#if !defined(_WIN32)

TEST_F(Extract, AFullDiskGivesTheReason) {
  ExpectRefused(Run({"-o", "/dev/full", Media("avc_block_groups.mkv")}), 2, "/dev/full: No space left on device");
}

#endif

}  // namespace
}  // namespace vantor::tools
