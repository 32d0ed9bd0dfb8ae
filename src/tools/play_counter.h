// PlayCounter: a listener that sums up what one pin delivers.
//
// The position may be asked for while samples come; the totals once the graph has stopped.
#pragma once

#include <atomic>
#include <cstdint>

#include "host/sample_listener.h"

namespace vantor::tools {

struct PlayTotals {
  std::uint64_t samples = 0;
  std::uint64_t bytes = 0;
  std::uint64_t keyFrames = 0;
  // The positions reached, 100 ns: the earliest start and the latest stop. 0 and 0 without samples that have times.
  std::int64_t first = 0;
  std::int64_t last = 0;
  std::int64_t duration = 0;  // from the one to the other
  bool ended = false;
};

class PlayCounter final : public SampleListener {
 public:
  void OnNewSegment(REFERENCE_TIME start, REFERENCE_TIME stop, double rate) noexcept override;
  HRESULT OnSample(IMediaSample* sample) noexcept override;
  void OnEndOfStream() noexcept override { totals_.ended = !isInterrupted_.load(std::memory_order_relaxed); }

  // From now on an end of the stream is one that stopping the graph makes, not the file's.
  void Interrupt() noexcept { isInterrupted_.store(true, std::memory_order_relaxed); }

  // The presentation time reached, 100 ns.
  std::int64_t Position() const noexcept { return position_.load(std::memory_order_relaxed); }
  PlayTotals Totals() const noexcept;

 private:
  PlayTotals totals_;
  std::int64_t segmentStart_ = 0;
  std::int64_t earliest_ = INT64_MAX;
  std::int64_t latest_ = INT64_MIN;
  std::atomic<std::int64_t> position_{0};
  std::atomic<bool> isInterrupted_{false};
};

}  // namespace vantor::tools
