// The built program, from its command line to its exit status.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/wait.h>

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <nlohmann/json.hpp>
#include <sstream>
#include <string>
#include <vector>

#include "host/fake_splitter.h"
#include "support/mkv_builder.h"
#include "support/temporary_folder.h"
#include "tools/time_text.h"

namespace vantor::tools {
namespace {

using nlohmann::json;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::StartsWith;

struct Outcome {
  int status = -1;
  std::string out;
  std::string messages;

  // The lines of the listing, each read as JSON.
  std::vector<json> Lines() const {
    std::vector<json> lines;
    std::istringstream stream(out);
    for (std::string line; std::getline(stream, line);) {
      lines.push_back(json::parse(line));
    }
    return lines;
  }
  std::vector<json> Lines(const std::string& type) const {
    std::vector<json> chosen;
    for (const json& line : Lines()) {
      if (line.at("type") == type) {
        chosen.push_back(line);
      }
    }
    return chosen;
  }
};

class Tool : public testing::Test {
 protected:
  Outcome Run(const std::string& arguments, const std::string& program = VANTOR_TOOL) {
    const std::string out = (folder_ / "out").string();
    const std::string messages = (folder_ / "messages").string();
    // NOLINTNEXTLINE(concurrency-mt-unsafe): the test has one thread
    const int ended = std::system(("'" + program + "' " + arguments + " >'" + out + "' 2>'" + messages + "'").c_str());
    Outcome outcome;
    outcome.status = WIFEXITED(ended) ? WEXITSTATUS(ended) : -1;
    outcome.out = Content(out);
    outcome.messages = Content(messages);
    return outcome;
  }

  std::string Write(const std::string& name, const std::string& bytes) const {
    return folder_.Write(name, bytes).string();
  }
  std::string WriteToy(char mode, int pins, int frames) const {
    const auto bytes = test::ToyStream(mode, pins, frames);
    return Write("toy", std::string(bytes.begin(), bytes.end()));
  }
  Outcome RunToy(const std::string& command, char mode, int pins, int frames) {
    return Run("--component " VANTOR_TOY_COMPONENT " " + command + " " + WriteToy(mode, pins, frames));
  }

  static std::string Media(const std::string& name) { return VANTOR_TEST_MEDIA "/" + name; }
  static std::string Content(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    std::ostringstream text;
    text << file.rdbuf();
    return text.str();
  }

