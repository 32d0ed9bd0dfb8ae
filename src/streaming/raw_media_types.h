// Which media types carry raw pictures and sound, and which compressed data or text.
#pragma once

#include "platform/com.h"

namespace vantor {

// Whether the type's samples are complete in themselves, so that a buffer from anywhere will do: compressed data or
// text. Uncompressed pictures and sound may have to lie in memory that downstream brought, a surface or a device's.
bool IsCompressedOrText(const AM_MEDIA_TYPE& type);

}  // namespace vantor
