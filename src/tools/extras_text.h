// Chapters, tags and attached files as tables for people.
//
//   out += ChaptersText(extras.editions, 80);
//   out += TagsText(extras.tags, root.segment, 80);
//
// A width is that of a terminal's line, in cells; 0 cuts nothing off. Without any there is no table: the text is empty.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "parser/segment.h"
#include "tools/file_extras.h"

namespace vantor::tools {

// One line a chapter, those within others below them and further in, and a line above each edition where there are
// several of them or there is something to say of it.
std::string ChaptersText(const Editions& editions, std::size_t width);
std::string TagsText(const FileTags& tags, const MkvSegment& segment, std::size_t width);
// The numbers are those that `attachments` and `info` know the files by. Where files were written, their paths, one
// for each, follow in a column of their own.
std::string AttachmentsText(const MkvAttachmentList& attachments, const std::vector<std::string>& paths,
                            std::size_t width);

// What a tag is about: "the file", "track 2, track 3", "chapter 4711".
std::string TagTarget(const FileTag& tag, const MkvSegment& segment);

}  // namespace vantor::tools
