// A track's content encodings: how its private data and frames were compressed or encrypted. Header stripping is the
// one that is undone.
//
//   ApplyContentEncodings(track, frame, MkvContentEncoding::kScopeFrames);  // the stripped bytes are back
//
//   const auto header = StrippedHeader(track, MkvContentEncoding::kScopeFrames);  // where the frame is copied anyway
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

#include "parser/ebml_value.h"
#include "parser/element.h"
#include "parser/frame_bytes.h"
#include "parser/track_entry.h"

namespace vantor {

// Encodings kept for a track: the first ones in the file. Real tracks have one or two.
inline constexpr std::size_t kMaxContentEncodings = 16;
// A longer stripped header is not put back: what is stripped are the few bytes that all frames begin with, and a frame
// of one byte must not become a megabyte. Bytes.
inline constexpr std::size_t kLongestStrippedHeader = 4096;

// Appends the ContentEncoding children of a ContentEncodings element, in file order.
void ReadContentEncodings(const MkvElement& element, std::vector<MkvContentEncoding>& encodings);

// Undoes the one content encoding of highest order whose scope meets the mask, as far as it can be undone: header
// stripping is, of up to kLongestStrippedHeader bytes. True when no encoding matched, so that the buffer is usable as
// it was.
bool ApplyContentEncodings(const MkvTrackEntry& track, Bytes& buffer, std::uint64_t scopeMask);
bool ApplyContentEncodings(const MkvTrackEntry& track, FrameBytes& buffer, std::uint64_t scopeMask);

// The bytes that ApplyContentEncodings puts in front of a buffer; the track keeps them. Often none.
std::span<const std::uint8_t> StrippedHeader(const MkvTrackEntry& track, std::uint64_t scopeMask);

}  // namespace vantor
