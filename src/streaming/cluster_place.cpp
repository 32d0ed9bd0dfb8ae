#include "streaming/cluster_place.h"

#include "parser/block.h"
#include "parser/element_ids.h"

namespace vantor {

namespace {

// For a sibling that is no Cluster, a Void, the Cues or attachments for the most part; false when there is no block in
// it. They may have many children, so that the one walk for the time also tells whether another is worth it.
bool ReadTimeOfSibling(ClusterPlace& place) {
  const CMkvFile& file = *place.cluster.file;
  bool hasBlock = false;
  for (MkvElement child = place.cluster.FirstChild(); child; child.MoveNext()) {
    if (file.interrupted && file.interrupted()) return false;  // asked always: a stop shall not wait for all of them
    if (child.id.value == ids::kTimecode) {
      CMkvUInt ticks;
      if (ticks.Read(child) == S_OK) place.timecode = static_cast<std::int64_t>(ticks.value);
      return true;
    }
    hasBlock = hasBlock || IsBlock(child);
  }
  return hasBlock;
}

}  // namespace

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
  root.RenewReadAhead();
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

// Whatever stands among the Clusters is walked like one: where a Cluster's identifier is damaged, its blocks are there
// all the same. A Cluster without a time keeps that of the one before.
void EnterCluster(ClusterPlace& place) {
  if (place.cluster.id.value == ids::kCluster) {
    ReadClusterTimecode(place.cluster, place.timecode);
  } else if (!ReadTimeOfSibling(place)) {
    return;
  }
  place.element = place.cluster.FirstChild();
}

}  // namespace vantor
