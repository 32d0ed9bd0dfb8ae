// The second type an output pin offers: older decoders know Vorbis by its older format block, and video by a
// VIDEOINFOHEADER with the codec data behind the bitmap header.
#pragma once

#include "baseclasses/media_type.h"
#include "platform/com.h"

namespace vantor {

// Makes the alternative of the pin's own type. S_OK; VFW_S_NO_MORE_ITEMS when the type has none; E_OUTOFMEMORY;
// E_INVALIDARG for a format block too short for its format type.
HRESULT BuildAlternativeMediaType(const CMediaType& own, CMediaType& alternative);

}  // namespace vantor
