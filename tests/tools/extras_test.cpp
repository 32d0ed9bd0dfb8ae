// Chapters, tags and attached files, as the commands show them and write them.
#include <gmock/gmock.h>

#include <filesystem>

#include "platform/file_path.h"
#include "tools/checked_file.h"

namespace vantor::tools {
namespace {

using nlohmann::json;
using test::Raw;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;

Raw ChapterDisplayed(std::string_view text, std::string_view language = {}, std::string_view bcp47 = {}) {
  std::vector<Raw> children = {test::Str(0x85, text)};
  if (!language.empty()) children.push_back(test::Str(0x437C, language));
  if (!bcp47.empty()) children.push_back(test::Str(0x437D, bcp47));
  return test::Master(0x80, children);
}

Raw ChapterAt(std::uint64_t seconds, const std::vector<Raw>& more) {
  std::vector<Raw> children = {test::UInt(0x73C4, seconds + 1), test::UInt(0x91, seconds * 1000000000)};
  children.insert(children.end(), more.begin(), more.end());
  return test::Master(0xB6, children);
}

Raw EndingAt(std::uint64_t seconds) { return test::UInt(0x92, seconds * 1000000000); }

Raw TwoEditions() {
  return test::Master(
      0x1043A770,
      {
          test::Master(0x45B9, {test::UInt(0x45BC, 70), test::UInt(0x45DD, 1), ChapterAt(5, {EndingAt(6)})}),
          test::Master(0x45B9, {test::UInt(0x45DB, 1),
                                ChapterAt(0, {EndingAt(2), ChapterDisplayed("Intro & <more>", "eng", "en-GB"),
                                              ChapterDisplayed("Vorspann", "ger"),
                                              ChapterAt(1, {test::UInt(0x98, 1), ChapterDisplayed("Inner")})}),
                                ChapterAt(3, {test::UInt(0x4598, 0), ChapterDisplayed("Off")}),
                                ChapterAt(2, {ChapterDisplayed("a=b;c#d\\e\x1b[31m\xc2\x9b\xff\n!", "jpn")})}),
      });
}

Raw Simple(std::string_view name, std::string_view value, const std::vector<Raw>& more = {}) {
  std::vector<Raw> children = {test::Str(0x45A3, name), test::Str(0x4487, value)};
  children.insert(children.end(), more.begin(), more.end());
  return test::Master(0x67C8, children);
}

Raw TagOf(const std::vector<Raw>& targets, const std::vector<Raw>& simple) {
  std::vector<Raw> children = {test::Master(0x63C0, targets)};
  children.insert(children.end(), simple.begin(), simple.end());
  return test::Master(0x7373, children);
}

Raw SomeTags() {
  return test::Master(
      0x1254C367,
      {
          TagOf({}, {Simple("TITLE", "A film", {test::Str(0x447B, "en"), Simple("SORT_WITH", "film, a")})}),
          TagOf({test::UInt(0x68CA, 30), test::Str(0x63CA, "TRACK"), test::UInt(0x63C5, 4711)}, {Simple("BPS", "99")}),
          TagOf({test::UInt(0x63C4, 12), test::UInt(0x63C5, 13)},
                {test::Master(0x67C8, {test::Str(0x45A3, "COVER"), test::Bin(0x4485, Raw(2048))})}),
      });
}

// With extras behind the Clusters, where no seek index names them.
Raw FileWith(const std::vector<Raw>& extras, bool isEndless = false) {
  Plan plan;
  plan.tracks = {Plan::Vp8(1, {test::UInt(0x73C5, 4711)})};
  for (const Raw& extra : extras) plan.more.emplace_back(extra);
  plan.isFirstEndless = isEndless;
  return plan.File();
}

class ExtrasTest : public testing::Test {
 protected:
  Checked Run(const Raw& bytes, std::vector<std::string> arguments) {
    arguments.push_back(
        folder_.Write("media.mkv", {reinterpret_cast<const char*>(bytes.data()), bytes.size()}).string());
    return RunTool(folder_, std::move(arguments));
  }
  json RunJson(const Raw& bytes, std::vector<std::string> arguments) {
    arguments.emplace_back("--json");
    return json::parse(Run(bytes, std::move(arguments)).out);
  }
  std::string Folder(const char* name) const { return (folder_ / name).string(); }

