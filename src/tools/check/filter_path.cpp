// The filter goes from sibling to sibling by their sizes. As long as the walk does the same, they are at the same
// place; they part where the walk finds a Cluster to end before its size says. The filter is then inside, passes over
// what it takes for children by their sizes, and comes out where the Cluster's own size ends, for the most part at the
// end of the Segment. Where it would read an element that the walk does not stop at, its way is no longer known.
#include "tools/check/filter_path.h"

#include "parser/block.h"
#include "parser/element_ids.h"

namespace vantor::tools {

FilterPath::FilterPath(CMkvFile& file) {
  const MkvElement wholeFile = MkvElement::WholeFile(file);
  const MkvElement segment = wholeFile.FirstChild(ids::kSegment);
  const MkvElement cluster = segment.FirstChild(ids::kCluster);
  hasFirst_ = static_cast<bool>(cluster);
  first_ = cluster.start;
  segment_ = segment.start;
  segmentEnd_ = segment.DataEnd();
  if (!hasFirst_) state_ = State::kDone;
}

bool FilterPath::Arrive(const MkvElement& element, bool isWithinPrevious) {
  switch (state_) {
    case State::kBefore:
      if (element.start == first_) return Take(element);
      if (element.start > first_) state_ = State::kUnknown;
      return false;
    case State::kOn:
      if (isWithinPrevious) return PassOver(element);
      // Behind the Segment's end, too: a search behind damage may have led there, and the filter with it.
      if (element.parent->start == segment_) return Take(element);
      state_ = State::kDone;
      return false;
    case State::kInside:
      if (element.start == nextChild_) return PassOver(element);
      if (element.start > nextChild_) state_ = State::kUnknown;
      return false;
    case State::kLeaving:
      if (element.start == end_) return Take(element);
      if (element.start > end_) state_ = State::kUnknown;
      return false;
    case State::kDone:
    case State::kUnknown:
      break;
  }
  return false;
}

bool FilterPath::Take(const MkvElement& element) {
  state_ = State::kOn;
  isWithin_ = false;
  end_ = element.DataEnd();
  return true;
}

bool FilterPath::PassOver(const MkvElement& element) {
  isWithin_ = true;
  nextChild_ = element.DataEnd();
  if (IsBlock(element)) {
    state_ = State::kUnknown;
  } else if (nextChild_ < end_) {
    state_ = State::kInside;
  } else {
    state_ = end_ < segmentEnd_ ? State::kLeaving : State::kDone;
  }
  return false;
}

}  // namespace vantor::tools
