#include "parser/attachments.h"

#include "parser/element_table.h"

namespace vantor {

namespace {

void ReadAttachedFile(const MkvElement& element, MkvAttachedFile& file) {
  ReadRecord(element, {
                          {0x467E, file.FileDescription},
                          {0x466E, file.FileName},
                          {0x4660, file.FileMimeType},
                          {0x465C,
                           [&](const MkvElement& data) {
                             // Not read here, and kept as told: whoever reads it will see whether it is there.
                             if (data.DataEnd() > data.file->length) {
                               data.NotePassedOver(Tolerated::kPayloadOutOfBounds);
                             }
                             file.dataPosition = data.dataStart;
                             file.dataSize = data.size.value;
                           }},
                          {0x46AE, file.FileUID},
                      });
}

}  // namespace

HRESULT ReadAttachments(const MkvElement& attachments, MkvAttachmentList& list) {
  if (!attachments) return E_POINTER;
  ReadRecord(attachments,
             {
                 {0x61A7,
                  [&](const MkvElement& child) {
                    if (list.size() >= kMaxAttachedFiles || !child.file->recordRoom.Take(sizeof(MkvAttachedFile))) {
                      return child.NotePassedOver(Tolerated::kAttachedFileOverLimit);
                    }
                    ReadAttachedFile(child, list.emplace_back());
                  }},
             });
  return S_OK;
}

}  // namespace vantor
