#include "tools/doctor_text.h"

#include <fmt/format.h>

#include <algorithm>

#include "tools/json_object.h"
#include "tools/messages.h"
#include "tools/text_table.h"

namespace vantor::tools {
namespace {

// A graph would hardly come to the filters behind these.
constexpr std::size_t kFiltersShown = 4;

std::string OrUnknown(const std::string& text) { return text.empty() ? "-" : text; }

std::string Version(const std::optional<ModuleFile>& file) { return OrUnknown(file ? file->version : ""); }

std::string Bits(const std::optional<ModuleFile>& file) {
  return file && file->bits != 0 ? fmt::format("{}", file->bits) : "-";
}

std::string State(const ComponentFacts& component) {
  if (!component.isThere) return "not there";
  if (!component.isLoaded) return "cannot be loaded";
  return SUCCEEDED(component.made) ? "works" : "makes no filter";
}

std::string ComponentLines(const DoctorFacts& facts) {
  TextTable table({{"Component", Align::kLeft},
                   {"State", Align::kLeft},
                   {"Version", Align::kLeft},
                   {"Bits", Align::kRight},
                   {"File", Align::kLeft}});
  for (const ComponentFacts& component : facts.components) {
    table.Add(
        {component.name, State(component), Version(component.file), Bits(component.file), OrUnknown(component.path)});
  }
  return table.Text();
}

std::string RegistrationLines(const DoctorFacts& facts) {
  TextTable table({{"Registered", Align::kLeft},
                   {"Programs of", Align::kLeft},
                   {"For", Align::kLeft},
                   {"Version", Align::kLeft},
                   {"Bits", Align::kRight},
                   {"File", Align::kLeft}});
  for (const ComponentFacts& component : facts.components) {
    for (const Registration& entry : component.registrations) {
      table.Add({component.name, fmt::format("{} bits", entry.bits), entry.isForUser ? "the user" : "the computer",
                 Version(entry.file), Bits(entry.file), entry.path + (entry.isBesideTool ? " (as the tool)" : "")});
    }
    if (component.registrations.empty()) table.Add({component.name, "none", "-", "-", "-", "-"});
  }
  return table.Text();
}

std::string GraphLines(const GraphFacts& graph) {
  std::string text = "A graph, with a Matroska file:\n";
  if (!graph.extensions.empty()) {
    text += fmt::format("  goes by the name of {} files\n", fmt::join(graph.extensions, ", "));
  }
  for (const StreamType& type : graph.types) {
    text += fmt::format("  knows it by its first bytes ({}), reads it with {}\n", Printable(type.pattern),
                        Printable(OrUnknown(type.source)));
  }
  if (graph.types.empty()) text += "  does not know its first bytes\n";
  for (std::size_t i = 0; i < std::min(graph.filters.size(), kFiltersShown); ++i) {
    const platform::InstalledFilter& filter = graph.filters[i];
    text +=
        fmt::format("  {} \"{}\", merit 0x{:08X}\n", i == 0 ? "tries" : "then ", Printable(filter.name), filter.merit);
  }
  if (graph.filters.size() > kFiltersShown) {
    text += fmt::format("  and {} more\n", graph.filters.size() - kFiltersShown);
  }
  if (graph.filters.empty()) text += "  has no filter for it\n";
  return text;
}

void AppendModule(JsonObject& object, const std::optional<ModuleFile>& file) {
  object.TextOrNull("version", file ? file->version : "");
  object.Optional("bits", file && file->bits != 0 ? std::optional(file->bits) : std::nullopt);
}

void AppendRegistration(JsonObject& object, const Registration& entry) {
  object.Value("programs", entry.bits);
  object.Text("scope", entry.isForUser ? "user" : "computer");
  object.Text("file", entry.path);
  object.Text("threading_model", entry.threading);
  object.Value("exists", entry.file.has_value());
  AppendModule(object, entry.file);
  object.Value("is_the_tools", entry.isBesideTool);
}

void AppendComponent(JsonObject& object, const ComponentFacts& component) {
  object.Text("component", component.name);
  object.Text("class", component.classId);
  object.TextOrNull("file", component.path);
  AppendModule(object, component.file);
  object.Value("loaded", component.isLoaded);
  object.TextOrNull("error", component.error);
  object.Value("filter", SUCCEEDED(component.made));
  object.Objects("registrations", component.registrations, AppendRegistration);
}

void AppendStreamType(JsonObject& object, const StreamType& type) {
  object.Text("subtype", type.subtype);
  object.Text("bytes", type.pattern);
  object.TextOrNull("source", type.source);
}

void AppendFilter(JsonObject& object, const platform::InstalledFilter& filter) {
  object.Text("class", filter.classId);
  object.Text("name", filter.name);
  object.Value("merit", filter.merit);
}

void AppendGraph(JsonObject& object, const GraphFacts& graph) {
  object.Texts("extensions", graph.extensions);
  object.Objects("types", graph.types, AppendStreamType);
  object.Objects("filters", graph.filters, AppendFilter);
}

void AppendAilment(JsonObject& object, const Ailment& ailment) {
  object.Text("id", ailment.id);
  object.Text("severity", ailment.isFault ? "error" : "note");
  object.Text("text", ailment.text);
  object.Text("advice", ailment.advice);
}

}  // namespace

std::string DoctorText(const DoctorFacts& facts, const std::vector<Ailment>& ailments) {
  std::string text = fmt::format("vantor-mkv {}, {} bits\n\n", facts.version, facts.bits) + ComponentLines(facts);
  if (facts.hasRegistry) {
    text += "\n" + RegistrationLines(facts) + "\n" + GraphLines(facts.graph);
  } else {
    text += "\nThis system has no registry: hosts load the component by its path.\n";
  }
  text += "\n";
  for (const Ailment& ailment : ailments) {
    text += fmt::format("{:<5}  {}: {}\n       {}\n", ailment.isFault ? "error" : "note", ailment.id,
                        Printable(ailment.text), ailment.advice);
  }
  if (std::none_of(ailments.begin(), ailments.end(), [](const Ailment& ailment) { return ailment.isFault; })) {
    text += "Nothing is wrong.\n";
  }
  return text;
}

std::string DoctorJson(const DoctorFacts& facts, const std::vector<Ailment>& ailments) {
  Buffer out;
  JsonObject object(out, JsonObject::kOneLine);
  object.Value("schema_version", 1);
  object.Text("version", facts.version);
  object.Value("bits", facts.bits);
  object.Objects("components", facts.components, AppendComponent);
  if (facts.hasRegistry) {
    object.Object("graph", [&](JsonObject& graph) { AppendGraph(graph, facts.graph); });
  } else {
    object.Null("graph");
  }
  object.Objects("findings", ailments, AppendAilment);
  object.Close();
  return fmt::to_string(out) + "\n";
}

}  // namespace vantor::tools
