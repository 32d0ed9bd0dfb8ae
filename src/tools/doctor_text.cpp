#include "tools/doctor_text.h"

#include <fmt/format.h>

#include <algorithm>

#include "tools/json_writer.h"
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

void AppendModule(JsonWriter& json, const std::optional<ModuleFile>& file) {
  json.Key("version").TextOrNull(file ? file->version : "");
  json.Key("bits");
  if (file && file->bits != 0) {
    json.Number(file->bits);
  } else {
    json.Null();
  }
}

void AppendComponent(JsonWriter& json, const ComponentFacts& component) {
  json.BeginObject().Key("component").Text(component.name).Key("class").Text(component.classId);
  json.Key("file").TextOrNull(component.path);
  AppendModule(json, component.file);
  json.Key("loaded").Bool(component.isLoaded).Key("error").TextOrNull(component.error);
  json.Key("filter").Bool(SUCCEEDED(component.made)).Key("registrations").BeginArray();
  for (const Registration& entry : component.registrations) {
    json.BeginObject().Key("programs").Number(entry.bits);
    json.Key("scope").Text(entry.isForUser ? "user" : "computer").Key("file").Text(entry.path);
    json.Key("threading_model").Text(entry.threading).Key("exists").Bool(entry.file.has_value());
    AppendModule(json, entry.file);
    json.Key("is_the_tools").Bool(entry.isBesideTool).End();
  }
  json.End().End();
}

void AppendGraph(JsonWriter& json, const GraphFacts& graph) {
  json.BeginObject().Key("extensions").BeginArray();
  for (const std::string& extension : graph.extensions) json.Text(extension);
  json.End().Key("types").BeginArray();
  for (const StreamType& type : graph.types) {
    json.BeginObject().Key("subtype").Text(type.subtype).Key("bytes").Text(type.pattern);
    json.Key("source").TextOrNull(type.source).End();
  }
  json.End().Key("filters").BeginArray();
  for (const platform::InstalledFilter& filter : graph.filters) {
    json.BeginObject().Key("class").Text(filter.classId).Key("name").Text(filter.name);
    json.Key("merit").Number(static_cast<std::uint64_t>(filter.merit)).End();
  }
  json.End().End();
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
  JsonWriter json;
  json.BeginObject().Key("schema_version").Number(1).Key("version").Text(facts.version);
  json.Key("bits").Number(facts.bits).Key("components").BeginArray();
  for (const ComponentFacts& component : facts.components) AppendComponent(json, component);
  json.End().Key("graph");
  if (facts.hasRegistry) {
    AppendGraph(json, facts.graph);
  } else {
    json.Null();
  }
  json.Key("findings").BeginArray();
  for (const Ailment& ailment : ailments) {
    json.BeginObject().Key("id").Text(ailment.id).Key("severity").Text(ailment.isFault ? "error" : "note");
    json.Key("text").Text(ailment.text).Key("advice").Text(ailment.advice).End();
  }
  json.End().End();
  return json.Line();
}

}  // namespace vantor::tools
