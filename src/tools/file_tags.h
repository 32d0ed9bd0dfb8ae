// A file's tags: what they are about, and their names and values, with those within them.
//
//   FileTags tags;
//   if (!AppendTags(element, tags)) return Incomplete();
//   for (const FileTag& tag : tags) for (const SimpleTag& simple : tag.simple) Use(simple.name, simple.value);
//
// Texts are the file's bytes: they need not be valid UTF-8.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "parser/ebml_value.h"
#include "parser/element.h"

namespace vantor::tools {

struct SimpleTag {
  std::string name;
  std::string language;
  std::string bcp47;
  CMkvUInt isDefault{1};
  std::string value;
  std::optional<std::uint64_t> binarySize;  // of a value in bytes, which are not read
  std::vector<SimpleTag> nested;

  // "de-AT", "ger", or "und" where the file is silent.
  std::string Language() const { return !bcp47.empty() ? bcp47 : !language.empty() ? language : "und"; }
};

struct FileTag {
  CMkvUInt level{50};  // what it is about: 30 a track or chapter, 50 an album or film, 70 a collection
  std::string levelName;
  // By UID; without any it is about all of the file.
  std::vector<std::uint64_t> tracks;
  std::vector<std::uint64_t> editions;
  std::vector<std::uint64_t> chapters;
  std::vector<std::uint64_t> attachments;
  std::vector<SimpleTag> simple;
};

using FileTags = std::vector<FileTag>;

inline constexpr std::size_t kMaxTagDepth = 16;

// Reads every tag of the Tags element, in file order. False when some were passed over, because they lie too deep or
// their source has no room for them.
bool AppendTags(const MkvElement& element, FileTags& tags);

}  // namespace vantor::tools