  const test::TemporaryFolder folder_;
};

TEST_F(ExtrasTest, ChaptersAreShownByEditionWithLevelsNamesAndFlags) {
  const Checked shown = Run(FileWith({TwoEditions()}), {"chapters"});
  EXPECT_EQ(shown.status, 0);
  EXPECT_EQ(shown.messages, "");
  EXPECT_EQ(shown.out,
            "Edition 1: ordered\n"
            "      Start          End  Language  Flags  Chapter\n"
            "0:00:05.000  0:00:06.000\n"
            "\n"
            "Edition 2: default\n"
            "      Start          End  Language  Flags     Chapter\n"
            "0:00:00.000  0:00:02.000                      Intro & <more> [en-GB] / Vorspann [ger]\n"
            "0:00:01.000               eng       hidden      Inner\n"
            "0:00:03.000               eng       disabled  Off\n"
            "0:00:02.000               jpn                 a=b;c#d\\e\\x1b[31m\\u009b\\xff\\n!\n");
}

TEST_F(ExtrasTest, ChaptersAsXmlHoldEverythingAndNoControlCharacter) {
  const Checked shown = Run(FileWith({TwoEditions()}), {"chapters", "--format", "xml"});
  EXPECT_EQ(shown.status, 0);
  EXPECT_THAT(shown.out, HasSubstr("  <EditionEntry>\n    <EditionUID>70</EditionUID>\n"));
  EXPECT_THAT(shown.out, HasSubstr("<EditionFlagOrdered>1</EditionFlagOrdered>"));
  EXPECT_THAT(shown.out, HasSubstr("      <ChapterTimeStart>00:00:05.000000000</ChapterTimeStart>\n"
                                   "      <ChapterTimeEnd>00:00:06.000000000</ChapterTimeEnd>\n"));
  EXPECT_THAT(shown.out, HasSubstr("        <ChapterString>Intro &amp; &lt;more&gt;</ChapterString>\n"
                                   "        <ChapterLanguage>eng</ChapterLanguage>\n"
                                   "        <ChapLanguageIETF>en-GB</ChapLanguageIETF>\n"));
  EXPECT_THAT(shown.out, HasSubstr("        <ChapterFlagHidden>1</ChapterFlagHidden>\n"));
  EXPECT_THAT(shown.out, HasSubstr("a=b;c#d\\e\xef\xbf\xbd[31m\xef\xbf\xbd\xef\xbf\xbd\n!"));
}

TEST_F(ExtrasTest, ChaptersAsMetadataAreTheDefaultEditionInOrder) {
  const Checked shown = Run(FileWith({TwoEditions()}), {"chapters", "--format", "ffmetadata"});
  EXPECT_EQ(shown.status, 0);
  EXPECT_EQ(shown.out,
            ";FFMETADATA1\n"
            "[CHAPTER]\nTIMEBASE=1/1000000000\nSTART=0\nEND=2000000000\ntitle=Intro & <more>\n"
            // The file ends before it begins.
            "[CHAPTER]\nTIMEBASE=1/1000000000\nSTART=2000000000\nEND=2000000000\n"
            "title=a\\=b\\;c\\#d\\\\e\xef\xbf\xbd[31m\xef\xbf\xbd\xef\xbf\xbd\\\n!\n");
  EXPECT_THAT(shown.messages, HasSubstr("warning: 3 chapters are left out"));
}

TEST_F(ExtrasTest, AFileWithoutChaptersSaysSo) {
  const Checked shown = Run(FileWith({}), {"chapters"});
  EXPECT_EQ(shown.status, 0);
  EXPECT_EQ(shown.out, "");
  EXPECT_THAT(shown.messages, HasSubstr("there are no chapters"));
  EXPECT_EQ(Run(FileWith({}), {"chapters", "--format", "ffmetadata"}).out, ";FFMETADATA1\n");
}

TEST_F(ExtrasTest, AnUnknownFormatIsWrongUse) {
  const Checked shown = Run(FileWith({}), {"chapters", "--format", "yaml"});
  EXPECT_EQ(shown.status, 2);
  EXPECT_THAT(shown.messages, HasSubstr("--format wants text, xml or ffmetadata, not \"yaml\""));
}

TEST_F(ExtrasTest, WhatIsNoMediaFileIsRefusedWithTheCause) {
  for (const char* command : {"chapters", "attachments"}) {
    const Checked shown = Run(test::Text("no media"), {command});
    EXPECT_EQ(shown.status, 1);
    EXPECT_THAT(shown.messages, HasSubstr("not a Matroska or WebM file"));
  }
}

TEST_F(ExtrasTest, InfoShowsTagsWithWhatTheyAreAbout) {
  const Checked shown = Run(FileWith({SomeTags()}), {"info", "--tags"});
  EXPECT_EQ(shown.status, 0);
  EXPECT_THAT(shown.out,
              HasSubstr("\nAbout                                  Level  Language  Tag          Value\n"
                        "file                                      50  en        TITLE        A film\n"
                        "file                                      50  und         SORT_WITH  film, a\n"
                        "track 1                             TRACK 30  und       BPS          99\n"
                        "track of UID 13, chapter of UID 12        50  und       COVER        (2.00 KiB)\n"));
}

TEST_F(ExtrasTest, InfoShowsOfTheExtrasWhatIsAskedFor) {
  const Raw file =
      FileWith({TwoEditions(), SomeTags(), test::Attachments({test::Attachment("a.txt", "text/plain", {1})})});
  const Checked plain = Run(file, {"info"});
  EXPECT_THAT(plain.out, Not(HasSubstr("Vorspann")));
  EXPECT_THAT(plain.out, Not(HasSubstr("SORT_WITH")));
  EXPECT_THAT(plain.out, Not(HasSubstr("a.txt")));
  const Checked all = Run(file, {"info", "--chapters", "--tags", "--attachments"});
  EXPECT_THAT(all.out, HasSubstr(", 5 chapters, 1 attachments\n"));
  EXPECT_THAT(all.out, HasSubstr("Vorspann"));
  EXPECT_THAT(all.out, HasSubstr("SORT_WITH"));
  EXPECT_THAT(all.out, HasSubstr("         1  text/plain   1 B  a.txt\n"));
  const Checked none = Run(FileWith({}), {"info", "--chapters", "--tags", "--attachments"});
  EXPECT_THAT(none.out, HasSubstr("\nno chapters\n\nno tags\n\nno attachments\n"));
}

TEST_F(ExtrasTest, InfoAsJsonHasTheExtrasAsLists) {
  const Raw file =
      FileWith({TwoEditions(), SomeTags(), test::Attachments({test::Attachment("a.txt", "text/plain", {1})})});
  const json info = RunJson(file, {"info", "--chapters", "--tags", "--attachments"});
  EXPECT_EQ(info.at("chapters"), 5);
  const json& edition = info.at("editions").at(1);
  EXPECT_EQ(edition.at("default"), true);
  const json& chapter = edition.at("chapters").at(0);
  EXPECT_EQ(chapter.at("end"), 20000000);
  EXPECT_EQ(chapter.at("names").at(1).at("language"), "ger");
  EXPECT_EQ(chapter.at("chapters").at(0).at("hidden"), true);
  EXPECT_EQ(info.at("tags").at(0).at("tags").at(0).at("tags").at(0).at("value"), "film, a");
  EXPECT_EQ(info.at("tags").at(1).at("tracks"), json({1}));
  EXPECT_EQ(info.at("tags").at(2).at("tags").at(0).at("binary_size"), 2048);
  EXPECT_EQ(info.at("attached_files").at(0).at("name"), "a.txt");
  const json plain = RunJson(file, {"info"});
  EXPECT_FALSE(plain.contains("editions") || plain.contains("tags") || plain.contains("attached_files"));
}

TEST_F(ExtrasTest, ExtrasBehindAClusterOfUnknownSizeAreFound) {
  EXPECT_THAT(Run(FileWith({TwoEditions()}, true), {"chapters"}).out, HasSubstr("Vorspann"));
}

TEST_F(ExtrasTest, ChaptersTooDeepAreLeftOutAndSaid) {
  Raw chapter = ChapterAt(30, {ChapterDisplayed("deepest")});
  for (int level = 0; level < 40; ++level) chapter = ChapterAt(1, {ChapterDisplayed("level"), chapter});
  const Checked shown = Run(FileWith({test::Master(0x1043A770, {test::Master(0x45B9, {chapter})})}), {"chapters"});
  EXPECT_EQ(std::count(shown.out.begin(), shown.out.end(), '\n'), 17);
  EXPECT_THAT(shown.messages, HasSubstr("more than can be read"));
}

TEST_F(ExtrasTest, TagsTooDeepAreLeftOutAndSaid) {
  Raw tag = Simple("DEEPEST", "");
  for (int level = 0; level < 40; ++level) tag = Simple("LEVEL", "", {tag});
  const Checked shown = Run(FileWith({test::Master(0x1254C367, {TagOf({}, {tag})})}), {"info", "--tags"});
  EXPECT_THAT(shown.out, Not(HasSubstr("DEEPEST")));
  EXPECT_THAT(shown.messages, HasSubstr("more than can be read"));
}

// Each claims the bytes of all behind it, over and over at every level.
TEST_F(ExtrasTest, ChaptersThatClaimEachOthersBytesEnd) {
  Raw claiming;
  for (int i = 0; i < 4000; ++i) {
    const Raw head = test::EbmlWithSize(0xB6, 1 << 20, {});
    claiming.insert(claiming.end(), head.begin(), head.end());
  }
  const Raw chapters = test::EbmlWithSize(0x1043A770, 1 << 20, test::EbmlWithSize(0x45B9, 1 << 20, claiming));
  const Checked shown = Run(FileWith({chapters}), {"chapters"});
  EXPECT_EQ(shown.status, 0);
  EXPECT_LT(shown.out.size(), std::size_t{4} << 20);
}

TEST_F(ExtrasTest, AttachmentsAreListed) {
  const Raw file = FileWith(
      {test::Attachments({test::Attachment("a\x1b.txt", "text/plain", Raw(2000), {test::Str(0x467E, "What it is")})})});
  const Checked shown = Run(file, {"attachments"});
  EXPECT_EQ(shown.status, 0);
  EXPECT_EQ(shown.out,
            "Attachment  Media type      Size  Name       Description\n"
            "         1  text/plain  1.95 KiB  a\\x1b.txt  What it is\n");
  const json listed = RunJson(file, {"attachments"});
  EXPECT_EQ(listed.at("attached_files").at(0).at("size"), 2000);
  EXPECT_FALSE(listed.at("attached_files").at(0).contains("path"));
  EXPECT_THAT(Run(FileWith({}), {"attachments"}).messages, HasSubstr("there are no attachments"));
}

TEST_F(ExtrasTest, AttachmentsAreWrittenUnderSafeNamesAndNumbersWhereTheseAreEqual) {
  const Raw large = test::Ramp((std::size_t{2} << 20) + 17);  // of several pieces
  const Raw file = FileWith(
      {test::Attachments({test::Attachment("../../up.ttf", "font/ttf", large),
                          test::Attachment("up.ttf", "font/ttf", {7, 8}), test::Attachment("", "font/ttf", {})})});
  const std::string to = Folder("fonts");
  const json written = RunJson(file, {"attachments", "--extract", "-d", to});
  EXPECT_EQ(Slurp(to + "/up.ttf"), std::string(large.begin(), large.end()));
  EXPECT_EQ(Slurp(to + "/up (2).ttf"), "\x07\x08");
  EXPECT_TRUE(std::filesystem::exists(to + "/attachment 3"));
  EXPECT_EQ(std::distance(std::filesystem::directory_iterator(to), {}), 3);
  const auto path = platform::ToPath(written.at("attached_files").at(1).at("path"));
  EXPECT_EQ(path, platform::ToPath(to) / "up (2).ttf");
}

TEST_F(ExtrasTest, NoFileIsOverwrittenWithoutForce) {
  const Raw file = FileWith({test::Attachments({test::Attachment("a.txt", "text/plain", {'n', 'e', 'w'})})});
  const auto old = folder_.Write("a.txt", "old").string();
  const Checked kept = Run(file, {"attachments", "--extract", "-d", Folder("")});
  EXPECT_EQ(kept.status, 2);
  EXPECT_THAT(kept.messages, HasSubstr("a.txt: exists already"));
  EXPECT_EQ(Slurp(old), "old");
  EXPECT_EQ(Run(file, {"attachments", "--extract", "--force", "-d", Folder("")}).status, 0);
  EXPECT_EQ(Slurp(old), "new");
}

TEST_F(ExtrasTest, NoAttachmentIsWrittenWhenOneOfThemCannotBe) {
  const Raw file = FileWith({test::Attachments(
      {test::Attachment("a.txt", "", {1}), test::Attachment("b.txt", "", {2}), test::Attachment("c.txt", "", {3})})});
  folder_.Write("b.txt", "old");
  const Checked kept = Run(file, {"attachments", "--extract", "-d", Folder("")});
  EXPECT_EQ(kept.status, 2);
  EXPECT_EQ(kept.out, "");
  EXPECT_EQ(std::count(kept.messages.begin(), kept.messages.end(), '\n'), 1) << kept.messages;
  EXPECT_FALSE(std::filesystem::exists(folder_ / "a.txt"));
  EXPECT_FALSE(std::filesystem::exists(folder_ / "c.txt"));
  EXPECT_EQ(Slurp(folder_ / "b.txt"), "old");
}

TEST_F(ExtrasTest, AnAttachmentDoesNotReplaceTheFileThatItIsIn) {
  const Raw file = FileWith({test::Attachments({test::Attachment("media.mkv", "text/plain", {'e', 'v', 'i', 'l'})})});
  const Checked kept = Run(file, {"attachments", "--extract", "--force", "-d", Folder("")});
  EXPECT_EQ(kept.status, 2);
  EXPECT_THAT(kept.messages, HasSubstr("media.mkv: is the file that is read"));
  EXPECT_EQ(Slurp(folder_ / "media.mkv").size(), file.size());
}

TEST_F(ExtrasTest, AttachmentsThatClaimEachOthersBytesAreNotAllWritten) {
  // Each claims all that is behind it.
  constexpr std::uint64_t kFile = 40'000;
  std::vector<Raw> attached;
  for (int i = 0; i < 20; ++i) {
    attached.push_back(test::Master(0x61A7, {test::Str(0x466E, "a"), Raw{0x46, 0x5C, 0x10, 0x00, 0x75, 0x30}}));
  }
  Raw file = FileWith({test::Attachments(attached)});
  file.resize(kFile);
  const std::string to = Folder("claims");
  const Checked shown = Run(file, {"attachments", "--extract", "-d", to});
  EXPECT_EQ(shown.status, 1);
  std::uint64_t written = 0;
  for (const auto& entry : std::filesystem::directory_iterator(to)) written += entry.file_size();
  EXPECT_LE(written, kFile);
}

TEST_F(ExtrasTest, AnAttachmentThatIsCutOffIsNotWritten) {
  Raw file = FileWith({test::Attachments({test::Attachment("whole", "", {1}), test::Attachment("cut", "", Raw(100))})});
  file.resize(file.size() - 10);
  const std::string to = Folder("cut");
  const Checked shown = Run(file, {"attachments", "--extract", "-d", to});
  EXPECT_EQ(shown.status, 1);
  EXPECT_THAT(shown.messages, HasSubstr("attachment 2 is cut off at the end of the file"));
  EXPECT_EQ(std::distance(std::filesystem::directory_iterator(to), {}), 1);
  EXPECT_THAT(Slurp(to + "/whole"), "\x01");
}

TEST_F(ExtrasTest, StandardInputIsRefusedWithTheReason) {
  for (const char* command : {"info", "chapters", "attachments", "check", "samples", "play"}) {
    const Checked shown = RunTool(folder_, {command, "-"});
    EXPECT_EQ(shown.status, 2) << command;
    EXPECT_THAT(shown.messages, HasSubstr("standard input cannot be read from any position")) << command;
    EXPECT_THAT(shown.out, IsEmpty()) << command;
  }
}

}  // namespace
}  // namespace vantor::tools
