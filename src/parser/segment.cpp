#include "parser/segment.h"

#include <optional>

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

std::int64_t MkvSegment::TicksToTime(std::int64_t ticks) const {
  return WrappingMultiply(ticks, static_cast<std::int64_t>(info.TimecodeScale.value)) / 100;
}

std::uint64_t MkvSegment::SeekTarget(const MkvSeekEntry& entry) const {
  const std::uint64_t target = dataStart + entry.SeekPosition.value;
  return target < dataStart ? ~std::uint64_t{0} : target;
}

bool FindReferenceTrackNumber(const MkvSegment& segment, std::uint64_t& number) {
  std::optional<std::uint64_t> found = FirstTrackOfType(segment, MkvTrackEntry::kTypeVideo);
  if (!found) found = FirstTrackOfType(segment, MkvTrackEntry::kTypeAudio);
  if (found) number = *found;
  return found.has_value();
}

std::uint64_t ReferenceTrackNumber(const MkvSegment& segment) {
  std::uint64_t number = 1;
  FindReferenceTrackNumber(segment, number);
  return number;
}

}  // namespace vantor
