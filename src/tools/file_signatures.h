// What kind of file it is that is no Matroska or WebM file, by its first bytes.
//
//   SignatureName(payload);   // "an MP4 or QuickTime file", or null for bytes that tell nothing
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

namespace vantor::tools {

// So many bytes tell all that is known.
inline constexpr std::size_t kSignatureBytes = 512;

const char* SignatureName(std::span<const std::uint8_t> bytes);

}  // namespace vantor::tools
