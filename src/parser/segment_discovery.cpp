// How a Segment is discovered.
//
// Files are made to be opened from their beginning: SeekHead, Info and Tracks stand in front of the first Cluster, and
// the SeekHead names what stands behind the last one. So the children are walked only until three of those were met,
// and the rest is found by the index:
//
//   1. walk the children, reading SeekHead, Info, Tracks and, if it comes this early, Cues
//   2. read the SeekHeads that SeekHeads name, one after the other, ahead only
//   3. if step 1 met three: Cues (with the Cues that follow them), Chapters and Attachments, where the index says
//
// A file with fewer than three has been walked to its end by then and what it has been met, but for Chapters and
// Attachments, which are read by the index only; it does without them. An index that is distrusted is asked in any
// case, since damage may have ended the walk.
//
// Nothing fails here. Each element is read on its own, and what could be read stands. `allowance` bounds the work: an
// element may lie within another one, and both may be read.
#include "parser/segment_discovery.h"

#include <cstddef>

#include "parser/element_ids.h"
#include "parser/element_table.h"

namespace vantor {

namespace {

// The pass over the children ends with this many SeekHead, Info and Tracks elements. Elements are counted, not kinds:
// two SeekHeads and an Info are enough as well, and a file whose Tracks come later has none. What ends early stays off
// the Clusters, which a network source would have to fetch header by header.
constexpr int kEnough = 3;

void ReadInfo(const MkvElement& element, MkvSegmentInfo& info) {
  ReadRecord(element, {
                          {0x73A4, info.SegmentUID},
                          {0x7384, info.SegmentFilename},
                          {0x3CB923, info.PrevUID},
                          {0x3C83AB, info.PrevFilename},
                          {0x3EB923, info.NextUID},
                          {0x3E83BB, info.NextFilename},
                          {0x2AD7B1, info.TimecodeScale},
                          {0x4489, info.Duration},
                          {0x4461, info.DateUTC},
                          {0x7BA9, info.Title},
                          {0x4D80, info.MuxingApp},
                          {0x5741, info.WritingApp},
                      });
}

template <typename Lists>
std::size_t CountAll(const Lists& lists) {
  std::size_t count = 0;
  for (const auto& list : lists) count += list.size();
  return count;
}

class SegmentDiscovery {
 public:
  SegmentDiscovery(const MkvElement& segment, MkvSegment& record)
      : segment_(segment),
        record_(record),
        seekEntryRoom_(kMaxSeekEntries - CountAll(record.seekHeads)),
        trackRoom_(kMaxTracks - CountAll(record.tracks)) {}

  void Run() {
    WalkChildren();
    if (!segment_.file->CanSeek()) return;
    FollowSeekHeads();
    // With fewer, the walk has been over all children, and the index is not asked for more, unless it is distrusted:
    // the walk may then have ended at damage.
    if (met_ == kEnough || segment_.file->Policy().distrustSeekIndex) ReadByIndex();
  }

 private:
  void WalkChildren() {
    for (MkvElement child = segment_.FirstChild(); child; child.MoveNext()) {
      ReadChild(child);
      if (met_ == kEnough) break;
    }
  }

  void ReadChild(const MkvElement& child) {
    switch (child.id.value) {
      case ids::kSeekHead:
        ++met_;
        return ReadSeekHead(child);
      case ids::kInfo:
        ++met_;
        hasInfo_ = true;
        return ReadInfo(child, record_.info);
      case ids::kTracks:
        ++met_;
        return AppendTracks(child);
      case ids::kCues:
        return AppendCues(child);
      default:
        return;
    }
  }

  void AppendCues(const MkvElement& cues) {
    if (!cues.file->recordRoom.Take(sizeof(MkvCueList))) return cues.NotePassedOver(Tolerated::kCueOverLimit);
    (void)ReadCues(cues, record_.cues.emplace_back());
  }

  void AppendTracks(const MkvElement& tracks) {
    MkvTrackList& list = record_.tracks.emplace_back();
    (void)ReadTracks(tracks, list, trackRoom_);
    trackRoom_ -= list.size();
  }

  void ReadSeekHead(const MkvElement& seekHead) {
    // The list itself is a record as well; chained, there may be as many as there are entries.
    if (!seekHead.file->recordRoom.Take(sizeof(std::vector<MkvSeekEntry>))) {
      return seekHead.NotePassedOver(Tolerated::kSeekEntryOverLimit);
    }
    std::vector<MkvSeekEntry>& entries = record_.seekHeads.emplace_back();
    ReadRecord(seekHead, {
                             {0x4DBB, [&](const MkvElement& child) { AppendSeekEntry(child, entries); }},
                         });
  }

