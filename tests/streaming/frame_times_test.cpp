// When the frames of a block begin and end: a flat table of cases, then the marks that follow from the times.
#include "streaming/frame_times.h"

#include <gtest/gtest.h>

#include <limits>
#include <optional>
#include <vector>

namespace vantor::test {
namespace {

constexpr std::int64_t kLargest = std::numeric_limits<std::int64_t>::max();
constexpr std::int64_t kSmallest = std::numeric_limits<std::int64_t>::min();
constexpr std::optional<std::int64_t> kNone;

struct SpanCase {
  const char* name;
  BlockTiming timing;  // start, duration, next, start of the file
  BlockSpan span;
};

TEST(FrameTimes, ABlocksSpanFollowsFromItsDurationOrTheNextBlock) {
  const SpanCase kCases[] = {
      {"up to the next block", {100, kNone, 140, 0}, {100, 140}},
      {"its own duration goes before the next block", {100, 25, 140, 0}, {100, 125}},
      {"a lone block lasts one unit", {100, kNone, kNone, 0}, {100, 101}},
      {"a duration of nothing becomes one unit", {100, 0, kNone, 0}, {100, 101}},
      {"a next block at the same time", {100, kNone, 100, 0}, {100, 101}},
      {"a next block before this one", {100, kNone, 60, 0}, {100, 101}},
      {"a negative duration", {100, -50, kNone, 0}, {100, 101}},
      {"the file's start counts as zero", {100, kNone, 140, 100}, {0, 40}},
      {"a block before the file's start", {100, 10, kNone, 150}, {-50, -40}},
      {"a duration that wraps", {100, kLargest, kNone, 0}, {100, 101}},
      {"at the end of time", {kLargest, kNone, kNone, 0}, {kLargest, kSmallest}},
      {"a start that wraps", {kSmallest, kNone, kNone, 1}, {kLargest, kSmallest}},
  };
  for (const SpanCase& item : kCases) {
    const BlockSpan span = SpanOf(item.timing);
    EXPECT_EQ(span.start, item.span.start) << item.name;
    EXPECT_EQ(span.stop, item.span.stop) << item.name;
  }
}

struct FramesCase {
  const char* name;
  BlockSpan span;
  PlaybackRange range;
  std::size_t frames;
  std::vector<std::int64_t> starts;  // of each frame, and where the last one stops
};

TEST(FrameTimes, FramesShareTheSpanEvenly) {
  const FramesCase kCases[] = {
      {"one frame", {0, 100}, {0, 1000, 1.0}, 1, {0, 100}},
      {"two frames", {0, 100}, {0, 1000, 1.0}, 2, {0, 50, 100}},
      {"what is left over belongs to none", {0, 100}, {0, 1000, 1.0}, 8, {0, 12, 24, 36, 48, 60, 72, 84, 96}},
      {"one unit at the least", {0, 2}, {0, 1000, 1.0}, 3, {0, 1, 2, 3}},
      {"counted from the start of the range", {500, 600}, {200, 1000, 1.0}, 2, {300, 350, 400}},
      {"before the range", {0, 100}, {200, 1000, 1.0}, 1, {-200, -100}},
      {"the rate changes nothing", {0, 100}, {0, 1000, 2.0}, 1, {0, 100}},
      {"a span that wrapped counts as one unit", {0, kSmallest}, {0, 1000, 1.0}, 1, {0, 1}},
      {"a very long span", {kSmallest, kLargest}, {kSmallest, kLargest, 1.0}, 2, {0, kLargest, -2}},
  };
  for (const FramesCase& item : kCases) {
    const FrameTimes times(item.span, item.range, item.frames);
    for (std::size_t i = 0; i < item.frames; ++i) {
      EXPECT_EQ(times.StartOf(i), item.starts[i]) << item.name << ", frame " << i;
      EXPECT_EQ(times.StopOf(i), item.starts[i + 1]) << item.name << ", frame " << i;
    }
  }
}

TEST(FrameTimes, APrerollFrameLiesBeforeTheRangeOrBeyondItsEnd) {
  const struct {
    std::int64_t start;
    bool isPreroll;
    bool isAtEnd;
  } kCases[] = {{99, true, false}, {100, false, false}, {299, false, false}, {300, false, true}, {301, true, true}};
  for (const auto& item : kCases) {
    const FrameTimes times({item.start, item.start + 10}, {100, 300, 1.0}, 1);
    EXPECT_EQ(times.IsPreroll(0), item.isPreroll) << item.start;
    EXPECT_EQ(times.IsAtEnd(0), item.isAtEnd) << item.start;
  }
}

}  // namespace
}  // namespace vantor::test