  const test::TemporaryFolder folder_;
};

void ExpectOneMessage(const Outcome& outcome, const std::string& part) {
  EXPECT_THAT(outcome.messages, StartsWith("vantor-mkv: "));
  EXPECT_THAT(outcome.messages, HasSubstr(part));
  EXPECT_EQ(outcome.messages.find('\n'), outcome.messages.size() - 1) << outcome.messages;
}

std::vector<std::string> Keys(const std::string& line) {
  std::vector<std::string> keys;
  const auto object = nlohmann::ordered_json::parse(line);
  for (const auto& item : object.items()) {
    keys.push_back(item.key());
  }
  return keys;
}

TEST_F(Tool, ListsWhatTheFilterDelivers) {
  const Outcome outcome = Run("samples " + Media("avc_aac.mkv"));
  EXPECT_EQ(outcome.status, 0);
  EXPECT_EQ(outcome.messages, "");
  const std::vector<json> lines = outcome.Lines();
  ASSERT_GT(lines.size(), 6u);
  EXPECT_EQ(lines[0].at("connect"), "0x00000000");
  EXPECT_EQ(lines[0].at("pins"), 3);
  EXPECT_EQ(outcome.Lines("pin").size(), 2u);
  EXPECT_EQ(outcome.Lines("segment").size(), 2u);
  EXPECT_EQ(outcome.Lines("eos").size(), 2u);
  EXPECT_EQ(outcome.Lines("event").size(), 0u);
  EXPECT_EQ(outcome.Lines("pin")[0].at("buffers"), 2);
}

TEST_F(Tool, ListsPinAfterPinWhateverTheThreadsDid) {
  const std::string media = Media("languages.mkv");
  const Outcome outcome = Run("samples " + media);
  int pin = 0;
  for (const json& line : outcome.Lines()) {
    const std::string type = line.at("type");
    if (type == "segment" || type == "sample" || type == "eos") {
      EXPECT_GE(line.at("pin"), pin);
      pin = line.at("pin");
    }
  }
  for (int again = 0; again < 5; ++again) {
    EXPECT_EQ(Run("samples " + media).out, outcome.out);
  }
}

TEST_F(Tool, ListsFieldsInOneOrder) {
  const Outcome outcome = Run("samples " + Media("avc_aac.mkv"));
  std::istringstream stream(outcome.out);
  std::string line;
  std::getline(stream, line);
  EXPECT_THAT(Keys(line), ElementsAre("type", "name", "connect", "pins", "duration", "stop", "frame_duration"));
  std::getline(stream, line);
  EXPECT_THAT(Keys(line), ElementsAre("type", "pin", "name", "types", "buffers", "buffer_size"));
}

TEST_F(Tool, SeeksBeforeItRuns) {
  const Outcome outcome = Run("samples --seek 10000000:15000000 --rate 2.5 " + Media("avc_aac.mkv"));
  EXPECT_EQ(outcome.status, 0);
  const std::vector<json> seeks = outcome.Lines("seek");
  ASSERT_EQ(seeks.size(), 1u);
  EXPECT_EQ(seeks[0].at("result"), "0x00000000");
  EXPECT_EQ(seeks[0].at("current"), 10000000);
  EXPECT_EQ(seeks[0].at("stop"), 15000000);
  const json segment = outcome.Lines("segment").at(0);
  EXPECT_EQ(segment.at("start"), 10000000);
  EXPECT_EQ(segment.at("stop"), 15000000);
  EXPECT_EQ(segment.at("rate"), 2.5);
  EXPECT_LT(outcome.Lines("sample").size(), Run("samples " + Media("avc_aac.mkv")).Lines("sample").size());
}

// A file of so many blocks, each of 7 bytes and with 255 empty frames.
std::string EmptyFrames(int blocks) {
  std::vector<test::Raw> payload;
  for (int i = 0; i < blocks; ++i) {
    payload.push_back(test::SimpleBlock(1, 0, test::kKey | test::kFixed, {254}));
  }
  // With an index and a duration, or the first key frame would be the last.
  const test::Raw file =
      test::MkvFile({test::Info(1000000, 1000),
                     test::Tracks({test::Track(1, 1, "V_VP8", {test::Video(16, 16)})}),
                     {"first", test::Cluster(0, payload)},
                     [](const test::Positions& at) { return test::Cues({test::CuePoint(0, 1, at["first"])}); }});
  return {file.begin(), file.end()};
}

TEST_F(Tool, ListsMoreThanItKeepsInMemory) {
  const std::string file = Write("frames.mkv", EmptyFrames(100));
  const Outcome outcome = Run("samples " + file);
  EXPECT_EQ(outcome.status, 0);
  EXPECT_EQ(outcome.messages, "");
  std::istringstream lines(outcome.out);
  int samples = 0;
  for (std::string line; std::getline(lines, line);) {
    samples += line.starts_with(R"({"type":"sample","pin":1,"start":)") && line.ends_with(R"("crc32":"00000000"})");
  }
  EXPECT_EQ(samples, 100 * 255);
}

TEST_F(Tool, WithoutRoomForATemporaryFileAListingIsAFailure) {
  const std::string file = Write("frames.mkv", EmptyFrames(100));
  const std::string nowhere = "-c 'TMPDIR=/no/such/folder " VANTOR_TOOL " \"$@\"' tool ";
  const Outcome outcome = Run(nowhere + "samples " + file, "/bin/sh");
  EXPECT_EQ(outcome.status, 2);
  ExpectOneMessage(outcome, "cannot write a temporary file: ");
  EXPECT_EQ(Run(nowhere + "samples " + Media("vorbis.mka"), "/bin/sh").status, 0) << "a short one needs none";
}

TEST_F(Tool, TheCompleteComponentLiesBesideTheToolToo) {
  const Outcome plain = Run("samples " + Media("dts_ac3_eac3.mka"));
  const Outcome complete = Run("samples --complete " + Media("dts_ac3_eac3.mka"));
  EXPECT_EQ(complete.status, 0) << complete.messages;
  EXPECT_EQ(plain.Lines("filter").at(0).at("name"), "Vantor MKV Demultiplexer");
  EXPECT_EQ(complete.Lines("filter").at(0).at("name"), "Vantor MKV Demultiplexer (complete)");
  EXPECT_EQ(plain.Lines("pin").size(), 2u);
  EXPECT_EQ(complete.Lines("pin").size(), 3u);
  EXPECT_EQ(Run("play --complete " + Media("dts_ac3_eac3.mka")).status, 0);
  EXPECT_THAT(Run("info --complete " + Media("dts_ac3_eac3.mka")).out, HasSubstr("E-AC-3"));
}

TEST_F(Tool, ARefusedFileGivesTheFilterLineAlone) {
  const Outcome outcome = Run("samples " + Write("text.mkv", "no media at all"));
  EXPECT_EQ(outcome.status, 1);
  ExpectOneMessage(outcome, "EBML header");
  const std::vector<json> lines = outcome.Lines();
  ASSERT_EQ(lines.size(), 1u);
  EXPECT_EQ(lines[0].at("connect"), "0x80004005");
  EXPECT_EQ(lines[0].at("pins"), 1);
  EXPECT_EQ(lines[0].at("duration"), 0);
  EXPECT_EQ(lines[0].at("stop"), 0);
  EXPECT_EQ(lines[0].at("frame_duration"), 0);
}

TEST_F(Tool, TellsUnusableFilesApart) {
  const std::string header("\x1A\x45\xDF\xA3\x8B\x42\x82\x88matroska", 16);
  const auto expect = [&](const std::string& file, int status, const std::string& words) {
    for (const char* command : {"info ", "samples ", "play "}) {
      const Outcome outcome = Run(command + file);
      EXPECT_EQ(outcome.status, status) << command << file;
      ExpectOneMessage(outcome, words);
      EXPECT_EQ(outcome.out.empty(), status == 2 || std::string(command) != "samples ");
    }
  };
  expect((folder_ / "missing.mkv").string(), 2, "no such file");
  expect(folder_.Path().string(), 2, "is a folder");
  expect(Write("empty.mkv", ""), 1, "empty");
  expect(Write("text.mkv", "hello"), 1, "does not begin with an EBML header");
  expect(Write("sound.mkv", "fLaC"), 1, "not a Matroska or WebM file: it is a FLAC file");
  expect(Write("header.mkv", header), 1, "no Segment");
  expect(Write("version.mkv", header.substr(0, 4) + std::string("\x8F\x42\x85\x81\x03", 5) + header.substr(5) +
                                  std::string("\x18\x53\x80\x67\x80", 5)),
         1, "version 3");
  expect(Write("nameless.mkv", std::string("\x1A\x45\xDF\xA3\x84\x42\x85\x81\x02\x18\x53\x80\x67\x80", 14)), 1,
         "no document type");
  expect(Write("frameless.mkv", header + std::string("\x18\x53\x80\x67\x80", 5)), 1, "no Cluster");
  expect(Write("other.mkv", std::string("\x1A\x45\xDF\xA3\x86\x42\x82\x83xml", 11)), 1, "\"xml\"");
}

TEST_F(Tool, DoesNotWaitForAPipe) {
  const std::string pipe = (folder_ / "pipe").string();
  ASSERT_EQ(std::system(("mkfifo '" + pipe + "'").c_str()), 0);  // NOLINT(concurrency-mt-unsafe): one thread
  const Outcome outcome = Run("info " + pipe);
  EXPECT_EQ(outcome.status, 2);
  ExpectOneMessage(outcome, "pipe");
}

TEST_F(Tool, TellsWhereALinkLeads) {
  std::filesystem::create_symlink("no-such-file.mkv", folder_ / "dangling.mkv");
  std::filesystem::create_symlink("second.mkv", folder_ / "first.mkv");
  std::filesystem::create_symlink("first.mkv", folder_ / "second.mkv");
  std::filesystem::create_symlink(Media("vorbis.mka"), folder_ / "sound.mka");
  for (const char* command : {"info ", "check ", "chapters ", "report --json "}) {
    Outcome outcome = Run(command + (folder_ / "dangling.mkv").string());
    EXPECT_EQ(outcome.status, 2) << command;
    ExpectOneMessage(outcome, "dangling.mkv: is a symbolic link that points to nothing");
    outcome = Run(command + (folder_ / "first.mkv").string());
    EXPECT_EQ(outcome.status, 2) << command;
    ExpectOneMessage(outcome, "first.mkv: is a loop of symbolic links");
    EXPECT_EQ(Run(command + (folder_ / "sound.mka").string()).status, 0) << command;
  }
}

TEST_F(Tool, TellsWhatTheSystemSaysOfAPath) {
  const Outcome outcome = Run("info " + std::string(300, 'a'));
  EXPECT_EQ(outcome.status, 2);
  ExpectOneMessage(outcome, "cannot be read: File name too long");
  ExpectOneMessage(Run("info ''"), "vantor-mkv: \"\": no such file");
  ExpectOneMessage(Run("info " + Media("vorbis.mka") + "/part.mka"), "no such file");
}

TEST_F(Tool, TakesNoDeviceForAFile) {
  for (const char* command : {"info ", "check ", "play ", "samples "}) {
    for (const char* device : {"/dev/zero", "/dev/null"}) {
      const Outcome outcome = Run(std::string(command) + device);
      EXPECT_EQ(outcome.status, 2);
      ExpectOneMessage(outcome, "is a pipe or a device");
    }
  }
}

TEST_F(Tool, AFileWithoutAnOutputPinIsListedByItsFilterLine) {
  using test::Raw;
  const Raw bytes = test::MkvFile({test::Info(), test::Tracks({test::Track(1, 18, "B_VOBBTN")}),
                                   test::Cluster(0, {test::SimpleBlock(1, 0, test::kKey, test::Ramp(9))})});
  const Outcome outcome = Run("samples " + Write("pinless.mkv", std::string(bytes.begin(), bytes.end())));
  EXPECT_EQ(outcome.status, 0);
  EXPECT_EQ(outcome.Lines().size(), 1u);
  EXPECT_EQ(outcome.Lines("filter").size(), 1u);
  ExpectOneMessage(outcome, "there is no output pin, and so no samples");
}

TEST_F(Tool, WarnsOfATruncatedFileAndPlaysWhatIsThere) {
  const std::string whole = Content(Media("avc_aac.mkv"));
  const std::string file = Write("cut.mkv", whole.substr(0, whole.size() * 3 / 4));
  for (const char* command : {"info ", "play "}) {
    const Outcome outcome = Run(command + file);
    EXPECT_EQ(outcome.status, 0);
    EXPECT_THAT(outcome.messages, HasSubstr("the file is truncated"));
    EXPECT_THAT(outcome.out, HasSubstr("AVC video 1"));
  }
  EXPECT_EQ(Run("info " + Media("avc_aac.mkv")).messages, "");
}

TEST_F(Tool, DescribesStreamsInWords) {
  const Outcome outcome = Run("info " + Media("avc_aac.mkv"));
  EXPECT_EQ(outcome.status, 0);
  EXPECT_THAT(outcome.out, HasSubstr("AVC (H.264)"));
  EXPECT_THAT(outcome.out, HasSubstr("AAC"));
  EXPECT_THAT(outcome.out, HasSubstr("2 streams"));
  EXPECT_THAT(outcome.out, HasSubstr("25 fps"));
}

TEST_F(Tool, DescribesStreamsForPrograms) {
  const Outcome outcome = Run("info --json " + Media("avc_aac.mkv"));
  EXPECT_EQ(outcome.status, 0);
  const json info = json::parse(outcome.out);
  EXPECT_EQ(info.at("pins").size(), 2u);
  EXPECT_EQ(info.at("pins")[0].at("codec"), "AVC (H.264)");
  EXPECT_EQ(info.at("pins")[0].at("kind"), "video");
  EXPECT_GT(info.at("pins")[0].at("width"), 0);
  EXPECT_EQ(info.at("frame_duration"), 400000);
  EXPECT_GT(info.at("duration"), 0);
}

TEST_F(Tool, ShowsEachTrackWithItsPinOrWhyItHasNone) {
  const Outcome outcome = Run("info " + Media("dts_ac3_eac3.mka") + " " + Media("avc_no_cues.mkv"));
  EXPECT_EQ(outcome.status, 0);
  EXPECT_THAT(outcome.out, HasSubstr("  1  audio  A_DTS             48000 Hz, 2 channels  und       default  2\n"));
  EXPECT_THAT(outcome.out, HasSubstr("  3  audio  A_EAC3            48000 Hz, 2 channels  und                none\n"));
  EXPECT_THAT(outcome.out, HasSubstr("warning  codec-unsupported: track 3: no pin"));
  EXPECT_THAT(outcome.out, HasSubstr("duration: file 0:00:02.026, filter 0:00:01.877"));
}

TEST_F(Tool, ShowsLanguagesAsTheFileHasThem) {
  const auto track = [](std::uint64_t number, const std::vector<test::Raw>& more) {
    return test::Track(number, 2, "A_AC3", more);
  };
  const test::Raw file = test::MkvFile(
      {test::Info(1000000, 40, {test::SInt(0x4461, 86400'000'000'000 + 1), test::Str(0x7BA9, "A title")}),
       test::Tracks({track(1, {}), track(2, {test::Str(0x22B59C, "ger")}),
                     track(3, {test::Str(0x22B59C, "ger"), test::Str(0x22B59D, "de-AT"), test::UInt(0x55AA, 1)})}),
       test::Cluster(0, {test::SimpleBlock(1, 0, test::kKey, {1})})});
  const Outcome outcome = Run("info --json " + Write("languages.mkv", {file.begin(), file.end()}));
  const json info = json::parse(outcome.out);
  EXPECT_EQ(info.at("schema_version"), 1);
  EXPECT_EQ(info.at("title"), "A title");
  EXPECT_EQ(info.at("date"), "2001-01-02 00:00:00 UTC");
  EXPECT_EQ(info.at("tracks")[0].at("language"), "eng (by default)");
  EXPECT_EQ(info.at("tracks")[1].at("language"), "ger");
  EXPECT_EQ(info.at("tracks")[2].at("language"), "de-AT");
  EXPECT_EQ(info.at("tracks")[2].at("forced"), true);
  EXPECT_EQ(info.at("tracks")[1].at("forced"), false);
}

TEST_F(Tool, ARefusedFileNamesTheTrackThatBreaksIt) {
  const test::Raw file =
      test::MkvFile({test::Info(), test::Tracks({test::Track(7, 2, "A_VORBIS", {test::CodecPrivate({2, 255, 255})})}),
                     test::Cluster(0, {test::SimpleBlock(7, 0, test::kKey, {1})})});
  const Outcome outcome = Run("info " + Write("broken.mkv", {file.begin(), file.end()}));
  EXPECT_EQ(outcome.status, 1);
  ExpectOneMessage(outcome, "the private data of track 7, codec A_VORBIS, breaks off (0x80070057)");
}

TEST_F(Tool, PrintsValidJsonForAFileNameThatIsNoText) {
  const std::string file = Write("bad\xFF\x01name.mkv", Content(Media("vorbis.mka")));
  const Outcome outcome = Run("info --json '" + file + "'");
  EXPECT_EQ(outcome.status, 0);
  EXPECT_TRUE(json::accept(outcome.out));
}

TEST_F(Tool, PlaysToTheEndAndSumsUp) {
  const Outcome outcome = Run("play " + Media("avc_aac.mkv"));
  EXPECT_EQ(outcome.status, 0);
  EXPECT_EQ(outcome.messages, "") << "no progress where there is no terminal";
  EXPECT_THAT(outcome.out, HasSubstr("Key frames"));
  EXPECT_THAT(outcome.out, HasSubstr("reached"));
  EXPECT_THAT(outcome.out, HasSubstr("times real time"));
}

TEST_F(Tool, WarnsOfWhatPlayingDidNotReach) {
  const Outcome outcome = Run("play " + Media("avc_no_cues.mkv"));
  EXPECT_EQ(outcome.status, 0);
  ExpectOneMessage(outcome, "warning: track 2: byte 27890: playing ends at 0:00:01.877, before the track does");
}

// The table of `play`: the words of each line, by the pin's number.
std::vector<std::string> TableRow(const std::string& table, const std::string& number) {
  std::istringstream lines(table);
  for (std::string line; std::getline(lines, line);) {
    std::istringstream stream(line);
    std::vector<std::string> words{std::istream_iterator<std::string>(stream), {}};
    if (!words.empty() && words.front() == number) {
      return words;
    }
  }
  return {};
}

TEST_F(Tool, PlaysAPartAndShowsThePositionsReached) {
  const std::string media = Media("avc_aac.mkv");
  const Outcome outcome = Run("play --from 0:01.2 --to 1.5 " + media);
  EXPECT_EQ(outcome.status, 0);
  EXPECT_EQ(outcome.messages, "");
  // The same part as a listing tells which key frames it begins and ends with.
  const Outcome listing = Run("samples --seek 12000000:15000000 " + media);
  for (const json& pin : listing.Lines("pin")) {
    std::int64_t first = INT64_MAX;
    std::int64_t last = 0;
    for (const json& sample : listing.Lines("sample")) {
      if (sample.at("pin") == pin.at("pin")) {
        first = std::min(first, 12000000 + sample.at("start").get<std::int64_t>());
        last = std::max(last, 12000000 + sample.at("stop").get<std::int64_t>());
      }
    }
    EXPECT_LE(first, 12000000);
    EXPECT_GE(last, 15000000);
    EXPECT_THAT(TableRow(outcome.out, std::to_string(pin.at("pin").get<int>())),
                testing::IsSupersetOf({TimeText(first), TimeText(last)}))
        << outcome.out;
  }
}

TEST_F(Tool, APartBehindTheEndIsSaidSo) {
  const Outcome outcome = Run("play --from 1:00:00 " + Media("avc_aac.mkv"));
  EXPECT_EQ(outcome.status, 0);
  ExpectOneMessage(outcome, "warning: 1:00:00.000 lies behind the end, 0:00:02.080; playing from the last entry");
}

TEST_F(Tool, TakesAComponentFromTheCurrentFolderByItsNameAlone) {
  const std::filesystem::path toy(VANTOR_TOY_COMPONENT);
  const std::string stream = WriteToy('n', 2, 3);
  const std::filesystem::path before = std::filesystem::current_path();
  std::filesystem::current_path(toy.parent_path());
  const Outcome outcome = Run("--component " + toy.filename().string() + " samples " + stream);
  std::filesystem::current_path(before);
  EXPECT_EQ(outcome.status, 0);
  EXPECT_EQ(outcome.messages, "");
  EXPECT_EQ(outcome.Lines("pin").size(), 2u);
}

TEST_F(Tool, AFilterThatDoesNotSeekIsSaidSo) {
  const Outcome outcome = RunToy("play --to 1", 'n', 1, 1);
  EXPECT_EQ(outcome.status, 1);
  ExpectOneMessage(outcome, "does not seek");
}

TEST_F(Tool, AnErrorEventIsListedAndEndsWithStatusOne) {
  const Outcome outcome = RunToy("samples", 'e', 2, 3);
  EXPECT_EQ(outcome.status, 1);
  const std::vector<json> events = outcome.Lines("event");
  ASSERT_EQ(events.size(), 1u);
  EXPECT_EQ(events[0].at("code"), "EC_ERRORABORT");
  EXPECT_EQ(events[0].at("param1"), "0x80040ABC");
  EXPECT_EQ(outcome.Lines("sample").size(), 6u);
  EXPECT_EQ(RunToy("play", 'e', 2, 3).status, 1);
}

TEST_F(Tool, LostFramesAreCountedShownAndNoSuccess) {
  const Outcome played = RunToy("play", 'l', 2, 3);
  EXPECT_EQ(played.status, 1);
  ExpectOneMessage(played, "lost 2 frames");
  EXPECT_THAT(played.out, HasSubstr(", 2 frames lost\n"));
  const Outcome listed = RunToy("samples", 'l', 2, 3);
  EXPECT_EQ(listed.status, 1);
  ExpectOneMessage(listed, "lost 2 frames");
  EXPECT_EQ(listed.Lines("event").size(), 2u);
  EXPECT_EQ(listed.Lines("sample").size(), 6u);
}

TEST_F(Tool, AListOfTypesThatBreaksOffIsNoShorterList) {
  for (const char* command : {"samples", "info", "play"}) {
    const Outcome outcome = RunToy(command, 'm', 2, 3);
    EXPECT_EQ(outcome.status, 2) << command;
    ExpectOneMessage(outcome, "out of memory");
  }
}

TEST_F(Tool, AFilterThatDoesNotRunIsSaidSo) {
  for (const char* command : {"samples", "play"}) {
    const Outcome outcome = RunToy(command, 'f', 1, 1);
    EXPECT_EQ(outcome.status, 1);
    ExpectOneMessage(outcome, "does not run");
  }
}

TEST_F(Tool, AnInterruptStopsPlayingCleanly) {
  const Outcome outcome = RunToy("play", 'i', 2, 3);
  EXPECT_EQ(outcome.status, 130);
  ExpectOneMessage(outcome, "interrupted");
  EXPECT_THAT(outcome.out, HasSubstr("not reached"));
}

TEST_F(Tool, ListsHundredsOfPins) {
  const Outcome outcome = RunToy("samples", 'n', 500, 2);
  EXPECT_EQ(outcome.status, 0);
  EXPECT_EQ(outcome.Lines("pin").size(), 500u);
  EXPECT_EQ(outcome.Lines("sample").size(), 1000u);
}

TEST_F(Tool, AComponentThatCannotBeLoadedIsSaidSo) {
  const std::string media = Media("vorbis.mka");
  Outcome outcome = Run("--component /no/such/thing.so info " + media);
  EXPECT_EQ(outcome.status, 2);
  ExpectOneMessage(outcome, "thing.so");
  outcome = Run("--component " + Write("text.so", "not a library") + " info " + media);
  EXPECT_EQ(outcome.status, 2);
  ExpectOneMessage(outcome, "cannot load the component");
}

TEST_F(Tool, FindsTheComponentBesideItselfOnly) {
  const std::string lonely = (folder_ / "vantor-mkv").string();
  std::filesystem::copy_file(VANTOR_TOOL, lonely);
  const Outcome outcome = Run("info " + Media("vorbis.mka"), lonely);
  EXPECT_EQ(outcome.status, 2);
  ExpectOneMessage(outcome, folder_.Path().string());
}

TEST_F(Tool, WrongUseIsOneLineAndStatusTwo) {
  for (const char* arguments :
       {"", "info", "dance a.mkv", "samples --seek x a.mkv", "check", "info --no-such-option a.mkv"}) {
    const Outcome outcome = Run(arguments);
    EXPECT_EQ(outcome.status, 2) << arguments;
    EXPECT_EQ(outcome.out, "");
    ExpectOneMessage(outcome, "--help");
  }
}

TEST_F(Tool, HelpAndVersionGoToStandardOutput) {
  for (const char* arguments : {"--help", "play --help", "check --help", "--version"}) {
    const Outcome outcome = Run(arguments);
    EXPECT_EQ(outcome.status, 0);
    EXPECT_NE(outcome.out, "");
    EXPECT_EQ(outcome.messages, "");
  }
}

TEST_F(Tool, AFullDiskIsSaidSo) {
  if (!std::filesystem::exists("/dev/full")) {
    GTEST_SKIP();
  }
  const std::string media = Media("avc_aac.mkv");
  for (const std::string& command :
       {"samples " + media, "info " + media, "info --json " + media, "play " + media, "check " + media,
        std::string("--help"), std::string("play --help"), std::string("--version")}) {
    for (const char* nowhere : {">/dev/full", ">&-"}) {
      const Outcome outcome = Run(command + " 2>'" + (folder_ / "messages").string() + "' " + nowhere + " #");
      EXPECT_EQ(outcome.status, 2) << command << nowhere;
      ExpectOneMessage(outcome, "cannot write");
      EXPECT_THAT(outcome.messages, testing::AnyOf(HasSubstr(": No space left"), HasSubstr(": Bad file")));
    }
  }
}

TEST_F(Tool, AMessageThatNobodyTakesChangesNothing) {
  if (!std::filesystem::exists("/dev/full")) {
    GTEST_SKIP();
  }
  const std::string text = Write("text.mkv", "no media at all");
  for (const char* nowhere : {" 2>/dev/full", " 2>&-"}) {
    const std::string out = std::string(nowhere) + " >'" + (folder_ / "out").string() + "' #";
    EXPECT_EQ(Run("info " + (folder_ / "missing.mkv").string() + out).status, 2) << nowhere;
    EXPECT_EQ(Run("dance" + out).status, 2) << nowhere;
    EXPECT_EQ(Run("info " + text + out).status, 1) << nowhere;
    EXPECT_EQ(Run("play " + Media("avc_aac.mkv") + out).status, 0) << nowhere;
    EXPECT_EQ(RunToy("play", 'e', 2, 3).status, 1) << nowhere;
  }
}

TEST_F(Tool, NothingOfANameReachesATerminalRaw) {
  const std::string bytes = Content(Media("vorbis.mka"));
  const std::string name = "a\x1b[31m\n\xff\xe2\x80\xae.mkv";
  const std::string shown = R"(a\x1b[31m\n\xff\u202e.mkv)";
  const std::string missing = "'" + (folder_ / ("no" + name)).string() + "'";
  ExpectOneMessage(Run("info " + missing), "no" + shown + ": no such file");
  ExpectOneMessage(Run("--component " + missing + " info " + Media("vorbis.mka")), "no" + shown);
  ExpectOneMessage(Run(missing), shown);
  ExpectOneMessage(Run("samples --seek " + missing + " x"), shown);
  EXPECT_THAT(Run("info '" + Write(name, bytes) + "'").out, HasSubstr("/" + shown + "\n"));
}

}  // namespace
}  // namespace vantor::tools
