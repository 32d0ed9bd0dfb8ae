#include "parser/cues.h"

#include <utility>

#include "parser/element_table.h"

namespace vantor {

namespace {

void ReadReference(const MkvElement& element, MkvCueReference& reference) {
  ReadRecord(element, {
                          {0x96, reference.CueRefTime},
                          {0x97, reference.CueRefCluster},
                          {0x535F, reference.CueRefNumber},
                          {0xEB, reference.CueRefCodecState},
                      });
}

void ReadTrackPosition(const MkvElement& element, MkvCueTrackPosition& position) {
  ReadRecord(element, {
                          {0xF7, position.CueTrack},
                          {0xF1, position.CueClusterPosition},
                          {0x5378, position.CueBlockNumber},
                          {0xEA, position.CueCodecState},
                          {0xDB,
                           [&](const MkvElement& child) {
                             if (!child.file->recordRoom.Take(sizeof(MkvCueReference))) {
                               return child.NotePassedOver(Tolerated::kCueOverLimit);
                             }
                             ReadReference(child, position.references.emplace_back());
                           }},
                      });
}

void ReadPoint(const MkvElement& element, MkvCuePoint& point) {
  ReadRecord(element, {
                          {0xB3, point.CueTime},
                          {0xB7,
                           [&](const MkvElement& child) {
                             if (!child.file->recordRoom.Take(sizeof(MkvCueTrackPosition))) {
                               return child.NotePassedOver(Tolerated::kCueOverLimit);
                             }
                             ReadTrackPosition(child, point.trackPositions.emplace_back());
                           }},
                      });
}

}  // namespace

HRESULT ReadCues(const MkvElement& cues, MkvCueList& list) {
  if (!cues) return E_POINTER;
  ReadRecord(cues, {
                       {0xBB,
                        [&](const MkvElement& child) {
                          if (!child.file->recordRoom.Take(sizeof(MkvCuePoint))) {
                            return child.NotePassedOver(Tolerated::kCueOverLimit);
                          }
                          ReadPoint(child, list.emplace_back());
                        }},
                   });
  list.shrink_to_fit();
  return S_OK;
}

}  // namespace vantor
