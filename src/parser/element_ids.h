// The identifiers of the elements this parser knows, marker bits kept.
#pragma once

#include <cstdint>

namespace vantor::ids {

// Top level.
inline constexpr std::uint32_t kEbmlHeader = 0x1A45DFA3;
inline constexpr std::uint32_t kSegment = 0x18538067;

// Children of the EBML header.
inline constexpr std::uint32_t kDocType = 0x4282;

// Children of the Segment.
inline constexpr std::uint32_t kSeekHead = 0x114D9B74;
inline constexpr std::uint32_t kInfo = 0x1549A966;
inline constexpr std::uint32_t kTracks = 0x1654AE6B;
inline constexpr std::uint32_t kCues = 0x1C53BB6B;
inline constexpr std::uint32_t kChapters = 0x1043A770;
inline constexpr std::uint32_t kAttachments = 0x1941A469;
inline constexpr std::uint32_t kTags = 0x1254C367;
inline constexpr std::uint32_t kCluster = 0x1F43B675;

// Children of a Cluster and of a BlockGroup.
inline constexpr std::uint32_t kTimecode = 0xE7;
inline constexpr std::uint32_t kSimpleBlock = 0xA3;
inline constexpr std::uint32_t kBlockGroup = 0xA0;
inline constexpr std::uint32_t kBlock = 0xA1;

}  // namespace vantor::ids
