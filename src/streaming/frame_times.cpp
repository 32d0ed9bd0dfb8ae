#include "streaming/frame_times.h"

#include <algorithm>

#include "platform/wrapping.h"

namespace vantor {

BlockSpan SpanOf(const BlockTiming& timing) {
  std::int64_t stop = WrappingAdd(timing.start, 1);
  if (timing.duration) {
    stop = WrappingAdd(timing.start, *timing.duration);
  } else if (timing.next) {
    stop = *timing.next;
  }
  const BlockSpan span{WrappingSubtract(timing.start, timing.fileStart), WrappingSubtract(stop, timing.fileStart)};
  return {span.start, span.stop > span.start ? span.stop : WrappingAdd(span.start, 1)};
}

FrameTimes::FrameTimes(const BlockSpan& span, const PlaybackRange& range, std::size_t frames)
    : start_(WrappingSubtract(span.start, range.start)), rangeLength_(WrappingSubtract(range.stop, range.start)) {
  // Unsigned: a span of more than half of all time is a long one, and divided as such; undivided it counts as one unit.
  const auto whole = static_cast<std::uint64_t>(span.stop) - static_cast<std::uint64_t>(span.start);
  const std::uint64_t share = frames == 1 ? whole : whole / frames;
  length_ = std::max<std::int64_t>(static_cast<std::int64_t>(share), 1);
}

std::int64_t FrameTimes::StartOf(std::size_t frame) const {
  return WrappingAdd(start_, WrappingMultiply(length_, static_cast<std::int64_t>(frame)));
}

}  // namespace vantor
