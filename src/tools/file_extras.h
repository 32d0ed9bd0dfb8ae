// What a file holds beside its tracks: chapters, tags and attached files. The filter reads them only where the seek
// index says that they are, if at all; these are found wherever they stand in the first Segment, by a walk over the
// headers of its children.
//
//   const FileExtras extras = ReadExtras(root, {.chapters = true, .attachments = true});
//   for (const MkvAttachedFile& file : extras.attachments) Use(file.FileName, file.dataPosition);
#pragma once

#include "parser/attachments.h"
#include "parser/file_root.h"
#include "tools/file_chapters.h"
#include "tools/file_tags.h"

namespace vantor::tools {

struct ExtrasWanted {
  bool chapters = false;
  bool tags = false;
  bool attachments = false;

  bool Any() const { return chapters || tags || attachments; }
};

struct FileExtras {
  Editions editions;
  FileTags tags;
  MkvAttachmentList attachments;
  bool isComplete = true;  // false: some of it was over a limit and passed over
};

// What to say of extras that are not complete.
inline constexpr const char* kExtrasOverLimit =
    "warning: of the chapters, tags or attachments there are more than can be read";

// The file has been opened. Work and memory are bounded by its length.
FileExtras ReadExtras(CMkvFileRoot& root, const ExtrasWanted& wanted);

}  // namespace vantor::tools
