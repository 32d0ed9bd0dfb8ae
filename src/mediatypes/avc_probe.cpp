#include "mediatypes/avc_probe.h"

#include "mediatypes/avc_config.h"
#include "parser/block.h"
#include "parser/content_encoding.h"
#include "parser/element.h"
#include "parser/element_ids.h"

namespace vantor {

namespace {

bool ReadBlockOfTrack(const MkvElement& element, std::uint64_t track, MkvBlock& block) {
  block.Reset();
  if (element.id.value == ids::kBlockGroup) return block.ReadGroupOfTrack(element, track, 1) == S_OK;
  block.ReadHeader(element);
  return block.trackNumber.present && block.trackNumber.value == track && block.ReadFrames(element, 1) == S_OK;
}

bool FindFirstBlock(CMkvFile& file, std::uint64_t track, MkvBlock& block) {
  const MkvElement root = MkvElement::WholeFile(file);
  const MkvElement segment = root.FirstChild(ids::kSegment);
  if (!segment) return false;
  for (MkvElement cluster = segment.FirstChild(ids::kCluster); cluster;) {
    for (MkvElement element = FirstBlock(cluster); element;) {
      if (ReadBlockOfTrack(element, track, block) && !block.frames.empty()) return true;
      if (!NextBlock(element)) break;
    }
    if (!cluster.MoveNextOfSameId()) break;
  }
  return false;
}

}  // namespace

bool ProbeAvcConfig(CMkvFile& file, const MkvTrackEntry& track, Bytes& codecPrivate) {
  CMkvFileClone clone(file);
  clone.TakeAllowanceOf(file);
  MkvBlock block;
  const bool isFound = FindFirstBlock(clone, track.TrackNumber.value, block);
  file.TakeAllowanceOf(clone);
  if (!isFound) return false;

  FrameBytes& frame = block.frames[0];
  ApplyContentEncodings(track, frame, MkvContentEncoding::kScopeFrames);
  Bytes box;
  if (!BuildAvcConfig(frame.data(), frame.size(), box) || box.size() <= kAvcBoxHeaderSize) return false;
  codecPrivate.assign(box.begin() + kAvcBoxHeaderSize, box.end());
  return true;
}

}  // namespace vantor
