// Reading the ContentEncodings of a track; applying them is declared with the track entry.
#pragma once

#include <cstddef>
#include <vector>

#include "parser/element.h"
#include "parser/track_entry.h"

namespace vantor {

// Encodings kept for a track: the first ones in the file. Real tracks have one or two.
inline constexpr std::size_t kMaxContentEncodings = 16;

// Appends the ContentEncoding children of a ContentEncodings element, in file order.
void ReadContentEncodings(const MkvElement& element, std::vector<MkvContentEncoding>& encodings);

}  // namespace vantor
