#include <fmt/format.h>

#include <algorithm>

#include "platform/text.h"
#include "published/media_guids.h"
#include "tools/doctor_facts.h"
#include "tools/json_text.h"

namespace vantor::tools {
namespace {

using Ailments = std::vector<Ailment>;

// GUIDs as text: whoever wrote them chose the case of the digits.
bool IsSameId(const std::string& left, const std::string& right) {
  const auto lower = [](char letter) { return letter >= 'A' && letter <= 'Z' ? letter - 'A' + 'a' : letter; };
  return std::equal(left.begin(), left.end(), right.begin(), right.end(),
                    [&](char a, char b) { return lower(a) == lower(b); });
}

constexpr const char* kInstallAnew = "install the component and the tool of one version anew";

std::string Register(int bits) {
  return fmt::format("register the {}-bit component as an administrator, with the regsvr32 of {} bits", bits, bits);
}

void CheckFile(const ComponentFacts& component, const std::string& toolVersion, Ailments& found) {
  if (component.path.empty()) {
    if (component.isWanted) {
      found.push_back({"component-missing", true, component.error,
                       "put the component beside the tool, or name it with --component"});
    }
    return;
  }
  if (!component.isThere) {
    found.push_back({"component-missing", true, fmt::format("there is no {}", component.path),
                     "name a component that is there with --component"});
    return;
  }
  if (!component.isLoaded) {
    found.push_back({"component-not-loadable", true, "the component cannot be loaded: " + component.error,
                     component.file && component.file->bits == 0 ? "name a component with --component" : kInstallAnew});
    return;
  }
  if (FAILED(component.made)) {
    const bool isOther = component.made == CLASS_E_CLASSNOTAVAILABLE;
    found.push_back({"filter-not-made", true,
                     fmt::format("{} makes no filter of class {} ({})", component.path, component.classId,
                                 ResultText(component.made)),
                     isOther ? "it is another component: --complete tells that it is the complete one" : kInstallAnew});
  }
  const std::string version = component.file ? component.file->version : "";
  if (!version.empty() && version != toolVersion) {
    found.push_back({"version-differs", true,
                     fmt::format("{} is of version {}, the tool of {}", component.path, version, toolVersion),
                     kInstallAnew});
  }
}

void CheckRegistration(const ComponentFacts& component, const Registration& entry, Ailments& found) {
  if (!entry.file) {
    found.push_back({"registered-file-missing", true,
                     fmt::format("{} is registered for {}-bit programs and is not there", entry.path, entry.bits),
                     Register(entry.bits)});
    return;
  }
  if (entry.file->bits != entry.bits) {
    const std::string what =
        entry.file->bits == 0 ? "no library" : fmt::format("a library of {} bits", entry.file->bits);
    found.push_back({"registered-wrong-file", true,
                     fmt::format("{} is registered for {}-bit programs and is {}", entry.path, entry.bits, what),
                     Register(entry.bits)});
    return;
  }
  if (entry.threading != "Both") {
    found.push_back(
        {"registered-threading", true,
         fmt::format("{} is registered with the threading model \"{}\", not \"Both\"", entry.path, entry.threading),
         Register(entry.bits)});
  }
  const std::string version = component.file ? component.file->version : "";
  if (!version.empty() && entry.file->version != version) {
    found.push_back({"registered-version-differs", true,
                     fmt::format("{} is of version {}, the one that this tool loads of {}", entry.path,
                                 entry.file->version.empty() ? "unknown" : entry.file->version, version),
                     kInstallAnew});
  }
}

// Who is asked first stands first: the user's entry hides the computer's.
void CheckRegistrations(const ComponentFacts& component, int bits, int toolBits, Ailments& found) {
  const Registration* first = nullptr;
  for (const Registration& entry : component.registrations) {
    if (entry.bits != bits) continue;
    CheckRegistration(component, entry, found);
    if (first == nullptr) {
      first = &entry;
      if (bits == toolBits && entry.file && !component.path.empty() && !entry.isBesideTool) {
        found.push_back({"registered-elsewhere", false,
                         fmt::format("programs load {}, this tool {}", entry.path, component.path),
                         "name the registered one with --component to see what it does"});
      }
    } else if (entry.path != first->path) {
      found.push_back({"registered-twice", false,
                       fmt::format("{} is registered for the computer, but the user's entry, {}, goes before it",
                                   entry.path, first->path),
                       "unregister the one that is not wanted"});
    }
  }
}

bool IsRegisteredFor(const DoctorFacts& facts, int bits) {
  return std::any_of(facts.components.begin(), facts.components.end(), [&](const ComponentFacts& component) {
    return std::any_of(component.registrations.begin(), component.registrations.end(),
                       [&](const Registration& entry) { return entry.bits == bits; });
  });
}

void CheckTypes(const GraphFacts& graph, const std::string& advice, Ailments& found) {
  for (const std::string& extension : graph.extensions) {
    found.push_back({"extension-key", true,
                     fmt::format("a graph goes by the name of {} files and does not look at their bytes, since the "
                                 "registry has an entry for them",
                                 extension),
                     advice});
  }
  const std::string own = GuidText(kSubtypePrivateMatroska);
  const auto is = [](const std::string& left, const GUID& right) { return IsSameId(left, GuidText(right)); };
  const auto type = std::find_if(graph.types.begin(), graph.types.end(), [&](const StreamType& candidate) {
    return is(candidate.subtype, kSubtypePrivateMatroska);
  });
  if (type == graph.types.end()) {
    found.push_back({"first-bytes-missing", true, "a graph does not know Matroska files by their first bytes", advice});
  } else if (!is(type->source, CLSID_AsyncReader)) {
    found.push_back({"first-bytes-source", true,
                     fmt::format("a graph reads Matroska files with {}, not with the system's file reader",
                                 type->source.empty() ? "no filter" : type->source),
                     advice});
  }
  for (const StreamType& other : graph.types) {
    if (is(other.subtype, kSubtypePrivateMatroska)) continue;
    found.push_back({"first-bytes-other", false,
                     fmt::format("a second type, {}, is known by the same first bytes; which one a graph takes is "
                                 "open",
                                 other.subtype),
                     "where files do not play as the tool shows, remove what brought it"});
  }
}

void CheckChoice(const DoctorFacts& facts, const std::string& advice, Ailments& found) {
  const GraphFacts& graph = facts.graph;
  if (FAILED(graph.listed)) {
    found.push_back({"filter-list-unreadable", true,
                     fmt::format("the system does not list its filters ({})", ResultText(graph.listed)),
                     "repair the system's DirectShow"});
    return;
  }
  const auto isOurs = [&](const platform::InstalledFilter& filter) {
    return std::any_of(facts.components.begin(), facts.components.end(),
                       [&](const ComponentFacts& component) { return IsSameId(component.classId, filter.classId); });
  };
  const auto ours = std::find_if(graph.filters.begin(), graph.filters.end(), isOurs);
  if (ours == graph.filters.end()) {
    found.push_back({"not-in-filter-list", true, "the system's list of filters has none of the components", advice});
  } else if (ours != graph.filters.begin()) {
    const platform::InstalledFilter& first = graph.filters.front();
    found.push_back({"other-filter-first", true,
                     fmt::format("a graph tries \"{}\" first: its merit is 0x{:08X}, that of \"{}\" 0x{:08X}",
                                 first.name, first.merit, ours->name, ours->merit),
                     "lower the other one's merit or uninstall it, or put the demultiplexer into the graph yourself"});
  }
}

}  // namespace

std::vector<Ailment> FindAilments(const DoctorFacts& facts) {
  Ailments found;
  for (const ComponentFacts& component : facts.components) CheckFile(component, facts.version, found);
  if (!facts.hasRegistry) return found;
  for (const int bits : facts.bitnesses) {
    for (const ComponentFacts& component : facts.components) CheckRegistrations(component, bits, facts.bits, found);
    if (IsRegisteredFor(facts, bits)) continue;
    found.push_back({"not-registered", bits == facts.bits,
                     fmt::format("no component is registered for {}-bit programs", bits), Register(bits)});
  }
  // Without a registration there is nothing that a graph could choose.
  if (!IsRegisteredFor(facts, facts.bits)) return found;
  CheckTypes(facts.graph, Register(facts.bits), found);
  CheckChoice(facts, Register(facts.bits), found);
  return found;
}

}  // namespace vantor::tools
