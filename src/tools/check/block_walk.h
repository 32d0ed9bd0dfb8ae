// BlockWalk: every block of a file, in the file's order, wherever it lies: behind Clusters of unknown size, in further
// Segments, behind damage, behind a size that is too large. It moves forward only and reads headers only.
//
//   BlockWalk walk(root);
//   for (WalkStep step = walk.Next(); step != WalkStep::kEnd; step = walk.Next()) {
//     if (step == WalkStep::kBlock) Use(walk.Block(), walk.ClusterTime());
//   }
#pragma once

#include <cstdint>
#include <utility>
#include <vector>

#include "parser/element.h"

namespace vantor::tools {

enum class WalkStep {
  kSegment,  // Segment() has changed
  kElement,  // Element(), a child of the Segment, was reached
  kBlock,    // Block(), a SimpleBlock or BlockGroup in the Cluster Element()
  kEnd,
};

class BlockWalk {
 public:
  // The file outlives the walk; the walk stays where it is.
  explicit BlockWalk(CMkvFile& file);
  BlockWalk(const BlockWalk&) = delete;
  BlockWalk& operator=(const BlockWalk&) = delete;

  WalkStep Next();

  const MkvElement& Segment() const { return segment_; }
  const MkvElement& Element() const { return element_; }
  const MkvElement& Block() const { return child_; }
  // Of the Cluster, or of the one before where it has none; ticks.
  std::int64_t ClusterTime() const { return time_; }
  // Whether the element lies within the one before, which therefore ended earlier than its size says.
  bool IsWithinPrevious() const { return isWithinPrevious_; }
  // Segments met so far.
  int Segments() const { return segments_; }

 private:
  WalkStep EnterSegment(const MkvElement& segment, bool isWithin);
  WalkStep MoveElement();
  WalkStep Arrive(bool isWithinPrevious);
  WalkStep SettleChild();
  bool FindByIndex(const MkvElement& last);
  bool FindBehindDamage();

  const MkvElement wholeFile_;
  MkvElement segment_;
  MkvElement element_;
  MkvElement child_;
  std::vector<std::pair<std::uint64_t, std::uint32_t>> indexed_;  // what the seek index names, the first one last
  MkvElement behindDamage_;  // the stand-in for a Segment that begins where a header cannot be read
  std::uint64_t childrenEnd_ = 0;
  std::int64_t time_ = 0;
  int segments_ = 0;
  bool isIndexTaken_ = false;
  bool isStarted_ = false;
  bool isAtSegment_ = false;
  bool isAtCluster_ = false;
  bool isWithinPrevious_ = false;
};

}  // namespace vantor::tools
