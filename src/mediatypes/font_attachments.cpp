#include "mediatypes/font_attachments.h"

#include <limits>
#include <memory>
#include <new>

#include "parser/segment.h"

namespace vantor {

namespace {

constexpr char kTrueTypeFont[] = "application/x-truetype-font";

void InstallFont(CMkvFile& root, const MkvAttachedFile& file, KeepingRoom& room, CFontInstaller& installer) {
  root.position = file.dataPosition;
  if (file.dataSize > root.Remaining() || file.dataSize > std::numeric_limits<std::size_t>::max()) return;
  if (!room.Take(file.dataSize)) return;
  const std::size_t size = static_cast<std::size_t>(file.dataSize);
  const std::unique_ptr<std::uint8_t[]> font(new (std::nothrow) std::uint8_t[size]);
  if (font == nullptr || root.Read(font.get(), size) != S_OK) return;
  installer.Install(font.get(), size);
}

}  // namespace

void InstallFontAttachments(CMkvFile& root, CFontInstaller& installer) {
  const MkvSegment* segment = root.GetSegment();
  if (segment == nullptr) return;
  // What the records have left. A copy: the fonts are taken away again with the pins, and may be installed anew.
  KeepingRoom room = root.payloadRoom;
  for (const MkvAttachmentList& list : segment->attachments) {
    for (const MkvAttachedFile& file : list) {
      if (file.FileMimeType == kTrueTypeFont) InstallFont(root, file, room, installer);
    }
  }
}

}  // namespace vantor
