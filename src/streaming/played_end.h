// Where what is played of a file ends, which is later than where its last Cluster begins and may be later than what the
// file says.
//
//   CMkvFileClone file(root);
//   const std::uint64_t tracks[] = {1, 2};
//   const auto end = FindPlayedEnd(file, FindFirstCluster(root), tracks);
//   lasts = AnnouncedEnd(*root.GetSegment(), 50'000'000, end);  // the file states 5 s
#pragma once

#include <cstdint>
#include <optional>
#include <span>

#include "parser/byte_source.h"
#include "parser/segment.h"
#include "streaming/cluster_place.h"

namespace vantor {

// The largest stop of any block of these tracks in the last Cluster that has one, 100 ns of stream time; none when
// there is no such block. Reads block headers alone, from the last place on that the file's index names. Sets the
// file's allowance.
std::optional<std::int64_t> FindPlayedEnd(CMkvFile& file, const FirstCluster& first,
                                          std::span<const std::uint64_t> tracks);

// The end to be announced, given what the file states: that one, unless it was made up, or the played end is later, by
// more than a tick where the file has an index of its own.
std::int64_t AnnouncedEnd(const MkvSegment& segment, std::int64_t stated, std::optional<std::int64_t> played);

}  // namespace vantor
