// A file's chapters as people see them: editions, chapters within chapters, names in several languages. The filter
// reads less of them; this reads what is in the file.
//
//   Editions editions;
//   AppendEditions(element, editions);
//   for (const Chapter& chapter : editions.front().chapters) Use(chapter.start.value, chapter.names);
//
// Texts are the file's bytes: they need not be valid UTF-8.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "parser/ebml_value.h"
#include "parser/element.h"

namespace vantor::tools {

struct ChapterName {
  std::string text;
  std::vector<std::string> languages;  // three letters each
  std::vector<std::string> bcp47;      // where there are any, they count
  std::vector<std::string> countries;

  // "de-AT", "ger", "ger/fre", or "eng" where the file is silent.
  std::string Language() const;
};

struct Chapter {
  CMkvUInt uid;
  std::string stringUid;
  CMkvUInt start{0};  // nanoseconds
  CMkvUInt end;
  CMkvUInt hidden{0};
  CMkvUInt enabled{1};
  Bytes segmentUid;
  CMkvUInt segmentEdition;
  CMkvUInt physicalKind;
  std::vector<std::uint64_t> tracks;  // by UID; none: all
  std::vector<ChapterName> names;
  std::vector<Chapter> nested;
};

struct Edition {
  CMkvUInt uid;
  CMkvUInt hidden{0};
  CMkvUInt isDefault{0};
  CMkvUInt ordered{0};
  std::vector<ChapterName> names;
  std::vector<Chapter> chapters;
};

using Editions = std::vector<Edition>;

// Reads every edition of the Chapters element, in file order. What is over a limit is noted with the element's source,
// which bounds what is read and kept.
void AppendEditions(const MkvElement& chapters, Editions& editions);

std::size_t CountChapters(const Editions& editions);

}  // namespace vantor::tools
