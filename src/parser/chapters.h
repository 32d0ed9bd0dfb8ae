// Chapter editions: kept with the file's records.
//
//   MkvChapterEditions editions;
//   if (ReadChapters(element, editions) == S_OK) Use(editions.size());
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "parser/ebml_value.h"

namespace vantor {

struct MkvChapterAtom {
  CMkvUInt ChapterUID;
  CMkvUInt ChapterTimeStart;  // nanoseconds
  CMkvUInt ChapterFlagHidden;
  CMkvUInt ChapterFlagEnabled;
  std::vector<WideString> displays;  // the ChapString of each ChapterDisplay
  std::vector<MkvChapterAtom> atoms;
};

struct MkvChapterEdition {
  std::vector<MkvChapterAtom> atoms;
};

using MkvChapterEditions = std::vector<MkvChapterEdition>;
// One list per Chapters element read.
using MkvChapterList = std::vector<MkvChapterEditions>;

// Atoms below this many others, and atoms after this many of one Chapters element, are passed over.
inline constexpr std::size_t kMaxChapterDepth = 16;
inline constexpr std::size_t kMaxChapterAtoms = 16384;

// Reads every EditionEntry of the Chapters element, in file order. E_POINTER for an empty element.
[[nodiscard]] HRESULT ReadChapters(const MkvElement& chapters, MkvChapterEditions& editions);

}  // namespace vantor
