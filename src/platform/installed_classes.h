// What the system's registry says of its classes and filters, for who looks without changing anything. Tests put their
// own in its place.
//
//   if (platform::InstalledClasses* classes = platform::SystemClasses()) {
//     classes->ReadText({platform::ClassesHive::kUser, 64}, "CLSID\\{...}\\InprocServer32", "");
//   }
//
// Text is UTF-8; keys are separated by backslashes and count from the root of the classes.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "platform/com.h"

namespace vantor::platform {

enum class ClassesHive { kMerged, kUser, kComputer };  // kMerged: as programs see it, the user's before the computer's

// A part of the registry: what programs of so many bits see of it.
struct ClassesView {
  ClassesHive hive = ClassesHive::kMerged;
  int bits = 64;
};

struct InstalledFilter {
  std::string classId;  // as GuidText writes it
  std::string name;
  std::uint32_t merit = 0;
};

class InstalledClasses {
 public:
  // The bitnesses of programs that the system runs, this program's own first.
  virtual std::vector<int> Bitnesses() = 0;
  // A string value, its variables replaced; an empty name is the key's default value. Nothing where it is missing.
  virtual std::optional<std::string> ReadText(ClassesView view, const std::string& key, const std::string& name) = 0;
  // The names of the keys below one, and of its values. None of a missing key.
  virtual std::vector<std::string> Keys(ClassesView view, const std::string& key) = 0;
  virtual std::vector<std::string> ValueNames(ClassesView view, const std::string& key) = 0;
  // The filters that take such an input, in the order in which a graph of this program would try them; none that a
  // graph does not use by itself. A failure of the system's list is its result.
  virtual HRESULT FiltersFor(const GUID& major, const GUID& subtype, std::vector<InstalledFilter>& filters) = 0;

 protected:
  ~InstalledClasses() = default;
};

// The running system's; null where there is no registry, which is everywhere but on Windows.
InstalledClasses* SystemClasses();

}  // namespace vantor::platform
