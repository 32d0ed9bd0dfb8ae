#include "tools/doctor_facts.h"

#include <fmt/format.h>

#include <charconv>
#include <filesystem>
#include <string_view>
#include <system_error>

#include "host/component.h"
#include "platform/com_ptr.h"
#include "platform/file_path.h"
#include "platform/text.h"
#include "published/media_guids.h"

namespace vantor::tools {
namespace {

using platform::ClassesHive;
using platform::ClassesView;
using platform::InstalledClasses;

constexpr std::string_view kMatroskaBegins = "1A45DFA3";
constexpr const char* kExtensions[] = {".mkv", ".mka", ".mks", ".webm"};

std::string WholePath(const std::string& path) {
  std::error_code error;
  const std::filesystem::path whole = std::filesystem::absolute(platform::ToPath(path), error);
  return error ? path : platform::FromPath(whole);
}

bool AreOneFile(const std::string& left, const std::string& right) {
  std::error_code error;
  return !left.empty() && std::filesystem::equivalent(platform::ToPath(left), platform::ToPath(right), error) && !error;
}

// What cannot be looked at is there for all that is known.
bool IsThere(const std::string& path) {
  std::error_code error;
  return std::filesystem::exists(platform::ToPath(path), error) || error;
}

void LoadAndMake(const std::string& given, const ComponentIdentity& identity, ComponentFacts& facts) {
  facts.path = given.empty() ? Component::PathBesideProgram(facts.error, identity) : WholePath(given);
  if (facts.path.empty()) return;
  facts.isThere = IsThere(facts.path);
  facts.file = ReadModuleFile(facts.path);
  const std::unique_ptr<Component> component = Component::Load(facts.path, facts.error);
  facts.isLoaded = component != nullptr;
  if (!component) return;
  ComPtr<IBaseFilter> filter;
  facts.made = component->CreateFilter(identity.classId, filter.Out());
}

void ReadRegistrations(InstalledClasses& classes, ComponentFacts& facts) {
  const std::string key = "CLSID\\" + facts.classId + "\\InprocServer32";
  for (const int bits : classes.Bitnesses()) {
    for (const ClassesHive hive : {ClassesHive::kUser, ClassesHive::kComputer}) {
      const ClassesView view = {hive, bits};
      const std::optional<std::string> path = classes.ReadText(view, key, "");
      if (!path) continue;
      Registration registration;
      registration.bits = bits;
      registration.isForUser = hive == ClassesHive::kUser;
      registration.path = *path;
      registration.threading = classes.ReadText(view, key, "ThreadingModel").value_or("");
      registration.file = ReadModuleFile(*path);
      registration.isBesideTool = AreOneFile(facts.path, *path);
      facts.registrations.push_back(std::move(registration));
    }
  }
}

std::vector<std::string> Fields(std::string_view text) {
  std::vector<std::string> fields(1);
  for (const char letter : text) {
    if (letter == ',') {
      fields.emplace_back();
    } else if (letter != ' ') {
      fields.back().push_back(letter >= 'a' && letter <= 'z' ? static_cast<char>(letter - 'a' + 'A') : letter);
    }
  }
  return fields;
}

int HexDigit(char letter) {
  if (letter >= '0' && letter <= '9') return letter - '0';
  return letter >= 'A' && letter <= 'F' ? letter - 'A' + 10 : -1;
}

// Whether the digits are those that a Matroska file has at its beginning, where the mask has bits. Without any they are
// those of every file, which counts for nothing where another type knows more.
bool IsBeginning(std::string_view mask, std::string_view digits) {
  if (digits.empty() || digits.size() > kMatroskaBegins.size()) return false;
  bool isMasked = false;
  for (std::size_t i = 0; i < digits.size(); ++i) {
    const int wanted = HexDigit(digits[i]);
    const int masked = i < mask.size() ? HexDigit(mask[i]) : 0xF;
    if (wanted < 0 || masked < 0 || ((HexDigit(kMatroskaBegins[i]) ^ wanted) & masked) != 0) return false;
    isMasked = isMasked || masked != 0;
  }
  return isMasked;
}

// Offset, length, mask and bytes, once or more often. Of bytes behind the first ones nobody knows what they are.
bool FitsMatroska(const std::string& pattern) {
  const std::vector<std::string> fields = Fields(pattern);
  if (fields.size() < 4 || fields.size() % 4 != 0) return false;
  for (std::size_t i = 0; i < fields.size(); i += 4) {
    if (fields[i] != "0" || !IsBeginning(fields[i + 2], fields[i + 3])) return false;
  }
  return true;
}

void ReadStreamTypes(InstalledClasses& classes, ClassesView view, GraphFacts& facts) {
  const std::string streams = "Media Type\\" + GuidText(MEDIATYPE_Stream);
  for (const std::string& subtype : classes.Keys(view, streams)) {
    const std::string key = fmt::format("{}\\{}", streams, subtype);
    for (const std::string& name : classes.ValueNames(view, key)) {
      const std::string pattern = classes.ReadText(view, key, name).value_or("");
      if (!FitsMatroska(pattern)) continue;
      facts.types.push_back({subtype, pattern, classes.ReadText(view, key, "Source Filter").value_or("")});
      break;
    }
  }
}

GraphFacts ReadGraphFacts(InstalledClasses& classes, int bits) {
  GraphFacts facts;
  const ClassesView view = {ClassesHive::kMerged, bits};
  for (const char* extension : kExtensions) {
    const std::string key = std::string("Media Type\\Extensions\\") + extension;
    if (classes.ReadText(view, key, "Source Filter")) facts.extensions.emplace_back(extension);
  }
  ReadStreamTypes(classes, view, facts);
  facts.listed = classes.FiltersFor(MEDIATYPE_Stream, kSubtypePrivateMatroska, facts.filters);
  return facts;
}

ComponentFacts FactsOf(const ComponentIdentity& identity, const Options& options, InstalledClasses* classes) {
  ComponentFacts facts;
  const bool isComplete = SameGuid(identity.classId, kMkvDmxComplete.classId);
  facts.name = isComplete ? "complete" : "demultiplexer";
  facts.classId = GuidText(identity.classId);
  facts.isWanted = isComplete == options.complete;
  LoadAndMake(facts.isWanted ? options.component : std::string(), identity, facts);
  if (classes != nullptr) ReadRegistrations(*classes, facts);
  return facts;
}

}  // namespace

DoctorFacts GatherFacts(const Options& options, InstalledClasses* classes) {
  DoctorFacts facts;
  facts.version = VANTOR_VERSION;
  facts.bits = static_cast<int>(8 * sizeof(void*));
  facts.hasRegistry = classes != nullptr;
  if (classes != nullptr) facts.bitnesses = classes->Bitnesses();
  for (const ComponentIdentity& identity : {kMkvDmx, kMkvDmxComplete}) {
    facts.components.push_back(FactsOf(identity, options, classes));
  }
  if (classes != nullptr) facts.graph = ReadGraphFacts(*classes, facts.bits);
  return facts;
}

}  // namespace vantor::tools
