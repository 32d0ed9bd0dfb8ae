// What the tool prints as JSON, held against the schema in the documents.
#include "tools/json_schema.h"

#include <gmock/gmock.h>

#include <limits>

#include "tools/checked_file.h"

namespace vantor::tools {
namespace {

using nlohmann::json;
using test::Raw;
using testing::IsEmpty;
using testing::SizeIs;

std::string TestMedia(const std::string& name) { return VANTOR_TEST_MEDIA "/" + name; }

// Every line by itself.
std::vector<std::string> LineErrors(const std::string& definition, const std::string& text) {
  std::vector<std::string> errors;
  std::istringstream lines(text);
  for (std::string line; std::getline(lines, line);) {
    const auto found = SchemaErrors(definition, json::parse(line));
    errors.insert(errors.end(), found.begin(), found.end());
  }
  return errors;
}

TEST(JsonSchemaTest, TheValidatorFindsEachKindOfFault) {
  const json schema = json::parse(R"({"$defs": {
      "thing": {"type": "object", "properties": {"a": {"type": ["integer", "null"], "minimum": 1},
                                                 "b": {"enum": ["x"]},
                                                 "c": {"type": "array", "items": {"$ref": "#/$defs/word"}},
                                                 "d": {"anyOf": [{"const": 1}, {"const": 2}]}},
                "required": ["a"], "additionalProperties": false},
      "word": {"type": "string", "pattern": "^[a-z]+$"},
      "odd": {"maximum": 3}}})");
  const auto errors = [&](const char* text) { return SchemaErrors(schema, "thing", json::parse(text)); };
  EXPECT_THAT(errors(R"({"a": 1, "b": "x", "c": ["ab"], "d": 2})"), IsEmpty());
  EXPECT_THAT(errors(R"({"a": null})"), IsEmpty());
  EXPECT_THAT(errors(R"({"a": 0})"), SizeIs(1));
  EXPECT_THAT(errors(R"({"a": "1"})"), SizeIs(1));
  EXPECT_THAT(errors(R"({"b": "x"})"), SizeIs(1));
  EXPECT_THAT(errors(R"({"a": 1, "b": "y"})"), SizeIs(1));
  EXPECT_THAT(errors(R"({"a": 1, "c": ["ab", "A", 2]})"), SizeIs(2));
  EXPECT_THAT(errors(R"({"a": 1, "d": 3})"), SizeIs(1));
  EXPECT_THAT(errors(R"({"a": 1, "e": 3})"), SizeIs(1));
  EXPECT_THAT(errors("[]"), SizeIs(1));
  EXPECT_THAT(SchemaErrors(schema, "odd", json(1)), SizeIs(1)) << "a keyword that is not known";
}

TEST(JsonSchemaTest, InfoOfEveryKindOfFileIsAsTheSchemaHasIt) {
  const test::TemporaryFolder folder;
  for (const char* name : {"avc_no_cues.mkv", "dts_ac3_eac3.mka", "subtitles.mks", "vfw_huffyuv.mkv", "languages.mkv",
                           "vorbis.mka", "vp8_vorbis_live.webm"}) {
    const Checked shown = RunTool(folder, {"info", "--json", "--chapters", "--tags", "--attachments", TestMedia(name)});
    EXPECT_THAT(SchemaErrors("info", json::parse(shown.out)), IsEmpty()) << name;
  }
}

