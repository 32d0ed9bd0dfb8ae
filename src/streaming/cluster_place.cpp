#include "streaming/cluster_place.h"

#include "parser/block.h"
#include "parser/element_ids.h"

namespace vantor {

ElementHeader HeaderOf(const MkvElement& element) {
  return {element.id.value, element.size.value, element.start, element.dataStart};
}

void Restore(const ElementHeader& header, MkvElement& element) {
  element.id = CMkvID(header.id);
  element.size = CMkvLength(header.size);
  element.start = header.start;
  element.dataStart = header.dataStart;
}

MkvElement ElementOf(const ElementHeader& header, CMkvFile& file, const MkvElement* parent) {
  MkvElement element;
  if (header.dataStart == 0) return element;
  element.parent = parent;
  element.file = &file;
  Restore(header, element);
  return element;
}

PlaceInFile ClusterPlace::ByValue() const { return {HeaderOf(cluster), HeaderOf(element), timecode, isEntered}; }

void ClusterPlace::MoveTo(CMkvFile& file, const MkvElement& segment, const PlaceInFile& place) {
  cluster = ElementOf(place.cluster, file, &segment);
  element = ElementOf(place.element, file, &cluster);
  timecode = place.timecode;
  isEntered = place.isEntered;
}

FirstCluster FindFirstCluster(CMkvFile& root) {
  const MkvElement file = MkvElement::WholeFile(root);
  const MkvElement segment = file.FirstChild(ids::kSegment);
  if (!segment) return {};
  // Entered by each pin at each start: what cannot be read now may well be there then.
  ClusterPlace place;
  place.cluster = segment.FirstChild(ids::kCluster);
  if (!place.cluster) return {};
  place.isEntered = false;
  return {HeaderOf(segment), place.ByValue()};
}

void EnterCluster(ClusterPlace& place) {
  // Among the Clusters may stand others, a Void or the Cues: there is no block in them.
  if (place.cluster.id.value != ids::kCluster) return;
  // A Cluster without a time keeps that of the one before.
  ReadClusterTimecode(place.cluster, place.timecode);
  place.element = place.cluster.FirstChild();
}

}  // namespace vantor
