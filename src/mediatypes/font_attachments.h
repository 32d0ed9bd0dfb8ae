// Fonts that a file carries for its subtitles.
#pragma once

#include "mediatypes/font_installer.h"
#include "parser/byte_source.h"

namespace vantor {

// Hands every TrueType attachment of the file to the installer, in file order, one in memory at a time. What cannot be
// read or installed is passed over, and what would pass the root's payloadRoom: attachments may claim each other's
// bytes, and the installer keeps them all. Moves the root's cursor.
void InstallFontAttachments(CMkvFile& root, CFontInstaller& installer);

}  // namespace vantor