TEST(JsonSchemaTest, ExtrasOfEveryKindAreAsTheSchemaHasThem) {
  const Raw name = test::Master(0x80, {test::Str(0x85, "a\xff"), test::Str(0x437E, "de")});
  const Raw inner = test::Master(0xB6, {test::UInt(0x73C4, 9), test::UInt(0x91, 5), test::UInt(0x92, 900), name});
  const Raw chapters = test::Master(
      0x1043A770,
      {test::Master(0x45B9, {test::UInt(0x45BC, ~std::uint64_t{0}), test::Master(0x4520, {test::Str(0x4521, "Cut")}),
                             test::Master(0xB6, {test::UInt(0x91, 0), inner})})});
  const Raw deep = test::Master(0x67C8, {test::Str(0x45A3, "B"), test::Bin(0x4485, {1, 2})});
  const Raw tags = test::Master(
      0x1254C367,
      {test::Master(0x7373,
                    {test::Master(0x63C0, {test::Str(0x63CA, "ALBUM"), test::UInt(0x63C5, 4), test::UInt(0x63C9, 5),
                                           test::UInt(0x63C4, 6), test::UInt(0x63C6, 7)}),
                     test::Master(0x67C8, {test::Str(0x45A3, "A"), test::Str(0x4487, "v\x80"), deep})})});
  const Raw attachments = test::Attachments(
      {test::Attachment("a", "b", {1}, {test::Str(0x467E, "c"), test::UInt(0x46AE, 3)}), test::Master(0x61A7, {})});
  Plan plan;
  plan.tracks = {
      test::Track(1, 1, "V_VP8",
                  {test::Video(320, 240, {test::UInt(0x54B0, 16), test::UInt(0x54BA, 9), test::UInt(0x54B2, 3)})}),
      test::Track(2, 2, "A_NONE",
                  {test::Audio(std::numeric_limits<double>::infinity(), 2, {test::Float8(0x78B5, 1)})})};
  plan.info = {test::SInt(0x4461, -1), test::Str(0x7BA9, "T\xc2")};
  for (const Raw& extra : {chapters, tags, attachments}) plan.more.emplace_back(extra);
  const Raw bytes = plan.File();
  const test::TemporaryFolder folder;
  const auto path = folder.Write("media.mkv", {reinterpret_cast<const char*>(bytes.data()), bytes.size()}).string();
  const json info = json::parse(RunTool(folder, {"info", "--json", "--chapters", "--tags", "--attachments", path}).out);
  EXPECT_THAT(SchemaErrors("info", info), IsEmpty());
  EXPECT_THAT(info.at("editions"), SizeIs(1));
  EXPECT_THAT(info.at("tags"), SizeIs(1));
  EXPECT_THAT(info.at("attached_files"), SizeIs(2));
  EXPECT_TRUE(info.at("tracks").at(0).contains("measured_frame_rate"));
  const json listed =
      json::parse(RunTool(folder, {"attachments", "--json", "--extract", "-d", (folder / "to").string(), path}).out);
  EXPECT_THAT(SchemaErrors("attachments", listed), IsEmpty());
}

TEST(JsonSchemaTest, FindingsAreAsTheSchemaHasThem) {
  const test::TemporaryFolder folder;
  const std::string empty = folder.Write("empty.mkv", "").string();
  const Checked checked = RunTool(folder, {"check", "--json", "--deep", TestMedia("avc_no_cues.mkv"),
                                           TestMedia("dts_ac3_eac3.mka"), TestMedia("vorbis.mka"), empty});
  EXPECT_THAT(LineErrors("check", checked.out), IsEmpty());
  EXPECT_EQ(std::count(checked.out.begin(), checked.out.end(), '\n'), 4);
}

TEST(JsonSchemaTest, WhatTheCompleteComponentMakesOfFilesIsAsTheSchemaHasIt) {
  const test::TemporaryFolder folder;
  const std::vector<std::string> component = {"--complete", "--component", VANTOR_COMPLETE_COMPONENT};
  const auto run = [&](std::vector<std::string> command) {
    command.insert(command.end(), component.begin(), component.end());
    return RunTool(folder, command);
  };
  const Checked checked = run({"check", "--json", TestMedia("avc_no_cues.mkv"), TestMedia("dts_ac3_eac3.mka")});
  EXPECT_EQ(checked.status, kExitDone) << checked.messages;
  EXPECT_THAT(LineErrors("check", checked.out), IsEmpty());
  EXPECT_THAT(LineErrors("samples", run({"samples", TestMedia("dts_ac3_eac3.mka")}).out), IsEmpty());
  EXPECT_THAT(SchemaErrors("info", json::parse(run({"info", "--json", TestMedia("languages.mkv")}).out)), IsEmpty());
  EXPECT_THAT(SchemaErrors("report", json::parse(run({"report", "--json", TestMedia("languages.mkv")}).out)),
              IsEmpty());
}

TEST(JsonSchemaTest, AFileWithoutAttachmentsHasAListOfNone) {
  const test::TemporaryFolder folder;
  const json listed = json::parse(RunTool(folder, {"attachments", "--json", TestMedia("avc_aac.mkv")}).out);
  EXPECT_THAT(SchemaErrors("attachments", listed), IsEmpty());
  EXPECT_THAT(listed.at("attached_files"), IsEmpty());
}

