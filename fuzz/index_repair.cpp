#include "fuzz/index_repair.h"

#include <cstddef>
#include <cstdint>

#include "fuzz/known_elements.h"

namespace vantor::fuzz {

namespace {

constexpr std::uint32_t kSeek = 0x4DBB;
constexpr std::uint32_t kSeekId = 0x53AB;
constexpr std::uint32_t kSeekPosition = 0x53AC;
constexpr std::uint32_t kCueClusterPosition = 0xF1;

struct Target {
  Raw id;
  std::size_t position;
};

std::vector<Target> Children(const ElementNode& segment) {
  std::vector<Target> targets;
  std::size_t position = 0;
  for (const ElementNode& child : segment.children) {
    targets.push_back({child.id, position});
    position += WrittenSize(child);
  }
  return targets;
}

void Put(ElementNode& element, std::size_t value) {
  Raw& bytes = element.payload;
  for (std::size_t i = bytes.size(); i-- > 0; value >>= 8) bytes[i] = static_cast<std::uint8_t>(value);
}

void RepairSeek(ElementNode& seek, const std::vector<Target>& targets) {
  Raw wanted;
  for (const ElementNode& child : seek.children) {
    if (IdOf(child) == kSeekId) wanted = child.payload;
  }
  for (const Target& target : targets) {
    if (target.id != wanted) continue;
    for (ElementNode& child : seek.children) {
      if (IdOf(child) == kSeekPosition) Put(child, target.position);
    }
    return;
  }
}

// Walks everything in the element; `next` counts the cues met.
void Repair(ElementNode& element, const std::vector<Target>& targets, const std::vector<Target>& clusters,
            std::size_t& next) {
  if (IdOf(element) == kSeek) RepairSeek(element, targets);
  if (IdOf(element) == kCueClusterPosition && !clusters.empty()) {
    Put(element, clusters[next++ % clusters.size()].position);
  }
  for (ElementNode& child : element.children) Repair(child, targets, clusters, next);
}

}  // namespace

void RepairIndexes(std::vector<ElementNode>& file) {
  for (ElementNode& segment : file) {
    if (IdOf(segment) != ids::kSegment) continue;
    const std::vector<Target> targets = Children(segment);
    std::vector<Target> clusters;
    for (const Target& target : targets) {
      if (target.id == BytesOfId(ids::kCluster)) clusters.push_back(target);
    }
    std::size_t next = 0;
    for (ElementNode& child : segment.children) Repair(child, targets, clusters, next);
  }
}

}  // namespace vantor::fuzz
