// Names of codecs by their subtypes, as people know them.
//
//   CodecNameOf(SubtypeOf(FourCc("AVC1")));  // "AVC (H.264)"
//   CodecNameOf(kSubtypeUtf8);               // "SubRip text"
#pragma once

#include "platform/com.h"

namespace vantor {

// Null for a subtype without a name here.
const char* CodecNameOf(const GUID& subtype);

}  // namespace vantor
