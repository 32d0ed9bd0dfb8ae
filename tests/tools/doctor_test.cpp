// `doctor`, on systems whose registry says what a test wants.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <map>
#include <nlohmann/json.hpp>
#include <string>
#include <tuple>
#include <vector>

#include "platform/text.h"
#include "published/media_guids.h"
#include "support/temporary_folder.h"
#include "tools/doctor_facts.h"
#include "tools/doctor_text.h"

namespace vantor::tools {
namespace {

using platform::ClassesHive;
using platform::ClassesView;
using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;

constexpr int kOwnBits = static_cast<int>(8 * sizeof(void*));
const std::string kStreamTypes = "Media Type\\" + GuidText(MEDIATYPE_Stream) + "\\";
const std::string kOwnType = kStreamTypes + GuidText(kSubtypePrivateMatroska);

class FakeClasses final : public platform::InstalledClasses {
 public:
  std::vector<int> bitnesses = {kOwnBits};
  std::map<std::tuple<ClassesHive, int, std::string, std::string>, std::string> values;
  std::vector<platform::InstalledFilter> filters;
  HRESULT listed = S_OK;

  void Put(ClassesHive hive, const std::string& key, const std::string& name, const std::string& text,
           int bits = kOwnBits) {
    values[{hive, bits, key, name}] = text;
  }
  void Register(const ComponentIdentity& identity, const std::string& path, ClassesHive hive = ClassesHive::kComputer,
                int bits = kOwnBits) {
    const std::string key = "CLSID\\" + GuidText(identity.classId) + "\\InprocServer32";
    Put(hive, key, "", path, bits);
    Put(hive, key, "ThreadingModel", "Both", bits);
  }

  std::vector<int> Bitnesses() override { return bitnesses; }
  std::optional<std::string> ReadText(ClassesView view, const std::string& key, const std::string& name) override {
    const auto found = values.find({view.hive, view.bits, key, name});
    return found == values.end() ? std::nullopt : std::optional(found->second);
  }
  std::vector<std::string> Keys(ClassesView view, const std::string& key) override {
    std::vector<std::string> keys;
    for (const auto& [place, text] : values) {
      const auto& [hive, bits, path, name] = place;
      if (hive != view.hive || bits != view.bits || !path.starts_with(key + "\\")) continue;
      const std::string below = path.substr(key.size() + 1);
      const std::string child = below.substr(0, below.find('\\'));
      if (keys.empty() || keys.back() != child) keys.push_back(child);
    }
    return keys;
  }
  std::vector<std::string> ValueNames(ClassesView view, const std::string& key) override {
    std::vector<std::string> names;
    for (const auto& [place, text] : values) {
      const auto& [hive, bits, path, name] = place;
      if (hive == view.hive && bits == view.bits && path == key) names.push_back(name);
    }
    return names;
  }
  HRESULT FiltersFor(const GUID& major, const GUID& subtype, std::vector<platform::InstalledFilter>& chosen) override {
    EXPECT_TRUE(SameGuid(major, MEDIATYPE_Stream));
    EXPECT_TRUE(SameGuid(subtype, kSubtypePrivateMatroska));
    chosen = filters;
    return listed;
  }
};

// A system on which all is as registering leaves it.
class Doctor : public testing::Test {
 protected:
  Doctor() {
    classes_.Register(kMkvDmx, VANTOR_COMPONENT);
    classes_.Put(ClassesHive::kMerged, kOwnType, "0", "0,4,,1A45DFA3");
    classes_.Put(ClassesHive::kMerged, kOwnType, "Source Filter", GuidText(CLSID_AsyncReader));
    classes_.filters = {{GuidText(kClsidMkvDmx), "Vantor MKV Demultiplexer", MERIT_NORMAL}};
    options_.command = Command::kDoctor;
  }

  DoctorFacts Facts() { return GatherFacts(options_, &classes_); }
  std::vector<Ailment> Ailments() { return FindAilments(Facts()); }
  std::vector<std::string> Ids() {
    std::vector<std::string> ids;
    for (const Ailment& ailment : Ailments()) {
      EXPECT_FALSE(ailment.text.empty()) << ailment.id;
      EXPECT_FALSE(ailment.advice.empty()) << ailment.id;
      ids.push_back((ailment.isFault ? "" : "note ") + ailment.id);
    }
    return ids;
  }
  std::string Write(const std::string& name, const std::string& bytes) const {
    return folder_.Write(name, bytes).string();
  }