  void AppendSeekEntry(const MkvElement& seek, std::vector<MkvSeekEntry>& entries) {
    if (seekEntryRoom_ == 0 || !seek.file->recordRoom.Take(sizeof(MkvSeekEntry))) {
      return seek.NotePassedOver(Tolerated::kSeekEntryOverLimit);
    }
    --seekEntryRoom_;
    MkvSeekEntry& entry = entries.emplace_back();
    ReadRecord(seek, {
                         {0x53AB, entry.SeekID},
                         {0x53AC, entry.SeekPosition},
                     });
  }

  // Reads the SeekHeads that seek entries name, as long as they lie ahead of the cursor. The cursor only moves forward,
  // so an entry behind it stays behind it: one pass over the entries, which grow meanwhile, sees them all.
  void FollowSeekHeads() {
    CMkvFile& file = *segment_.file;
    for (std::size_t list = 0; list < record_.seekHeads.size(); ++list) {
      for (std::size_t index = 0; index < record_.seekHeads[list].size(); ++index) {
        const MkvSeekEntry& entry = record_.seekHeads[list][index];
        const std::uint64_t target = record_.SeekTarget(entry);
        if (entry.SeekID.value != ids::kSeekHead || target < file.position) continue;
        const std::uint64_t reached = file.position;
        const MkvElement seekHead = MkvElement::At(file, &segment_, target);
        if (!seekHead || seekHead.id.value != ids::kSeekHead) {
          // An index that is wrong once is not asked where the next one lies.
          file.Tolerate(Tolerated::kMisleadingSeekEntry, target, 0);
          if (!file.Policy().distrustSeekIndex) return;
          file.position = reached;
          continue;
        }
        ReadSeekHead(seekHead);
      }
    }
  }

  // What the pass has not come to, since it ended before.
  void ReadMissedByIndex() {
    if (!hasInfo_) {
      if (const MkvElement info = segment_.FirstChild(ids::kInfo, Search::kIndexOnly)) ReadInfo(info, record_.info);
    }
    if (record_.tracks.empty()) {
      if (const MkvElement tracks = segment_.FirstChild(ids::kTracks, Search::kIndexOnly)) AppendTracks(tracks);
    }
  }

  void ReadByIndex() {
    if (segment_.file->Policy().distrustSeekIndex) ReadMissedByIndex();
    if (record_.cues.empty()) {
      MkvElement cues = segment_.FirstChild(ids::kCues, Search::kIndexOnly);
      while (cues) {
        AppendCues(cues);
        (void)cues.MoveNextOfSameId();
      }
    }
    if (record_.chapters.empty()) {
      if (const MkvElement chapters = segment_.FirstChild(ids::kChapters, Search::kIndexOnly)) {
        (void)ReadChapters(chapters, record_.chapters.emplace_back());
      }
    }
    if (record_.attachments.empty()) {
      if (const MkvElement attachments = segment_.FirstChild(ids::kAttachments, Search::kIndexOnly)) {
        (void)ReadAttachments(attachments, record_.attachments.emplace_back());
      }
    }
  }

  const MkvElement& segment_;
  MkvSegment& record_;
  std::size_t seekEntryRoom_;
  std::size_t trackRoom_;
  int met_ = 0;  // SeekHead, Info and Tracks elements
  bool hasInfo_ = false;
};

// Where the first entry for the identifier leads; 0 where there is none.
std::uint64_t FirstTarget(const MkvSegment& record, std::uint32_t wanted) {
  for (const auto& list : record.seekHeads) {
    for (const MkvSeekEntry& entry : list) {
      if (entry.SeekID.value == wanted) return record.SeekTarget(entry);
    }
  }
  return 0;
}

// Of the first Segment, the one whose Clusters are played: its index, which may name a place behind what its size says,
// but none in a Segment behind it.
void NoteIndexedCluster(const MkvElement& segment, bool isFirst, MkvSegment& record) {
  if (isFirst) {
    record.indexedCluster = FirstTarget(record, ids::kCluster);
  } else if (record.indexedCluster >= segment.start) {
    record.indexedCluster = 0;
  }
}

}  // namespace

void DiscoverSegment(const MkvElement& segment, MkvSegment& record) {
  const bool isFirst = record.dataStart == 0;
  record.dataStart = segment.dataStart;
  record.size = segment.size.value;
  if (record.size != 0) SegmentDiscovery(segment, record).Run();
  if (segment.file->Policy().distrustSeekIndex) NoteIndexedCluster(segment, isFirst, record);
}

}  // namespace vantor
