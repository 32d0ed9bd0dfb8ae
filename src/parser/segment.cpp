#include "parser/segment.h"

#include "platform/conversions.h"
#include "platform/wrapping.h"

namespace vantor {

namespace {

std::optional<std::uint64_t> FirstTrackOfType(const MkvSegment& segment, std::uint64_t type) {
  for (const MkvTrackList& list : segment.tracks) {
    for (const auto& track : list) {
      if (track->TrackType.value == type) return track->TrackNumber.value;
    }
  }
  return std::nullopt;
}

}  // namespace

std::int64_t MkvSegmentInfo::StatedDuration() const {
  return TruncateToInt64(static_cast<double>(TimecodeScale.value) * Duration.value / 100.0);
}

// Multiplied first, divided then: a tick need not be a whole number of 100 ns.
std::int64_t MkvSegment::TicksToTime(std::int64_t ticks) const {
  return WrappingMultiply(ticks, static_cast<std::int64_t>(info.TimecodeScale.value)) / 100;
}

std::uint64_t MkvSegment::SeekTarget(const MkvSeekEntry& entry) const {
  const std::uint64_t target = dataStart + entry.SeekPosition.value;
  return target < dataStart ? ~std::uint64_t{0} : target;
}

std::optional<std::uint64_t> FindReferenceTrackNumber(const MkvSegment& segment) {
  const std::optional<std::uint64_t> video = FirstTrackOfType(segment, MkvTrackEntry::kTypeVideo);
  return video ? video : FirstTrackOfType(segment, MkvTrackEntry::kTypeAudio);
}

bool HasVideo(const MkvSegment& segment) { return FirstTrackOfType(segment, MkvTrackEntry::kTypeVideo).has_value(); }

std::uint64_t ReferenceTrackNumber(const MkvSegment& segment) { return FindReferenceTrackNumber(segment).value_or(1); }

}  // namespace vantor