  test::TemporaryFolder folder_;
  FakeClasses classes_;
  Options options_;
};

// A library for Windows as far as its header and its version go.
std::string WindowsLibrary(int bits, const std::string& version = {}) {
  std::string bytes(0x80, '\0');
  bytes.replace(0, 2, "MZ");
  bytes[0x3C] = 0x40;
  bytes.replace(0x40, 4, std::string("PE\0\0", 4));
  bytes.replace(0x44, 2, bits == 64 ? "\x64\x86" : "\x4C\x01");
  if (!version.empty()) {
    for (const char letter : std::string("VS_VERSION_INFO")) bytes += {letter, '\0'};
    bytes += std::string(4, '\0') + std::string("\xBD\x04\xEF\xFE\0\0\1\0", 8) + version;
  }
  return bytes;
}

TEST_F(Doctor, FindsNothingWhereAllIsAsRegisteringLeavesIt) {
  EXPECT_THAT(Ids(), IsEmpty());
  const DoctorFacts facts = Facts();
  ASSERT_EQ(facts.components.size(), 2U);
  EXPECT_TRUE(facts.components[0].isLoaded);
  EXPECT_EQ(facts.components[0].made, S_OK);
  EXPECT_EQ(facts.components[1].made, S_OK);
  ASSERT_EQ(facts.components[0].registrations.size(), 1U);
  EXPECT_TRUE(facts.components[0].registrations[0].isBesideTool);
  EXPECT_FALSE(facts.components[0].registrations[0].isForUser);
  EXPECT_THAT(facts.components[1].registrations, IsEmpty());
  ASSERT_TRUE(facts.components[0].file);
  EXPECT_EQ(facts.components[0].file->bits, kOwnBits);
  const std::string text = DoctorText(facts, FindAilments(facts));
  EXPECT_THAT(text, HasSubstr("(as the tool)"));
  EXPECT_THAT(text, HasSubstr("tries \"Vantor MKV Demultiplexer\", merit 0x00600000"));
  EXPECT_THAT(text, HasSubstr("Nothing is wrong.\n"));
}

TEST_F(Doctor, TellsThatNothingIsRegistered) {
  classes_.values.clear();
  classes_.filters.clear();
  EXPECT_THAT(Ids(), ElementsAre("not-registered"));
}

TEST_F(Doctor, NotesProgramsOfAnotherBitness) {
  classes_.bitnesses = {kOwnBits, 96 - kOwnBits};
  EXPECT_THAT(Ids(), ElementsAre("note not-registered"));
}

TEST_F(Doctor, TellsThatARegisteredFileIsGone) {
  classes_.Register(kMkvDmx, folder_.Write("gone", "").string() + "x");
  EXPECT_THAT(Ids(), Contains("registered-file-missing"));
}

TEST_F(Doctor, TellsFilesOfAnotherKind) {
  classes_.Register(kMkvDmx, Write("other.ax", WindowsLibrary(96 - kOwnBits)));
  EXPECT_THAT(Ids(), ElementsAre("registered-wrong-file", "note registered-elsewhere"));
  classes_.Register(kMkvDmx, Write("text.ax", "no library at all"));
  EXPECT_THAT(Ailments().front().text, HasSubstr("is no library"));
}

TEST_F(Doctor, ReadsTheVersionOfWindowsLibraries) {
  const std::string path = Write("a.ax", WindowsLibrary(32, std::string("\2\0\1\0\0\0\3\0", 8)));
  const std::optional<ModuleFile> file = ReadModuleFile(path);
  ASSERT_TRUE(file);
  EXPECT_EQ(file->bits, 32);
  EXPECT_EQ(file->version, "1.2.3");
  EXPECT_EQ(ReadModuleFile(Write("b.ax", WindowsLibrary(64, std::string("\0\0\4\0\7\0\0\0", 8))))->version, "4.0.0.7");
}

TEST_F(Doctor, ReadsNoVersionBehindTheEndOfAFile) {
  const std::string whole = WindowsLibrary(64, std::string("\2\0\1\0\0\0\3\0", 8));
  for (std::size_t size = 0; size < whole.size(); ++size) {
    const std::optional<ModuleFile> file = ReadModuleFile(Write("cut.ax", whole.substr(0, size)));
    ASSERT_TRUE(file);
    EXPECT_EQ(file->bits, size < 0x46 ? 0 : 64) << size;
  }
}

TEST_F(Doctor, TellsAnotherVersion) {
  DoctorFacts facts = Facts();
  facts.components[0].file = ModuleFile{kOwnBits, "0.9.0"};
  facts.components[0].registrations[0].file = ModuleFile{kOwnBits, "0.8.0"};
  std::vector<std::string> ids;
  for (const Ailment& ailment : FindAilments(facts)) ids.push_back(ailment.id);
  EXPECT_THAT(ids, ElementsAre("version-differs", "registered-version-differs"));
}

TEST_F(Doctor, TellsTheUsersEntryFromTheComputers) {
  classes_.Register(kMkvDmx, Write("mine.ax", WindowsLibrary(kOwnBits)), ClassesHive::kUser);
  const std::vector<std::string> ids = Ids();
  EXPECT_THAT(ids, Contains("note registered-elsewhere"));
  EXPECT_THAT(ids, Contains("note registered-twice"));
  const std::vector<Registration> entries = Facts().components[0].registrations;
  ASSERT_EQ(entries.size(), 2U);
  EXPECT_TRUE(entries[0].isForUser);
  EXPECT_FALSE(entries[1].isForUser);
}

TEST_F(Doctor, TellsAnotherThreadingModel) {
  classes_.Put(ClassesHive::kComputer, "CLSID\\" + GuidText(kClsidMkvDmx) + "\\InprocServer32", "ThreadingModel",
               "Apartment");
  EXPECT_THAT(Ids(), ElementsAre("registered-threading"));
}

TEST_F(Doctor, TellsThatAnExtensionGoesBeforeTheBytes) {
  classes_.Put(ClassesHive::kMerged, "Media Type\\Extensions\\.mkv", "Source Filter", "{x}");
  EXPECT_THAT(Ids(), ElementsAre("extension-key"));
  EXPECT_THAT(DoctorText(Facts(), {}), HasSubstr("goes by the name of .mkv files"));
}

TEST_F(Doctor, TellsThatTheFirstBytesAreNotKnown) {
  classes_.Put(ClassesHive::kMerged, kOwnType, "0", "0,4,,52494646");
  EXPECT_THAT(Ids(), ElementsAre("first-bytes-missing"));
  classes_.Put(ClassesHive::kMerged, kOwnType, "0", "0,4,FFFF0000,1a45FFFF");
  EXPECT_THAT(Ids(), IsEmpty());
  for (const char* other :
       {"", "0,4,,", "0,4,1A45DFA3", "4,4,,1A45DFA3", "0,4,,1A45DFA3,8,4,,77656264", "0,4,,1A45DFG3", "0,1,00,0"}) {
    classes_.Put(ClassesHive::kMerged, kOwnType, "0", other);
    EXPECT_THAT(Ids(), ElementsAre("first-bytes-missing")) << other;
  }
}

TEST_F(Doctor, TellsAnotherReader) {
  classes_.Put(ClassesHive::kMerged, kOwnType, "Source Filter", GuidText(kClsidMkvDmx));
  EXPECT_THAT(Ids(), ElementsAre("first-bytes-source"));
}

TEST_F(Doctor, NotesASecondTypeWithTheSameBytes) {
  classes_.Put(ClassesHive::kMerged, kStreamTypes + GuidText(kSubtypeMatroska), "0", "0,4,,1A45DFA3");
  EXPECT_THAT(Ids(), ElementsAre("note first-bytes-other"));
}

TEST_F(Doctor, TellsAFilterOfHigherMerit) {
  classes_.filters.insert(classes_.filters.begin(), {"{A}", "Other\x1b[31m", 0x00800000});
  ASSERT_THAT(Ids(), ElementsAre("other-filter-first"));
  EXPECT_THAT(Ailments()[0].text, HasSubstr("0x00800000"));
  EXPECT_THAT(DoctorText(Facts(), Ailments()), Not(HasSubstr("\x1b")));
  classes_.filters.pop_back();
  EXPECT_THAT(Ids(), ElementsAre("not-in-filter-list"));
  classes_.listed = E_FAIL;
  EXPECT_THAT(Ids(), ElementsAre("filter-list-unreadable"));
}

TEST_F(Doctor, LoadsTheComponentThatIsNamed) {
  options_.component = VANTOR_TOY_COMPONENT;
  const std::vector<std::string> ids = Ids();
  EXPECT_THAT(ids, Contains("filter-not-made").Times(0));
  options_.component = VANTOR_COMPONENT;
  options_.complete = true;
  EXPECT_THAT(Ids(), Contains("filter-not-made"));
}

TEST_F(Doctor, TellsAComponentThatIsNotThereFromOneThatDoesNotLoad) {
  options_.component = Write("text.so", "no library");
  EXPECT_THAT(Ids(), Contains("component-not-loadable"));
  options_.component = folder_.Path().string();
  EXPECT_THAT(Ids(), Contains("component-not-loadable")) << "a folder is something";
  options_.component = (folder_ / "none.so").string();
  EXPECT_THAT(Ids(), Contains("component-missing"));
  EXPECT_THAT(Ids(), Not(Contains("component-not-loadable")));
  EXPECT_EQ(Ailments().front().text, "there is no " + options_.component);
  EXPECT_THAT(DoctorText(Facts(), Ailments()), HasSubstr("not there"));
}

TEST_F(Doctor, PrintsEveryFactAsJson) {
  classes_.filters.insert(classes_.filters.begin(), {"{A}", "Other \"one\"", 0x00800000});
  const DoctorFacts facts = Facts();
  const nlohmann::json object = nlohmann::json::parse(DoctorJson(facts, FindAilments(facts)));
  EXPECT_EQ(object["schema_version"], 1);
  EXPECT_EQ(object["components"][0]["component"], "demultiplexer");
  EXPECT_EQ(object["components"][0]["registrations"][0]["scope"], "computer");
  EXPECT_EQ(object["components"][0]["registrations"][0]["is_the_tools"], true);
  EXPECT_EQ(object["graph"]["filters"][0]["name"], "Other \"one\"");
  EXPECT_EQ(object["graph"]["types"][0]["bytes"], "0,4,,1A45DFA3");
  EXPECT_EQ(object["findings"][0]["id"], "other-filter-first");
  EXPECT_EQ(object["findings"][0]["severity"], "error");
}

}  // namespace
}  // namespace vantor::tools
