// A track's content encodings: how its private data and frames were compressed or encrypted. Header stripping is the
// one that is undone.
//
//   void Restore(const MkvTrackEntry& track, FrameBytes& frame) {
//     ApplyContentEncodings(track, frame, MkvContentEncoding::kScopeFrames);  // the stripped bytes are back
//   }
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "parser/ebml_value.h"
#include "parser/element.h"
#include "parser/frame_bytes.h"
#include "parser/track_entry.h"

namespace vantor {

// Encodings kept for a track: the first ones in the file. Real tracks have one or two.
inline constexpr std::size_t kMaxContentEncodings = 16;

// Appends the ContentEncoding children of a ContentEncodings element, in file order.
void ReadContentEncodings(const MkvElement& element, std::vector<MkvContentEncoding>& encodings);

// Undoes the one content encoding of highest order whose scope meets the mask, as far as it can be undone: header
// stripping is. True when no encoding matched, so that the buffer is usable as it was.
bool ApplyContentEncodings(const MkvTrackEntry& track, Bytes& buffer, std::uint64_t scopeMask);
bool ApplyContentEncodings(const MkvTrackEntry& track, FrameBytes& buffer, std::uint64_t scopeMask);

}  // namespace vantor
