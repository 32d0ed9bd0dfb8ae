// Chapters in the forms that other programs read.
//
//   Print(ChaptersXml(extras.editions));       // mkvmerge --chapters
//   MetadataChapters flat = ChaptersMetadata(extras.editions, 0);
//   Print(flat.text);                          // ffmpeg -i chapters.txt -map_chapters 1
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

#include "tools/file_chapters.h"

namespace vantor::tools {

// The XML of Matroska chapters, with all that this form has a word for.
std::string ChaptersXml(const Editions& editions);

struct MetadataChapters {
  std::string text;
  std::size_t leftOut = 0;  // chapters that this form cannot hold: nested, hidden, disabled, of other editions
};
// A list without editions and levels: the first edition that is marked as the default, or the first. A chapter without
// an end ends where the next one begins, the last with the file; its duration is in nanoseconds, 0 when it is not
// known.
MetadataChapters ChaptersMetadata(const Editions& editions, std::uint64_t duration);

}  // namespace vantor::tools
