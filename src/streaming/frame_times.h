// When the frames of a block begin and end: plain arithmetic on what the file tells. All times are in 100 ns; sums wrap
// in 64 bits, since files may claim anything.
//
//   const BlockSpan span = SpanOf({.start = block.start, .next = cursor.Next().start, .fileStart = 0});
//   const FrameTimes times(span, playback.Range(), block.record.frames.size());
//   for (std::size_t i = 0; i < block.record.frames.size(); ++i) Deliver(times.StartOf(i), times.StopOf(i));
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>

#include "streaming/playback.h"

namespace vantor {

struct BlockTiming {
  std::int64_t start = 0;                // of the file
  std::optional<std::int64_t> duration;  // what the block itself says
  std::optional<std::int64_t> next;      // where the track's next block starts; not asked for when there is a duration
  std::int64_t fileStart = 0;            // the time of the file's first cluster, which counts as 0
};

struct BlockSpan {
  std::int64_t start = 0;  // stream time
  std::int64_t stop = 0;
};

// The block lasts as long as it says, or else up to the next one, or else 100 ns, whatever frame rate the track
// declares. It always ends after it starts, unless the sum wraps.
BlockSpan SpanOf(const BlockTiming& timing);

// The frames of a block share its span evenly: what is left over by the division belongs to no frame.
class FrameTimes {
 public:
  // Times count from the start of the range. At least one frame.
  FrameTimes(const BlockSpan& span, const PlaybackRange& range, std::size_t frames);

  std::int64_t StartOf(std::size_t frame) const;
  std::int64_t StopOf(std::size_t frame) const { return StartOf(frame + 1); }
  // Before the range or beyond it: decoded, but not shown. A frame that starts where the range ends is shown, and the
  // last.
  bool IsPreroll(std::size_t frame) const { return StartOf(frame) < 0 || StartOf(frame) > rangeLength_; }
  // Whether the range ends with, or before, the start of this frame.
  bool IsAtEnd(std::size_t frame) const { return StartOf(frame) >= rangeLength_; }

 private:
  std::int64_t start_;
  std::int64_t length_;
  std::int64_t rangeLength_;
};

}  // namespace vantor
