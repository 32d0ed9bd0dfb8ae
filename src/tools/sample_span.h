// SampleSpan: how long the samples of a stream last by their times, for forms that count what the times only measure.
//
//   SampleSpan span;
//   span.Add({.payload = payload, .start = 0, .stop = 400'000});
//   std::optional<std::int64_t> sounds = span.At(48'000);   // of so many a second
#pragma once

#include <cstdint>
#include <optional>

#include "tools/forms/track_writer.h"

namespace vantor::tools {

class SampleSpan {
 public:
  void Add(const TrackSample& sample) noexcept {
    if (!start_) start_ = sample.start;
    // The filter gives one unit to a sample whose end the file does not tell.
    const bool isEndKnown =
        sample.start && sample.stop && *sample.stop > *sample.start && *sample.stop - 1 > *sample.start;
    stop_ = isEndKnown ? sample.stop : std::nullopt;
  }

  // From the first start to the last stop, at so many a second; nothing when either is not known, or for years.
  std::optional<std::int64_t> At(std::uint32_t rate) const noexcept {
    constexpr std::uint64_t kTimeUnits = 10'000'000;  // in a second
    constexpr std::uint64_t kLongest = kTimeUnits * 60 * 60 * 24 * 366;
    if (!start_ || !stop_ || *stop_ <= *start_) return std::nullopt;
    const std::uint64_t length = static_cast<std::uint64_t>(*stop_) - static_cast<std::uint64_t>(*start_);
    if (length > kLongest) return std::nullopt;
    return static_cast<std::int64_t>(length / kTimeUnits * rate +
                                     (length % kTimeUnits * rate + kTimeUnits / 2) / kTimeUnits);
  }

 private:
  std::optional<std::int64_t> start_;
  std::optional<std::int64_t> stop_;
};

// The place where a stream of so many sounds ends when its times say that the last packet is cut off: the count itself
// when they do not, or say what cannot be. Times are mostly of whole milliseconds.
inline std::int64_t TrimmedEnd(std::int64_t counted, std::int64_t lastPacket, std::optional<std::int64_t> byTimes,
                               std::uint32_t rate) {
  if (!byTimes) return counted;
  const std::int64_t cut = counted - *byTimes;
  return cut > rate / 1000 + 1 && cut < lastPacket ? *byTimes : counted;
}

}  // namespace vantor::tools
