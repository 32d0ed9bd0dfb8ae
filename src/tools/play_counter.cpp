#include "tools/play_counter.h"

#include <algorithm>

namespace vantor::tools {
namespace {

// Times come from the file and may be anything.
std::int64_t WrappingAdd(std::int64_t left, std::int64_t right) noexcept {
  return static_cast<std::int64_t>(static_cast<std::uint64_t>(left) + static_cast<std::uint64_t>(right));
}

std::int64_t WrappingSubtract(std::int64_t left, std::int64_t right) noexcept {
  return static_cast<std::int64_t>(static_cast<std::uint64_t>(left) - static_cast<std::uint64_t>(right));
}

}  // namespace

void PlayCounter::OnNewSegment(REFERENCE_TIME start, REFERENCE_TIME, double) noexcept { segmentStart_ = start; }

HRESULT PlayCounter::OnSample(IMediaSample* sample) noexcept {
  ++totals_.samples;
  totals_.bytes += static_cast<std::uint64_t>(sample->GetActualDataLength());
  totals_.keyFrames += sample->IsSyncPoint() == S_OK ? 1 : 0;
  REFERENCE_TIME start = 0;
  REFERENCE_TIME stop = 0;
  if (SUCCEEDED(sample->GetTime(&start, &stop))) {
    earliest_ = std::min<std::int64_t>(earliest_, start);
    latest_ = std::max<std::int64_t>(latest_, stop);
    position_.store(WrappingAdd(segmentStart_, latest_), std::memory_order_relaxed);
  }
  return S_OK;
}

PlayTotals PlayCounter::Totals() const noexcept {
  PlayTotals totals = totals_;
  if (earliest_ <= latest_) {
    totals.first = WrappingAdd(segmentStart_, earliest_);
    totals.last = WrappingAdd(segmentStart_, latest_);
    totals.duration = WrappingSubtract(latest_, earliest_);
  }
  return totals;
}

}  // namespace vantor::tools
