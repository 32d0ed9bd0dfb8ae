// DoctorFacts: where the components lie, whether they work, how they are registered, and what a graph would do with a
// Matroska file; and what is wrong with that.
//
//   const DoctorFacts facts = GatherFacts(options, platform::SystemClasses());
//   for (const Ailment& ailment : FindAilments(facts)) Use(ailment.text, ailment.advice);
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "platform/installed_classes.h"
#include "published/component.h"
#include "tools/command_line.h"
#include "tools/module_file.h"

namespace vantor::tools {

// One entry of a component's class in the registry.
struct Registration {
  int bits = 0;  // of the programs that it is for
  bool isForUser = false;
  std::string path;
  std::string threading;
  std::optional<ModuleFile> file;  // nothing: it is not there, or cannot be read
  bool isBesideTool = false;       // it is the file that the tool would load
};

struct ComponentFacts {
  std::string name;  // "demultiplexer" or "complete"
  std::string classId;
  bool isWanted = false;  // its absence is a fault
  std::string path;       // of what the tool loads; empty where there is nothing
  bool isThere = false;   // there is a file at that path
  std::string error;      // why it cannot be loaded
  std::optional<ModuleFile> file;
  bool isLoaded = false;
  HRESULT made = E_NOTIMPL;  // the result of making its filter
  std::vector<Registration> registrations;
};

// What the registry has for files that begin as a Matroska file does.
struct StreamType {
  std::string subtype;
  std::string pattern;
  std::string source;
};

struct GraphFacts {
  std::vector<std::string> extensions;  // with an entry of their own
  std::vector<StreamType> types;
  HRESULT listed = E_NOTIMPL;
  std::vector<platform::InstalledFilter> filters;  // for the type of these files, the first choice first
};

struct DoctorFacts {
  std::string version;  // of the tool
  int bits = 0;
  std::vector<ComponentFacts> components;
  bool hasRegistry = false;
  std::vector<int> bitnesses;  // of programs that the system runs
  GraphFacts graph;
};

// Something that is wrong, with what to do. Without `isFault` it is worth knowing only.
struct Ailment {
  std::string id;  // never changes
  bool isFault = true;
  std::string text;
  std::string advice;
};

// `classes` is null where there is no registry.
DoctorFacts GatherFacts(const Options& options, platform::InstalledClasses* classes);
std::vector<Ailment> FindAilments(const DoctorFacts& facts);

}  // namespace vantor::tools
