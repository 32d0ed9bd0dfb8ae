// Where a walk through the clusters stands: as elements of one source, and by value, for every source over the file.
//
//   ClusterPlace place;
//   place.MoveTo(clone, segment, FindFirstCluster(root).place);  // reads nothing
//   const PlaceInFile here = place.ByValue();
#pragma once

#include <cstdint>

#include "parser/element.h"

namespace vantor {

// An element's header, as it was read. It tells nothing of parent and source.
struct ElementHeader {
  std::uint32_t id = 0;
  std::uint64_t size = 0;
  std::uint64_t start = 0;
  std::uint64_t dataStart = 0;  // 0: there is no element
};

inline ElementHeader HeaderOf(const MkvElement& element) {
  return {element.id.value, element.size.value, element.start, element.dataStart};
}
// The element becomes what the header says, among the same siblings.
void Restore(const ElementHeader& header, MkvElement& element);
// The element that the header was read of, or an empty one.
MkvElement ElementOf(const ElementHeader& header, CMkvFile& file, const MkvElement* parent);

struct PlaceInFile {
  ElementHeader cluster;
  ElementHeader element;
  std::int64_t timecode = 0;  // of the cluster, ticks
  bool isEntered = true;      // false: time and first child of the cluster are still to be read
};

// The way through a file's clusters: the Segment they lie in, and where it begins. Found once for all pins of a file.
struct FirstCluster {
  ElementHeader segment;
  PlaceInFile place;  // the first Cluster, not entered; no cluster when the file has none
};
FirstCluster FindFirstCluster(CMkvFile& root);

// The element's parent is the cluster beside it, so a place is neither copied nor moved.
struct ClusterPlace {
  ClusterPlace() = default;
  ClusterPlace(const ClusterPlace&) = delete;
  ClusterPlace& operator=(const ClusterPlace&) = delete;

  PlaceInFile ByValue() const;
  // File and segment outlive the place.
  void MoveTo(CMkvFile& file, const MkvElement& segment, const PlaceInFile& place);

  MkvElement cluster;         // empty at the end of the data
  MkvElement element;         // a child of the cluster; empty: the next step leaves the cluster
  std::int64_t timecode = 0;  // of the cluster, ticks
  bool isEntered = true;      // as above
};

// Reads the time of the Cluster, or of the sibling of Clusters, that the place has come to, and puts the place on its
// first child; on none in a sibling without blocks.
void EnterCluster(ClusterPlace& place);

}  // namespace vantor