TEST(JsonSchemaTest, ReportAndCheckWriteAFindingAlikeButForItsTime) {
  const test::TemporaryFolder folder;
  const std::string file = TestMedia("avc_no_cues.mkv");
  const auto findings = [&](const std::string& command) {
    return json::parse(RunTool(folder, {command, "--json", file}).out).at("findings");
  };
  const json ofCheck = findings("check");
  json ofReport = findings("report");
  EXPECT_EQ(ofCheck.at(0).at("complete"), "delivered");
  EXPECT_TRUE(ofReport.at(0).at("time").is_number());
  for (json& finding : ofReport) finding.erase("time");
  EXPECT_EQ(ofReport, ofCheck);
}

TEST(JsonSchemaTest, InfoAndCheckWriteAFindingAlike) {
  Plan plan;
  plan.duration = -1;
  plan.tracks = {Plan::Vp8(1, {test::UInt(0xB9, 0)})};
  const Raw bytes = plan.File();
  const test::TemporaryFolder folder;
  const auto path = folder.Write("media.mkv", {reinterpret_cast<const char*>(bytes.data()), bytes.size()}).string();
  const json ofInfo = json::parse(RunTool(folder, {"info", "--json", path}).out).at("findings");
  const json ofCheck = json::parse(RunTool(folder, {"check", "--json", path}).out).at("findings");
  EXPECT_THAT(ofInfo, SizeIs(2)) << "the duration that is missing, and the track that is disabled";
  for (const json& finding : ofInfo) {
    EXPECT_NE(std::find(ofCheck.begin(), ofCheck.end(), finding), ofCheck.end()) << finding;
    EXPECT_TRUE(finding.contains("position") && finding.contains("track"));
  }
}

TEST(JsonSchemaTest, ReportsAreAsTheSchemaHasThem) {
  const test::TemporaryFolder folder;
  Plan plan;
  plan.indexedTime = 300;
  plan.duration = 300;
  const Raw bytes = plan.File();
  const auto path = folder.Write("media.mkv", {reinterpret_cast<const char*>(bytes.data()), bytes.size()}).string();
  for (const std::string& file : {TestMedia("avc_no_cues.mkv"), TestMedia("languages.mkv"), path}) {
    const json report = json::parse(RunTool(folder, {"report", "--json", file}).out);
    EXPECT_THAT(SchemaErrors("report", report), IsEmpty()) << file;
  }
  const json wrong = json::parse(RunTool(folder, {"report", "--json", path}).out);
  EXPECT_THAT(wrong.at("index").at("wrong_entries"), SizeIs(1));
}

TEST(JsonSchemaTest, WhatDoctorFindsIsAsTheSchemaHasIt) {
  const test::TemporaryFolder folder;
  EXPECT_THAT(SchemaErrors("doctor", json::parse(RunTool(folder, {"doctor", "--json"}).out)), IsEmpty());
  const std::string none = (folder / "none").string();
  const json missing = json::parse(RunTool(folder, {"doctor", "--json", "--component", none}).out);
  EXPECT_THAT(SchemaErrors("doctor", missing), IsEmpty());
  EXPECT_FALSE(missing.at("findings").empty());
}

TEST(JsonSchemaTest, TheIndexOfRawSamplesIsAsTheSchemaHasIt) {
  const test::TemporaryFolder folder;
  const std::string raw = (folder / "raw.bin").string();
  const Checked run = RunTool(folder, {"extract", "--raw", "--pin", "1", "-o", raw, TestMedia("vfw_huffyuv.mkv")});
  ASSERT_EQ(run.status, kExitDone) << run.messages;
  const json index = json::parse(Slurp((folder / "raw.json").string()));
  EXPECT_THAT(SchemaErrors("raw_index", index), IsEmpty());
  EXPECT_FALSE(index.at("samples").empty());
}

TEST(JsonSchemaTest, TheLinesOfAListingAreAsTheSchemaHasThem) {
  const test::TemporaryFolder folder;
  const Checked whole = RunTool(folder, {"samples", "--seek", "0:5000000", TestMedia("avc_aac.mkv")});
  EXPECT_THAT(LineErrors("samples", whole.out), IsEmpty());
  EXPECT_GT(std::count(whole.out.begin(), whole.out.end(), '\n'), 10);
  const std::string refused = folder.Write("refused.mkv", "no media").string();
  EXPECT_THAT(LineErrors("samples", RunTool(folder, {"samples", refused}).out), IsEmpty());
  EXPECT_THAT(SchemaErrors("samples", json::parse(R"({"type": "eos", "pin": 1, "schema_version": 1})")), SizeIs(1))
      << "a listing gains no members";
}

}  // namespace
}  // namespace vantor::tools
