// FilterPath: which elements of a Segment the filter walks through, told while a BlockWalk goes over all of them.
//
//   FilterPath way(root);
//   if (way.Arrive(walk.Element(), walk.IsWithinPrevious())) Use(walk.Element());   // at each WalkStep::kElement
#pragma once

#include <cstdint>

#include "parser/element.h"

namespace vantor::tools {

// Why the filter never comes to an element.
enum class Hidden {
  kBeforeStart,    // the seek index sends it to a later Cluster
  kWithinCluster,  // it lies within a Cluster, as far as that one's size goes
  kOtherSegment,   // the filter keeps to the first Segment
};

class FilterPath {
 public:
  // Finds where the filter begins, as it does: by the seek index first.
  explicit FilterPath(CMkvFile& file);

  // The next child of a Segment; whether the filter walks its children for blocks.
  bool Arrive(const MkvElement& element, bool isWithinPrevious);

  // False once the filter reads what the walk does not, so that nobody can say what it does.
  bool IsKnown() const { return state_ != State::kUnknown; }
  // Why it does not walk what arrived last.
  Hidden HiddenBy() const {
    if (state_ == State::kBefore) return Hidden::kBeforeStart;
    return isWithin_ ? Hidden::kWithinCluster : Hidden::kOtherSegment;
  }

 private:
  enum class State {
    kBefore,   // the first Cluster is still to come
    kOn,       // the filter is at the element that arrived last
    kInside,   // it passes over what arrives, as children of a Cluster that it is still in
    kLeaving,  // it goes on where that Cluster's size ends
    kDone,
    kUnknown,
  };

  bool Take(const MkvElement& element);
  bool PassOver(const MkvElement& element);

  State state_ = State::kBefore;
  bool hasFirst_ = false;
  bool isWithin_ = false;
  std::uint64_t first_ = 0;
  std::uint64_t segment_ = 0;
  std::uint64_t segmentEnd_ = 0;
  std::uint64_t end_ = 0;        // of the element that the filter is in
  std::uint64_t nextChild_ = 0;  // where it reads on in there
};

}  // namespace vantor::tools
