// Attached files: their names and where their bytes lie. The bytes are not read at open.
//
//   for (const MkvAttachmentList& list : file.GetSegment()->attachments) {
//     for (const MkvAttachedFile& attached : list) Use(attached.dataSize);
//   }
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "parser/ebml_value.h"

namespace vantor {

struct MkvAttachedFile {
  WideString FileDescription;
  WideString FileName;
  std::string FileMimeType;
  std::uint64_t dataPosition = 0;  // absolute position of the FileData payload
  std::uint64_t dataSize = 0;      // its size, bytes; 0 without FileData
  CMkvUInt FileUID;
};

using MkvAttachmentList = std::vector<MkvAttachedFile>;

// Attached files kept: a record is larger than an empty AttachedFile, and no real file comes near.
inline constexpr std::size_t kMaxAttachedFiles = 4096;

// Reads the AttachedFiles of the Attachments element, in file order. E_POINTER for an empty element.
[[nodiscard]] HRESULT ReadAttachments(const MkvElement& attachments, MkvAttachmentList& list);

}  // namespace vantor
