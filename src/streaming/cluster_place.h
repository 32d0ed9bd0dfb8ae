// Where a walk through the clusters stands.
#pragma once

#include <cstdint>

#include "parser/element.h"

namespace vantor {

// The element's parent is the cluster beside it, so a place is neither copied nor moved.
struct ClusterPlace {
  ClusterPlace() = default;
  ClusterPlace(const ClusterPlace&) = delete;
  ClusterPlace& operator=(const ClusterPlace&) = delete;

  MkvElement cluster;         // empty at the end of the data
  MkvElement element;         // a child of the cluster; empty: the next step leaves the cluster
  std::int64_t timecode = 0;  // of the cluster, ticks
};

}  // namespace vantor
