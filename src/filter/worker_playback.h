// What the filter does for its workers: the range they play, the position they move on, and the graph they report to.
#pragma once

#include "baseclasses/filter.h"
#include "filter/positions.h"
#include "streaming/playback.h"

namespace vantor {

class WorkerPlayback final : public Playback {
 public:
  // All outlive this.
  WorkerPlayback(CBaseFilter& filter, Positions& positions, const WCHAR* filterName)
      : filter_(filter), positions_(positions), filterName_(filterName) {}

  PlaybackRange Range() const override { return positions_.Range(); }
  void AdvancePosition(std::int64_t stop) override { positions_.Advance(stop); }
  void NotifyGraph(long event, LONG_PTR first, LONG_PTR second) override;

 private:
  CBaseFilter& filter_;
  Positions& positions_;
  const WCHAR* const filterName_;  // for traces
};

}  // namespace vantor
