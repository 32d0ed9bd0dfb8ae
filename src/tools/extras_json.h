// Chapters, tags and attached files as members of a JSON object; docs/vantor-mkv.schema.json tells their form.
//
//   JsonObject object(buffer, 0);
//   AppendExtras(object, buffer, extras, {.tags = true}, root.segment);
#pragma once

#include "parser/segment.h"
#include "tools/file_extras.h"
#include "tools/json_object.h"

namespace vantor::tools {

// The lists that were wanted: "editions", "tags", "attached_files".
void AppendExtras(JsonObject& object, Buffer& out, const FileExtras& extras, const ExtrasWanted& wanted,
                  const MkvSegment& segment);

// One attached file; the path is where it was written to, or empty.
void AppendAttachment(Buffer& out, std::size_t depth, const MkvAttachedFile& file, std::size_t number,
                      const std::string& path);

}  // namespace vantor::tools
